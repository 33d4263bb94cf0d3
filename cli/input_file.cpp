#include "input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "binary_signature.h"
#include "zel_text_io.h"

namespace pcd::cli {

namespace {

std::string descriptorPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

// Reads up to `count` bytes from the start of the file at `path`; fewer at
// its end, 0 when it cannot be read.
std::size_t readStart(const std::string& path, unsigned char* bytes, std::size_t count) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return 0;
  std::size_t total = 0;
  while (total < count) {
    const ssize_t got = read(descriptor, bytes + total, count - total);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    total += static_cast<std::size_t>(got);
  }
  close(descriptor);
  return total;
}

}  // namespace

bool InputFile::copyStream(int descriptor, std::string& error) {
  // A pipe can be read only once, but the bridge opens the file by name and
  // an error's context needs the offending line again: copy it into an
  // unlinked file.
  std::string why;
  if (!copy_.create("pcd-import-input", why)) {
    error = "cannot copy " + shownName_ + ": " + why;
    return false;
  }
  const std::uintmax_t maxInput = maxInputBytes_ != 0 ? maxInputBytes_ : kDefaultMaxInputBytes;
  // A carriage return before a line's end is not counted, as the reader
  // does not count it.
  const std::uintmax_t maxLine = static_cast<std::uintmax_t>(maxLineBytes()) + 1;
  std::uintmax_t lineBytes = 0;  // of the line being copied
  long line = 1;
  // A copy that stops is dropped at once: its disk space is freed now.
  const auto stop = [this](std::string message, std::string& failure) {
    copy_.discard();
    failure = std::move(message);
    return false;
  };
  char buffer[1 << 16];
  for (;;) {
    const ssize_t got = read(descriptor, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return stop("cannot read " + shownName_ + ": " + std::strerror(errno), error);
    if (got == 0) break;
    const auto count = static_cast<std::size_t>(got);
    if (count > maxInput - size_) {
      return stop(shownName_ + " is longer than " + std::to_string(maxInput) +
                      " bytes (--max-input-bytes); nothing was imported",
                  error);
    }
    for (const char* at = buffer; at < buffer + count;) {
      const auto* end = static_cast<const char*>(std::memchr(at, '\n', buffer + count - at));
      lineBytes += static_cast<std::uintmax_t>((end != nullptr ? end : buffer + count) - at);
      if (lineBytes > maxLine) {
        return stop("line " + std::to_string(line) + " of " + shownName_ + " is longer than " +
                        std::to_string(maxLineBytes()) +
                        " bytes (--max-line-bytes); nothing was imported",
                    error);
      }
      if (end == nullptr) break;
      lineBytes = 0;
      ++line;
      at = end + 1;
    }
    if (!copy_.append(buffer, count, why)) {
      return stop("cannot copy " + shownName_ + " to a temporary file: " + why, error);
    }
    size_ += static_cast<std::uintmax_t>(got);
  }
  path_ = copy_.path();
  return true;
}

bool InputFile::identify(const std::string& argument, std::string& error) {
  isStandardInput_ = argument == "-";
  shownName_ = isStandardInput_ ? "standard input" : argument;
  path_ = argument;
  struct stat status;
  if (isStandardInput_) {
    if (fstat(STDIN_FILENO, &status) != 0) {
      error = std::string("cannot read standard input: ") + std::strerror(errno);
      return false;
    }
    // A redirected file is opened again through its descriptor.
    path_ = descriptorPath(STDIN_FILENO);
  } else if (stat(path_.c_str(), &status) != 0) {
    return true;  // the bridge reports a file that cannot be opened
  }
  identified_ = true;
  device_ = status.st_dev;
  inode_ = status.st_ino;
  isStream_ = S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode) || S_ISSOCK(status.st_mode);
  if (S_ISREG(status.st_mode)) size_ = static_cast<std::uintmax_t>(status.st_size);
  return true;
}

bool InputFile::prepare(std::string& error) {
  const std::uintmax_t maxInput = maxInputBytes_ != 0 ? maxInputBytes_ : kDefaultMaxInputBytes;
  if (size_ > maxInput) {
    error = "'" + shownName_ + "' is larger than " + std::to_string(maxInput) +
            " bytes (--max-input-bytes)";
    return false;
  }
  if (isStream_) {
    int descriptor = STDIN_FILENO;
    if (!isStandardInput_) {
      descriptor = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
      if (descriptor < 0) return true;  // the bridge reports it
    }
    const bool copied = copyStream(descriptor, error);
    if (descriptor != STDIN_FILENO) close(descriptor);
    if (!copied) return false;
  }
  unsigned char start[kSignatureBytes];
  const std::string kind = describeBinaryStart(start, readStart(path_, start, sizeof start));
  if (!kind.empty()) {
    error = "'" + shownName_ + "' is " + kind + ", not a PCD text file";
    if (kind.find("gzip") != std::string::npos) {
      error += "; decompress it first, e.g. zcat " +
               (isStandardInput_ ? std::string("FILE") : "'" + shownName_ + "'") +
               " | pcd-import -";
    } else if (kind.find("UTF-16") != std::string::npos) {
      error += "; convert it to UTF-8 first, e.g. iconv -f UTF-16 -t UTF-8";
    }
    return false;
  }
  return true;
}

bool InputFile::isSameFileAs(const std::string& otherPath) const {
  struct stat status;
  return identified_ && stat(otherPath.c_str(), &status) == 0 && status.st_dev == device_ &&
         status.st_ino == inode_;
}

}  // namespace pcd::cli
