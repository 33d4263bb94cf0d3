#include "sql_dialect.h"

#include <algorithm>

#include "sql_text.h"

namespace pcd::writers {

namespace {

// `text` between `quote`s, each of `doubled` in it written twice; the runs
// between them are appended whole.
std::string quotedText(std::string_view text, char quote, std::string_view doubled) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  quoted += quote;
  for (size_t from = 0;;) {
    const size_t at = text.find_first_of(doubled, from);
    if (at == std::string_view::npos) {
      quoted.append(text.substr(from));
      break;
    }
    quoted.append(text.substr(from, at + 1 - from));
    quoted += text[at];
    from = at + 1;
  }
  quoted += quote;
  return quoted;
}

}  // namespace

std::string SqlDialect::quoteIdentifier(std::string_view name) const {
  const char quote = identifierQuote();
  return quotedText(name, quote, std::string_view(&quote, 1));
}

std::string SqlDialect::quoteString(std::string_view text) const {
  return quotedText(text, '\'', backslashEscapes() ? "'\\" : "'");
}

bool SqlDialect::isReservedWord(std::string_view name) const {
  constexpr size_t kLongestWord = 30;
  if (name.empty() || name.size() > kLongestWord) return false;
  std::string upper(name);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  const SortedWords words = reservedWords();
  return std::binary_search(words.first, words.last, std::string_view(upper));
}

std::string SqlDialect::tableDescriptionBefore(const std::string&) const {
  return "";
}

CarriedDescription SqlDialect::tableDescriptionClause(const std::string&) const {
  return {};
}

CarriedDescription SqlDialect::columnDescriptionClause(const std::string&) const {
  return {};
}

std::string SqlDialect::descriptionStatements(const std::string&, const std::string&,
                                              const std::vector<ColumnDescription>&) const {
  return "";
}

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
