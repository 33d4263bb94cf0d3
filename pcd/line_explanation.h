// Why a line is rejected, in words a user can act on: the bridge's own line
// checks (its primitives and the record layouts) run step by step on one
// line, and the first step that fails is named with what it expected and
// what it found. Shared by the program's error messages and any tool that
// checks a file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace CaRepositoryDsOdbcImport {

// Explains why the reader rejects `line` (NUL-terminated, without its line
// break), e.g. "attribute 1 of 1 of TABLE: expected type letter C, found
// 'S6'". For a text line, `lastRecordId` is the id of the record line before
// it (null: there is none). "" when the line's checks pass.
//
// `countNote`, when given, is set for a record line that passes to what the
// reader takes differently from how the line reads: the first counted string
// ("C") whose count ends neither at a comma nor at the end of the line, e.g.
// "attribute 1 of 1 of TABLE: its count 1 ends inside the field: the import
// takes 'T' and ignores 'XYZ'"; "" when every count fits its field.
//
// `accepted`, when given, is set to what the reader takes of a record line
// that passes, so that a caller checking every line reads each line once.
struct AcceptedRecord;
std::string explainLine(const char* line, const long* lastRecordId,
                        std::string* countNote = nullptr, AcceptedRecord* accepted = nullptr);

// A record line explainLine accepted: its kind (the index of its record
// name in the record layouts, as RecordKind counts), its ids as
// readRecordIds reads them and, for the kinds asked for, its string
// attributes as readTextAttributes reads them. `kind` is -1 for any other
// line.
struct AcceptedRecord {
  uint32_t textKinds = 0;  // asked: bit (1 << kind) for each kind whose texts are wanted
  int kind = -1;
  long id = 0;
  long fromId = 0;  // relationships only
  long toId = 0;    // relationships only
  std::vector<std::string> texts;
};

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
// Only the id of a record line (as readRecordIds reads it); false for a
// line that is no record.
bool readRecordId(const char* line, long& id);

// The string ("C") attributes of a record line that explainLine accepts, in
// file order, as the reader takes them.
std::vector<std::string> readTextAttributes(const char* line);

}  // namespace CaRepositoryDsOdbcImport
