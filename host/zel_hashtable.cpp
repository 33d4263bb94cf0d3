#include "zel_hashtable.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "zel_keyed_hash.h"

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

ZELHashtable::Place ZELHashtable::placeOf(unsigned long hash) noexcept {
  return Place{zel_hash::hashWord(static_cast<uint64_t>(hash) >> kLineBits), hash};
}

size_t ZELHashtable::homeOfSlot(const Slot& slot) const {
  // Up to 2^32 slots the tag holds every bit of the home slot (the same
  // result as homeOf); beyond that, never in practice, the entry is hashed
  // again.
  if (bits_ <= 32) {
    const size_t line = (slot.tag >> kLineBits) >> (32 - bits_);
    return (line << kLineBits) | (slot.tag & 7);
  }
  return homeOf(placeOf(hashObject(entries_[slot.position - 1])));
}

// An empty index of `slotCount` slots (a power of two).
void ZELHashtable::resetIndex(size_t slotCount) {
  std::vector<Slot> fresh(slotCount, Slot{0, 0});
  slots_.swap(fresh);
  bits_ = log2Of(slotCount);
}

// Doubles the index, re-placing the slots from their tags alone. The old
// slots are walked from just behind a free one, so every probe run is met
// in order.
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

// Indexes entries_ afresh (after compaction moved them), oldest first, so
// that each entry equal to an indexed one takes its slot and links to it,
// as add() does. Allocates nothing: olderOf_ only shrinks.
void ZELHashtable::indexEntries() {
  std::fill(slots_.begin(), slots_.end(), Slot{0, 0});
  const bool mayHaveEqual = !olderOf_.empty();
  if (mayHaveEqual) {
    olderOf_.resize(entries_.size());
    std::fill(olderOf_.begin(), olderOf_.end(), 0u);
  }
  indexed_ = 0;
  const size_t mask = slots_.size() - 1;
  for (size_t index = 0; index < entries_.size(); ++index) {
    if (!entries_[index]) continue;
    const auto position = static_cast<uint32_t>(index + 1);
    const Place place = placeOf(hashObject(entries_[index]));
    const uint32_t tag = tagOf(place);
    size_t slot = homeOf(place);
    bool replaced = false;
    for (; slots_[slot].position != 0; slot = (slot + 1) & mask) {
      Slot& held = slots_[slot];
      if (mayHaveEqual && held.tag == tag &&
          compare2Object(entries_[held.position - 1], entries_[index]) == 0) {
        olderOf_[index] = held.position;
        held.position = position;
        replaced = true;
        break;
      }
    }
    if (!replaced) {
      slots_[slot] = Slot{position, tag};
      ++indexed_;
    }
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
  std::vector<uint32_t>().swap(olderOf_);
  std::fill(slots_.begin(), slots_.end(), Slot{0, 0});
  live_ = 0;
  indexed_ = 0;
  return true;
}

bool ZELHashtable::add(const void* entry, bool allowDuplicates, Iterator* where) {
  if (!entry) throw std::invalid_argument("ZELHashtable::add: null entry");
  if (entries_.size() >= std::numeric_limits<uint32_t>::max() - 1u) compactIfSparse();
  if (entries_.size() >= std::numeric_limits<uint32_t>::max() - 1u) {
    throw std::length_error("ZELHashtable: too many entries");
  }
  if (overLoaded(indexed_ + 1, slots_.size())) growIndex();

  const Place place = placeOf(hashObject(entry));
  const uint32_t tag = tagOf(place);
  const size_t mask = slots_.size() - 1;
  const size_t index = entries_.size();
  const auto position = static_cast<uint32_t>(index + 1);
  // Walks the probe sequence to the first free slot, or to the one equal
  // entry indexed (the newest of its key). Only slots whose tag matches are
  // compared, so a unique key costs no compare.
  size_t slot = homeOf(place);
  for (; slots_[slot].position != 0; slot = (slot + 1) & mask) {
    const Slot held = slots_[slot];
    if (held.tag == tag && compare2Object(entries_[held.position - 1], entry) == 0) break;
  }
  const bool replacing = slots_[slot].position != 0;
  if (replacing && !allowDuplicates) return false;

  // Room first, so that a failed allocation changes nothing.
  entries_.push_back(entry);
  try {
    if (replacing && olderOf_.empty()) olderOf_.resize(entries_.size() - 1, 0u);
    if (!olderOf_.empty()) olderOf_.push_back(replacing ? slots_[slot].position : 0u);
  } catch (...) {
    entries_.pop_back();
    throw;
  }
  if (replacing) {
    slots_[slot].position = position;  // equal hashes: the tag stays
  } else {
    slots_[slot] = Slot{position, tag};
    ++indexed_;
  }
  ++live_;
  if (where != nullptr) {
    if (auto* iterator = dynamic_cast<TableIterator*>(where)) {
      if (iterator->belongsTo(*this)) iterator->moveTo(index);
    }
  }
  return true;
}

void* ZELHashtable::findFirst(const void* key, Iterator* where) {
  const Place place = placeOf(hashKey(key));
  const uint32_t tag = tagOf(place);
  const size_t mask = slots_.size() - 1;
  size_t found = kPastEnd;
  for (size_t slot = homeOf(place); slots_[slot].position != 0; slot = (slot + 1) & mask) {
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

// The slot that indexes `entry` itself, or kPastEnd.
size_t ZELHashtable::findSlotOf(const void* entry) const {
  const Place place = placeOf(hashObject(entry));
  const uint32_t tag = tagOf(place);
  const size_t mask = slots_.size() - 1;
  for (size_t slot = homeOf(place); slots_[slot].position != 0; slot = (slot + 1) & mask) {
    if (slots_[slot].tag == tag && entries_[slots_[slot].position - 1] == entry) return slot;
  }
  return kPastEnd;
}

// The slot that indexes an entry equal to `entry`, or kPastEnd.
size_t ZELHashtable::findSlotOfEqual(const void* entry) const {
  const Place place = placeOf(hashObject(entry));
  const uint32_t tag = tagOf(place);
  const size_t mask = slots_.size() - 1;
  for (size_t slot = homeOf(place); slots_[slot].position != 0; slot = (slot + 1) & mask) {
    const Slot& held = slots_[slot];
    if (held.tag == tag && compare2Object(entries_[held.position - 1], entry) == 0) return slot;
  }
  return kPastEnd;
}

bool ZELHashtable::remove(const void* entry) {
  if (!entry) return false;
  size_t gap = findSlotOf(entry);
  if (gap == kPastEnd) {
    // Not indexed: an older equal entry, or not held at all.
    if (olderOf_.empty()) return false;
    const size_t newest = findSlotOfEqual(entry);
    if (newest == kPastEnd) return false;
    // Walks that entry's chain of older equal entries: removing an older
    // duplicate is rare, adding one stays O(1).
    uint32_t before = slots_[newest].position;
    for (uint32_t at = olderOf_[before - 1]; at != 0; before = at, at = olderOf_[at - 1]) {
      if (entries_[at - 1] != entry) continue;
      olderOf_[before - 1] = olderOf_[at - 1];
      olderOf_[at - 1] = 0;
      entries_[at - 1] = nullptr;
      --live_;
      compactIfSparse();
      return true;
    }
    return false;
  }
  const uint32_t position = slots_[gap].position;
  entries_[position - 1] = nullptr;
  --live_;
  if (!olderOf_.empty() && olderOf_[position - 1] != 0) {
    // The next older equal entry takes the slot back.
    slots_[gap].position = olderOf_[position - 1];
    olderOf_[position - 1] = 0;
    compactIfSparse();
    return true;
  }
  --indexed_;

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
