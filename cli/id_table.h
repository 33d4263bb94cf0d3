// A table keyed by the ids of an extract's records, for the checks that keep
// a few facts per id of files of millions of records: one array of slots
// instead of a heap node per entry.
//
// While ids are inserted in ascending order, as extracts list their records,
// the slots are kept in that order and searched by halving: no hashing, and
// growing copies the array instead of placing every entry again. The first
// new id below the last one turns the array into a hashed table (open
// addressing, linear probing, at most three quarters full). The ids come from
// the file, so they are hashed with the process's key (zel_keyed_hash.h): no
// choice of ids makes a probe run long.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "zel_keyed_hash.h"

namespace pcd::cli {

template <class Value>
class IdTable {
 public:
  const Value* find(long id) const {
    if (inOrder_) {
      const auto at =
          std::lower_bound(slots_.begin(), slots_.end(), id,
                           [](const Slot& slot, long sought) { return slot.id < sought; });
      return at != slots_.end() && at->id == id ? &at->value : nullptr;
    }
    if (slots_.empty()) return nullptr;
    for (size_t at = slotOf(id, slots_.size());; at = (at + 1) & (slots_.size() - 1)) {
      if (!used(at)) return nullptr;
      if (slots_[at].id == id) return &slots_[at].value;
    }
  }
  Value* find(long id) { return const_cast<Value*>(static_cast<const IdTable*>(this)->find(id)); }

  // The value under `id`, `initial` added when there was none (second:
  // true). Throws std::bad_alloc, changing nothing, when it cannot grow.
  std::pair<Value*, bool> insert(long id, const Value& initial = Value()) {
    if (inOrder_) {
      if (slots_.empty() || id > slots_.back().id) {
        slots_.push_back(Slot{id, initial});
        ++count_;
        return {&slots_.back().value, true};
      }
      if (Value* found = find(id)) return {found, false};
      hashAll(std::max(wanted_, count_ + 1));
    }
    if (4 * (count_ + 1) > 3 * slots_.size()) rehash(slots_.empty() ? 64 : 2 * slots_.size());
    for (size_t at = slotOf(id, slots_.size());; at = (at + 1) & (slots_.size() - 1)) {
      Slot& slot = slots_[at];
      if (!used(at)) {
        slot = Slot{id, initial};
        used_[at / 64] |= uint64_t{1} << (at % 64);
        ++count_;
        return {&slot.value, true};
      }
      if (slot.id == id) return {&slot.value, false};
    }
  }

  size_t size() const { return count_; }

  // Makes room for `count` entries in all, so that they are added without
  // growing. Throws std::bad_alloc, changing nothing, when it cannot.
  void reserve(size_t count) {
    if (inOrder_) {
      slots_.reserve(count);
      wanted_ = std::max(wanted_, count);
      return;
    }
    const size_t size = tableSize(count);
    if (size > slots_.size()) rehash(size);
  }

 private:
  struct Slot {
    long id = 0;
    Value value{};
  };

  bool used(size_t at) const { return (used_[at / 64] >> (at % 64) & 1) != 0; }

  static size_t slotOf(long id, size_t size) {
    return static_cast<size_t>(zel_hash::hashWord(static_cast<uint64_t>(id))) & (size - 1);
  }

  // The hashed table's size (a power of two) for `count` entries.
  static size_t tableSize(size_t count) {
    size_t size = 64;
    while (4 * count > 3 * size) size *= 2;
    return size;
  }

  // Places `from`'s entries (those `isUsed` accepts) in a new hashed table
  // of `size` slots, which then replaces the slots.
  template <class IsUsed>
  void place(std::vector<Slot>& from, size_t size, IsUsed isUsed) {
    std::vector<Slot> slots(size);
    std::vector<uint64_t> bits(size / 64);
    for (size_t index = 0; index < from.size(); ++index) {
      if (!isUsed(index)) continue;
      size_t at = slotOf(from[index].id, size);
      while ((bits[at / 64] >> (at % 64) & 1) != 0) at = (at + 1) & (size - 1);
      slots[at] = std::move(from[index]);
      bits[at / 64] |= uint64_t{1} << (at % 64);
    }
    slots_.swap(slots);
    used_.swap(bits);
  }

  // From the ordered array to a hashed table for `count` entries.
  void hashAll(size_t count) {
    place(slots_, tableSize(count), [](size_t) { return true; });
    inOrder_ = false;
  }

  void rehash(size_t size) {
    std::vector<Slot> old;
    std::vector<uint64_t> oldUsed;
    old.swap(slots_);
    oldUsed.swap(used_);
    try {
      place(old, size, [&oldUsed](size_t at) { return (oldUsed[at / 64] >> (at % 64) & 1) != 0; });
    } catch (...) {
      slots_.swap(old);
      used_.swap(oldUsed);
      throw;
    }
  }

  std::vector<Slot> slots_;     // in id order, or hashed
  std::vector<uint64_t> used_;  // hashed: a bit per slot
  size_t count_ = 0;
  size_t wanted_ = 0;  // entries reserved for while in order
  bool inOrder_ = true;
};

}  // namespace pcd::cli
