#include "model_mermaid.h"

#include <array>
#include <cctype>
#include <string_view>
#include <unordered_set>

#include "diagram_selection.h"
#include "utf8_sequence.h"
#include "zel_keyed_hash.h"

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

// A byte that Mermaid's attribute tokens take: their ASCII set, or part of
// a non-ASCII character (they take U+00C0 and up; lower ones are rare in
// names and become "_" only in types).
bool isTokenByte(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-' || c == '(' || c == ')' || c == '[' || c == ']' || c == '.' || c == ',' ||
         c >= 0x80;
}

bool isAttributeToken(const std::string& text) {
  if (text.empty()) return false;
  const auto first = static_cast<unsigned char>(text[0]);
  if (!std::isalpha(first) && first != '_' && first < 0xC3) return false;
  for (const char c : text) {
    if (!isTokenByte(static_cast<unsigned char>(c))) return false;
  }
  // U+0080..U+00BF (lead byte 0xC2) is outside the token's range.
  return text.find('\xC2') == std::string::npos;
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

void appendTypeToken(std::string& out, const ZELAttribute& column) {
  std::string token = printableText(columnTypeText(column));
  if (token.empty()) {
    out += "undefined";
    return;
  }
  for (char& c : token) {
    if (!isTokenByte(static_cast<unsigned char>(c))) c = '_';
  }
  if (!isAttributeToken(token)) token.insert(0, 1, '_');
  out += isAttributeToken(token) ? std::string_view(token) : std::string_view("undefined");
}

void appendAttributeName(std::string& out, const ZELAttribute& column, size_t maxText) {
  std::string name = shortenedText(printableText(bytesOf(column.getName())), maxText);
  if (isAttributeToken(name) && !isKeyword(name)) {
    out += name;
    return;
  }
  if (name.empty()) {
    out += "`\"\"`";
    return;
  }
  for (char& c : name) {
    if (c == '`') c = '\'';
  }
  out += '`';
  out += name;
  out += '`';
}

}  // namespace

void appendDiagramAsMermaid(std::string& text, const Diagram& diagram, size_t maxText) {
  std::vector<std::string> ids(diagram.tables.size());
  std::unordered_set<std::string_view, zel_hash::TextHash> taken;
  text += "erDiagram\n";
  bool anyView = false;
  for (size_t t = 0; t < diagram.tables.size(); ++t) {
    const DiagramTable& table = diagram.tables[t];
    const std::string_view name = bytesOf(table.table->getName());
    text += "    ";
    if (name.size() <= kMaxIdBytes && isPlainIdentifier(name) && !isKeyword(name) &&
        taken.insert(name).second) {
      ids[t] = name;
      text += name;
    } else {
      ids[t] = "e-" + std::to_string(t + 1);
      text += ids[t];
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
    text += ids[relation.child];
    text += ' ';
    text += crowsFootLeft(relation.childEnd);
    text += "--";
    text += crowsFootRight(relation.parentEnd);
    text += ' ';
    text += ids[relation.parent];
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
        text += ids[t];
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
