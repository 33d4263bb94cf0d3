// The SQL dialects the "sql" format writes: their names, how they quote
// identifiers and strings, how long an identifier may be and which of the
// host's data types they have.
#pragma once

#include <string>
#include <string_view>
#include <vector>

enum class SqlDialect { kPostgreSql, kMySql, kSqlite };

// "postgresql", "mysql", "sqlite", in that order (the first is the default).
const std::vector<std::string_view>& sqlDialectNames();
// False when `name` is not one of sqlDialectNames().
bool parseSqlDialect(std::string_view name, SqlDialect& dialect);
std::string_view sqlDialectName(SqlDialect dialect);

// Text made fit for a script: each byte that is not part of a well-formed
// UTF-8 sequence becomes U+FFFD (the rule the JSON writer follows too).
std::string validUtf8(std::string_view bytes);
// The same, with line breaks, tabs and other control characters as blanks,
// for text inside a "-- " line comment.
std::string commentText(std::string_view bytes);
// Valid UTF-8 text with each 4-byte character (outside the Basic
// Multilingual Plane) as U+FFFD: MySQL keeps identifiers and comments as
// 3-byte UTF-8.
std::string basicPlaneOnly(const std::string& text);

// The identifier quoted for the dialect, embedded quote characters doubled.
// `name` must be valid UTF-8 and fit the dialect's limits (SqlNames sees to it).
std::string quoteIdentifier(SqlDialect dialect, std::string_view name);
// A string literal: single quotes doubled, and for MySQL backslashes too.
std::string quoteString(SqlDialect dialect, std::string_view text);

// The longest identifier the dialect keeps, in its own unit: PostgreSQL
// counts bytes (63), MySQL characters (64); SQLite has no limit (0).
struct IdentifierLimit {
  unsigned max = 0;  // 0: none
  bool countsBytes = false;
};
IdentifierLimit identifierLimit(SqlDialect dialect);

// A column type as the script writes it.
struct SqlType {
  std::string text;  // "varchar(60)", "numeric(10,2)", ...
  // Compatibility class for foreign-key pairs: two columns can be paired
  // when their classes are equal (see mapType).
  std::string pairClass;
  // False when the dialect cannot use the type in a key or index (MySQL
  // TEXT and BLOB types, PostgreSQL xml).
  bool indexable = true;
  // Bytes one value takes in a MySQL index, for its 3072-byte key limit.
  unsigned indexBytes = 0;
  // Why the type is not the host's own, e.g. "unknown type GEOMETRY, written
  // as text"; empty when it maps plainly.
  std::string note;
  // MySQL TEXT and BLOB types, which an index takes by a prefix only: the
  // bytes one unit of the prefix takes in the key (4 per utf8mb4
  // character, 1 per byte), 0 for other types; and the column's length in
  // those units, 0 when unknown.
  unsigned prefixUnitBytes = 0;
  unsigned prefixUnits = 0;
};

// The dialect's type for a host data type ("VARCHAR", "NUMERIC", ...) with
// its length and scale. `nativeName` is only used in notes.
SqlType mapType(SqlDialect dialect, std::string_view dataType, int length, int scale,
                std::string_view nativeName);
// The dialect's most general type, for columns without a type.
SqlType generalType(SqlDialect dialect);

// True when `name` is a word the dialect reserves, compared without regard
// to case: as an identifier it must be quoted. The lists are the words each
// engine refuses as a plain table or column name.
bool isReservedWord(SqlDialect dialect, std::string_view name);
// The prefix of names the engine keeps for its own objects ("pg_",
// "sqlite_"), compared without regard to case; "" when it keeps none.
std::string_view reservedNamePrefix(SqlDialect dialect);
