// Why a line is rejected, in words a user can act on: the bridge's own line
// checks (its primitives and the record layouts) run step by step on one
// line, and the first step that fails is named with what it expected and
// what it found. Shared by the program's error messages and any tool that
// checks a file.
#pragma once

#include <string>
#include <vector>

namespace CaRepositoryDsOdbcImport {

// Explains why the reader rejects `line` (NUL-terminated, without its line
// break), e.g. "attribute 1 of 1 of TABLE: expected type letter C, found
// 'S6'". For a text line, `lastRecordId` is the id of the record line before
// it (null: there is none). "" when the line's checks pass.
std::string explainLine(const char* line, const long* lastRecordId);

// The ids an entity ("E") or relationship ("R") line carries, as the reader
// takes them; `isRecord` is false for any other line.
struct RecordIds {
  bool isRecord = false;
  char objectType = 0;
  std::string name;
  long id = 0;
  long fromId = 0;  // relationships only
  long toId = 0;    // relationships only
};
RecordIds readRecordIds(const char* line);

// The string ("C") attributes of a record line that explainLine accepts, in
// file order, as the reader takes them.
std::vector<std::string> readTextAttributes(const char* line);

}  // namespace CaRepositoryDsOdbcImport
