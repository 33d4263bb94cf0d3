#include "temporary_files.h"

#include <signal.h>
#include <unistd.h>

#include <climits>
#include <cstring>

namespace {

// The handler may run at any moment, so the paths live in fixed buffers and
// a slot is published (flag set) only once its path is complete.
constexpr int kSlots = 4;
char paths[kSlots][PATH_MAX];
volatile sig_atomic_t used[kSlots];

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

extern "C" void removeAndReraise(int signalNumber) {
  for (int slot = 0; slot < kSlots; ++slot) {
    if (used[slot]) unlink(paths[slot]);  // async-signal-safe
  }
  // The default action ends the process by this signal.
  signal(signalNumber, SIG_DFL);
  raise(signalNumber);
}

}  // namespace

void removeTemporaryFilesOnSignals() {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = removeAndReraise;
  sigfillset(&action.sa_mask);  // no second signal while cleaning up
  for (int signalNumber : kSignals) {
    struct sigaction previous;
    // A signal the caller ignores (nohup, a shell's background job) stays
    // ignored.
    if (sigaction(signalNumber, nullptr, &previous) == 0 && previous.sa_handler == SIG_IGN) {
      continue;
    }
    sigaction(signalNumber, &action, nullptr);
  }
}

int rememberTemporaryFile(const std::string& path) {
  if (path.size() >= PATH_MAX) return -1;
  for (int slot = 0; slot < kSlots; ++slot) {
    if (used[slot]) continue;
    std::memcpy(paths[slot], path.c_str(), path.size() + 1);
    used[slot] = 1;
    return slot;
  }
  return -1;
}

void forgetTemporaryFile(int slot) {
  if (slot >= 0 && slot < kSlots) used[slot] = 0;
}

SignalsHeld::SignalsHeld() {
  sigset_t held;
  sigemptyset(&held);
  for (int signalNumber : kSignals) sigaddset(&held, signalNumber);
  pthread_sigmask(SIG_BLOCK, &held, &previous_);
}

SignalsHeld::~SignalsHeld() {
  pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}
