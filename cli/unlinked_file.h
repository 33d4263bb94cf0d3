// A temporary file without a name in the file system (made unnamed, or
// unlinked as soon as it is made where the file system cannot) and reached
// through /proc while it is open, so that no path of the program (a signal,
// a crash) leaves it behind: the copy of standard input, a database's
// catalog written as an extract.
#pragma once

#include <cstddef>
#include <string>

namespace pcd::cli {

class UnlinkedFile {
 public:
  UnlinkedFile() = default;
  UnlinkedFile(const UnlinkedFile&) = delete;
  UnlinkedFile& operator=(const UnlinkedFile&) = delete;
  ~UnlinkedFile() { discard(); }

  // Makes the file in $TMPDIR (else /tmp), named after `stem` for the moment
  // it has a name. False with `error` set when it cannot be made.
  bool create(const char* stem, std::string& error);
  // Appends bytes. False with `error` set (errno's text) when they cannot be
  // written.
  bool append(const char* bytes, std::size_t count, std::string& error);
  // Closes the file now, which frees its space.
  void discard();

  // "/proc/self/fd/N" while the file is open.
  const std::string& path() const { return path_; }

 private:
  int descriptor_ = -1;
  std::string path_;
};

}  // namespace pcd::cli
