#include "record_names.h"

#include <algorithm>
#include <new>

namespace pcd::cli {

void RecordNames::setName(Index record, const std::string& name) {
  constexpr size_t kLengthBytes = 10;  // at most, 7 bits a byte
  if (name.size() + kLengthBytes >= kNoName - texts_.size()) throw std::bad_alloc();
  const uint32_t at = static_cast<uint32_t>(texts_.size());
  for (size_t length = name.size();; length >>= 7) {
    const bool last = length < 0x80;
    texts_.push_back(static_cast<char>((length & 0x7f) | (last ? 0 : 0x80)));
    if (last) break;
  }
  texts_.insert(texts_.end(), name.begin(), name.end());
  if (!own_.empty() && own_.back().first == record) {
    own_.back().second = at | (own_.back().second & kKindBits);
  } else {
    own_.emplace_back(record, at);
  }
}

void RecordNames::setKeyKind(Index record, const std::string& kind) {
  const uint32_t bits = kind == "P" ? kPrimary : kKindBit;
  if (!own_.empty() && own_.back().first == record) {
    own_.back().second = (own_.back().second & ~kKindBits) | bits;
  } else {
    own_.emplace_back(record, kNoName | bits);
  }
}

void RecordNames::carryOver(Index earlier, Index later) {
  const uint32_t before = entryOf(earlier);
  if (before == kNoEntry) return;
  const uint32_t own = entryIn(own_, later);
  const uint32_t name = (own & ~kKindBits) != kNoName ? own : before;
  const uint32_t kind = (own & kKindBits) != 0 ? own : before;
  const uint32_t merged = (name & ~kKindBits) | (kind & kKindBits);
  if (merged != own) carried_.emplace_back(later, merged);
}

std::string RecordNames::nameOf(long id, Index record) const {
  const uint32_t entry = record == RecordFacts::kNone ? kNoEntry : entryOf(record);
  if ((entry & ~kKindBits) == kNoName) return "(id " + std::to_string(id) + ")";
  auto at = texts_.begin() + (entry & ~kKindBits);
  size_t length = 0;
  for (int shift = 0;; shift += 7) {
    const unsigned char byte = static_cast<unsigned char>(*at++);
    length |= static_cast<size_t>(byte & 0x7f) << shift;
    if ((byte & 0x80) == 0) break;
  }
  return std::string(at, at + static_cast<std::ptrdiff_t>(length));
}

bool RecordNames::isPrimaryKey(Index record) const {
  return record != RecordFacts::kNone && (entryOf(record) & kKindBits) == kPrimary;
}

uint32_t RecordNames::entryIn(const Entries& entries, Index record) {
  const auto found = std::lower_bound(
      entries.begin(), entries.end(), record,
      [](const std::pair<Index, uint32_t>& entry, Index wanted) { return entry.first < wanted; });
  return found != entries.end() && found->first == record ? found->second : kNoEntry;
}

uint32_t RecordNames::entryOf(Index record) const {
  const uint32_t carried = entryIn(carried_, record);
  return carried != kNoEntry ? carried : entryIn(own_, record);
}

}  // namespace pcd::cli
