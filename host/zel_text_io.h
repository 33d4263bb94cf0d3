// Reading lines and converting file names: the host's text input helpers.
#pragma once

#include <cstddef>
#include <istream>
#include <stdexcept>

#include "zel_string.h"

// Longest line getFullLine accepts unless told otherwise: 256 MiB.
constexpr size_t kDefaultMaxLineBytes = size_t{256} << 20;
// Sets the longest line (bytes, without terminator) getFullLine accepts, for
// the whole process; 0 restores the default. Values above what a string can
// hold are taken as that.
void setMaxLineBytes(size_t bytes) noexcept;
size_t maxLineBytes() noexcept;

// Thrown by getFullLine for a line longer than maxLineBytes().
class ZELLineTooLong : public std::length_error {
 public:
  ZELLineTooLong() : std::length_error("line too long") {}
};

// Reads the next line of `in` into `line`, without its terminator: a line
// ends at "\n" only, and one "\r" right before it is dropped (any other "\r"
// is data). Sets eof on the stream when the end of the input is reached (also
// after a last line without terminator). `chunk` is the number of bytes the
// buffer grows by at least when a line outgrows it; values below 32 are
// taken as 32. A line longer than maxLineBytes() throws ZELLineTooLong as
// soon as that many bytes have been read, so the buffer never holds more.
// Returns false when nothing at all could be read (the stream was already at
// its end or failed).
bool getFullLine(std::istream& in, ZELString& line, int chunk);

// Converts UTF-8 text to the encoding of the current C locale (LC_CTYPE).
// Bytes that cannot be converted are kept as they are, so the result always
// names the same file on a UTF-8 system. Null gives the empty string.
ZELString utf8ToLocale(const char* utf8);
