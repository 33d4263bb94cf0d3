#include "pcd/node_id_registry.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

#include "zel_keyed_hash.h"

void** NodeIdRegistry::directEntry(long id) {
  if (id < 0) return nullptr;
  const auto at = static_cast<size_t>(id);
  const size_t page = at >> kPageBits;
  if (page >= pages_.size() || pages_[page] == nullptr) {
    const size_t bound =
        count_ * kDirectPerRecord > kMinDirect ? count_ * kDirectPerRecord : kMinDirect;
    if (at >= bound) return nullptr;
    // Both allocations come before any change, so that a failure changes nothing.
    std::unique_ptr<void*[]> made(new void*[kPageIds]());
    if (page >= pages_.size()) pages_.resize(page + 1);
    pages_[page] = std::move(made);
  }
  return &pages_[page][at & kPageMask];
}

void NodeIdRegistry::add(long id, void* node) {
  if (ascending_) {
    if (addInOrder(id, node)) return;
    leaveOrder();
  }
  addOffOrder(id, node);
}

bool NodeIdRegistry::addInOrder(long id, void* node) {
  if (id < 0 || id > static_cast<long>(UINT32_MAX)) return false;
  const auto narrow = static_cast<uint32_t>(id);
  if (count_ > 0 && narrow < lastId_) return false;
  const size_t at = count_ % kChunkRecords;
  // Each allocation is kept once made, so that a failure changes nothing
  // that a retry would see.
  if (ordered_.size() * kChunkRecords <= count_) {
    std::unique_ptr<OrderedChunk> made(new OrderedChunk);
    ordered_.push_back(std::move(made));
  }
  OrderedChunk& chunk = *ordered_[count_ / kChunkRecords];
  const size_t run = at / kRunIds;
  const size_t place = at % kRunIds;
  const bool opensRun = place == 0;
  const char* const address = static_cast<const char*>(node);
  const char* const first = opensRun ? address : chunk.runNodes[run];
  // Taken as integers: the nodes need not lie in one object.
  const auto distance = static_cast<intptr_t>(reinterpret_cast<uintptr_t>(address) -
                                              reinterpret_cast<uintptr_t>(first));
  const bool far = distance <= kFarNode || distance > INT16_MAX;
  const uint32_t step = opensRun ? 0 : narrow - runFirstIds_[count_ / kRunIds];
  const bool wide = !opensRun && chunk.isWide(run);
  const bool widens = !opensRun && !wide && step > UINT16_MAX;
  if (far) farNodes_.push_back(FarNode{count_, node});
  try {
    if (opensRun) {
      runFirstIds_.push_back(narrow);
      chunk.wideRuns[run / 64] &= ~(uint64_t{1} << (run % 64));
    } else if (widens) {
      WideRun made{count_ / kRunIds, {}};
      for (size_t before = 0; before < place; ++before) {
        made.ids[before] = runFirstIds_[made.run] + chunk.idSteps[at - place + before];
      }
      wideRuns_.push_back(made);
      chunk.wideRuns[run / 64] |= uint64_t{1} << (run % 64);
    }
  } catch (...) {
    if (far) farNodes_.pop_back();
    throw;
  }
  if (wide || widens) wideRuns_.back().ids[place] = narrow;
  chunk.idSteps[at] = static_cast<uint16_t>(step);  // unread in a wide run
  if (opensRun) chunk.runNodes[run] = address;
  chunk.offsets[at] = far ? kFarNode : static_cast<int16_t>(distance);
  lastId_ = narrow;
  ++count_;
  return true;
}

const NodeIdRegistry::WideRun& NodeIdRegistry::wideRun(size_t run) const noexcept {
  return *std::lower_bound(wideRuns_.begin(), wideRuns_.end(), run,
                           [](const WideRun& held, size_t wanted) { return held.run < wanted; });
}

uint32_t NodeIdRegistry::orderedId(size_t record) const noexcept {
  const OrderedChunk& chunk = *ordered_[record / kChunkRecords];
  const size_t at = record % kChunkRecords;
  if (chunk.isWide(at / kRunIds)) return wideRun(record / kRunIds).ids[record % kRunIds];
  return runFirstIds_[record / kRunIds] + chunk.idSteps[at];
}

void* NodeIdRegistry::orderedNode(size_t record) const noexcept {
  const OrderedChunk& chunk = *ordered_[record / kChunkRecords];
  const size_t at = record % kChunkRecords;
  const int16_t offset = chunk.offsets[at];
  if (offset == kFarNode) {
    const auto far =
        std::lower_bound(farNodes_.begin(), farNodes_.end(), record,
                         [](const FarNode& held, size_t wanted) { return held.record < wanted; });
    return far->node;
  }
  const auto base = reinterpret_cast<uintptr_t>(chunk.runNodes[at / kRunIds]);
  return reinterpret_cast<void*>(base + static_cast<uintptr_t>(static_cast<intptr_t>(offset)));
}

namespace {

// The last of `count` ascending ids whose first is not above `id` that is
// not above it either. Halving without a branch on the comparison: the ids
// looked up follow no pattern the processor could predict.
template <class Id>
const Id* lastNotAbove(const Id* ids, size_t count, Id id) noexcept {
  while (count > 1) {
    const size_t half = count / 2;
    ids = ids[half] <= id ? ids + half : ids;
    count -= half;
  }
  return ids;
}

}  // namespace

void* NodeIdRegistry::findInOrder(long id) noexcept {
  if (id < 0 || id > static_cast<long>(UINT32_MAX) || runFirstIds_.empty()) return nullptr;
  const auto narrow = static_cast<uint32_t>(id);
  // The run that holds the id, if any record does, is the last whose first
  // id is not above it. Look-ups mostly come near the one before, so the
  // search gallops out from the run found last, then halves what it spans.
  const uint32_t* firsts = runFirstIds_.data();
  const size_t runs = runFirstIds_.size();
  // Making the buckets costs a pass over the runs: only once that many
  // look-ups (an eighth) have come since the runs last grew.
  if (bucketedRuns_ != runs && ++staleLookUps_ > runs / 8) bucketRuns();
  size_t low = std::min(lastRun_, runs - 1);  // firsts[low] <= narrow, once found
  size_t high;                                // firsts[high] > narrow, or runs
  if (bucketedRuns_ == runs) {
    if (narrow < firsts[0]) return nullptr;
    const size_t buckets = bucketRuns_.size();
    const size_t bucket =
        std::min(static_cast<size_t>((narrow - firsts[0]) >> bucketShift_), buckets - 1);
    low = bucketRuns_[bucket];
    // The next bucket's first id is above this one: its run ends the span.
    high = bucket + 1 < buckets ? bucketRuns_[bucket + 1] + size_t{1} : runs;
  } else if (firsts[low] <= narrow) {
    for (size_t step = 1;; step *= 2) {
      high = low + step < runs ? low + step : runs;
      if (high == runs || firsts[high] > narrow) break;
      low = high;
    }
  } else {
    high = low;
    for (size_t step = 1;; step *= 2) {
      if (high == 0) return nullptr;  // below the first id
      low = high > step ? high - step : 0;
      if (firsts[low] <= narrow) break;
      high = low;
    }
  }
  const size_t run = static_cast<size_t>(lastNotAbove(firsts + low, high - low, narrow) - firsts);
  lastRun_ = run;
  // The last record of the id in the run is the newest.
  const size_t first = run * kRunIds;
  const size_t end = std::min(first + kRunIds, count_);  // a run never leaves its chunk
  const OrderedChunk& chunk = *ordered_[first / kChunkRecords];
  const size_t at = first % kChunkRecords;
  size_t place;
  if (chunk.isWide(at / kRunIds)) {
    const uint32_t* ids = wideRun(run).ids;
    place = static_cast<size_t>(lastNotAbove(ids, end - first, narrow) - ids);
    if (ids[place] != narrow) return nullptr;
  } else {
    // Steps in a run that is not wide are below 2^16: an id further on
    // is searched as the largest step, then told apart by its own.
    const uint32_t step = narrow - firsts[run];
    const uint16_t* steps = chunk.idSteps + at;
    const auto sought = static_cast<uint16_t>(std::min<uint32_t>(step, UINT16_MAX));
    place = static_cast<size_t>(lastNotAbove(steps, end - first, sought) - steps);
    if (steps[place] != step) return nullptr;
  }
  return orderedNode(first + place);
}

void NodeIdRegistry::bucketRuns() noexcept {
  staleLookUps_ = 0;
  const uint32_t* firsts = runFirstIds_.data();
  const size_t runs = runFirstIds_.size();
  const uint64_t span = uint64_t{firsts[runs - 1]} - firsts[0];
  unsigned shift = 0;
  while ((span >> shift) >= runs) ++shift;
  const size_t buckets = static_cast<size_t>(span >> shift) + 1;
  try {
    bucketRuns_.resize(buckets);
  } catch (const std::bad_alloc&) {
    bucketedRuns_ = 0;
    return;
  }
  size_t run = 0;
  for (size_t bucket = 0; bucket < buckets; ++bucket) {
    const uint64_t start = uint64_t{firsts[0]} + (uint64_t{bucket} << shift);
    while (run + 1 < runs && firsts[run + 1] <= start) ++run;
    bucketRuns_[bucket] = static_cast<uint32_t>(run);
  }
  bucketShift_ = shift;
  bucketedRuns_ = runs;
}

void NodeIdRegistry::leaveOrder() {
  const size_t count = count_;
  count_ = 0;
  try {
    for (size_t record = 0; record < count; ++record) {
      addOffOrder(orderedId(record), orderedNode(record));
    }
  } catch (...) {
    forgetOffOrder();
    count_ = count;
    throw;
  }
  ascending_ = false;
  std::vector<std::unique_ptr<OrderedChunk>>().swap(ordered_);
  std::vector<FarNode>().swap(farNodes_);
  std::vector<WideRun>().swap(wideRuns_);
  std::vector<uint32_t>().swap(runFirstIds_);
  std::vector<uint32_t>().swap(bucketRuns_);
  bucketedRuns_ = 0;
  staleLookUps_ = 0;
}

void NodeIdRegistry::addOffOrder(long id, void* node) {
  if (void** entry = directEntry(id)) {
    *entry = node;
  } else {
    addSparse(id, node);
    ++sparseCount_;
  }
  ++count_;
}

NodeIdRegistry::Place NodeIdRegistry::placeOf(long id) const noexcept {
  // Eight consecutive ids share a line of eight slots (one cache line), the
  // line chosen by the top bits of a keyed hash of the other bits: nodes are
  // mostly looked up near the ids looked up last, and no input can crowd one
  // line with more than eight ids. The tag is the hash's top 29 bits and the
  // id's low 3, its place in the line: neighbours' tags differ, and the tag
  // alone gives the slot's home, so growing reads no node.
  const auto low = static_cast<uint32_t>(static_cast<uint64_t>(id) & 7);
  const uint64_t hash = zel_hash::hashWord(static_cast<uint64_t>(id) >> 3);
  const uint32_t tag = (static_cast<uint32_t>(hash >> 32) & ~uint32_t{7}) | low;
  return Place{homeOf(tag), tag};
}

size_t NodeIdRegistry::homeOf(uint32_t tag) const noexcept {
  const size_t line = lineBits_ == 0 ? 0 : static_cast<size_t>(tag >> 3) >> (29 - lineBits_);
  return (line << 3) | (tag & 7);
}

size_t NodeIdRegistry::slotFor(long id, const Place& place) const noexcept {
  for (size_t slot = place.home;; slot = (slot + 1) & slotMask_) {
    if (slots_[slot] == nullptr) return slot;
    if (tags_[slot] == place.tag && idOf_(slots_[slot]) == id) return slot;
  }
}

void* NodeIdRegistry::findSparse(long id) const noexcept {
  return slots_[slotFor(id, placeOf(id))];
}

void NodeIdRegistry::addSparse(long id, void* node) {
  if (slots_ == nullptr || (sparseIds_ + 1) * 8 > (slotMask_ + 1) * 7) growSparse();
  const Place place = placeOf(id);
  const size_t slot = slotFor(id, place);
  if (slots_[slot] == nullptr) ++sparseIds_;
  slots_[slot] = node;
  tags_[slot] = place.tag;
}

void NodeIdRegistry::growSparse() {
  const size_t count = slots_ == nullptr ? kFirstSlots : (slotMask_ + 1) * 2;
  // A tag places a slot in at most 2^32 slots.
  if (count > (size_t{1} << 32)) throw std::bad_alloc();
  // Both allocations come before any change, so that a failure changes nothing.
  std::unique_ptr<void*[]> slots(new void*[count]());
  std::unique_ptr<uint32_t[]> tags(new uint32_t[count]());
  std::unique_ptr<void*[]> oldSlots = std::move(slots_);
  std::unique_ptr<uint32_t[]> oldTags = std::move(tags_);
  const size_t oldCount = oldSlots == nullptr ? 0 : slotMask_ + 1;
  slots_ = std::move(slots);
  tags_ = std::move(tags);
  slotMask_ = count - 1;
  lineBits_ = 0;
  while ((size_t{8} << lineBits_) < count) ++lineBits_;
  for (size_t at = 0; at < oldCount; ++at) {
    if (oldSlots[at] == nullptr) continue;
    size_t slot = homeOf(oldTags[at]);
    while (slots_[slot] != nullptr) slot = (slot + 1) & slotMask_;
    slots_[slot] = oldSlots[at];
    tags_[slot] = oldTags[at];
  }
}

void NodeIdRegistry::forgetOffOrder() noexcept {
  std::vector<std::unique_ptr<void*[]>>().swap(pages_);
  slots_.reset();
  tags_.reset();
  slotMask_ = 0;
  lineBits_ = 0;
  sparseIds_ = 0;
  sparseCount_ = 0;
}

void NodeIdRegistry::empty() noexcept {
  ascending_ = true;
  std::vector<std::unique_ptr<OrderedChunk>>().swap(ordered_);
  std::vector<FarNode>().swap(farNodes_);
  std::vector<WideRun>().swap(wideRuns_);
  std::vector<uint32_t>().swap(runFirstIds_);
  std::vector<uint32_t>().swap(bucketRuns_);
  bucketedRuns_ = 0;
  staleLookUps_ = 0;
  forgetOffOrder();
  count_ = 0;
}
