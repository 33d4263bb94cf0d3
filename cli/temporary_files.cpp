#include "temporary_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <cstring>

namespace pcd::cli {

namespace {

// The handler may run at any moment, so the paths live in fixed buffers and
// a slot is published (flag set) only once its path is complete.
constexpr int kSlots = 4;
char paths[kSlots][PATH_MAX];
volatile sig_atomic_t used[kSlots];
volatile sig_atomic_t isFolder[kSlots];

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// Removes a folder of plain files with async-signal-safe calls only: the
// entries are read with the getdents64 system call, not readdir (which
// allocates).
void removeFlatFolder(const char* path) {
  const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder >= 0) {
    alignas(8) char entries[4096];
    for (;;) {
      const long got = syscall(SYS_getdents64, folder, entries, sizeof entries);
      if (got <= 0) break;
      for (long at = 0; at < got;) {
        // struct linux_dirent64: inode (8), offset (8), record length (2), type (1), name.
        unsigned short length;
        std::memcpy(&length, entries + at + 16, sizeof length);
        const char* name = entries + at + 19;
        if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) unlinkat(folder, name, 0);
        at += length;
      }
    }
    close(folder);
  }
  rmdir(path);
}

extern "C" void removeAndReraise(int signalNumber) {
  for (int slot = 0; slot < kSlots; ++slot) {
    if (!used[slot]) continue;
    if (isFolder[slot]) {
      removeFlatFolder(paths[slot]);
    } else {
      unlink(paths[slot]);  // async-signal-safe
    }
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

namespace {

int remember(const std::string& path, bool folder) {
  if (path.size() >= PATH_MAX) return -1;
  for (int slot = 0; slot < kSlots; ++slot) {
    if (used[slot]) continue;
    std::memcpy(paths[slot], path.c_str(), path.size() + 1);
    isFolder[slot] = folder ? 1 : 0;
    used[slot] = 1;
    return slot;
  }
  return -1;
}

}  // namespace

int rememberTemporaryFile(const std::string& path) {
  return remember(path, false);
}

int rememberTemporaryFolder(const std::string& path) {
  return remember(path, true);
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

}  // namespace pcd::cli
