// Text made fit for a SQL script: what the script writes of the model's
// names, descriptions and notes.
#pragma once

#include <string>
#include <string_view>

namespace pcd::writers {

// Each byte that is not part of a well-formed UTF-8 sequence becomes U+FFFD
// (the rule the JSON writer follows too).
std::string validUtf8(std::string_view bytes);
// The same without a copy: `bytes` themselves when well-formed, else the
// repaired text, kept in `repaired`.
std::string_view validUtf8View(std::string_view bytes, std::string& repaired);
// True when `text` is what validUtf8(bytes) gives, without a copy where
// `bytes` are well-formed already.
bool isValidUtf8Of(std::string_view text, std::string_view bytes);
// The same, with line breaks, tabs and other control characters as blanks,
// for text inside a "-- " line comment.
std::string commentText(std::string_view bytes);
// The same without a copy: `bytes` themselves when they need no change, else
// the text made, kept in `made`.
std::string_view commentTextView(std::string_view bytes, std::string& made);
// Valid UTF-8 text with each 4-byte character (outside the Basic
// Multilingual Plane) as U+FFFD: MySQL keeps identifiers and comments as
// 3-byte UTF-8.
std::string basicPlaneOnly(const std::string& text);

}  // namespace pcd::writers
