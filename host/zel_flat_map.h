// ZELFlatMap: small keys to non-null pointers, for look-ups made once per
// record or column of a large model. One probe run in one array (open
// addressing, linear probing, at most half full) instead of a heap node per
// entry, as a node-based map would cost.
//
// `Hash` gives a size_t that a Fibonacci multiply spreads, and the slot is
// taken from the product's high bits: a hash that is weak in its low bits
// (an address) still spreads. Tables whose keys come from an input file hash
// them with zel_hash (zel_keyed_hash.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

template <class Key, class Value, class Hash>
class ZELFlatMap {
 public:
  // The value under `key`, or null.
  Value* find(const Key& key) const noexcept {
    if (slots_.empty()) return nullptr;
    for (size_t at = slotOf(key);; at = (at + 1) & (slots_.size() - 1)) {
      const Slot& slot = slots_[at];
      if (slot.value == nullptr) return nullptr;
      if (slot.key == key) return slot.value;
    }
  }
  // Adds `value` (not null) under `key`, which the map does not hold. When
  // there is no memory to grow, throws and changes nothing.
  void add(const Key& key, Value* value) {
    if (2 * (count_ + 1) > slots_.size()) grow();
    place(Slot{key, value});
    ++count_;
  }
  // The entries held.
  size_t size() const noexcept { return count_; }
  // Makes room for `count` entries in all, so that adding them allocates
  // nothing more.
  void reserve(size_t count) {
    unsigned bits = kFirstBits;
    while ((size_t{1} << bits) < 2 * count) ++bits;
    if ((size_t{1} << bits) > slots_.size()) resize(bits);
  }
  // Forgets every entry and frees the memory. Allocates nothing.
  void clear() noexcept {
    std::vector<Slot>().swap(slots_);
    count_ = 0;
  }

 private:
  struct Slot {
    Key key;
    Value* value;  // null: a free slot
  };
  static constexpr unsigned kFirstBits = 6;  // 64 slots

  size_t slotOf(const Key& key) const noexcept {
    return static_cast<size_t>((static_cast<uint64_t>(Hash()(key)) * 0x9E3779B97F4A7C15ull) >>
                               shift_);
  }
  void place(const Slot& slot) noexcept {
    size_t at = slotOf(slot.key);
    while (slots_[at].value != nullptr) at = (at + 1) & (slots_.size() - 1);
    slots_[at] = slot;
  }
  void grow() { resize(slots_.empty() ? kFirstBits : 64 - shift_ + 1); }
  void resize(unsigned bits) {
    std::vector<Slot> larger(size_t{1} << bits, Slot{Key{}, nullptr});
    larger.swap(slots_);  // `larger` holds the old slots now
    shift_ = 64 - bits;
    for (const Slot& slot : larger) {
      if (slot.value != nullptr) place(slot);
    }
  }

  std::vector<Slot> slots_;  // a power of two in size
  unsigned shift_ = 64;      // 64 minus the bits of the slot count
  size_t count_ = 0;
};

// The hash of a map keyed by object addresses (not file contents): the
// address itself, which the map spreads.
struct ZELAddressHash {
  size_t operator()(const void* address) const noexcept {
    return static_cast<size_t>(reinterpret_cast<uintptr_t>(address));
  }
};
