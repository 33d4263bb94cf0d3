#include "sql_dialect.h"

#include <algorithm>

#include "utf8_sequence.h"

namespace {

std::string withLength(std::string_view name, long length) {
  return std::string(name) + "(" + std::to_string(length) + ")";
}

std::string withPrecision(std::string_view name, long precision, long scale) {
  return std::string(name) + "(" + std::to_string(precision) + "," + std::to_string(scale) + ")";
}

bool isOneOf(std::string_view value, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), value) != names.end();
}

// Bytes of a MySQL DECIMAL(p,s) value: 4 bytes per 9 digits, the rest packed.
unsigned decimalBytes(long precision, long scale) {
  static const unsigned kRest[] = {0, 1, 1, 2, 2, 3, 3, 4, 4, 4};
  const long whole = precision - scale;
  return static_cast<unsigned>(whole / 9 * 4 + kRest[whole % 9] + scale / 9 * 4 + kRest[scale % 9]);
}

SqlType postgresqlType(std::string_view dataType, long length, long scale) {
  constexpr long kMaxLength = 10485760;
  SqlType type;
  if (isOneOf(dataType, {"CHAR", "NCHAR"})) {
    if (length > kMaxLength) {
      type = {"text", "text", true, 0, "length " + std::to_string(length) + " is over the limit"};
    } else {
      type = {length > 0 ? withLength("char", length) : "char", "char", true, 0, ""};
    }
  } else if (isOneOf(dataType, {"VARCHAR", "NVARCHAR"})) {
    if (length > kMaxLength) {
      type = {"text", "text", true, 0, "length " + std::to_string(length) + " is over the limit"};
    } else {
      type = {length > 0 ? withLength("varchar", length) : "varchar", "text", true, 0, ""};
    }
  } else if (isOneOf(dataType, {"LONGVARCHAR", "CLOB", "LONGNVARCHAR", "NCLOB"})) {
    type = {"text", "text", true, 0, ""};
  } else if (isOneOf(dataType, {"BINARY", "VARBINARY", "LONGVARBINARY", "BLOB"})) {
    type = {"bytea", "bytea", true, 0, ""};
  } else if (isOneOf(dataType, {"BIT", "BOOLEAN"})) {
    type = {"boolean", "boolean", true, 0, ""};
  } else if (isOneOf(dataType, {"TINYINT", "SMALLINT"})) {
    type = {"smallint", "integer", true, 0, ""};
  } else if (dataType == "INTEGER") {
    type = {"integer", "integer", true, 0, ""};
  } else if (dataType == "BIGINT") {
    type = {"bigint", "integer", true, 0, ""};
  } else if (isOneOf(dataType, {"DECIMAL", "NUMERIC"})) {
    if (length <= 0) {
      type = {"numeric", "numeric", true, 0, ""};
    } else {
      const long precision = std::min(length, 1000L);
      const long kept = std::clamp(scale, 0L, precision);
      type = {withPrecision("numeric", precision, kept), "numeric", true, 0, ""};
      if (precision != length || kept != scale) {
        type.note = "precision " + std::to_string(length) + ", scale " + std::to_string(scale) +
                    " brought into range";
      }
    }
  } else if (dataType == "REAL") {
    type = {"real", "float", true, 0, ""};
  } else if (isOneOf(dataType, {"FLOAT", "DOUBLE"})) {
    type = {"double precision", "float", true, 0, ""};
  } else if (dataType == "DATE") {
    type = {"date", "date", true, 0, ""};
  } else if (dataType == "TIME") {
    type = {"time", "time", true, 0, ""};
  } else if (dataType == "TIMESTAMP") {
    type = {"timestamp", "timestamp", true, 0, ""};
  } else if (dataType == "INTERVAL") {
    type = {"interval", "interval", true, 0, ""};
  } else if (dataType == "ROWID") {
    type = {"text", "text", true, 0, "no row identifier type"};
  } else if (dataType == "GUID") {
    type = {"uuid", "uuid", true, 0, ""};
  } else if (dataType == "XML") {
    type = {"xml", "xml", false, 0, ""};  // xml has no equality operator
  } else {
    type = generalType(SqlDialect::kPostgreSql);
  }
  return type;
}

// utf8mb4: four bytes per character in an index.
SqlType mysqlString(long length) {
  if (length <= 768) {  // one column of up to 3072 index bytes
    return {withLength("VARCHAR", length), "string", true, static_cast<unsigned>(length * 4), ""};
  }
  const char* text = length * 4 <= 65535      ? "TEXT"
                     : length * 4 <= 16777215 ? "MEDIUMTEXT"
                                              : "LONGTEXT";
  return {text,
          text,
          false,
          0,
          "length " + std::to_string(length) + " written as " + text,
          4,
          static_cast<unsigned>(length)};
}

SqlType mysqlType(std::string_view dataType, long length, long scale) {
  SqlType type;
  if (isOneOf(dataType, {"CHAR", "NCHAR"})) {
    const long kept = length > 0 ? length : 1;
    type = kept <= 255 ? SqlType{withLength("CHAR", kept), "string", true,
                                 static_cast<unsigned>(kept * 4), ""}
                       : mysqlString(kept);
  } else if (isOneOf(dataType, {"VARCHAR", "NVARCHAR"})) {
    type = mysqlString(length > 0 ? length : 255);
    if (length <= 0) type.note = "no length in the extract; written as VARCHAR(255)";
  } else if (isOneOf(dataType, {"LONGVARCHAR", "CLOB", "LONGNVARCHAR", "NCLOB", "XML"})) {
    type = {"LONGTEXT", "LONGTEXT", false, 0, "", 4, 0};
  } else if (dataType == "BINARY" && length > 0 && length <= 255) {
    type = {withLength("BINARY", length), "binary", true, static_cast<unsigned>(length), ""};
  } else if (isOneOf(dataType, {"BINARY", "VARBINARY"}) && length > 0 && length <= 3072) {
    type = {withLength("VARBINARY", length), "binary", true, static_cast<unsigned>(length), ""};
  } else if (isOneOf(dataType, {"BINARY", "VARBINARY", "LONGVARBINARY", "BLOB"})) {
    type = {"LONGBLOB", "LONGBLOB", false, 0, "", 1, static_cast<unsigned>(std::max(length, 0L))};
  } else if (isOneOf(dataType, {"BIT", "BOOLEAN"})) {
    type = {"BOOLEAN", "BOOLEAN", true, 1, ""};
  } else if (dataType == "TINYINT") {
    type = {"TINYINT", "TINYINT", true, 1, ""};
  } else if (dataType == "SMALLINT") {
    type = {"SMALLINT", "SMALLINT", true, 2, ""};
  } else if (dataType == "INTEGER") {
    type = {"INT", "INT", true, 4, ""};
  } else if (dataType == "BIGINT") {
    type = {"BIGINT", "BIGINT", true, 8, ""};
  } else if (isOneOf(dataType, {"DECIMAL", "NUMERIC"})) {
    // Without a precision the column holds any number the type can.
    const long precision = length > 0 ? std::min(length, 65L) : 65;
    const long kept = std::clamp(std::min(scale, 30L), 0L, precision);
    type.text = withPrecision("DECIMAL", precision, kept);
    type.pairClass = type.text;  // InnoDB pairs only equal precision and scale
    type.indexBytes = decimalBytes(precision, kept);
    if ((length > 0 && precision != length) || kept != scale) {
      type.note = "precision " + std::to_string(length) + ", scale " + std::to_string(scale) +
                  " brought into range";
    }
  } else if (dataType == "REAL") {
    type = {"FLOAT", "FLOAT", true, 4, ""};
  } else if (isOneOf(dataType, {"FLOAT", "DOUBLE"})) {
    type = {"DOUBLE", "DOUBLE", true, 8, ""};
  } else if (dataType == "DATE") {
    type = {"DATE", "DATE", true, 3, ""};
  } else if (dataType == "TIME") {
    type = {"TIME", "TIME", true, 3, ""};
  } else if (dataType == "TIMESTAMP") {
    // DATETIME: TIMESTAMP columns get automatic defaults and updates.
    type = {"DATETIME", "DATETIME", true, 8, ""};
  } else if (dataType == "INTERVAL") {
    type = {"VARCHAR(64)", "string", true, 256, "no interval type; written as text"};
  } else if (dataType == "ROWID") {
    type = {"VARCHAR(64)", "string", true, 256, "no row identifier type; written as text"};
  } else if (dataType == "GUID") {
    type = {"CHAR(36)", "string", true, 144, ""};
  } else {
    type = generalType(SqlDialect::kMySql);
  }
  return type;
}

// SQLite takes any declared type and keeps it as written; the declared name
// decides only the column's affinity.
SqlType sqliteType(std::string_view dataType, long length, long scale) {
  SqlType type;
  type.pairClass = "any";  // SQLite compares values, not declared types
  if (isOneOf(dataType, {"CHAR", "NCHAR", "VARCHAR", "NVARCHAR"})) {
    const std::string_view name = isOneOf(dataType, {"CHAR", "NCHAR"}) ? "CHAR" : "VARCHAR";
    type.text = length > 0 ? withLength(name, length) : std::string(name);
  } else if (isOneOf(dataType, {"LONGVARCHAR", "CLOB", "LONGNVARCHAR", "NCLOB", "XML", "ROWID",
                                "INTERVAL", "GUID"})) {
    type.text = "TEXT";
  } else if (isOneOf(dataType, {"BINARY", "VARBINARY", "LONGVARBINARY", "BLOB"})) {
    type.text = "BLOB";
  } else if (isOneOf(dataType, {"BIT", "BOOLEAN"})) {
    type.text = "BOOLEAN";
  } else if (isOneOf(dataType, {"TINYINT", "SMALLINT", "INTEGER", "BIGINT", "REAL", "FLOAT",
                                "DOUBLE", "DATE", "TIME", "TIMESTAMP"})) {
    type.text = dataType == "DOUBLE" ? "DOUBLE PRECISION" : std::string(dataType);
  } else if (isOneOf(dataType, {"DECIMAL", "NUMERIC"})) {
    type.text =
        length > 0 ? withPrecision(dataType, length, std::max(scale, 0L)) : std::string(dataType);
  } else {
    type = generalType(SqlDialect::kSqlite);
  }
  return type;
}

}  // namespace

const std::vector<std::string_view>& sqlDialectNames() {
  static const std::vector<std::string_view> names = {"postgresql", "mysql", "sqlite"};
  return names;
}

bool parseSqlDialect(std::string_view name, SqlDialect& dialect) {
  const auto& names = sqlDialectNames();
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return false;
  dialect = static_cast<SqlDialect>(found - names.begin());
  return true;
}

std::string_view sqlDialectName(SqlDialect dialect) {
  return sqlDialectNames()[static_cast<size_t>(dialect)];
}

std::string validUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  appendWellFormed(text, bytes,
                   [](std::string& out, unsigned char byte) { out += static_cast<char>(byte); });
  return text;
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

std::string quoteIdentifier(SqlDialect dialect, std::string_view name) {
  const char quote = dialect == SqlDialect::kMySql ? '`' : '"';
  std::string quoted(1, quote);
  for (const char c : name) {
    quoted += c;
    if (c == quote) quoted += quote;
  }
  quoted += quote;
  return quoted;
}

std::string quoteString(SqlDialect dialect, std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) {
    quoted += c;
    if (c == '\'' || (c == '\\' && dialect == SqlDialect::kMySql)) quoted += c;
  }
  quoted += '\'';
  return quoted;
}

IdentifierLimit identifierLimit(SqlDialect dialect) {
  switch (dialect) {
    case SqlDialect::kPostgreSql:
      return {63, true};
    case SqlDialect::kMySql:
      return {64, false};
    case SqlDialect::kSqlite:
      break;
  }
  return {};
}

SqlType mapType(SqlDialect dialect, std::string_view dataType, int length, int scale,
                std::string_view nativeName) {
  SqlType type;
  switch (dialect) {
    case SqlDialect::kPostgreSql:
      type = postgresqlType(dataType, length, scale);
      break;
    case SqlDialect::kMySql:
      type = mysqlType(dataType, length, scale);
      break;
    case SqlDialect::kSqlite:
      type = sqliteType(dataType, length, scale);
      break;
  }
  if (type.note == "unknown") {
    type.note = "type " + commentText(nativeName) + " is not known; written as " + type.text;
  }
  return type;
}

SqlType generalType(SqlDialect dialect) {
  switch (dialect) {
    case SqlDialect::kPostgreSql:
      return {"text", "text", true, 0, "unknown"};
    case SqlDialect::kMySql:
      return {"LONGTEXT", "LONGTEXT", false, 0, "unknown", 4, 0};
    case SqlDialect::kSqlite:
      break;
  }
  return {"TEXT", "any", true, 0, "unknown"};
}
