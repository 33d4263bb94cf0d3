// ZELHashtable: the host's generic hash table of opaque entries.
//
// Subclasses say how entries and keys hash and compare. The table stores
// entry pointers only; it never frees an entry (the owner does, typically by
// walking the entries before calling empty()). Entries are kept in insertion
// order for iteration; an open-addressing index over them gives O(1) average
// add and find, growing as needed, at any size.
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
  void rebuildIndex(size_t slotCount);
  size_t findSlotOf(const void* entry) const;
  size_t homeSlot(unsigned long hash) const noexcept;
  void compactIfSparse();

  std::vector<const void*> entries_;  // insertion order; null where removed
  std::vector<uint32_t> slots_;       // index+1 into entries_, 0 = free
  size_t live_ = 0;
  size_t initialSize_;
  unsigned shift_ = 0;        // 64 - log2(slots_.size())
  size_t openIterators_ = 0;  // entries_ is not compacted while iterators exist
};
