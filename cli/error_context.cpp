#include "error_context.h"

#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>

#include "bridge/messages/tav_cards.h"
#include "pcd/line_cursor.h"
#include "pcd/line_explanation.h"
#include "zel_text_io.h"

namespace pcd::cli {

namespace {

using CaRepositoryDsOdbcImport::explainLine;
using CaRepositoryDsOdbcImport::LineCursor;
using CaRepositoryDsOdbcImport::readRecordIds;
using CaRepositoryDsOdbcImport::RecordIds;

// Bytes of a line shown to the user.
constexpr size_t kShownBytes = 80;
// Records naming a missing object that are listed, at most.
constexpr int kListedRecords = 3;

// A catalogued message as the import shows it, up to its first parameter:
// "[TAV_CARDS_F0009] Missing Object (".
template <class Message, class... Values>
std::string leadOf(const Message& message, const Values&... values) {
  const ZELString filled = message.getMessage(values...);
  const std::string shown(filled.c_str(), filled.length());
  return shown.substr(0, shown.find('\x01'));
}

// The id that follows the lead of a catalogued message in `failure`, as in
// "[TAV_CARDS_F0009] Missing Object (N)".
bool idAfter(const std::string& failure, const std::string& lead, long& id) {
  if (failure.compare(0, lead.size(), lead) != 0) return false;
  const char* start = failure.c_str() + lead.size();
  char* end = nullptr;
  id = std::strtol(start, &end, 10);
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

// Reads the file line by line as the reader does (its line cursor and the
// same limit), calling `visit(lines, line)` until it returns false. A line
// over the limit is visited too, with the start that is shown of it; the
// reader stops at such a line, so nothing after it is visited.
void forEachLine(const InputFile& input,
                 const std::function<bool(LineCursor&, const ReadLine&)>& visit) {
  std::ifstream in(input.path(), std::ios::in | std::ios::binary);
  if (!in) return;
  LineCursor lines(in, 4096);
  ReadLine read;
  for (;;) {
    try {
      if (!lines.next()) return;
    } catch (const ZELLineTooLong&) {
      // Its start, read from the file again: the lines before it end at
      // "\n" as the reader's do.
      std::ifstream again(input.path(), std::ios::in | std::ios::binary);
      for (long skipped = 1; skipped < lines.number(); ++skipped) {
        again.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
      }
      read.text.assign(kShownBytes + 1, '\0');
      again.read(&read.text[0], static_cast<std::streamsize>(read.text.size()));
      read.text.resize(static_cast<size_t>(again.gcount()));
      const size_t end = read.text.find('\n');  // a line at most a few bytes over the limit
      if (end != std::string::npos) read.text.resize(end);
      read.tooLong = true;
      visit(lines, read);
      return;
    }
    read.text.assign(lines.line().c_str(), lines.line().length());
    if (!visit(lines, read)) return;
  }
}

std::string lineContext(long number, const ReadLine& line) {
  return "line " + std::to_string(number) + ": " + shownStart(line.text);
}

// The import stops at the first line its reader rejects: that line, found
// by reading the file again with the reader's own line checks.
void explainLineError(const InputFile& input, FailureContext& context) {
  forEachLine(input, [&](LineCursor& lines, const ReadLine& line) {
    if (lines.number() == 1 && !line.tooLong) return true;
    std::string why;
    if (line.tooLong) {
      why = "the line is longer than " + std::to_string(maxLineBytes()) +
            " bytes (see --max-line-bytes)";
    } else {
      why = explainLine(line.text.c_str(), lines.lastRecordId());
    }
    if (!why.empty()) {
      context.line = lines.number();
      context.lineStart = shownStart(line.text);
      context.explanation = why;
      return false;
    }
    const RecordIds ids = readRecordIds(line.text.c_str());
    if (ids.isRecord) lines.enterRecord(ids.id);
    return true;
  });
}

// Lists the records that define object `id` and those that name it as their
// from or to id.
void explainObjectReference(long id, bool missing, const InputFile& input,
                            FailureContext& context) {
  int listed = 0;
  long more = 0;
  forEachLine(input, [&](LineCursor& lines, const ReadLine& line) {
    const long number = lines.number();
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
  const ZELString parameter("\x01");
  const std::string lineError = leadOf(TAV_CARDS::CAREPOSITORY_I_PCD_ERROR, parameter);
  long id = 0;
  if (failure.compare(0, lineError.size(), lineError) == 0) {
    explainLineError(input, context);
  } else if (idAfter(failure, leadOf(TAV_CARDS::CAREPOSITORY_I_MISSING_OBJECT, parameter), id)) {
    explainObjectReference(id, true, input, context);
  } else if (idAfter(
                 failure,
                 leadOf(TAV_CARDS::CAREPOSITORY_I_BAD_OBJECT_TYPE, parameter, parameter, parameter),
                 id)) {
    explainObjectReference(id, false, input, context);
  }
  return context;
}

bool hasAnyRecord(const InputFile& input) {
  bool found = false;
  forEachLine(input, [&](LineCursor& lines, const ReadLine& line) {
    found = lines.number() > 1 && !line.tooLong && readRecordIds(line.text.c_str()).isRecord;
    return !found;
  });
  return found;
}

}  // namespace pcd::cli
