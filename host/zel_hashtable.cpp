#include "zel_hashtable.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace {

constexpr size_t kPastEnd = std::numeric_limits<size_t>::max();
// Two lines of eight slots at least, so that a line index has a bit.
constexpr size_t kMinSlots = 16;

// The index holds at most 5/8 of its slots, so probe runs stay short.
bool overLoaded(size_t entries, size_t slots) {
  return entries * 8 > slots * 5;
}

size_t slotsFor(size_t entries) {
  size_t slots = kMinSlots;
  while (overLoaded(entries, slots)) slots *= 2;
  return slots;
}

unsigned log2Of(size_t powerOfTwo) {
  unsigned bits = 0;
  while ((size_t{1} << bits) < powerOfTwo) ++bits;
  return bits;
}

}  // namespace

// A position in entries_; kPastEnd is past the end, whatever is added later.
class ZELHashtable::TableIterator : public ZELContainer::Iterator {
 public:
  TableIterator(ZELHashtable& table, size_t position) : table_(table), position_(position) {
    ++table_.openIterators_;
  }
  ~TableIterator() override { --table_.openIterators_; }

  void* get() override {
    return position_ < table_.entries_.size() ? const_cast<void*>(table_.entries_[position_])
                                              : nullptr;
  }

  // Moves over live entries: forward for positive steps, backward for
  // negative ones (from past the end back to the last entry). Stepping off
  // either end leaves the iterator past the end.
  void* next(int steps) override {
    const std::vector<const void*>& entries = table_.entries_;
    for (; steps > 0 && position_ != kPastEnd; --steps) {
      size_t at = position_ + 1;
      while (at < entries.size() && !entries[at]) ++at;
      position_ = at < entries.size() ? at : kPastEnd;
    }
    for (; steps < 0; ++steps) {
      size_t at = position_ == kPastEnd ? entries.size() : position_;
      while (at > 0 && !entries[at - 1]) --at;
      if (at == 0) {
        position_ = kPastEnd;
        break;
      }
      position_ = at - 1;
    }
    return get();
  }

  void moveTo(size_t position) { position_ = position; }
  bool belongsTo(const ZELHashtable& table) const { return &table_ == &table; }

 private:
  ZELHashtable& table_;
  size_t position_;
};

ZELHashtable::ZELHashtable(int initialSize)
    : initialSize_(initialSize > 0 ? static_cast<size_t>(initialSize) : 0) {
  entries_.reserve(initialSize_);
  resetIndex(slotsFor(initialSize_));
}

ZELHashtable::~ZELHashtable() = default;

size_t ZELHashtable::homeOfSlot(const Slot& slot) const {
  // Up to 2^32 slots the tag holds every bit of the home slot (the same
  // result as homeOfHash); beyond that, never in practice, the entry is
  // hashed again.
  if (bits_ <= 32) {
    const size_t line = (slot.tag >> kLineBits) >> (32 - bits_);
    return (line << kLineBits) | (slot.tag & 7);
  }
  return homeOfHash(hashObject(entries_[slot.position - 1]));
}

// An empty index of `slotCount` slots (a power of two).
void ZELHashtable::resetIndex(size_t slotCount) {
  std::vector<Slot> fresh(slotCount, Slot{0, 0});
  slots_.swap(fresh);
  bits_ = log2Of(slotCount);
}

// Doubles the index, re-placing the slots from their tags alone. The old
// slots are walked from just behind a free one, so every probe run is met
// in order and equal entries keep their newest-first order.
void ZELHashtable::growIndex() {
  std::vector<Slot> old(slots_.size() * 2, Slot{0, 0});
  old.swap(slots_);
  bits_ = log2Of(slots_.size());
  const size_t mask = slots_.size() - 1;
  const size_t oldMask = old.size() - 1;
  size_t start = 0;
  while (old[start].position != 0) ++start;  // the load limit keeps one free
  for (size_t step = 1; step <= old.size(); ++step) {
    const Slot& moved = old[(start + step) & oldMask];
    if (moved.position == 0) continue;
    size_t slot = homeOfSlot(moved);
    while (slots_[slot].position != 0) slot = (slot + 1) & mask;
    slots_[slot] = moved;
  }
}

// Indexes entries_ afresh (after compaction moved them). Entries go in
// newest first, so that of equal entries the newest comes first in the
// probe sequence.
void ZELHashtable::indexEntries() {
  std::fill(slots_.begin(), slots_.end(), Slot{0, 0});
  const size_t mask = slots_.size() - 1;
  for (size_t index = entries_.size(); index-- > 0;) {
    if (!entries_[index]) continue;
    const unsigned long hash = hashObject(entries_[index]);
    size_t slot = homeOfHash(hash);
    while (slots_[slot].position != 0) slot = (slot + 1) & mask;
    slots_[slot] = Slot{static_cast<uint32_t>(index + 1), tagOf(hash)};
  }
}

// Drops removed entries from entries_ once they are the majority. Positions
// change, so not while an iterator holds one.
void ZELHashtable::compactIfSparse() {
  if (openIterators_ != 0 || (entries_.size() - live_) * 2 <= entries_.size()) return;
  size_t kept = 0;
  for (const void* entry : entries_) {
    if (entry) entries_[kept++] = entry;
  }
  entries_.resize(kept);
  indexEntries();
}

bool ZELHashtable::empty() {
  // Swapping with an empty vector frees the entries without allocating; a
  // smaller index would need an allocation, so the index is cleared in place.
  std::vector<const void*>().swap(entries_);
  std::fill(slots_.begin(), slots_.end(), Slot{0, 0});
  live_ = 0;
  return true;
}

bool ZELHashtable::add(const void* entry, bool allowDuplicates, Iterator* where) {
  if (!entry) throw std::invalid_argument("ZELHashtable::add: null entry");
  if (entries_.size() >= std::numeric_limits<uint32_t>::max() - 1u) compactIfSparse();
  if (entries_.size() >= std::numeric_limits<uint32_t>::max() - 1u) {
    throw std::length_error("ZELHashtable: too many entries");
  }
  if (overLoaded(live_ + 1, slots_.size())) growIndex();

  const unsigned long hash = hashObject(entry);
  const uint32_t tag = tagOf(hash);
  const size_t mask = slots_.size() - 1;
  const size_t index = entries_.size();
  entries_.push_back(entry);
  // Walks the probe sequence to the first free slot. An equal entry on the
  // way refuses the add, or, with duplicates, gives up its slot to the one
  // being placed and is carried on: equal entries stay newest first. Only
  // slots whose tag matches are compared, so a unique key costs no compare.
  Slot carried{static_cast<uint32_t>(index + 1), tag};
  size_t slot = homeOfHash(hash);
  for (; slots_[slot].position != 0; slot = (slot + 1) & mask) {
    const Slot held = slots_[slot];
    if (held.tag != tag || compare2Object(entries_[held.position - 1], entry) != 0) continue;
    if (!allowDuplicates) {
      entries_.pop_back();
      return false;
    }
    slots_[slot] = carried;
    carried = held;
  }
  slots_[slot] = carried;
  ++live_;
  if (where != nullptr) {
    if (auto* iterator = dynamic_cast<TableIterator*>(where)) {
      if (iterator->belongsTo(*this)) iterator->moveTo(index);
    }
  }
  return true;
}

void* ZELHashtable::findFirst(const void* key, Iterator* where) {
  const unsigned long hash = hashKey(key);
  const uint32_t tag = tagOf(hash);
  const size_t mask = slots_.size() - 1;
  size_t found = kPastEnd;
  for (size_t slot = homeOfHash(hash); slots_[slot].position != 0; slot = (slot + 1) & mask) {
    const Slot& held = slots_[slot];
    if (held.tag == tag && compare2Key(entries_[held.position - 1], key) == 0) {
      found = held.position - 1;
      break;
    }
  }
  if (where) {
    if (auto* iterator = dynamic_cast<TableIterator*>(where)) {
      if (iterator->belongsTo(*this)) iterator->moveTo(found);
    }
  }
  return found == kPastEnd ? nullptr : const_cast<void*>(entries_[found]);
}

size_t ZELHashtable::findSlotOf(const void* entry) const {
  const unsigned long hash = hashObject(entry);
  const uint32_t tag = tagOf(hash);
  const size_t mask = slots_.size() - 1;
  for (size_t slot = homeOfHash(hash); slots_[slot].position != 0; slot = (slot + 1) & mask) {
    if (slots_[slot].tag == tag && entries_[slots_[slot].position - 1] == entry) return slot;
  }
  return kPastEnd;
}

bool ZELHashtable::remove(const void* entry) {
  if (!entry) return false;
  size_t gap = findSlotOf(entry);
  if (gap == kPastEnd) return false;
  entries_[slots_[gap].position - 1] = nullptr;
  --live_;

  // Backward-shift deletion: pull later members of the probe run into the
  // gap when their home slot allows it, so that no lookup stops early and
  // no tombstones accumulate. Relative order along the run is kept.
  const size_t mask = slots_.size() - 1;
  slots_[gap] = Slot{0, 0};
  for (size_t slot = (gap + 1) & mask; slots_[slot].position != 0; slot = (slot + 1) & mask) {
    const size_t home = homeOfSlot(slots_[slot]);
    // Movable when its home does not lie cyclically in (gap, slot].
    const bool homeInRange =
        gap <= slot ? (home > gap && home <= slot) : (home > gap || home <= slot);
    if (homeInRange) continue;
    slots_[gap] = slots_[slot];
    slots_[slot] = Slot{0, 0};
    gap = slot;
  }
  compactIfSparse();
  return true;
}

ZELContainer::Iterator* ZELHashtable::newIterator(bool fromStart) {
  auto* iterator = new TableIterator(*this, kPastEnd);
  if (fromStart) {
    size_t first = 0;
    while (first < entries_.size() && !entries_[first]) ++first;
    iterator->moveTo(first < entries_.size() ? first : kPastEnd);
  }
  return iterator;
}
