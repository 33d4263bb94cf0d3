#include "error_context.h"

#include <cstdlib>
#include <fstream>
#include <functional>

#include "pcd/line_explanation.h"
#include "zel_text_io.h"

namespace {

using CaRepositoryDsOdbcImport::explainLine;
using CaRepositoryDsOdbcImport::readRecordIds;
using CaRepositoryDsOdbcImport::RecordIds;

// Bytes of a line shown to the user.
constexpr size_t kShownBytes = 80;
// Records naming a missing object that are listed, at most.
constexpr int kListedRecords = 3;

// The number in "PREFIX (N)" inside `text`, or -1 (ids may be negative, so
// the caller checks `found`).
bool numberAfter(const std::string& text, const std::string& prefix, long& number) {
  const size_t at = text.find(prefix);
  if (at == std::string::npos) return false;
  const char* start = text.c_str() + at + prefix.size();
  char* end = nullptr;
  number = std::strtol(start, &end, 10);
  return end != start && *end == ')';
}

// The start of a line as shown: at most kShownBytes, control bytes as '?'.
std::string shownStart(const std::string& line) {
  std::string shown = line.substr(0, kShownBytes);
  for (char& c : shown) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  if (line.size() > kShownBytes) shown += "...";
  return shown;
}

// Reads the file line by line as the reader does (the same line reading),
// calling `visit(number, line)` until it returns false.
void forEachLine(const InputFile& input,
                 const std::function<bool(long, const std::string&)>& visit) {
  std::ifstream in(input.path(), std::ios::in | std::ios::binary);
  if (!in) return;
  ZELString line;
  long number = 0;
  while (getFullLine(in, line, 4096)) {
    if (!visit(++number, std::string(line.c_str(), line.length()))) return;
  }
}

std::string lineContext(long number, const std::string& line) {
  return "line " + std::to_string(number) + ": " + shownStart(line);
}

void explainLineError(long lineNumber, const InputFile& input, FailureContext& context) {
  long lastRecordId = 0;
  bool hasLastRecord = false;
  forEachLine(input, [&](long number, const std::string& line) {
    if (number == lineNumber) {
      context.line = number;
      context.lineStart = shownStart(line);
      context.explanation = explainLine(line.c_str(), hasLastRecord ? &lastRecordId : nullptr);
      if (context.explanation.empty()) context.explanation = "the line is not a valid record";
      return false;
    }
    if (number > 1) {
      const RecordIds ids = readRecordIds(line.c_str());
      if (ids.isRecord) {
        lastRecordId = ids.id;
        hasLastRecord = true;
      }
    }
    return true;
  });
}

// Lists the records that define object `id` and those that name it as their
// from or to id.
void explainObjectReference(long id, bool missing, const InputFile& input,
                            FailureContext& context) {
  int listed = 0;
  long more = 0;
  forEachLine(input, [&](long number, const std::string& line) {
    if (number == 1) return true;
    const RecordIds ids = readRecordIds(line.c_str());
    if (!ids.isRecord) return true;
    std::string note;
    if (!missing && ids.id == id)
      note = "object " + std::to_string(id) + " is a " + ids.name + " record, ";
    if (ids.objectType == 'R' && ids.fromId == id) {
      note = ids.name + " record " + std::to_string(ids.id) + " names object " +
             std::to_string(id) + " as its from id, ";
    } else if (ids.objectType == 'R' && ids.toId == id) {
      note = ids.name + " record " + std::to_string(ids.id) + " names object " +
             std::to_string(id) + " as its to id, ";
    }
    if (note.empty()) return true;
    if (listed < kListedRecords) {
      context.notes.push_back(note + lineContext(number, line));
      ++listed;
    } else {
      ++more;
    }
    return true;
  });
  if (more > 0) context.notes.push_back("and " + std::to_string(more) + " more");
  if (missing) {
    context.explanation = "no record has the id " + std::to_string(id);
  }
}

}  // namespace

FailureContext explainFailure(const std::string& failure, const InputFile& input) {
  FailureContext context;
  context.file = input.shownName();
  long number = 0;
  if (numberAfter(failure, "Error in input PCD file, line (", number)) {
    explainLineError(number, input, context);
  } else if (numberAfter(failure, "Missing Object (", number)) {
    explainObjectReference(number, true, input, context);
  } else if (numberAfter(failure, "Bad Object Type for (", number)) {
    explainObjectReference(number, false, input, context);
  }
  return context;
}

bool hasAnyRecord(const InputFile& input) {
  bool found = false;
  forEachLine(input, [&](long number, const std::string& line) {
    found = number > 1 && readRecordIds(line.c_str()).isRecord;
    return !found;
  });
  return found;
}
