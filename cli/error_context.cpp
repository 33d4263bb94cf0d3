#include "error_context.h"

#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>

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

// One line as read again: its bytes, or for a line longer than the reader
// accepts, only its first bytes (enough to show) and `tooLong`.
struct ReadLine {
  std::string text;
  bool tooLong = false;
};

// Reads the file line by line as the reader does (the same line reading and
// limit), calling `visit(number, line)` until it returns false. A line over
// the limit is visited too, with the start that is shown of it; the reader
// stops at such a line, so nothing after it is visited.
void forEachLine(const InputFile& input, const std::function<bool(long, const ReadLine&)>& visit) {
  std::ifstream in(input.path(), std::ios::in | std::ios::binary);
  if (!in) return;
  ZELString line;
  ReadLine read;
  long number = 0;
  for (;;) {
    try {
      if (!getFullLine(in, line, 4096)) return;
    } catch (const ZELLineTooLong&) {
      // Its start, read from the file again: the lines before it end at
      // "\n" as the reader's do.
      std::ifstream again(input.path(), std::ios::in | std::ios::binary);
      for (long skipped = 0; skipped < number; ++skipped) {
        again.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
      }
      read.text.assign(kShownBytes + 1, '\0');
      again.read(&read.text[0], static_cast<std::streamsize>(read.text.size()));
      read.text.resize(static_cast<size_t>(again.gcount()));
      const size_t end = read.text.find('\n');  // a line at most a few bytes over the limit
      if (end != std::string::npos) read.text.resize(end);
      read.tooLong = true;
      visit(++number, read);
      return;
    }
    read.text.assign(line.c_str(), line.length());
    if (!visit(++number, read)) return;
  }
}

std::string lineContext(long number, const ReadLine& line) {
  return "line " + std::to_string(number) + ": " + shownStart(line.text);
}

void explainLineError(long lineNumber, const InputFile& input, FailureContext& context) {
  long lastRecordId = 0;
  bool hasLastRecord = false;
  forEachLine(input, [&](long number, const ReadLine& line) {
    if (number == lineNumber || line.tooLong) {
      context.line = number;
      context.lineStart = shownStart(line.text);
      if (line.tooLong) {
        context.explanation = "the line is longer than " + std::to_string(maxLineBytes()) +
                              " bytes (see --max-line-bytes)";
      } else {
        context.explanation =
            explainLine(line.text.c_str(), hasLastRecord ? &lastRecordId : nullptr);
      }
      if (context.explanation.empty()) context.explanation = "the line is not a valid record";
      return false;
    }
    if (number > 1) {
      const RecordIds ids = readRecordIds(line.text.c_str());
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
  forEachLine(input, [&](long number, const ReadLine& line) {
    if (number == 1 || line.tooLong) return true;
    const RecordIds ids = readRecordIds(line.text.c_str());
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
  forEachLine(input, [&](long number, const ReadLine& line) {
    found = number > 1 && !line.tooLong && readRecordIds(line.text.c_str()).isRecord;
    return !found;
  });
  return found;
}
