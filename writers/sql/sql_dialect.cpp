#include "sql_dialect.h"

#include <algorithm>

#include "sql_text.h"
#include "string_bytes.h"

namespace pcd::writers {

namespace {

// Appends `text` between `quote`s, each `first` or `second` in it written
// twice; the runs between them are appended whole. (`second` may equal
// `first`.) One pass over the bytes: find_first_of would search the set
// once per byte.
void appendQuoted(std::string& out, std::string_view text, char quote, char first, char second) {
  out.reserve(out.size() + text.size() + 2);
  out += quote;
  size_t from = 0;
  if (first == second) {  // one character: memchr finds it
    for (size_t at; (at = text.find(first, from)) != std::string_view::npos; from = at + 1) {
      out.append(text.data() + from, at + 1 - from);
      out += first;
    }
  } else {
    for (size_t at = 0; at < text.size(); ++at) {
      if (text[at] != first && text[at] != second) continue;
      out.append(text.data() + from, at + 1 - from);
      out += text[at];
      from = at + 1;
    }
  }
  out.append(text.data() + from, text.size() - from);
  out += quote;
}

}  // namespace

void SqlDialect::appendIdentifier(std::string& out, std::string_view name) const {
  const char quote = identifierQuote();
  appendQuoted(out, name, quote, quote, quote);
}

void SqlDialect::appendString(std::string& out, std::string_view text) const {
  appendQuoted(out, text, '\'', '\'', backslashEscapes() ? '\\' : '\'');
}

std::string SqlDialect::quoteIdentifier(std::string_view name) const {
  std::string quoted;
  appendIdentifier(quoted, name);
  return quoted;
}

std::string SqlDialect::quoteString(std::string_view text) const {
  std::string quoted;
  appendString(quoted, text);
  return quoted;
}

bool ReservedNames::hasPrefix(std::string_view name) const {
  return !prefix.empty() && name.size() >= prefix.size() &&
         lowerAscii(name.substr(0, prefix.size())) == prefix;
}

bool SqlDialect::isReservedWord(std::string_view name) const {
  constexpr size_t kLongestWord = 30;
  if (name.empty() || name.size() > kLongestWord) return false;
  char upper[kLongestWord];
  for (size_t i = 0; i < name.size(); ++i) {
    const char c = name[i];
    upper[i] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  const SortedWords words = reservedWords();
  return std::binary_search(words.first, words.last, std::string_view(upper, name.size()));
}

std::string SqlDialect::tableDescriptionBefore(const std::string&) const {
  return "";
}

CarriedDescription SqlDialect::tableDescriptionClause(const std::string&) const {
  return {};
}

CarriedDescription SqlDialect::columnDescriptionClause(std::string_view) const {
  return {};
}

void SqlDialect::appendDescriptionStatements(std::string&, std::string_view, std::string_view,
                                             const std::vector<ColumnDescription>&) const {}

std::string SqlDialect::renameTable(const std::string& oldRef, const std::string&,
                                    const std::string& quotedNewName) const {
  return "ALTER TABLE " + oldRef + " RENAME TO " + quotedNewName + ";\n";
}

std::string SqlDialect::addColumn(const std::string& tableRef, const std::string& definition,
                                  const std::string&) const {
  return "ALTER TABLE " + tableRef + " ADD COLUMN " + definition + ";\n";
}

std::string SqlDialect::renameColumn(const std::string& tableRef, const std::string& oldQuoted,
                                     const std::string& newQuoted) const {
  return "ALTER TABLE " + tableRef + " RENAME COLUMN " + oldQuoted + " TO " + newQuoted + ";\n";
}

SqlType SqlDialect::type(std::string_view dataType, int length, int scale,
                         std::string_view nativeName) const {
  SqlType type = mappedType(dataType, length, scale);
  if (type.note == kUnknownType) {
    type.note = "type " + commentText(nativeName) + " is not known; written as " + type.text;
  }
  return type;
}

}  // namespace pcd::writers
