// Reads a PCD file into record nodes: one pass, one reused line buffer, each
// line scanned in place.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "pcd/record_layouts.h"
#include "pcd/record_scanning.h"
#include "zel_text_io.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;
namespace layout = CaRepositoryDsOdbcImport::layout;

namespace {

// Longest record name looked up; longer names are cut (and so unknown).
constexpr size_t kMaxRecordName = 1024;
// Growth step of the line buffer, in bytes.
constexpr int kLineChunk = 32;

// The scanner indexes of the record names met last. The name table does not
// change while a file is read and a file names few kinds of record, so most
// lines are matched here and skip the table's lookup (hashing and comparing
// the name).
class RecentNames {
 public:
  // The index of the `length` bytes at `name`, from `lookUp()` unless known.
  template <class LookUp>
  intptr_t find(const char* name, size_t length, LookUp lookUp) {
    Known& known = known_[(length + static_cast<unsigned char>(name[0])) % kCount];
    if (known.length == length && length <= sizeof known.name &&
        std::memcmp(known.name, name, length) == 0) {
      return known.index;
    }
    const intptr_t index = lookUp();
    if (length <= sizeof known.name) {
      std::memcpy(known.name, name, length);
      known.length = length;
      known.index = index;
    }
    return index;
  }

 private:
  static constexpr size_t kCount = 8;
  struct Known {
    size_t length = SIZE_MAX;  // none yet
    char name[16];
    intptr_t index = 0;
  };
  Known known_[kCount];
};

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
  // since a failed stream would never reach its end. A line longer than the
  // host accepts is a format error of that line.
  auto readLine = [&] {
    errno = 0;
    try {
      getFullLine(input, line, kLineChunk);
    } catch (const ZELLineTooLong&) {
      ++lineNumber;
      throwPcdError();
    }
    const int readError = errno != 0 ? errno : EIO;
    ++lineNumber;
    if (input.bad() || (input.fail() && !input.eof())) throwCannotRead(fileName, readError);
  };

  readLine();  // the first line is never data
  Node* lastNode = nullptr;
  RecentNames recentNames;
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
        const size_t nameLength = std::min(static_cast<size_t>(comma - name), kMaxRecordName);
        const intptr_t index = recentNames.find(name, nameLength, [&] {
          char nameBuffer[kMaxRecordName + 1];
          std::memcpy(nameBuffer, name, nameLength);
          nameBuffer[nameLength] = '\0';
          const auto* entry = static_cast<const ZELStringNodeHashtable::Entry*>(
              scannerIndexTable.findFirst(nameBuffer, nullptr));
          return entry ? reinterpret_cast<intptr_t>(entry->value) : intptr_t{0};
        });
        // scanTable[index]'s checks, with the node placed in the node arena.
        Node* node = CaRepositoryDsOdbcImport::kArenaScanners[index](this, text, nodeArena);
        try {
          idRegistry.add(node->id, node);
        } catch (...) {
          node->~Node();  // its space stays unused until the arena is freed
          throw;
        }
        lastNode = node;
        break;
      }
      default:
        // Empty lines (the NUL terminator) and any other first byte.
        break;
    }
  }
  input.close();
}
