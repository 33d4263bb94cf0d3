#include "output_target.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "temporary_files.h"

namespace pcd::cli {

namespace {

std::string systemError(const std::string& what, const std::string& path) {
  return what + " '" + path + "': " + std::strerror(errno);
}

// The file a path finally names, following symbolic links, so that renaming
// replaces the file and not a link to it. The path itself when it cannot be
// resolved (it does not exist yet).
std::string resolvedPath(const std::string& path) {
  struct stat linkStatus;
  if (lstat(path.c_str(), &linkStatus) != 0 || !S_ISLNK(linkStatus.st_mode)) return path;
  char* resolved = realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return path;
  std::string result(resolved);
  std::free(resolved);
  return result;
}

}  // namespace

OutputTarget::~OutputTarget() {
  discard();
}

void OutputTarget::discard() {
  if (ownsStream_ && stream_ != nullptr) std::fclose(stream_);
  stream_ = nullptr;
  ownsStream_ = false;
  if (!temporaryPath_.empty()) {
    unlink(temporaryPath_.c_str());
    forgetTemporaryFile(signalSlot_);
    signalSlot_ = -1;
    temporaryPath_.clear();
  }
}

bool OutputTarget::open(const std::string& path, std::string& error) {
  if (path.empty() || path == "-") {
    stream_ = stdout;
    return true;
  }
  finalPath_ = resolvedPath(path);
  struct stat status;
  const bool exists = stat(finalPath_.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    // A device or pipe cannot be replaced by renaming; write to it directly.
    stream_ = std::fopen(finalPath_.c_str(), "w");
    if (stream_ == nullptr) {
      error = systemError("cannot open", path);
      return false;
    }
    ownsStream_ = true;
    return true;
  }

  std::string pattern = finalPath_ + ".tmp-XXXXXX";
  int descriptor;
  {
    // A signal waits until the file is recorded for removal.
    const SignalsHeld held;
    descriptor = mkstemp(pattern.data());
    if (descriptor >= 0) {
      // Swapped, not copied: nothing between creating the file and recording
      // it may fail, or the file would be left behind.
      temporaryPath_.swap(pattern);
      signalSlot_ = rememberTemporaryFile(temporaryPath_);
    }
  }
  if (descriptor < 0) {
    error = systemError("cannot create the output file", path);
    return false;
  }
  // mkstemp makes the file private; give it the mode a new file would get
  // (or the mode of the file it replaces).
  mode_t mode;
  if (exists) {
    mode = status.st_mode & 07777;
  } else {
    const mode_t mask = umask(0);
    umask(mask);
    mode = 0666 & ~mask;
  }
  fchmod(descriptor, mode);
  stream_ = fdopen(descriptor, "w");
  if (stream_ == nullptr) {
    // The file goes first: building the message may fail too.
    const int openError = errno;
    close(descriptor);
    discard();
    errno = openError;
    error = systemError("cannot write", finalPath_);
    return false;
  }
  ownsStream_ = true;
  return true;
}

bool OutputTarget::commit(std::string& error) {
  const std::string shownPath = finalPath_.empty() ? "standard output" : finalPath_;
  bool written = std::fflush(stream_) == 0 && !std::ferror(stream_);
  if (!written) error = systemError("cannot write", shownPath);
  if (ownsStream_) {
    const int closed = std::fclose(stream_);
    stream_ = nullptr;
    ownsStream_ = false;
    if (closed != 0 && written) {
      written = false;
      error = systemError("cannot write", shownPath);
    }
  }
  if (!written) {
    discard();
    return false;
  }
  if (!temporaryPath_.empty()) {
    if (std::rename(temporaryPath_.c_str(), finalPath_.c_str()) != 0) {
      error = systemError("cannot replace", finalPath_);
      discard();
      return false;
    }
    // Forgotten only after the rename: a signal in between finds nothing
    // to remove under the temporary name.
    forgetTemporaryFile(signalSlot_);
    signalSlot_ = -1;
    temporaryPath_.clear();
  }
  return true;
}

}  // namespace pcd::cli
