// Text from the extract as HTML character data or attribute values, or as
// JSON strings in a page's data: names and descriptions are data, never
// markup.
#pragma once

#include <string>
#include <string_view>

#include "utf8_sequence.h"

namespace pcd::writers {

// Escapes & < > " ' so that the result is safe in text and in quoted
// attribute values; a byte that is not part of well-formed UTF-8 becomes
// U+FFFD and a control character other than tab and line feed a blank.
inline std::string htmlText(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 8);
  appendWellFormed(text, bytes, [](std::string& out, unsigned char byte) {
    switch (byte) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      case '\t':
      case '\n':
        out += static_cast<char>(byte);
        break;
      default:
        out += byte < 0x20 || byte == 0x7F ? ' ' : static_cast<char>(byte);
    }
  });
  return text;
}

// Text from the extract as a quoted JSON string for data inside a script
// element: escaped as JSON requires, with "<" as \u003c so that no
// "</script" or "<!--" can end or change the element. Bytes that are not
// well-formed UTF-8 and control characters are treated as in htmlText.
inline void appendScriptString(std::string& out, std::string_view bytes) {
  out += '"';
  appendWellFormed(out, bytes, [](std::string& text, unsigned char byte) {
    switch (byte) {
      case '"':
        text += "\\\"";
        break;
      case '\\':
        text += "\\\\";
        break;
      case '<':
        text += "\\u003c";
        break;
      case '\t':
        text += "\\t";
        break;
      case '\n':
        text += "\\n";
        break;
      default:
        text += byte < 0x20 || byte == 0x7F ? ' ' : static_cast<char>(byte);
    }
  });
  out += '"';
}

}  // namespace pcd::writers
