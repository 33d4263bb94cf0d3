// Text from the extract as HTML character data or attribute values: names
// and descriptions are data, never markup.
#pragma once

#include <string>
#include <string_view>

#include "utf8_sequence.h"

// Escapes & < > " ' so that the result is safe in text and in quoted
// attribute values; a byte that is not part of well-formed UTF-8 becomes
// U+FFFD and a control character other than tab and line feed a blank.
inline std::string htmlText(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 8);
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (size_t i = 0; i < bytes.size();) {
    const unsigned char byte = data[i];
    if (byte >= 0x80) {
      if (const size_t length = wellFormedSequenceLength(data + i, bytes.size() - i)) {
        text.append(bytes.data() + i, length);
        i += length;
      } else {
        text += "\xEF\xBF\xBD";
        ++i;
      }
      continue;
    }
    switch (byte) {
      case '&':
        text += "&amp;";
        break;
      case '<':
        text += "&lt;";
        break;
      case '>':
        text += "&gt;";
        break;
      case '"':
        text += "&quot;";
        break;
      case '\'':
        text += "&#39;";
        break;
      case '\t':
      case '\n':
        text += static_cast<char>(byte);
        break;
      default:
        text += byte < 0x20 || byte == 0x7F ? ' ' : static_cast<char>(byte);
    }
    ++i;
  }
  return text;
}

// Text from the extract as a quoted JSON string for data inside a script
// element: escaped as JSON requires, with "<" as \u003c so that no
// "</script" or "<!--" can end or change the element. Bytes that are not
// well-formed UTF-8 and control characters are treated as in htmlText.
inline void appendScriptString(std::string& out, std::string_view bytes) {
  out += '"';
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (size_t i = 0; i < bytes.size();) {
    const unsigned char byte = data[i];
    if (byte >= 0x80) {
      if (const size_t length = wellFormedSequenceLength(data + i, bytes.size() - i)) {
        out.append(bytes.data() + i, length);
        i += length;
      } else {
        out += "\xEF\xBF\xBD";
        ++i;
      }
      continue;
    }
    switch (byte) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '<':
        out += "\\u003c";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      default:
        out += byte < 0x20 || byte == 0x7F ? ' ' : static_cast<char>(byte);
    }
    ++i;
  }
  out += '"';
}
