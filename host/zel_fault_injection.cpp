#include "zel_fault_injection.h"

#include <stdexcept>

namespace zel_testing {
namespace {
// Passes left until the injected fault; 0 = disarmed. Test-only and not
// thread-safe, like the model operations it interrupts.
long faultCountdown = 0;
}  // namespace

void armFault(long countdown) {
  faultCountdown = countdown > 0 ? countdown : 0;
}

void faultPoint() {
  if (faultCountdown != 0 && --faultCountdown == 0) throw std::runtime_error("injected fault");
}

}  // namespace zel_testing
