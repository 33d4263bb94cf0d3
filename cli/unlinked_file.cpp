#include "unlinked_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace pcd::cli {

bool UnlinkedFile::create(const char* stem, std::string& error) {
  discard();
  const char* base = std::getenv("TMPDIR");
  const std::string folder = base != nullptr && base[0] != '\0' ? base : "/tmp";
#if defined(O_TMPFILE)
  // A file that never has a name: not even a SIGKILL can leave it behind.
  descriptor_ = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
#endif
  if (descriptor_ < 0) {
    // File systems without unnamed files: named for the moment between
    // making and unlinking.
    std::string pattern = folder + "/" + stem + "-XXXXXX";
    descriptor_ = mkostemp(pattern.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
      error = "cannot make a temporary file in '" + folder + "': " + std::strerror(errno);
      return false;
    }
    unlink(pattern.c_str());
  }
  path_ = "/proc/self/fd/" + std::to_string(descriptor_);
  return true;
}

bool UnlinkedFile::append(const char* bytes, std::size_t count, std::string& error) {
  while (count > 0) {
    const ssize_t written = write(descriptor_, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      error = std::strerror(errno);
      return false;
    }
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

void UnlinkedFile::discard() {
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
  path_.clear();
}

}  // namespace pcd::cli
