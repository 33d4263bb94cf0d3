// What `check` keeps of each record of an extract until the last one has
// been read, so that every id can be resolved as the import resolves it:
// the record's id, from and to ids, line and kind, and a few flags the
// cross-checks set, in 18 bytes per record (values of up to 32 bits in
// place, larger ones beside them), in chunks that never move; and which
// record each id names (the last one defining it), in 4-byte slots of a
// table hashed with the process's key, so no choice of ids crowds it.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace pcd::cli {

class RecordFacts {
 public:
  using Index = uint32_t;  // records in file order, from 0
  static constexpr Index kNone = 0xffffffff;

  // Adds a record; returns the record of the same id it replaces as the one
  // its id names, or kNone. Throws std::bad_alloc when memory (or the
  // numbering) runs out.
  Index add(long id, long fromId, long toId, long line, uint8_t kind);

  Index size() const { return count_; }
  // The record `id` names, or kNone.
  Index find(long id) const;

  long id(Index record) const { return value(record, kId); }
  long fromId(Index record) const { return value(record, kFrom); }
  long toId(Index record) const { return value(record, kTo); }
  long line(Index record) const { return value(record, kLine); }
  uint8_t kind(Index record) const { return chunk(record).kinds[record % kChunk]; }
  bool has(Index record, uint8_t flag) const {
    return (chunk(record).flags[record % kChunk] & flag) != 0;
  }
  void set(Index record, uint8_t flag) { chunk(record).flags[record % kChunk] |= flag; }

 private:
  enum Field { kId, kFrom, kTo, kLine, kFields };
  static constexpr Index kChunk = 1 << 14;
  static constexpr uint32_t kWide = 0xffffffff;  // the value is in wide_
  struct Chunk {
    uint32_t values[kFields][kChunk];
    uint8_t kinds[kChunk];
    uint8_t flags[kChunk];
  };

  Chunk& chunk(Index record) const { return *chunks_[record / kChunk]; }
  long value(Index record, Field field) const {
    const uint32_t narrow = chunk(record).values[field][record % kChunk];
    return narrow != kWide ? static_cast<long>(narrow) : wide_.at(wideKey(record, field));
  }
  void store(Index record, Field field, long value);
  static uint64_t wideKey(Index record, Field field) {
    return static_cast<uint64_t>(record) * kFields + field;
  }
  size_t slotOf(long id) const;
  void grow();

  std::vector<std::unique_ptr<Chunk>> chunks_;
  Index count_ = 0;
  std::unordered_map<uint64_t, long> wide_;  // by record and field
  std::vector<Index> slots_;                 // kNone: free
  Index indexed_ = 0;                        // distinct ids
};

}  // namespace pcd::cli
