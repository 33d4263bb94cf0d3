// Where the program writes its result: standard output, or a file that is
// replaced only once the whole result has been written.
#pragma once

#include <cstdio>
#include <string>

namespace pcd::cli {

class OutputTarget {
 public:
  OutputTarget() = default;
  OutputTarget(const OutputTarget&) = delete;
  OutputTarget& operator=(const OutputTarget&) = delete;
  // Removes a temporary file that was never committed.
  ~OutputTarget();

  // An empty path or "-" means standard output. A regular file (or a name that does
  // not exist yet) is written through a temporary file in the same folder,
  // renamed over it by commit(); anything else (a device, a pipe) is written
  // directly. False with `error` set when it cannot be opened. Opened before
  // the import, so that a folder that cannot take the file is reported at
  // once; the temporary file is removed on every path that does not commit,
  // signals included.
  bool open(const std::string& path, std::string& error);
  std::FILE* stream() const { return stream_; }
  // Flushes and closes the stream and puts a temporary file in place. False
  // with `error` set when any of it fails; the temporary file is then gone.
  bool commit(std::string& error);

 private:
  void discard();

  std::FILE* stream_ = nullptr;
  bool ownsStream_ = false;
  std::string finalPath_;
  std::string temporaryPath_;  // empty unless writing through a temporary file
  int signalSlot_ = -1;        // temporaryPath_'s slot in the signal clean-up
};

}  // namespace pcd::cli
