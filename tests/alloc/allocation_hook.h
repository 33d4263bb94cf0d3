// A replacement of the global operator new and delete for this test program
// that counts allocations and, when armed, makes one chosen allocation fail.
#pragma once

#include <cstddef>

namespace alloc_hook {

// Never fail (allocations are still counted).
constexpr long kNever = 0;

// From now on the `n`-th allocation (1 = the next one) throws std::bad_alloc
// (the nothrow forms return null); kNever only counts. Resets the count.
void arm(long n);
// Stops failing; the count stays readable.
void disarm();
// Allocations since the last arm().
long allocationsSinceArm();
// Whether the armed allocation has failed since the last arm().
bool failed();
// Blocks allocated through operator new and not yet freed, whatever the
// arming: the difference between two readings is what was leaked between them.
long liveBlocks();

}  // namespace alloc_hook
