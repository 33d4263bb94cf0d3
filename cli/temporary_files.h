// Temporary files that must not outlive the program, also when it is ended
// by a signal: the output written before its rename, a copy of standard
// input.
#pragma once

#include <signal.h>

#include <string>

namespace pcd::cli {

// Installs handlers for SIGINT, SIGTERM, SIGHUP and SIGPIPE that remove
// every registered temporary file and folder, then end the process by the same signal
// (so the parent sees the usual status). Call once, early.
void removeTemporaryFilesOnSignals();

// Registers `path` for removal by the signal handlers. Returns a slot for
// forgetTemporaryFile, or -1 when the path is too long or every slot is
// taken (the file is then left to the caller's own clean-up alone).
int rememberTemporaryFile(const std::string& path);
// The same for a folder of plain files, removed with its files.
int rememberTemporaryFolder(const std::string& path);
// Unregisters a slot (after the file was renamed or removed); -1 is ignored.
void forgetTemporaryFile(int slot);

// Holds back the handled signals while it lives, so that a file created and
// then registered is never left behind by a signal in between.
class SignalsHeld {
 public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t previous_;  // the signal mask before
};

}  // namespace pcd::cli
