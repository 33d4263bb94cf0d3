// A replacement of the global operator new and delete for this test program
// that counts allocations and, while counting, makes one chosen allocation
// fail: it throws std::bad_alloc, or the nothrow forms return null.
#pragma once

namespace alloc_hook {

constexpr long kNever = 0;  // as failAt: only count

// The program is single-threaded: plain counters are enough.
struct Counters {
  bool counting = false;
  long failAt = kNever;  // the allocation that fails, 1 = the first counted
  long counted = 0;      // allocations while counting
  // Blocks allocated and not yet freed, counting or not: the difference
  // between two readings is what was leaked between them.
  long live = 0;
};
extern Counters counters;

}  // namespace alloc_hook
