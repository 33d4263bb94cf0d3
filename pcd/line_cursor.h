// The lines of an extract as the reader takes them: read one at a time with
// the host's line reading into one reused buffer, numbered from 1 (the first
// line is never data), with the id of the last record line, which the text
// lines after it belong to. The reader, `check` and the context of a failed
// import all walk a file with it, so they number its lines alike.
#pragma once

#include <istream>

#include "zel_string.h"
#include "zel_text_io.h"

namespace CaRepositoryDsOdbcImport {

class LineCursor {
 public:
  // `chunk`: the step the line buffer grows by (see getFullLine).
  LineCursor(std::istream& in, int chunk) : in_(in), chunk_(chunk) {}

  // Reads the next line; false when nothing could be read (the end of the
  // input, or a read error the caller tells from the stream). A line longer
  // than the host accepts is counted and throws ZELLineTooLong.
  bool next() {
    bool read = false;
    try {
      read = getFullLine(in_, line_, chunk_);
    } catch (const ZELLineTooLong&) {
      ++number_;
      throw;
    }
    if (read) ++number_;
    return read;
  }

  long number() const { return number_; }
  const ZELString& line() const { return line_; }

  // The record line just read had `id`: text lines now belong to it.
  void enterRecord(long id) {
    lastRecordId_ = id;
    inRecord_ = true;
  }
  // The id of the last record line, or null before the first one.
  const long* lastRecordId() const { return inRecord_ ? &lastRecordId_ : nullptr; }

 private:
  std::istream& in_;
  int chunk_;
  ZELString line_;
  long number_ = 0;
  long lastRecordId_ = 0;
  bool inRecord_ = false;
};

}  // namespace CaRepositoryDsOdbcImport
