// One refreshing line on a terminal that follows a long import: the bytes
// the bridge has read of the file, then the building and writing phases. The
// bridge reports nothing itself: a thread reads the position of the file
// descriptor the bridge opened on the input, from /proc/self.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include "zel_log.h"

namespace pcd::cli {

class ProgressLine {
 public:
  // Shows progress only when `wanted` (not --quiet), standard error is a
  // terminal and the file has at least progressThresholdBytes() bytes.
  ProgressLine(const std::string& inputPath, std::uintmax_t size, bool wanted);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Stops the thread and clears the line; before anything else is printed.
  void stop();
  // Shows the line again, naming a later phase ("writing json"), when it
  // was shown at all.
  void resume(const std::string& phase);
  // Clears the line for one line of other output; the next refresh redraws
  // it. `print` runs with the line's lock held.
  template <class Print>
  void printAbove(Print print) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (thread_.joinable() && !stopping_) std::fputs("\r\033[K", stderr);
    print();
  }

 private:
  void start(const std::string& firstText);
  void run();
  std::string currentText(long& descriptor);

  std::string inputPath_;
  std::uintmax_t size_;
  std::string phase_;   // empty: reading or building, told by the descriptor
  bool shown_ = false;  // the conditions for showing the line hold
  bool sawOpen_ = false;
  bool stopping_ = false;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::thread thread_;
};

// A log that clears the progress line before each event it passes on.
class ProgressAwareLog : public ZELLog {
 public:
  ProgressAwareLog(ProgressLine& progress, ZELLog& log) : progress_(progress), log_(log) {}
  void logEvent(const ZELLogEvent& event) override {
    progress_.printAbove([&] { log_.logEvent(event); });
  }

 private:
  ProgressLine& progress_;
  ZELLog& log_;
};

// Smallest input that gets a progress line: 16 MiB, or the number of bytes
// in the environment variable PCD_IMPORT_PROGRESS_BYTES.
std::uintmax_t progressThresholdBytes();

}  // namespace pcd::cli
