#include "record_facts.h"

#include <new>

#include "zel_keyed_hash.h"

namespace pcd::cli {

void RecordFacts::store(Index record, Field field, long value) {
  const bool narrow = value >= 0 && value < static_cast<long>(kWide);
  if (!narrow) wide_[wideKey(record, field)] = value;
  chunk(record).values[field][record % kChunk] = narrow ? static_cast<uint32_t>(value) : kWide;
}

size_t RecordFacts::slotOf(long id) const {
  return static_cast<size_t>(zel_hash::hashWord(static_cast<uint64_t>(id))) & (slots_.size() - 1);
}

RecordFacts::Index RecordFacts::find(long id) const {
  if (slots_.empty()) return kNone;
  for (size_t at = slotOf(id);; at = (at + 1) & (slots_.size() - 1)) {
    const Index record = slots_[at];
    if (record == kNone || this->id(record) == id) return record;
  }
}

void RecordFacts::grow() {
  std::vector<Index> old(slots_.empty() ? 1024 : 2 * slots_.size(), kNone);
  old.swap(slots_);
  for (const Index record : old) {
    if (record == kNone) continue;
    size_t at = slotOf(id(record));
    while (slots_[at] != kNone) at = (at + 1) & (slots_.size() - 1);
    slots_[at] = record;
  }
}

RecordFacts::Index RecordFacts::add(long id, long fromId, long toId, long line, uint8_t kind) {
  if (count_ == kNone - 1) throw std::bad_alloc();
  if (4 * (static_cast<size_t>(indexed_) + 1) > 3 * slots_.size()) grow();
  if (count_ % kChunk == 0)
    chunks_.push_back(std::unique_ptr<Chunk>(new Chunk));  // filled as records come
  const Index record = count_;
  store(record, kId, id);
  store(record, kFrom, fromId);
  store(record, kTo, toId);
  store(record, kLine, line);
  chunk(record).kinds[record % kChunk] = kind;
  chunk(record).flags[record % kChunk] = 0;
  ++count_;
  size_t at = slotOf(id);
  while (slots_[at] != kNone && this->id(slots_[at]) != id) at = (at + 1) & (slots_.size() - 1);
  const Index replaced = slots_[at];
  if (replaced == kNone) ++indexed_;
  slots_[at] = record;
  return replaced;
}

}  // namespace pcd::cli
