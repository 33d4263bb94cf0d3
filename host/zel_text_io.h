// Reading lines and converting file names: the host's text input helpers.
#pragma once

#include <istream>

#include "zel_string.h"

// Reads the next line of `in` into `line`, whole whatever its length, without
// its terminator: "\n", "\r\n" and a lone "\r" all end a line. Sets eof on the
// stream when the end of the input is reached (also after a last line without
// terminator). `chunk` is the number of bytes the buffer grows by at least
// when a line outgrows it; values below 32 are taken as 32. Returns false when
// nothing at all could be read (the stream was already at its end or failed).
bool getFullLine(std::istream& in, ZELString& line, int chunk);

// Converts UTF-8 text to the encoding of the current C locale (LC_CTYPE).
// Bytes that cannot be converted are kept as they are, so the result always
// names the same file on a UTF-8 system. Null gives the empty string.
ZELString utf8ToLocale(const char* utf8);
