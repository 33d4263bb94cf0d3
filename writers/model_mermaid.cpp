#include "model_mermaid.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <string_view>
#include <utility>
#include <vector>

#include "diagram_selection.h"
#include "utf8_sequence.h"

namespace pcd::writers {

// How names reach Mermaid:
// - An entity is written by its own name when that is a plain identifier
//   (ASCII letters, digits, "_", not starting with a digit) of at most 256
//   bytes (every relation repeats it), no keyword of the diagram, and not
//   taken by an earlier entity. Any other entity gets
//   the id "e-N" (N its position in the diagram; no plain name has a "-")
//   and its name as the alias label: e-7["order lines"].
// - A column name that Mermaid's attribute token cannot take is written in
//   backticks (a backtick inside becomes "'"); an empty one as `""`.
// - In quoted text (aliases, comments, relation labels) the characters
//   Mermaid would read itself are entity codes: #quot; #35; #37; #92; #lt; #gt;
//   #amp;. A type keeps its letters, digits and -_()[]., and the rest
//   become "_".

namespace {

constexpr size_t kMaxIdBytes = 256;

bool isKeyword(std::string_view name) {
  static constexpr std::string_view kKeywords[] = {
      "erdiagram",  "direction", "style",    "classdef", "class", "subgraph",
      "end",        "one",       "only",     "zero",     "many",  "to",
      "optionally", "u",         "acctitle", "accdescr", "o"};
  const auto lower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  for (const std::string_view keyword : kKeywords) {
    if (keyword.size() != name.size()) continue;
    size_t at = 0;
    while (at < name.size() && lower(name[at]) == keyword[at]) ++at;
    if (at == name.size()) return true;
  }
  return false;
}

bool isPlainIdentifier(std::string_view name) {
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0]))) return false;
  for (const char c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return false;
  }
  return true;
}

// The bytes that Mermaid's attribute tokens take: their ASCII set, and the
// bytes of non-ASCII characters (they take U+00C0 and up; lower ones are
// rare in names and become "_" only in types).
constexpr auto kTokenBytes = [] {
  std::array<bool, 256> token{};
  for (int byte = 0; byte < 256; ++byte) {
    token[byte] =
        (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
        (byte >= '0' && byte <= '9') || byte >= 0x80 ||
        std::string_view("_-()[].,").find(static_cast<char>(byte)) != std::string_view::npos;
  }
  return token;
}();

bool isTokenByte(unsigned char c) {
  return kTokenBytes[c];
}

bool isAttributeToken(std::string_view text) {
  if (text.empty()) return false;
  const auto first = static_cast<unsigned char>(text[0]);
  if (!std::isalpha(first) && first != '_' && first < 0xC3) return false;
  for (const char c : text) {
    if (!isTokenByte(static_cast<unsigned char>(c))) return false;
  }
  // U+0080..U+00BF (lead byte 0xC2) is outside the token's range.
  return text.find('\xC2') == std::string_view::npos;
}

// Bytes that printableText leaves as they are, so that a name made only of
// them is its own printable text.
bool isPrintableAscii(std::string_view text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7F) return false;
  }
  return true;
}

// `bytes` as quoted text, in one pass: printable (control characters as
// blanks, U+FFFD for bytes that are not UTF-8), Mermaid's own characters
// as entity codes.
void appendQuotedText(std::string& out, std::string_view bytes) {
  static constexpr auto kPlain = [] {
    std::array<bool, 128> plain{};
    for (int byte = 0x20; byte < 0x7F; ++byte) plain[byte] = true;
    for (const char byte : std::string_view("\"#%<>&\\")) plain[byte] = false;
    return plain;
  }();
  out += '"';
  appendWellFormed(
      out, bytes, [](unsigned char byte) { return kPlain[byte]; },
      [](std::string& text, unsigned char byte) {
        switch (byte) {
          case '"':
            text += "#quot;";
            break;
          case '#':
            text += "#35;";
            break;
          case '%':
            text += "#37;";
            break;
          case '<':
            text += "#lt;";
            break;
          case '>':
            text += "#gt;";
            break;
          case '&':
            text += "#amp;";
            break;
          case '\\':
            text += "#92;";
            break;
          default:  // a control character
            text += ' ';
        }
      });
  out += '"';
}

// The type as an attribute token: its printable text with every byte the
// token does not take as "_", "_" before it when it would not start a
// token, "undefined" when empty or still no token. Made in place.
void appendTypeToken(std::string& out, const ZELAttribute& column) {
  const size_t start = out.size();
  appendTypeText(out, column.getType());
  const auto token = [&] { return std::string_view(out).substr(start); };
  // Printable ASCII is its own printable text; anything else (rare) is
  // made printable first.
  if (!isPrintableAscii(token())) out.replace(start, std::string::npos, printableText(token()));
  if (out.size() > start) {
    for (size_t i = start; i < out.size(); ++i) {
      if (!isTokenByte(static_cast<unsigned char>(out[i]))) out[i] = '_';
    }
    if (isAttributeToken(token())) return;
    out.insert(start, 1, '_');
    if (isAttributeToken(token())) return;
  }
  out.resize(start);
  out += "undefined";
}

// A column's name: as it is when an attribute token that is no keyword,
// else in backticks.
void appendAttributeName(std::string& out, std::string_view name) {
  if (isAttributeToken(name) && !isKeyword(name)) {
    out += name;
    return;
  }
  if (name.empty()) {
    out += "`\"\"`";
    return;
  }
  out += '`';
  for (const char c : name) out += c == '`' ? '\'' : c;
  out += '`';
}

void appendAttributeName(std::string& out, const ZELAttribute& column, size_t maxText) {
  const std::string_view name = bytesOf(column.getName());
  if (name.size() <= maxText && isPrintableAscii(name)) {
    appendAttributeName(out, name);  // its own printable, shortened text
  } else {
    appendAttributeName(out, shortenedText(printableText(name), maxText));
  }
}

}  // namespace

void appendDiagramAsMermaid(std::string& text, const Diagram& diagram, size_t maxText) {
  // The entities written by their own names: of the plain names, the first
  // of equal ones in the diagram's order (sorted by name, then position).
  std::vector<std::pair<std::string_view, size_t>> plain;
  for (size_t t = 0; t < diagram.tables.size(); ++t) {
    const std::string_view name = bytesOf(diagram.tables[t].table->getName());
    if (name.size() <= kMaxIdBytes && isPlainIdentifier(name) && !isKeyword(name))
      plain.emplace_back(name, t);
  }
  std::sort(plain.begin(), plain.end());
  std::vector<bool> byName(diagram.tables.size());
  for (size_t i = 0; i < plain.size(); ++i) {
    if (i == 0 || plain[i].first != plain[i - 1].first) byName[plain[i].second] = true;
  }
  const auto appendId = [&](size_t t) {
    if (byName[t]) {
      text += bytesOf(diagram.tables[t].table->getName());
    } else {
      char digits[24];
      text += "e-";
      text.append(digits, std::to_chars(digits, digits + sizeof digits, t + 1).ptr);
    }
  };
  text += "erDiagram\n";
  bool anyView = false;
  for (size_t t = 0; t < diagram.tables.size(); ++t) {
    const DiagramTable& table = diagram.tables[t];
    const std::string_view name = bytesOf(table.table->getName());
    text += "    ";
    appendId(t);
    if (!byName[t]) {
      text += '[';
      appendQuotedText(text, name.empty()
                                 ? std::string_view("\"\"")
                                 : std::string_view(shortenedText(std::string(name), maxText)));
      text += ']';
    }
    anyView |= table.view;
    if (!table.columns.empty()) {
      text += " {\n";
      for (const DiagramColumn& column : table.columns) {
        text += "        ";
        appendTypeToken(text, *column.column);
        text += ' ';
        appendAttributeName(text, *column.column, maxText);
        const char* separator = " ";
        for (const auto& [holds, key] : {std::pair{column.primaryKey, "PK"},
                                         {column.foreignKey, "FK"},
                                         {column.unique, "UK"}}) {
          if (!holds) continue;
          text += separator;
          text += key;
          separator = ", ";
        }
        if (column.column->getDescription().length() != 0) {
          text += ' ';
          appendQuotedText(text, bytesOf(column.column->getDescription()));
        }
        text += '\n';
      }
      text += "    }";
    }
    text += '\n';
  }
  for (const DiagramRelation& relation : diagram.relations) {
    text += "    ";
    appendId(relation.child);
    text += ' ';
    text += crowsFootLeft(relation.childEnd);
    text += "--";
    text += crowsFootRight(relation.parentEnd);
    text += ' ';
    appendId(relation.parent);
    text += " : ";
    appendQuotedText(text, relation.name);
    text += '\n';
  }
  // Views are drawn with a dashed border.
  if (anyView) {
    text += "    classDef view stroke-dasharray:5 5\n";
    for (size_t t = 0; t < diagram.tables.size(); ++t) {
      if (diagram.tables[t].view) {
        text += "    class ";
        appendId(t);
        text += " view\n";
      }
    }
  }
}

std::string diagramAsMermaid(const Diagram& diagram, size_t maxText) {
  std::string text;
  appendDiagramAsMermaid(text, diagram, maxText);
  return text;
}

namespace {

std::string wholeMermaid(const Diagram& diagram) {
  return diagramAsMermaid(diagram);
}

}  // namespace

std::unique_ptr<ModelWriter> makeMermaidModelWriter(const WriterOptions& options) {
  return makeTextDiagramWriter<wholeMermaid>(options);
}

}  // namespace pcd::writers
