#include "zel_vector.h"

#include <cstddef>
#include <limits>

namespace {
constexpr long kPastEnd = std::numeric_limits<long>::max();
}  // namespace

// A position by index; kPastEnd is past the end, whatever is added later.
class ZELVector::VectorIterator : public ZELContainer::Iterator {
 public:
  VectorIterator(const ZELVector& vector, long position) : vector_(vector), position_(position) {}

  void* get() override { return vector_.get(position_); }
  // Moves `steps` elements (negative: backward; from past the end back to
  // the last element). Leaving either end puts the iterator past the end.
  void* next(int steps) override {
    const long count = vector_.count();
    long at = position_ == kPastEnd ? count : position_;
    if (position_ == kPastEnd && steps > 0) return nullptr;
    at += steps;
    position_ = at >= 0 && at < count ? at : kPastEnd;
    return get();
  }

  void moveTo(long position) { position_ = position; }
  bool belongsTo(const ZELVector& vector) const { return &vector_ == &vector; }

 private:
  const ZELVector& vector_;
  long position_;
};

ZELVector::ZELVector(int capacity) {
  if (capacity > 0) elements_.reserve(static_cast<size_t>(capacity));
}

bool ZELVector::append(const void* element) {
  elements_.push_back(element);
  return true;
}

bool ZELVector::add(const void* element, bool allowDuplicates, Iterator* where) {
  if (!allowDuplicates) {
    for (const void* held : elements_) {
      if (compare2Object(held, element) == 0) return false;
    }
  }
  elements_.push_back(element);
  if (auto* iterator = dynamic_cast<VectorIterator*>(where)) {
    if (iterator->belongsTo(*this)) iterator->moveTo(count() - 1);
  }
  return true;
}

void* ZELVector::findFirst(const void* key, Iterator* where) {
  long found = kPastEnd;
  for (size_t index = 0; index < elements_.size(); ++index) {
    if (compare2Key(elements_[index], key) == 0) {
      found = static_cast<long>(index);
      break;
    }
  }
  if (auto* iterator = dynamic_cast<VectorIterator*>(where)) {
    if (iterator->belongsTo(*this)) iterator->moveTo(found);
  }
  return found == kPastEnd ? nullptr : const_cast<void*>(elements_[found]);
}

void ZELVector::removeAt(long index) {
  if (index >= 0 && index < count()) elements_.erase(elements_.begin() + index);
}

ZELContainer::Iterator* ZELVector::newIterator(bool fromStart) {
  return new VectorIterator(*this, fromStart && count() > 0 ? 0 : kPastEnd);
}

int ZELVector::compare2Key(const void* element, const void* key) const {
  return element == key ? 0 : (element < key ? -1 : 1);
}
