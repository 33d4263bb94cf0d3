// What `check` keeps of each record of an extract until the last one has
// been read, so that every id can be resolved as the import resolves it:
// the record's id and kind and a few flags the cross-checks set in 6 bytes,
// and a relationship's from and to ids in 8 more (values of up to 32 bits
// in place, larger ones beside them), in chunks that never move; the records'
// lines as one bit per line of the file; and which record each id names
// (the last one defining it): when the ids come in ascending order, as
// extracts list them, by searching the ids themselves through every 32nd
// of them; otherwise in 4-byte slots of a table hashed with the process's
// key, so no choice of ids crowds it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace pcd::cli {

namespace detail {

// The set bits of `bits`, inline: without a processor option the compiler's
// builtin is a library call, which the look-ups of every link would pay.
inline uint32_t countBits(uint64_t bits) {
  bits -= (bits >> 1) & 0x5555555555555555u;
  bits = (bits & 0x3333333333333333u) + ((bits >> 2) & 0x3333333333333333u);
  bits = (bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0fu;
  return static_cast<uint32_t>((bits * 0x0101010101010101u) >> 56);
}

}  // namespace detail

class RecordFacts {
 public:
  using Index = uint32_t;  // records in file order, from 0
  static constexpr Index kNone = 0xffffffff;

  // Adds a record, on a line after the previous record's. Throws
  // std::bad_alloc when memory (or the numbering) runs out.
  void add(long id, long fromId, long toId, long line, uint8_t kind);

  // Makes find() answer, once every record has been added: an id names the
  // last record defining it. Calls `replaced(earlier, later)` for each
  // record that a later one of its id replaces, in the later ones' order.
  // The table is made once, at its final size, the ids read in sequence.
  template <class Replaced>
  void index(Replaced replaced);

  Index size() const { return count_; }
  // The record `id` names (kNone: none), once indexed.
  Index find(long id) const;
  // For a look-up of `id` some records ahead of a pass in file order:
  // starts fetching the slot where find(id) looks first, and then (once
  // that slot has arrived) the id and kind of the record in it.
  // Neither fetches anything when the ids are searched in order.
  void prefetchSlot(long id) const {
    if (!slots_.empty()) __builtin_prefetch(&slots_[slotOf(id)]);
  }
  void prefetchRecord(long id) const {
    if (slots_.empty()) return;
    const Index record = slots_[slotOf(id)];
    if (record == kNone) return;
    __builtin_prefetch(&chunk(record).ids[record % kChunk]);
    __builtin_prefetch(&chunk(record).kinds[record % kChunk]);
  }

  long id(Index record) const { return value(record, kId); }
  long fromId(Index record) const { return value(record, kFrom); }
  long toId(Index record) const { return value(record, kTo); }
  long line(Index record) const;
  uint8_t kind(Index record) const { return chunk(record).kinds[record % kChunk]; }
  bool has(Index record, uint8_t flag) const {
    return (chunk(record).flags[record % kChunk] & flag) != 0;
  }
  void set(Index record, uint8_t flag) { chunk(record).flags[record % kChunk] |= flag; }

 private:
  enum Field { kId, kFrom, kTo, kFields };
  static constexpr Index kChunk = 1 << 14;
  static constexpr Index kWords = kChunk / 64;
  static constexpr uint32_t kWide = 0xffffffff;  // the value is in wide_
  struct Chunk {
    uint32_t ids[kChunk];
    uint8_t kinds[kChunk];
    uint8_t flags[kChunk];
    // Records with a from or to id (relationships) have them in links_:
    // a bit per record, and how many came before, to count their place.
    uint64_t linked[kWords];
    uint16_t linkedBefore[kWords];  // in the chunk, before each word
    Index linksBefore;              // before the chunk
  };
  struct Links {
    uint32_t from[kChunk];
    uint32_t to[kChunk];
  };

  Chunk& chunk(Index record) const { return *chunks_[record / kChunk]; }
  long value(Index record, Field field) const {
    const Chunk& in = chunk(record);
    const Index at = record % kChunk;
    uint32_t narrow = 0;
    if (field == kId) {
      narrow = in.ids[at];
    } else {
      const uint64_t bits = in.linked[at / 64];
      const uint64_t bit = uint64_t{1} << (at % 64);
      if ((bits & bit) == 0) return 0;
      const Index link =
          in.linksBefore + in.linkedBefore[at / 64] + detail::countBits(bits & (bit - 1));
      const Links& links = *links_[link / kChunk];
      narrow = field == kFrom ? links.from[link % kChunk] : links.to[link % kChunk];
    }
    return narrow != kWide ? static_cast<long>(narrow) : wide_.at(wideKey(record, field));
  }
  // `value` as kept in place (kWide: in wide_, where it is put).
  uint32_t narrowed(Index record, Field field, long value);
  static uint64_t wideKey(Index record, Field field) {
    return static_cast<uint64_t>(record) * kFields + field;
  }
  size_t slotOf(long id) const;
  Index findInOrder(long id) const;
  size_t nextSlot(size_t at) const { return at + 1 < slots_.size() ? at + 1 : 0; }

  std::vector<std::unique_ptr<Chunk>> chunks_;
  Index count_ = 0;
  std::vector<std::unique_ptr<Links>> links_;
  Index linkCount_ = 0;                      // records with a from or to id
  std::unordered_map<uint64_t, long> wide_;  // by record and field
  std::vector<Index> slots_;                 // kNone: free
  // While every id fits in place and none is below the one before: the id
  // of every kSample-th record, from the first, to search the ids by.
  static constexpr Index kSample = 32;
  bool ascending_ = true;
  uint32_t lastId_ = 0;
  bool indexed_ = false;
  std::vector<uint32_t> sampledIds_;
  // Line n's bit is set when a record is on it; the line of every
  // kLineSample-th record, from the first, to count from.
  static constexpr Index kLineSample = 64;
  std::vector<uint64_t> recordLines_;
  std::vector<long> sampledLines_;
};

template <class Replaced>
void RecordFacts::index(Replaced replaced) {
  indexed_ = true;
  if (ascending_) {
    // Records of one id are neighbours: each replaces the one before it.
    for (Index record = 1; record < count_; ++record) {
      if (chunk(record).ids[record % kChunk] == chunk(record - 1).ids[(record - 1) % kChunk]) {
        replaced(record - 1, record);
      }
    }
    return;
  }
  // Seven tenths full at most: a few probes per look-up, 5.7 bytes per id.
  slots_.assign(std::max<size_t>(1024, static_cast<size_t>(count_) / 7 * 10 + 10), kNone);
  constexpr Index kAhead = 16;  // records whose slots are fetched ahead
  for (Index record = 0; record < count_; ++record) {
    if (record + kAhead < count_) prefetchSlot(id(record + kAhead));
    const long recordId = id(record);
    size_t at = slotOf(recordId);
    while (slots_[at] != kNone && id(slots_[at]) != recordId) at = nextSlot(at);
    const Index earlier = slots_[at];
    slots_[at] = record;
    if (earlier != kNone) replaced(earlier, record);
  }
}

}  // namespace pcd::cli
