// Fuzz target: one line through the line primitives and record scanners,
// dispatched as the stream driver does: "T" lines to the text-line scanner,
// "E" and "R" lines to the scanner of their record name (unknown names to
// scanner 0). The bridge is built once; each run frees the node it made.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "bridge/import_bridge.h"
#include "pcd/record_nodes.h"
#include "zel_exception.h"
#include "zel_log.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;
using CaRepositoryDsOdbcImport::Node;

namespace {

// The record name of an "E" or "R" line, cut like the stream driver cuts it.
constexpr size_t kMaxRecordName = 1024;

Bridge& sharedBridge() {
  static ZELMemoryLog log;
  static Bridge bridge(&log);
  return bridge;
}

// The node a text line attaches to. Its id is the line's own id so that the
// text reaches setText; the input's length picks the node class, and one in
// three runs has no record before the text line at all.
std::unique_ptr<Node> lastNodeFor(Bridge& bridge, const char* line, size_t size) {
  std::unique_ptr<Node> node;
  switch (size % 3) {
    case 0:
      node = std::make_unique<CaRepositoryDsOdbcImport::Tbl_colNode>();
      break;
    case 1:
      node = std::make_unique<CaRepositoryDsOdbcImport::TableNode>();
      break;
    default:
      return nullptr;
  }
  if (line[1] == ',') {
    long ignored = 0;
    const char* cursor = bridge.scanToken(line + 2, &ignored);
    bridge.scanToken(cursor, &node->id);
  }
  return node;
}

void scanLine(Bridge& bridge, const char* line, size_t size) {
  switch (line[0]) {
    case 'T': {
      std::unique_ptr<Node> lastNode = lastNodeFor(bridge, line, size);
      bridge.scanText(lastNode.get(), line);
      break;
    }
    case 'E':
    case 'R': {
      const char* name = line[1] != '\0' ? line + 2 : line + 1;
      const char* comma = std::strchr(name, ',');
      if (comma == nullptr) bridge.throwPcdError();
      const std::string recordName(name, std::min<size_t>(comma - name, kMaxRecordName));
      const void* index = bridge.scannerIndexTable.find(recordName.c_str());
      std::unique_ptr<Node> node(
          Bridge::scanTable[reinterpret_cast<intptr_t>(index)](&bridge, line));
      break;
    }
    default:
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Bridge& bridge = sharedBridge();
  // The line as the reader holds it: NUL-terminated, so an embedded NUL byte
  // ends it early, exactly as for a line read from a file.
  const std::string line(reinterpret_cast<const char*>(data), size);
  bridge.lineNumber = 2;
  try {
    scanLine(bridge, line.c_str(), size);
  } catch (const ZELException&) {
    // A catalogued error: the expected way to reject a bad line.
  }
  return 0;
}
