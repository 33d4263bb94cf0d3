// Fuzz target: the input's lines through the stream driver's own per-line
// dispatch (text lines to the last record, record lines to the scanner of
// their record name), without the file around them. A fresh bridge per run
// frees every node it registered.
#include <cstddef>
#include <cstdint>
#include <string>

#include "bridge/import_bridge.h"
#include "zel_exception.h"
#include "zel_log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ZELMemoryLog log;
  ZELCaRepositoryDsOdbcImportBridge bridge(&log);
  const std::string text(reinterpret_cast<const char*>(data), size);
  ZELCaRepositoryDsOdbcImportBridge::Node* lastNode = nullptr;
  try {
    long number = 1;  // the first line of a file is never data
    for (size_t start = 0; start <= text.size();) {
      size_t end = text.find('\n', start);
      if (end == std::string::npos) end = text.size();
      // As the reader holds a line: NUL-terminated, so an embedded NUL byte
      // ends it early, exactly as for a line read from a file.
      const std::string line = text.substr(start, end - start);
      lastNode = bridge.processLine(line.c_str(), ++number, lastNode);
      start = end + 1;
    }
  } catch (const ZELException&) {
    // A catalogued error: the expected way to reject a bad line.
  }
  return 0;
}
