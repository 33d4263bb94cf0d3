// The base of the host's containers and their iterators.
#pragma once

class ZELContainer {
 public:
  // A position in a container. get() yields the element at the position (null
  // past the end); next(n) moves n elements on and yields the new element.
  class Iterator {
   public:
    virtual ~Iterator() = default;
    virtual void* get() = 0;
    virtual void* next(int steps = 1) = 0;
  };

  virtual ~ZELContainer() = default;
  // Number of elements held.
  virtual long count() const = 0;
  // A new iterator on the first element (fromStart true) or past the end;
  // delete it with deleteIterator.
  virtual Iterator* newIterator(bool fromStart) = 0;
  void deleteIterator(Iterator* iterator) { delete iterator; }
};
