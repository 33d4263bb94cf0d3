// Well-formed UTF-8, as the writers check it before text reaches a format
// that requires valid UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace pcd::writers {

constexpr char kReplacementCharacter[] = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

// Length of the well-formed UTF-8 sequence starting at `at` (at least two
// bytes long, lead byte >= 0x80), or 0 when the bytes there do not form one.
// Overlong forms, surrogates, code points above U+10FFFF and truncated
// sequences are all rejected.
inline size_t wellFormedSequenceLength(const unsigned char* at, size_t available) {
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
    if ((at[i] & 0xC0) != 0x80) return 0;
  }
  return length;
}

// True when `bytes` are well-formed UTF-8 throughout.
inline bool isWellFormed(std::string_view bytes) {
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (size_t i = 0; i < bytes.size();) {
    if (data[i] < 0x80) {
      ++i;
    } else if (const size_t length = wellFormedSequenceLength(data + i, bytes.size() - i)) {
      i += length;
    } else {
      return false;
    }
  }
  return true;
}

// Appends `bytes` to `out` as well-formed UTF-8: each well-formed sequence as
// it stands, every other byte of 0x80 and above as U+FFFD, and each ASCII
// byte as `ascii(out, byte)` appends it (the format's escapes).
// Each run of ASCII bytes for which `plain(byte)` holds (a format's bytes
// that need no escape) is appended whole.
template <class Plain, class Ascii>
void appendWellFormed(std::string& out, std::string_view bytes, Plain plain, Ascii ascii) {
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (size_t i = 0; i < bytes.size();) {
    size_t end = i;
    while (end < bytes.size() && data[end] < 0x80 && plain(data[end])) ++end;
    if (end > i) {
      out.append(bytes.data() + i, end - i);
      i = end;
      continue;
    }
    const unsigned char byte = data[i];
    if (byte < 0x80) {
      ascii(out, byte);
      ++i;
    } else if (const size_t length = wellFormedSequenceLength(data + i, bytes.size() - i)) {
      out.append(bytes.data() + i, length);
      i += length;
    } else {
      out += kReplacementCharacter;
      ++i;
    }
  }
}

// The same, each ASCII byte through `ascii`.
template <class Ascii>
void appendWellFormed(std::string& out, std::string_view bytes, Ascii ascii) {
  appendWellFormed(
      out, bytes, [](unsigned char) { return false; }, ascii);
}

// The first `limit` characters of UTF-8 `text`, and "…" when it is longer.
// Characters are counted by their lead bytes, so a cut never splits one.
inline std::string shortenedText(std::string text, size_t limit) {
  if (text.size() <= limit) return text;  // never more characters than bytes
  size_t characters = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;
    if (characters++ == limit) {
      text.resize(i);
      return text + "\xE2\x80\xA6";
    }
  }
  return text;
}

}  // namespace pcd::writers
