// Cursor primitives over one PCD line, and text lines. Every primitive takes
// a cursor into the NUL-terminated line and returns the cursor behind what it
// consumed; nothing is copied except the values stored into nodes.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;

namespace {

// Longest text name kept from a text line; longer names are cut.
constexpr size_t kMaxTextName = 1024;

// White space as the C locale's isspace sees it, independent of the locale
// the host runs in.
bool isBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

}  // namespace

void Bridge::throwPcdError() const {
  TAV_CARDS::CAREPOSITORY_I_PCD_ERROR.throwException(ZELString(lineNumber));
}

const char* Bridge::assertName(const char* cursor, const char* literal) {
  // Byte by byte, so that the end of the line (NUL) fails as a mismatch and
  // the rest of the line is never measured.
  size_t n = 0;
  for (; literal[n] != '\0'; ++n) {
    if (cursor[n] != literal[n]) throwPcdError();
  }
  if (cursor[n] != ',') throwPcdError();
  return cursor + n + 1;
}

const char* Bridge::assertObjectType(const char* line, const char* letter) {
  return assertName(line, letter);
}

// Base-10 integer with strtol's syntax (leading white space, optional sign,
// digits), saturating at the 32-bit limits that record integers have.
// Without digits the value is 0 and nothing is consumed.
const char* Bridge::scanToken(const char* cursor, long* value) {
  const char* p = cursor;
  auto digitAt = [](const char* at) { return static_cast<unsigned>(*at) - unsigned{'0'}; };
  unsigned digit = digitAt(p);
  bool negative = false;
  // Nearly every token starts with a digit; blanks and signs take the slow way.
  if (digit > 9) {
    while (isBlank(*p)) ++p;
    negative = *p == '-';
    if (*p == '-' || *p == '+') ++p;
    digit = digitAt(p);
    if (digit > 9) {
      *value = 0;
      return *cursor == ',' ? cursor + 1 : cursor;
    }
  }
  // Magnitude is capped just past the largest representable value, so that
  // any number of digits is read without overflow.
  constexpr int64_t kCap = int64_t{INT32_MAX} + 1;
  int64_t magnitude = 0;
  do {
    if (magnitude < kCap) magnitude = magnitude * 10 + digit;
    digit = digitAt(++p);
  } while (digit <= 9);
  if (negative) {
    *value = static_cast<long>(magnitude >= kCap ? INT32_MIN : -magnitude);
  } else {
    *value = static_cast<long>(magnitude > INT32_MAX ? INT32_MAX : magnitude);
  }
  return *p == ',' ? p + 1 : p;
}

const char* Bridge::assertNumAttributes(const char* cursor, long expected) {
  long count = 0;
  cursor = scanToken(cursor, &count);
  if (count != expected) throwPcdError();
  return cursor;
}

const char* Bridge::assertAttrTypeAndReadVal(const char* cursor, const char* typeLetter,
                                             long* value) {
  // Also fails at the end of the line, where the cursor stands on the NUL.
  if (*cursor != typeLetter[0]) throwPcdError();
  return scanToken(cursor + 1, value);
}

namespace {

// The number of bytes a string of `length` takes at the cursor: `length`, or
// the rest of the line when the length is negative or reaches past its end.
size_t stringLength(const char* cursor, long length) {
  if (length < 0) return std::strlen(cursor);
  // Only the bytes to be taken are looked at (memchr stops at the first
  // match), never the whole rest of a long line.
  const auto* end =
      static_cast<const char*>(std::memchr(cursor, '\0', static_cast<size_t>(length)));
  return end ? static_cast<size_t>(end - cursor) : static_cast<size_t>(length);
}

}  // namespace

// The first `length` bytes from the cursor, or the rest of the line when the
// length is negative or reaches past the end of the line.
const char* Bridge::scanString(const char* cursor, ZELString& value, long length) {
  const size_t count = stringLength(cursor, length);
  value.assign(cursor, count);
  cursor += count;
  return *cursor == ',' ? cursor + 1 : cursor;
}

const char* Bridge::scanSharedString(const char* cursor, ZELString& value, long length) {
  const size_t count = stringLength(cursor, length);
  sharedTexts.assign(value, cursor, count);
  cursor += count;
  return *cursor == ',' ? cursor + 1 : cursor;
}

// T, (ignored), object id, (ignored), text name, text length, text.
Bridge::TextLine Bridge::readText(const Node* lastNode, const char* line) {
  const char* cursor = assertObjectType(line, "T");
  long ignored = 0;
  cursor = scanToken(cursor, &ignored);
  long id = 0;
  cursor = scanToken(cursor, &id);
  if (lastNode == nullptr || id != lastNode->id) throwPcdError();
  cursor = scanToken(cursor, &ignored);

  const char* comma = std::strchr(cursor, ',');
  if (comma == nullptr) throwPcdError();
  const std::string_view name(cursor, std::min(static_cast<size_t>(comma - cursor), kMaxTextName));
  cursor = comma + 1;

  long length = 0;
  cursor = scanToken(cursor, &length);
  // Handed over as bytes of the line: the node copies what it keeps, once.
  return TextLine{name, std::string_view(cursor, stringLength(cursor, length))};
}

void Bridge::scanText(Node* lastNode, const char* line) {
  const TextLine text = readText(lastNode, line);
  lastNode->setText(text.name, text.value);
}
