// Reads a PCD file into record nodes: one pass, one reused line buffer, each
// line scanned in place.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "pcd/record_layouts.h"
#include "zel_text_io.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;
namespace layout = CaRepositoryDsOdbcImport::layout;

namespace {

// Longest record name looked up; longer names are cut (and so unknown).
constexpr size_t kMaxRecordName = 1024;
// Growth step of the line buffer, in bytes.
constexpr int kLineChunk = 32;

[[noreturn]] void throwCannotRead(const ZELString& fileName, int error) {
  TAV_CARDS::CAREPOSITORY_I_UNABLE_TO_OPEN_INPUT_FILE.throwException(fileName,
                                                                     std::strerror(error));
}

}  // namespace

void Bridge::loadParserHashTable() {
  // The scanner index is stored as the entry's pointer value, so index 0 and
  // an unknown name both come back as null: scanner 0 then rejects every line
  // that is not its own record.
  for (int index = 0; index < layout::kRecordCount; ++index) {
    scannerIndexTable.add(layout::kShapes[index].name,
                          reinterpret_cast<void*>(static_cast<intptr_t>(index)));
  }
}

void Bridge::processStream() {
  input.clear();
  input.open(fileName.c_str(), std::ios::in | std::ios::binary);
  const int openError = errno;  // before any other call can change it
  lineNumber = 0;
  if (input.fail() || input.bad()) throwCannotRead(fileName, openError);
  // A directory opens like a file on some systems and only fails on reading.
  std::error_code ignored;
  if (std::filesystem::is_directory(fileName.c_str(), ignored)) throwCannotRead(fileName, EISDIR);

  TAV_CARDS::CAREPOSITORY_I_IMPORTING_MODEL.log(*log);

  ZELString line;  // one buffer for every line of the file
  // Reads the next line; a read error (not the end of the file) ends reading,
  // since a failed stream would never reach its end.
  auto readLine = [&] {
    errno = 0;
    getFullLine(input, line, kLineChunk);
    const int readError = errno != 0 ? errno : EIO;
    ++lineNumber;
    if (input.bad() || (input.fail() && !input.eof())) throwCannotRead(fileName, readError);
  };

  readLine();  // the first line is never data
  Node* lastNode = nullptr;
  while (!input.eof()) {
    readLine();
    const char* text = line.c_str();
    switch (text[0]) {
      case 'T':
        scanText(lastNode, text);
        break;
      case 'E':
      case 'R': {
        // The record name runs from the third byte to the next comma.
        const char* name = text[1] != '\0' ? text + 2 : text + 1;
        const char* comma = std::strchr(name, ',');
        if (comma == nullptr) throwPcdError();
        char nameBuffer[kMaxRecordName + 1];
        const size_t nameLength = std::min(static_cast<size_t>(comma - name), kMaxRecordName);
        std::memcpy(nameBuffer, name, nameLength);
        nameBuffer[nameLength] = '\0';
        const auto* entry = static_cast<const ZELStringNodeHashtable::Entry*>(
            scannerIndexTable.findFirst(nameBuffer, nullptr));
        const auto index = entry ? reinterpret_cast<intptr_t>(entry->value) : 0;
        std::unique_ptr<Node> node(scanTable[index](this, text));
        idRegistry.add(node->id, node.get());
        lastNode = node.release();
        break;
      }
      default:
        // Empty lines (the NUL terminator) and any other first byte.
        break;
    }
  }
  input.close();
}
