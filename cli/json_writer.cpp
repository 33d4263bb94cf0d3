#include "json_writer.h"

namespace {

constexpr size_t kFlushThreshold = 1 << 16;
constexpr char kReplacementCharacter[] = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

bool isContinuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// Length of the well-formed UTF-8 sequence starting at `at` (at least two
// bytes long, lead byte >= 0x80), or 0 when the bytes there do not form one.
// Overlong forms, surrogates, code points above U+10FFFF and truncated
// sequences are all rejected.
size_t wellFormedSequenceLength(const unsigned char* at, size_t available) {
  const unsigned char lead = at[0];
  size_t length;
  unsigned char secondMin = 0x80, secondMax = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) secondMin = 0xA0;  // overlong below U+0800
    if (lead == 0xED) secondMax = 0x9F;  // surrogates U+D800..U+DFFF
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) secondMin = 0x90;  // overlong below U+10000
    if (lead == 0xF4) secondMax = 0x8F;  // above U+10FFFF
  } else {
    return 0;  // a continuation byte, C0/C1 (always overlong) or F5..FF
  }
  if (available < length) return 0;
  if (at[1] < secondMin || at[1] > secondMax) return 0;
  for (size_t i = 2; i < length; ++i) {
    if (!isContinuation(at[i])) return 0;
  }
  return length;
}

}  // namespace

JsonWriter::JsonWriter(std::FILE* out) : out_(out) {
  buffer_.reserve(kFlushThreshold + 4096);
}

void JsonWriter::appendEscaped(std::string& out, std::string_view bytes) {
  static const char kHex[] = "0123456789abcdef";
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  const size_t size = bytes.size();
  size_t runStart = 0;  // bytes in [runStart, i) are copied as they stand
  size_t i = 0;
  while (i < size) {
    const unsigned char byte = data[i];
    if (byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\') {
      ++i;
      continue;
    }
    if (byte >= 0x80) {
      const size_t length = wellFormedSequenceLength(data + i, size - i);
      if (length != 0) {
        i += length;
        continue;
      }
    }
    out.append(bytes.data() + runStart, i - runStart);
    switch (byte) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      default:
        if (byte < 0x20) {
          out += "\\u00";
          out += kHex[byte >> 4];
          out += kHex[byte & 0x0F];
        } else {
          out += kReplacementCharacter;  // one per stray byte
        }
    }
    ++i;
    runStart = i;
  }
  out.append(bytes.data() + runStart, size - runStart);
}

void JsonWriter::newLine(size_t depth) {
  buffer_ += '\n';
  buffer_.append(depth * 2, ' ');
}

void JsonWriter::beforeValue() {
  if (afterKey_) {
    afterKey_ = false;
    return;
  }
  if (levels_.empty()) return;  // the document's top-level value
  Level& level = levels_.back();
  if (level.members++ > 0) buffer_ += ',';
  newLine(levels_.size());
}

void JsonWriter::openContainer(char bracket) {
  beforeValue();
  buffer_ += bracket;
  levels_.push_back({bracket == '{', 0});
}

void JsonWriter::closeContainer(char bracket) {
  const bool hadMembers = levels_.back().members > 0;
  levels_.pop_back();
  if (hadMembers) newLine(levels_.size());
  buffer_ += bracket;
  flushIfFull();
}

void JsonWriter::beginObject() {
  openContainer('{');
}
void JsonWriter::endObject() {
  closeContainer('}');
}
void JsonWriter::beginArray() {
  openContainer('[');
}
void JsonWriter::endArray() {
  closeContainer(']');
}

void JsonWriter::key(std::string_view name) {
  Level& level = levels_.back();
  if (level.members++ > 0) buffer_ += ',';
  newLine(levels_.size());
  buffer_ += '"';
  appendEscaped(buffer_, name);
  buffer_ += "\": ";
  afterKey_ = true;
}

void JsonWriter::string(std::string_view bytes) {
  beforeValue();
  buffer_ += '"';
  appendEscaped(buffer_, bytes);
  buffer_ += '"';
  flushIfFull();
}

void JsonWriter::integer(long long value) {
  beforeValue();
  char digits[24];
  const int length = std::snprintf(digits, sizeof digits, "%lld", value);
  buffer_.append(digits, static_cast<size_t>(length));
}

void JsonWriter::boolean(bool value) {
  beforeValue();
  buffer_ += value ? "true" : "false";
}

void JsonWriter::null() {
  beforeValue();
  buffer_ += "null";
}

void JsonWriter::flushIfFull() {
  if (buffer_.size() < kFlushThreshold) return;
  if (std::fwrite(buffer_.data(), 1, buffer_.size(), out_) != buffer_.size()) failed_ = true;
  buffer_.clear();
}

bool JsonWriter::finish() {
  buffer_ += '\n';
  if (std::fwrite(buffer_.data(), 1, buffer_.size(), out_) != buffer_.size()) failed_ = true;
  buffer_.clear();
  if (std::fflush(out_) != 0 || std::ferror(out_)) failed_ = true;
  return !failed_;
}
