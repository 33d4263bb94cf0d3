// What the program learns from one more read of the extract, done on a
// second thread while the import runs (when a processor is free for it,
// otherwise when the answer is asked for): whether the file is all ASCII (a
// model read from such a file holds only ASCII texts, so the walk that looks
// for texts that are not UTF-8 can be skipped) and which tables the import
// left out without a message.
#pragma once

#include <atomic>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "table_placement.h"

namespace pcd::cli {

class ExtractSideScan {
 public:
  explicit ExtractSideScan(std::string path);
  ~ExtractSideScan();
  ExtractSideScan(const ExtractSideScan&) = delete;
  ExtractSideScan& operator=(const ExtractSideScan&) = delete;

  // True when every byte of the file is below 0x80; false when one is not,
  // or the file could not be read to its end. Rethrows what the scan threw
  // (out of memory), as misplacedTables() does.
  bool allAscii();
  // The tables left out.
  std::vector<MisplacedTable> misplacedTables();
  // Ends a scan whose answer is no longer needed (a failed import).
  void cancel();

 private:
  void finish();

  std::string path_;
  std::thread scanner_;
  std::atomic<bool> stop_{false};
  bool allAscii_ = false;
  std::vector<MisplacedTable> misplaced_;
  std::exception_ptr failure_;
  bool done_ = false;
};

}  // namespace pcd::cli
