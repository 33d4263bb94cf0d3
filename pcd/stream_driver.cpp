// Reads a PCD file into record nodes: one pass, one reused line buffer, each
// line scanned in place.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "pcd/line_cursor.h"
#include "pcd/record_layouts.h"
#include "zel_text_io.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;
using CaRepositoryDsOdbcImport::LineCursor;
namespace layout = CaRepositoryDsOdbcImport::layout;

namespace {

// Longest record name looked up; longer names are cut (and so unknown).
constexpr size_t kMaxRecordName = 1024;
// Growth step of the line buffer, in bytes.
constexpr int kLineChunk = 32;
// Bytes the file is read in at a time.
constexpr size_t kReadBlock = size_t{256} << 10;

[[noreturn]] void throwCannotRead(const ZELString& fileName, int error) {
  TAV_CARDS::CAREPOSITORY_I_UNABLE_TO_OPEN_INPUT_FILE.throwException(fileName,
                                                                     std::strerror(error));
}

}  // namespace

void Bridge::loadParserHashTable() {
  // The scanner index is stored as the entry's pointer value, so index 0 and
  // an unknown name both come back as null: scanner 0 then rejects every line
  // that is not its own record.
  for (int index = 0; index < CaRepositoryDsOdbcImport::kRecordKinds; ++index) {
    scannerIndexTable.add(layout::kShapes[index].name,
                          reinterpret_cast<void*>(static_cast<intptr_t>(index)));
  }
}

intptr_t Bridge::scannerIndexOf(const char* name, size_t length) {
  return recentNames.find(name, length, [&] {
    char nameBuffer[kMaxRecordName + 1];
    std::memcpy(nameBuffer, name, length);
    nameBuffer[length] = '\0';
    const auto* entry = static_cast<const ZELStringNodeHashtable::Entry*>(
        scannerIndexTable.findFirst(nameBuffer, nullptr));
    return entry ? reinterpret_cast<intptr_t>(entry->value) : intptr_t{0};
  });
}

Bridge::Node* Bridge::processLine(const char* line, long number, Node* lastNode) {
  lineNumber = number;
  switch (line[0]) {
    case 'T':
      scanText(lastNode, line);
      return lastNode;
    case 'E':
    case 'R': {
      // The record name runs from the third byte to the next comma.
      const char* name = line[1] != '\0' ? line + 2 : line + 1;
      const char* comma = std::strchr(name, ',');
      if (comma == nullptr) throwPcdError();
      const size_t nameLength = std::min(static_cast<size_t>(comma - name), kMaxRecordName);
      Node* node = scanTable[scannerIndexOf(name, nameLength)](this, line);
      try {
        idRegistry.add(node->id, node);
      } catch (...) {
        // The arena holds registered nodes only: the newest gives its space back.
        const size_t size = CaRepositoryDsOdbcImport::kNodeSizes[static_cast<int>(node->kind)];
        CaRepositoryDsOdbcImport::destroyNode(node);
        nodeArena.unallocate(node, size);
        throw;
      }
      return node;
    }
    default:
      // Empty lines (the NUL terminator) and any other first byte.
      return lastNode;
  }
}

void Bridge::processStream(const ZELString& fileName) {
  // Reads in large blocks: a file of millions of lines costs few system calls.
  // The buffer is given before the file is opened, as file buffers require.
  std::unique_ptr<char[]> readBuffer(new char[kReadBlock]);
  std::ifstream input;
  input.rdbuf()->pubsetbuf(readBuffer.get(), static_cast<std::streamsize>(kReadBlock));
  input.open(fileName.c_str(), std::ios::in | std::ios::binary);
  const int openError = errno;  // before any other call can change it
  lineNumber = 0;
  if (input.fail() || input.bad()) throwCannotRead(fileName, openError);
  // A directory opens like a file on some systems and only fails on reading.
  std::error_code ignored;
  if (std::filesystem::is_directory(fileName.c_str(), ignored)) throwCannotRead(fileName, EISDIR);

  TAV_CARDS::CAREPOSITORY_I_IMPORTING_MODEL.log(*log);

  LineCursor lines(input, kLineChunk);  // one buffer for every line of the file
  // Reads the next line; false at the end of the file. A read error (not
  // the end of the file) ends reading, since a failed stream would never
  // reach its end. A line longer than the host accepts is a format error of
  // that line.
  auto readLine = [&] {
    errno = 0;
    bool read = false;
    try {
      read = lines.next();
    } catch (const ZELLineTooLong&) {
      lineNumber = lines.number();
      throwPcdError();
    }
    const int readError = errno != 0 ? errno : EIO;
    if (input.bad() || (input.fail() && !input.eof())) throwCannotRead(fileName, readError);
    return read;
  };

  readLine();  // the first line is never data
  Node* lastNode = nullptr;
  while (readLine()) lastNode = processLine(lines.line().c_str(), lines.number(), lastNode);
  input.close();
}
