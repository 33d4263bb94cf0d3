#include "extract_side_scan.h"

#include <system_error>
#include <utility>

#include "spare_processor.h"

namespace pcd::cli {

ExtractSideScan::ExtractSideScan(std::string path) : path_(std::move(path)) {
  if (!writers::spareProcessor()) return;
  try {
    scanner_ = std::thread([this] {
      // Whatever the scan throws is handed over on the program's thread.
      try {
        misplaced_ = findMisplacedTables(path_, &stop_, &allAscii_);
      } catch (const std::exception&) {
        failure_ = std::current_exception();
      }
    });
  } catch (const std::system_error&) {
    // No thread to be had: the file is read when the answer is asked for.
  }
}

ExtractSideScan::~ExtractSideScan() {
  cancel();
}

void ExtractSideScan::cancel() {
  stop_ = true;
  if (scanner_.joinable()) scanner_.join();
  done_ = true;
}

void ExtractSideScan::finish() {
  if (scanner_.joinable()) {
    scanner_.join();
  } else if (!done_) {
    misplaced_ = findMisplacedTables(path_, &stop_, &allAscii_);
  }
  done_ = true;
  if (failure_) std::rethrow_exception(failure_);
}

bool ExtractSideScan::allAscii() {
  finish();
  return allAscii_;
}

std::vector<MisplacedTable> ExtractSideScan::misplacedTables() {
  finish();
  return std::move(misplaced_);
}

}  // namespace pcd::cli
