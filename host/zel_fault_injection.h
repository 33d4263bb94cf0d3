// Test hook: makes a chosen host operation fail with a plain (non-host)
// exception, so that tests can drive a bridge's unexpected-failure path
// without touching the bridge's code. Disarmed it costs one branch.
#pragma once

namespace zel_testing {

// From now on, the `countdown`-th time (1 = the next time) that a host
// operation passes its fault point, it throws std::runtime_error("injected
// fault"). Arming again replaces the previous setting; 0 disarms.
void armFault(long countdown);
// Called by host operations at their fault point.
void faultPoint();

}  // namespace zel_testing
