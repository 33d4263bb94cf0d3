// Whether a file holds only ASCII bytes, found out on a second thread while
// the import runs. A model read from such a file holds only ASCII texts (the
// reader copies the file's bytes and adds ASCII of its own), so the walk
// that looks for texts that are not UTF-8 can be skipped.
#pragma once

#include <atomic>
#include <string>
#include <thread>

class AsciiCheck {
 public:
  // Starts reading `path` on a second thread when a processor is free for
  // it; otherwise the file is read when the answer is asked for.
  explicit AsciiCheck(std::string path);
  ~AsciiCheck();
  AsciiCheck(const AsciiCheck&) = delete;
  AsciiCheck& operator=(const AsciiCheck&) = delete;

  // True when every byte of the file is below 0x80; false when one is not,
  // or the file could not be read to its end.
  bool allAscii();

 private:
  void scan() noexcept;

  std::string path_;
  std::thread scanner_;
  std::atomic<bool> stop_{false};
  bool done_ = false;
  bool allAscii_ = false;
};
