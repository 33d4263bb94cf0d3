#include "record_facts.h"

#include <algorithm>
#include <new>

#include "zel_keyed_hash.h"

namespace pcd::cli {

uint32_t RecordFacts::narrowed(Index record, Field field, long value) {
  if (value >= 0 && value < static_cast<long>(kWide)) return static_cast<uint32_t>(value);
  wide_[wideKey(record, field)] = value;
  return kWide;
}

size_t RecordFacts::slotOf(long id) const {
  // The hash scaled to the table's size (any size, not only powers of two).
  const unsigned __int128 hash = zel_hash::hashWord(static_cast<uint64_t>(id));
  return static_cast<size_t>(hash * slots_.size() >> 64);
}

RecordFacts::Index RecordFacts::find(long id) const {
  if (ascending_) return indexed_ ? findInOrder(id) : kNone;
  if (slots_.empty()) return kNone;
  for (size_t at = slotOf(id);; at = nextSlot(at)) {
    const Index record = slots_[at];
    if (record == kNone || this->id(record) == id) return record;
  }
}

RecordFacts::Index RecordFacts::findInOrder(long id) const {
  if (id < 0 || id >= static_cast<long>(kWide)) return kNone;
  const auto narrow = static_cast<uint32_t>(id);
  // The last sample not above the id starts the run of ids that holds it,
  // if any record does; the last record of the id is the one it names.
  const auto after = std::upper_bound(sampledIds_.begin(), sampledIds_.end(), narrow);
  if (after == sampledIds_.begin()) return kNone;
  const Index first = static_cast<Index>(after - sampledIds_.begin() - 1) * kSample;
  const Index end = std::min(first + kSample, count_);  // a run never leaves its chunk
  const uint32_t* ids = chunk(first).ids;
  const uint32_t* at = std::upper_bound(ids + first % kChunk, ids + (end - 1) % kChunk + 1, narrow);
  const Index record = first + static_cast<Index>(at - ids - first % kChunk) - 1;
  return ids[record % kChunk] == narrow ? record : kNone;
}

long RecordFacts::line(Index record) const {
  // The (record % kLineSample)-th set bit after the sampled record's line.
  const long first = sampledLines_[record / kLineSample];
  Index after = record % kLineSample;
  if (after == 0) return first;
  size_t word = static_cast<size_t>(first) / 64;
  uint64_t bits = recordLines_[word] & ~((uint64_t{2} << (first % 64)) - 1);
  for (;;) {
    const Index count = detail::countBits(bits);
    if (after <= count) break;
    after -= count;
    bits = recordLines_[++word];
  }
  while (--after > 0) bits &= bits - 1;
  return static_cast<long>(word * 64) + __builtin_ctzll(bits);
}

void RecordFacts::add(long id, long fromId, long toId, long line, uint8_t kind) {
  if (count_ == kNone - 1) throw std::bad_alloc();
  const bool linked = fromId != 0 || toId != 0;
  const size_t word = static_cast<size_t>(line) / 64;
  if (word >= recordLines_.size()) recordLines_.resize(word + 1);
  if (count_ % kLineSample == 0) sampledLines_.push_back(line);
  if (linked && linkCount_ % kChunk == 0) links_.push_back(std::unique_ptr<Links>(new Links));
  if (count_ % kChunk == 0) {
    chunks_.push_back(std::unique_ptr<Chunk>(new Chunk));  // filled as records come
    chunks_.back()->linksBefore = linkCount_;
  }
  recordLines_[word] |= uint64_t{1} << (line % 64);
  const Index record = count_;
  Chunk& in = chunk(record);
  const Index at = record % kChunk;
  if (at % 64 == 0) {
    in.linked[at / 64] = 0;
    in.linkedBefore[at / 64] = static_cast<uint16_t>(linkCount_ - in.linksBefore);
  }
  in.ids[at] = narrowed(record, kId, id);
  if (ascending_) {
    if (in.ids[at] == kWide || in.ids[at] < lastId_) {
      ascending_ = false;
      std::vector<uint32_t>().swap(sampledIds_);
    } else {
      lastId_ = in.ids[at];
      if (record % kSample == 0) sampledIds_.push_back(lastId_);
    }
  }
  in.kinds[at] = kind;
  in.flags[at] = 0;
  if (linked) {
    Links& links = *links_[linkCount_ / kChunk];
    links.from[linkCount_ % kChunk] = narrowed(record, kFrom, fromId);
    links.to[linkCount_ % kChunk] = narrowed(record, kTo, toId);
    in.linked[at / 64] |= uint64_t{1} << (at % 64);
    ++linkCount_;
  }
  ++count_;
}

}  // namespace pcd::cli
