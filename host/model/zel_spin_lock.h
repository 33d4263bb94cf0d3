// The lock of the process-wide tables behind the model (the object pool, the
// far addresses of links, the general pointers): held for a few
// instructions at a time, so a waiting thread spins, yielding, rather than
// sleeping. Use it with std::lock_guard.
#pragma once

#include <atomic>
#include <thread>

class ZELSpinLock {
 public:
  void lock() noexcept {
    while (flag_.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
  }
  void unlock() noexcept { flag_.clear(std::memory_order_release); }

 private:
  std::atomic_flag flag_ = ATOMIC_FLAG_INIT;
};
