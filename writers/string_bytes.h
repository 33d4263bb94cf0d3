// A host string's bytes as the writers read them.
#pragma once

#include <string>
#include <string_view>

#include "zel_string.h"

namespace pcd::writers {

// The bytes of a name or text, embedded NUL bytes included.
inline std::string_view bytesOf(const ZELString& text) {
  return {text.data(), text.length()};
}

// `text` with its ASCII letters lowered, the other bytes as they are, into
// `lower` (whose buffer a caller may reuse from name to name).
inline void lowerAsciiInto(std::string& lower, std::string_view text) {
  lower.assign(text.data(), text.size());
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
}
inline std::string lowerAscii(std::string_view text) {
  std::string lower;
  lowerAsciiInto(lower, text);
  return lower;
}

}  // namespace pcd::writers
