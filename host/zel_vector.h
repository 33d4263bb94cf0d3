// ZELVector: the host's growable array of opaque element pointers.
#pragma once

#include <vector>

#include "zel_container.h"

class ZELVector : public ZELContainer {
 public:
  explicit ZELVector(int capacity = 10);
  ~ZELVector() override = default;

  // Appends `element` (duplicates allowed); returns true.
  bool append(const void* element);
  // Adds `element` at the end. With allowDuplicates false an element that
  // compare2Object finds equal to one already held is refused (returns false). `where`, when
  // given, is moved to the new element.
  bool add(const void* element, bool allowDuplicates, Iterator* where);
  // The first element for which compare2Key(element, key) is 0, or null;
  // `where`, when given, is moved to it.
  void* findFirst(const void* key, Iterator* where);
  // Removes the element at `index`, keeping the order of the others.
  void removeAt(long index);
  void removeAll() { elements_.clear(); }

  long count() const override { return static_cast<long>(elements_.size()); }
  void* get(long index) const {
    return index >= 0 && index < count() ? const_cast<void*>(elements_[index]) : nullptr;
  }
  void* operator[](long index) const { return get(index); }
  Iterator* newIterator(bool fromStart) override;

  // Element-to-key comparison used by findFirst; the default compares the
  // pointers themselves.
  virtual int compare2Key(const void* element, const void* key) const;
  // Element-to-element comparison used by add to refuse duplicates; the
  // default is compare2Key, for vectors whose keys are their elements.
  virtual int compare2Object(const void* elementA, const void* elementB) const {
    return compare2Key(elementA, elementB);
  }

 private:
  class VectorIterator;
  std::vector<const void*> elements_;
};
