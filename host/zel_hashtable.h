// ZELHashtable: the host's generic hash table of opaque entries.
//
// Subclasses say how entries and keys hash and compare. The table stores
// entry pointers only; it never frees an entry (the owner does, typically by
// walking the entries before calling empty()). Entries are kept in insertion
// order for iteration; an open-addressing index over them gives O(1) average
// add and find, growing as needed, at any size.
//
// The index is tuned for tables of millions of entries keyed by ids that are
// mostly consecutive. Each slot keeps 32 bits of its entry's hash beside the
// entry's position, so probes compare entries only when those bits agree and
// growth re-places slots without hashing any entry again. A key's home slot
// keeps the key's three lowest hash bits as its place within a line of eight
// slots (one cache line) and chooses the line by a keyed hash of the other
// bits (zel_keyed_hash.h): runs of consecutive ids fill and probe whole
// lines, instead of touching one cache line per key, while no input can pick
// keys that crowd into one probe run (at most eight keys share a line's key).
//
// Equal entries: only the newest is in the index; each one indexed in place
// of an older equal entry links to it (olderOf_), so adding a duplicate costs
// the same as adding a new key, however many equal entries there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zel_container.h"

class ZELHashtable : public ZELContainer {
 public:
  explicit ZELHashtable(int initialSize = 16);
  ~ZELHashtable() override;
  ZELHashtable(const ZELHashtable&) = delete;
  ZELHashtable& operator=(const ZELHashtable&) = delete;

  // Removes every entry without freeing any, and allocates nothing (it runs
  // in clean-up code). The index keeps its size. Returns true.
  virtual bool empty();
  // Compare two entries, or an entry with a key: 0 when they match.
  virtual int compare2Object(const void* entryA, const void* entryB) const = 0;
  virtual int compare2Key(const void* entry, const void* key) const = 0;
  virtual unsigned long hashObject(const void* entry) const = 0;
  virtual unsigned long hashKey(const void* key) const = 0;

  // Adds `entry`. With allowDuplicates false an entry equal to one already
  // held is refused (returns false); with true it is added, and from then on
  // findFirst returns the newest of the equal entries. When `where` is given
  // (an iterator of this table) it is moved to the new entry.
  bool add(const void* entry, bool allowDuplicates, Iterator* where);
  // The newest entry that matches `key`, or null. When `where` is given it is
  // moved to the entry found (or past the end).
  void* findFirst(const void* key, Iterator* where);
  // Removes `entry` (the very pointer) if held; the entry is not freed.
  // Iterators stay valid: one on the removed entry yields null until moved.
  bool remove(const void* entry);

  long count() const override { return static_cast<long>(live_); }
  // Calls visit(entry) for every entry, in insertion order, and allocates
  // nothing, so that clean-up code can walk a table without failing. `visit`
  // must not add or remove entries.
  template <class Visit>
  void forEachEntry(Visit visit) const {
    for (const void* entry : entries_) {
      if (entry) visit(const_cast<void*>(entry));
    }
  }
  // Iterates in insertion order; removed entries are skipped.
  Iterator* newIterator(bool fromStart) override;

 private:
  class TableIterator;
  // One index slot: where the entry stands, and its tag, which holds the
  // hash bits that choose its home slot in any index of up to 2^32 slots.
  struct Slot {
    uint32_t position;  // index+1 into entries_, 0 = free
    uint32_t tag;
  };
  static constexpr unsigned kLineBits = 3;  // eight 8-byte slots: one cache line
  // A hash's place: the keyed mix of its bits above the line bits, whose
  // high bits choose the line, and its own low bits, the place in the line.
  struct Place {
    uint64_t lineMix;
    unsigned long hash;
  };
  static Place placeOf(unsigned long hash) noexcept;
  // Bits 31..3: the top 29 bits of the line mix; bits 2..0: the hash's own
  // low bits.
  static uint32_t tagOf(const Place& place) noexcept {
    const auto line = static_cast<uint32_t>(place.lineMix >> 32) & ~uint32_t{7};
    return line | static_cast<uint32_t>(place.hash & 7);
  }
  size_t homeOf(const Place& place) const noexcept {
    const auto line = static_cast<size_t>(place.lineMix >> (64 - (bits_ - kLineBits)));
    return (line << kLineBits) | static_cast<size_t>(place.hash & 7);
  }
  size_t homeOfSlot(const Slot& slot) const;
  void resetIndex(size_t slotCount);
  void growIndex();
  void indexEntries();
  size_t findSlotOf(const void* entry) const;
  size_t findSlotOfEqual(const void* entry) const;
  void compactIfSparse();

  std::vector<const void*> entries_;  // insertion order; null where removed
  std::vector<Slot> slots_;
  // Empty while no two entries were ever equal; then one per entry: the
  // position (index+1) of the next older equal entry, 0 for none.
  std::vector<uint32_t> olderOf_;
  size_t live_ = 0;
  size_t indexed_ = 0;  // entries with a slot: live_ less the older equal ones
  size_t initialSize_;
  unsigned bits_ = 0;         // log2(slots_.size())
  size_t openIterators_ = 0;  // entries_ is not compacted while iterators exist
};
