#include "sql_text.h"

#include <algorithm>

#include "utf8_sequence.h"

namespace pcd::writers {

std::string validUtf8(std::string_view bytes) {
  if (isWellFormed(bytes)) return std::string(bytes);  // the usual case: one copy
  std::string text;
  text.reserve(bytes.size());
  appendWellFormed(text, bytes,
                   [](std::string& out, unsigned char byte) { out += static_cast<char>(byte); });
  return text;
}

std::string_view validUtf8View(std::string_view bytes, std::string& repaired) {
  if (isWellFormed(bytes)) return bytes;
  repaired = validUtf8(bytes);
  return repaired;
}

bool isValidUtf8Of(std::string_view text, std::string_view bytes) {
  return isWellFormed(bytes) ? text == bytes : text == validUtf8(bytes);
}

std::string basicPlaneOnly(const std::string& text) {
  std::string kept;
  kept.reserve(text.size());
  for (size_t at = 0; at < text.size(); ++at) {
    if (static_cast<unsigned char>(text[at]) >= 0xF0) {
      kept += kReplacementCharacter;
      at += 3;
    } else {
      kept += text[at];
    }
  }
  return kept;
}

std::string commentText(std::string_view bytes) {
  std::string text = validUtf8(bytes);
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  return text;
}

std::string_view commentTextView(std::string_view bytes, std::string& made) {
  const bool plain = std::none_of(bytes.begin(), bytes.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
  });
  if (plain && isWellFormed(bytes)) return bytes;
  made = commentText(bytes);
  return made;
}

}  // namespace pcd::writers
