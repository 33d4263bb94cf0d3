#include "json_writer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "utf8_sequence.h"

namespace pcd::writers {

namespace {

constexpr size_t kFlushThreshold = 1 << 16;

// The bytes copied as they stand: printable ASCII but the quote and the
// backslash. Looked up, since every byte of every text is tested.
constexpr std::array<bool, 256> plainBytes() {
  std::array<bool, 256> plain{};
  for (int byte = 0x20; byte < 0x80; ++byte) plain[byte] = byte != '"' && byte != '\\';
  return plain;
}
constexpr std::array<bool, 256> kPlain = plainBytes();

// Whether all eight bytes of `word` are plain, tested together: none below
// 0x20, none from 0x80 up, no quote and no backslash.
inline bool plainWord(uint64_t word) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHighs = 0x8080808080808080ull;
  // A byte b < n sets the high bit of (b - n) & ~b (for n <= 0x80).
  auto anyBelow = [](uint64_t w, uint64_t n) { return ((w - n * kOnes) & ~w & kHighs) != 0; };
  auto anyEqual = [&](uint64_t w, uint64_t c) { return anyBelow(w ^ (c * kOnes), 1); };
  return (word & kHighs) == 0 && !anyBelow(word, 0x20) && !anyEqual(word, '"') &&
         !anyEqual(word, '\\');
}

inline uint64_t loadWord(const unsigned char* at) {
  uint64_t word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

// Escapes `bytes` as the content of a JSON string, handing each piece of
// output to `append(const char*, size_t)`: runs of plain bytes whole.
template <class Append>
void escape(std::string_view bytes, Append append) {
  static const char kHex[] = "0123456789abcdef";
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  const size_t size = bytes.size();
  size_t runStart = 0;  // bytes in [runStart, i) are copied as they stand
  size_t i = 0;
  while (i < size) {
    // Runs of plain bytes eight at a time, the rest byte by byte.
    while (i + 8 <= size && plainWord(loadWord(data + i))) i += 8;
    if (i == size) break;
    const unsigned char byte = data[i];
    if (kPlain[byte]) {
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
    append(bytes.data() + runStart, i - runStart);
    switch (byte) {
      case '"':
        append("\\\"", 2);
        break;
      case '\\':
        append("\\\\", 2);
        break;
      case '\n':
        append("\\n", 2);
        break;
      case '\r':
        append("\\r", 2);
        break;
      case '\t':
        append("\\t", 2);
        break;
      case '\b':
        append("\\b", 2);
        break;
      case '\f':
        append("\\f", 2);
        break;
      default:
        if (byte < 0x20) {
          const char unicode[6] = {'\\', 'u', '0', '0', kHex[byte >> 4], kHex[byte & 0x0F]};
          append(unicode, sizeof unicode);
        } else {
          append(kReplacementCharacter, sizeof kReplacementCharacter - 1);  // one per stray byte
        }
    }
    ++i;
    runStart = i;
  }
  append(bytes.data() + runStart, size - runStart);
}

}  // namespace

JsonWriter::JsonWriter(std::FILE* out, Style style)
    : out_(out), buffer_(kFlushThreshold + 4096), compact_(style == Style::kCompact) {}

JsonWriter::JsonWriter(Style style, size_t depth)
    : out_(nullptr), buffer_(4096), compact_(style == Style::kCompact), baseDepth_(depth) {
  clearFragment();
}

void JsonWriter::clearFragment() {
  used_ = 0;
  // Levels only for the indentation; the value opens no separator.
  levels_.assign(baseDepth_, Level{false, 1});
  afterKey_ = true;
}

void JsonWriter::raw(std::string_view value) {
  beforeValue();
  put(value.data(), value.size());
  flushIfFull();
}

void JsonWriter::appendEscaped(std::string& out, std::string_view bytes) {
  escape(bytes, [&out](const char* piece, size_t count) { out.append(piece, count); });
}

void JsonWriter::writeOut() {
  if (out_ == nullptr) return;
  if (used_ != 0 && std::fwrite(buffer_.data(), 1, used_, out_) != used_) failed_ = true;
  used_ = 0;
}

void JsonWriter::makeRoom(size_t count) {
  if (out_ == nullptr) {
    buffer_.resize(std::max(buffer_.size() * 2, used_ + count));
    return;
  }
  writeOut();
  if (count > buffer_.size()) buffer_.resize(count);
}

// A line break and the indentation of up to 32 levels, copied in one piece.
// Deeper levels are indented as the 32nd, so that the document's size stays
// linear in the model however deeply schemas nest.
constexpr size_t kMaxIndent = 64;
constexpr char kNewLineAndIndent[] =
    "\n                                                                ";
static_assert(sizeof kNewLineAndIndent == kMaxIndent + 2, "a break and kMaxIndent spaces");

namespace {
size_t indentOf(size_t depth) {
  return depth * 2 < kMaxIndent ? depth * 2 : kMaxIndent;
}
}  // namespace

void JsonWriter::newLine(size_t depth) {
  if (compact_) return;
  put(kNewLineAndIndent, 1 + indentOf(depth));
}

void JsonWriter::beforeValue() {
  if (afterKey_) {
    afterKey_ = false;
    return;
  }
  if (levels_.empty()) return;  // the document's top-level value
  Level& level = levels_.back();
  if (level.members++ > 0) put(',');
  newLine(levels_.size());
}

void JsonWriter::openContainer(char bracket) {
  beforeValue();
  put(bracket);
  levels_.push_back({bracket == '{', 0});
}

void JsonWriter::closeContainer(char bracket) {
  const bool hadMembers = levels_.back().members > 0;
  levels_.pop_back();
  if (hadMembers) newLine(levels_.size());
  put(bracket);
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

namespace {

bool isPlain(std::string_view bytes) {
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  size_t at = 0;
  for (; at + 8 <= bytes.size(); at += 8) {
    if (!plainWord(loadWord(data + at))) return false;
  }
  for (; at < bytes.size(); ++at) {
    if (!kPlain[data[at]]) return false;
  }
  return true;
}

}  // namespace

void JsonWriter::key(std::string_view name) {
  Level& level = levels_.back();
  const bool comma = level.members++ > 0;
  const size_t indent = indentOf(levels_.size());
  afterKey_ = true;
  if (!compact_ && isPlain(name)) {
    // A key that needs no escaping (the program's own keys never do), with
    // its comma, line break and indentation, in one piece. The line break and
    // the deepest indentation are copied whole (a copy of fixed size is a few
    // moves), then the position set behind the indentation wanted.
    const size_t total = 1 + (sizeof kNewLineAndIndent - 1) + 1 + name.size() + 3;
    if (buffer_.size() - used_ < total) makeRoom(total);
    char* at = buffer_.data() + used_;
    *at = ',';
    at += comma ? 1 : 0;
    std::memcpy(at, kNewLineAndIndent, sizeof kNewLineAndIndent - 1);
    at += 1 + indent;
    *at++ = '"';
    std::memcpy(at, name.data(), name.size());
    at += name.size();
    std::memcpy(at, "\": ", 3);
    used_ = static_cast<size_t>(at + 3 - buffer_.data());
    return;
  }
  if (comma) put(',');
  newLine(levels_.size());
  put('"');
  escape(name, [this](const char* piece, size_t count) { put(piece, count); });
  if (compact_) {
    put("\":", 2);
  } else {
    put("\": ", 3);
  }
}

void JsonWriter::string(std::string_view bytes) {
  beforeValue();
  put('"');
  escape(bytes, [this](const char* piece, size_t count) { put(piece, count); });
  put('"');
  flushIfFull();
}

void JsonWriter::integer(long long value) {
  beforeValue();
  // The text "%lld" gives, without the cost of a formatted print.
  char digits[24];
  char* const end = digits + sizeof digits;
  char* at = end;
  unsigned long long magnitude = value < 0 ? 0ull - static_cast<unsigned long long>(value)
                                           : static_cast<unsigned long long>(value);
  do {
    *--at = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (value < 0) *--at = '-';
  put(at, static_cast<size_t>(end - at));
}

void JsonWriter::boolean(bool value) {
  beforeValue();
  if (value) {
    put("true", 4);
  } else {
    put("false", 5);
  }
}

void JsonWriter::null() {
  beforeValue();
  put("null", 4);
}

void JsonWriter::flushIfFull() {
  if (used_ >= kFlushThreshold && out_ != nullptr) writeOut();
}

bool JsonWriter::finish() {
  put('\n');
  if (out_ == nullptr) return !failed_;
  writeOut();
  if (std::fflush(out_) != 0 || std::ferror(out_)) failed_ = true;
  return !failed_;
}

}  // namespace pcd::writers
