// A table keyed by the ids of an extract's records, for the checks that keep
// a few facts per id of files of millions of records: one array of slots
// (open addressing, linear probing, at most three quarters full) instead of
// a heap node per entry. The ids come from the file, so they are hashed
// with the process's key (zel_keyed_hash.h): no choice of ids makes a probe
// run long.
#pragma once

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
    if (slots_.empty()) return nullptr;
    for (size_t at = slotOf(id);; at = (at + 1) & (slots_.size() - 1)) {
      if (!used(at)) return nullptr;
      if (slots_[at].id == id) return &slots_[at].value;
    }
  }
  Value* find(long id) { return const_cast<Value*>(static_cast<const IdTable*>(this)->find(id)); }

  // The value under `id`, `initial` added when there was none (second:
  // true). Throws std::bad_alloc, changing nothing, when it cannot grow.
  std::pair<Value*, bool> insert(long id, const Value& initial = Value()) {
    if (4 * (count_ + 1) > 3 * slots_.size()) grow(slots_.empty() ? 64 : 2 * slots_.size());
    for (size_t at = slotOf(id);; at = (at + 1) & (slots_.size() - 1)) {
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
    size_t size = slots_.empty() ? 64 : slots_.size();
    while (4 * count > 3 * size) size *= 2;
    if (size > slots_.size()) grow(size);
  }

 private:
  struct Slot {
    long id = 0;
    Value value{};
  };

  bool used(size_t at) const { return (used_[at / 64] >> (at % 64) & 1) != 0; }

  size_t slotOf(long id) const {
    return static_cast<size_t>(zel_hash::hashWord(static_cast<uint64_t>(id))) & (slots_.size() - 1);
  }

  // To `size` slots, a power of two.
  void grow(size_t size) {
    std::vector<Slot> oldSlots(size);
    std::vector<uint64_t> oldUsed(size / 64);
    oldSlots.swap(slots_);
    oldUsed.swap(used_);
    for (size_t from = 0; from < oldSlots.size(); ++from) {
      if ((oldUsed[from / 64] >> (from % 64) & 1) == 0) continue;
      size_t at = slotOf(oldSlots[from].id);
      while (used(at)) at = (at + 1) & (slots_.size() - 1);
      slots_[at] = std::move(oldSlots[from]);
      used_[at / 64] |= uint64_t{1} << (at % 64);
    }
  }

  std::vector<Slot> slots_;
  std::vector<uint64_t> used_;  // a bit per slot
  size_t count_ = 0;
};

}  // namespace pcd::cli
