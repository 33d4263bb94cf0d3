// Fault injection for the tests: makes a chosen host operation fail with a
// plain (non-host) exception, so that tests can drive a bridge's
// unexpected-failure path without touching the bridge's code. Only the
// tests' build of the host defines ZEL_FAULT_INJECTION; elsewhere a fault
// point is nothing. Not installed.
#pragma once

namespace zel_testing {

#ifdef ZEL_FAULT_INJECTION
// From now on, the `countdown`-th time (1 = the next time) that a host
// operation passes its fault point, it throws std::runtime_error("injected
// fault"). Arming again replaces the previous setting; 0 disarms.
void armFault(long countdown);
// Called by host operations at their fault point.
void faultPoint();
#else
inline void faultPoint() {}
#endif

}  // namespace zel_testing
