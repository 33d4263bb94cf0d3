// The process-wide tables behind the model (the object pool, the far
// addresses of links, the general pointers) are made on first use and never
// destroyed: objects may be deleted during the exit of the process, after
// any table with a destructor would be gone. They are made in static storage,
// not on the heap.
#pragma once

#include <new>

template <class T>
T& zelImmortal() {
  alignas(T) static unsigned char storage[sizeof(T)];
  static T* const instance = new (storage) T;
  return *instance;
}
