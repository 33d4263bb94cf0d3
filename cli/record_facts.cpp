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
  // The hash scaled to the table's size (any size, not only powers of two).
  const unsigned __int128 hash = zel_hash::hashWord(static_cast<uint64_t>(id));
  return static_cast<size_t>(hash * slots_.size() >> 64);
}

RecordFacts::Index RecordFacts::find(long id) const {
  if (slots_.empty()) return kNone;
  for (size_t at = slotOf(id);; at = nextSlot(at)) {
    const Index record = slots_[at];
    if (record == kNone || this->id(record) == id) return record;
  }
}

long RecordFacts::line(Index record) const {
  // The (record % kLineSample)-th set bit after the sampled record's line.
  const long first = sampledLines_[record / kLineSample];
  Index after = record % kLineSample;
  if (after == 0) return first;
  size_t word = static_cast<size_t>(first) / 64;
  uint64_t bits = recordLines_[word] & ~((uint64_t{2} << (first % 64)) - 1);
  for (;;) {
    const Index count = static_cast<Index>(__builtin_popcountll(bits));
    if (after <= count) break;
    after -= count;
    bits = recordLines_[++word];
  }
  while (--after > 0) bits &= bits - 1;
  return static_cast<long>(word * 64) + __builtin_ctzll(bits);
}

void RecordFacts::add(long id, long fromId, long toId, long line, uint8_t kind) {
  if (count_ == kNone - 1) throw std::bad_alloc();
  const size_t word = static_cast<size_t>(line) / 64;
  if (word >= recordLines_.size()) recordLines_.resize(word + 1);
  if (count_ % kLineSample == 0) sampledLines_.push_back(line);
  if (count_ % kChunk == 0)
    chunks_.push_back(std::unique_ptr<Chunk>(new Chunk));  // filled as records come
  recordLines_[word] |= uint64_t{1} << (line % 64);
  const Index record = count_;
  store(record, kId, id);
  store(record, kFrom, fromId);
  store(record, kTo, toId);
  chunk(record).kinds[record % kChunk] = kind;
  chunk(record).flags[record % kChunk] = 0;
  ++count_;
}

}  // namespace pcd::cli
