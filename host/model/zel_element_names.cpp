#include "model/zel_element_names.h"

#include <utility>

#include "zel_keyed_hash.h"

namespace {

constexpr uint64_t kSpread = 0x9E3779B97F4A7C15ull;  // 2^64 / golden ratio
constexpr size_t kNone = ~size_t{0};

// Names come from input files: their hash is keyed.
uint32_t nameTag(const ZELString& name) noexcept {
  return static_cast<uint32_t>(zel_hash::hashBytes(name.c_str(), name.length()) >> 32);
}

uint32_t elementTag(const ZELObject* element) noexcept {
  return static_cast<uint32_t>((reinterpret_cast<uintptr_t>(element) * kSpread) >> 32);
}

// Open addressing with linear probing, at most half full. A slot holds a
// tag (32 bits of its key's hash, which also choose its home) above the
// position of its entry plus one; 0 is a free slot. Growth re-places slots
// by their tags, without hashing a key again.
class Slots {
 public:
  explicit Slots(size_t count) : slots_(count, 0), mask_(count - 1) {
    while ((size_t{1} << bits_) < count) ++bits_;
  }
  size_t size() const noexcept { return slots_.size(); }

  // The slot of `tag` whose position `matches`, or kNone.
  template <class Matches>
  size_t find(uint32_t tag, Matches matches) const noexcept {
    for (size_t at = home(tag);; at = (at + 1) & mask_) {
      const uint64_t slot = slots_[at];
      if (slot == 0) return kNone;
      if (tagOf(slot) == tag && matches(positionOf(slot))) return at;
    }
  }
  size_t positionAt(size_t at) const noexcept { return positionOf(slots_[at]); }
  void insert(uint32_t tag, size_t position) noexcept {
    size_t at = home(tag);
    while (slots_[at] != 0) at = (at + 1) & mask_;
    slots_[at] = (uint64_t{tag} << 32) | (position + 1);
  }
  void setPosition(size_t at, size_t position) noexcept {
    slots_[at] = (uint64_t{tagOf(slots_[at])} << 32) | (position + 1);
  }
  // Frees slot `at`, shifting later slots of the run back so that no probe
  // run is broken (no tombstones).
  void erase(size_t at) noexcept {
    size_t gap = at;
    for (size_t probe = (at + 1) & mask_;; probe = (probe + 1) & mask_) {
      const uint64_t slot = slots_[probe];
      if (slot == 0) break;
      // The slot may fill the gap when the gap lies between its home and it.
      if (((probe - home(tagOf(slot))) & mask_) >= ((probe - gap) & mask_)) {
        slots_[gap] = slot;
        gap = probe;
      }
    }
    slots_[gap] = 0;
  }
  void insertAllOf(const Slots& other) noexcept {
    for (const uint64_t slot : other.slots_) {
      if (slot != 0) insert(tagOf(slot), positionOf(slot));
    }
  }

 private:
  static uint32_t tagOf(uint64_t slot) noexcept { return static_cast<uint32_t>(slot >> 32); }
  static size_t positionOf(uint64_t slot) noexcept {
    return static_cast<size_t>(static_cast<uint32_t>(slot)) - 1;
  }
  size_t home(uint32_t tag) const noexcept {
    return static_cast<size_t>((uint64_t{tag} * kSpread) >> (64 - bits_));
  }
  std::vector<uint64_t> slots_;
  size_t mask_;
  unsigned bits_ = 0;
};

}  // namespace

struct ZELElementNames::Index {
  explicit Index(size_t slotCount) : byName(slotCount), byElement(slotCount) {}
  Slots byName;  // entries with a non-empty name
  Slots byElement;
};

ZELElementNames::ZELElementNames() noexcept = default;
ZELElementNames::~ZELElementNames() = default;

bool ZELElementNames::holdsName(const ZELString& name) const noexcept {
  if (name.isEmpty()) return false;
  if (index_) {
    return index_->byName.find(nameTag(name), [&](size_t position) {
      return entries_[position].name == name;
    }) != kNone;
  }
  for (const Entry& entry : entries_) {
    if (entry.name == name) return true;
  }
  return false;
}

bool ZELElementNames::holdsElement(const ZELObject* element) const noexcept {
  return positionOf(element) != kNone;
}

size_t ZELElementNames::positionOf(const ZELObject* element) const noexcept {
  if (index_) {
    const size_t at = index_->byElement.find(elementTag(element), [&](size_t position) {
      return entries_[position].element == element;
    });
    return at == kNone ? kNone : index_->byElement.positionAt(at);
  }
  for (size_t position = 0; position < entries_.size(); ++position) {
    if (entries_[position].element == element) return position;
  }
  return kNone;
}

void ZELElementNames::add(const ZELObject* element, const ZELString& name) {
  entries_.push_back(Entry{element, name});
  const size_t count = entries_.size();
  const size_t position = count - 1;
  if (count > kLinear && (!index_ || 2 * count > index_->byElement.size())) {
    try {
      buildIndex(count);
    } catch (...) {
      entries_.pop_back();
      throw;
    }
    return;
  }
  if (index_) {
    index_->byElement.insert(elementTag(element), position);
    if (!name.isEmpty()) index_->byName.insert(nameTag(name), position);
  }
}

// Makes an index for at least twice `entryCount` slots holding every entry
// (the newest one included), from the old index's slots where there is one.
void ZELElementNames::buildIndex(size_t entryCount) {
  size_t slotCount = 32;
  while (slotCount < 2 * entryCount) slotCount *= 2;
  auto index = std::make_unique<Index>(slotCount);
  size_t first = 0;
  if (index_) {
    index->byName.insertAllOf(index_->byName);
    index->byElement.insertAllOf(index_->byElement);
    first = entryCount - 1;  // the old index holds all but the newest entry
  }
  for (size_t position = first; position < entryCount; ++position) {
    const Entry& entry = entries_[position];
    index->byElement.insert(elementTag(entry.element), position);
    if (!entry.name.isEmpty()) index->byName.insert(nameTag(entry.name), position);
  }
  index_ = std::move(index);
}

ZELString ZELElementNames::remove(const ZELObject* element) noexcept {
  const size_t position = positionOf(element);
  if (position == kNone) return ZELString();
  ZELString name = std::move(entries_[position].name);
  const size_t last = entries_.size() - 1;
  auto at = [](size_t wanted) { return [wanted](size_t held) { return held == wanted; }; };
  if (index_) {
    index_->byElement.erase(index_->byElement.find(elementTag(element), at(position)));
    if (!name.isEmpty()) index_->byName.erase(index_->byName.find(nameTag(name), at(position)));
  }
  if (position != last) {
    // The last entry fills the hole; its slots follow it.
    Entry& moved = entries_[last];
    if (index_) {
      index_->byElement.setPosition(index_->byElement.find(elementTag(moved.element), at(last)),
                                    position);
      if (!moved.name.isEmpty()) {
        index_->byName.setPosition(index_->byName.find(nameTag(moved.name), at(last)), position);
      }
    }
    entries_[position].element = moved.element;
    entries_[position].name = std::move(moved.name);
  }
  entries_.pop_back();
  return name;
}
