// MySQL and MariaDB: a database per schema, statements committed one by one,
// names of up to 64 characters, descriptions as COMMENT clauses, InnoDB's
// index rules.
#include <algorithm>
#include <iterator>

#include "sql_dialect.h"
#include "sql_text.h"
#include "sql_type_text.h"

namespace pcd::writers {

namespace {

// The words the parser refuses as a plain (unquoted) identifier. Sorted,
// upper case.
constexpr std::string_view kReservedWords[] = {"ACCESSIBLE",
                                               "ADD",
                                               "ALL",
                                               "ALTER",
                                               "ANALYZE",
                                               "AND",
                                               "AS",
                                               "ASC",
                                               "ASENSITIVE",
                                               "BEFORE",
                                               "BETWEEN",
                                               "BIGINT",
                                               "BINARY",
                                               "BLOB",
                                               "BOTH",
                                               "BY",
                                               "CALL",
                                               "CASCADE",
                                               "CASE",
                                               "CHANGE",
                                               "CHAR",
                                               "CHARACTER",
                                               "CHECK",
                                               "COLLATE",
                                               "COLUMN",
                                               "CONDITION",
                                               "CONSTRAINT",
                                               "CONTINUE",
                                               "CONVERT",
                                               "CREATE",
                                               "CROSS",
                                               "CUBE",
                                               "CUME_DIST",
                                               "CURRENT_DATE",
                                               "CURRENT_TIME",
                                               "CURRENT_TIMESTAMP",
                                               "CURRENT_USER",
                                               "CURSOR",
                                               "DATABASE",
                                               "DATABASES",
                                               "DAY_HOUR",
                                               "DAY_MICROSECOND",
                                               "DAY_MINUTE",
                                               "DAY_SECOND",
                                               "DEC",
                                               "DECIMAL",
                                               "DECLARE",
                                               "DEFAULT",
                                               "DELAYED",
                                               "DELETE",
                                               "DENSE_RANK",
                                               "DESC",
                                               "DESCRIBE",
                                               "DETERMINISTIC",
                                               "DISTINCT",
                                               "DISTINCTROW",
                                               "DIV",
                                               "DOUBLE",
                                               "DROP",
                                               "DUAL",
                                               "EACH",
                                               "ELSE",
                                               "ELSEIF",
                                               "EMPTY",
                                               "ENCLOSED",
                                               "ESCAPED",
                                               "EXCEPT",
                                               "EXISTS",
                                               "EXIT",
                                               "EXPLAIN",
                                               "FALSE",
                                               "FETCH",
                                               "FIRST_VALUE",
                                               "FLOAT",
                                               "FLOAT4",
                                               "FLOAT8",
                                               "FOR",
                                               "FORCE",
                                               "FOREIGN",
                                               "FROM",
                                               "FULLTEXT",
                                               "FUNCTION",
                                               "GENERATED",
                                               "GET",
                                               "GRANT",
                                               "GROUP",
                                               "GROUPING",
                                               "GROUPS",
                                               "HAVING",
                                               "HIGH_PRIORITY",
                                               "HOUR_MICROSECOND",
                                               "HOUR_MINUTE",
                                               "HOUR_SECOND",
                                               "IF",
                                               "IGNORE",
                                               "IN",
                                               "INDEX",
                                               "INFILE",
                                               "INNER",
                                               "INOUT",
                                               "INSENSITIVE",
                                               "INSERT",
                                               "INT",
                                               "INT1",
                                               "INT2",
                                               "INT3",
                                               "INT4",
                                               "INT8",
                                               "INTEGER",
                                               "INTERSECT",
                                               "INTERVAL",
                                               "INTO",
                                               "IO_AFTER_GTIDS",
                                               "IO_BEFORE_GTIDS",
                                               "IS",
                                               "ITERATE",
                                               "JOIN",
                                               "JSON_TABLE",
                                               "KEY",
                                               "KEYS",
                                               "KILL",
                                               "LAG",
                                               "LAST_VALUE",
                                               "LATERAL",
                                               "LEAD",
                                               "LEADING",
                                               "LEAVE",
                                               "LEFT",
                                               "LIKE",
                                               "LIMIT",
                                               "LINEAR",
                                               "LINES",
                                               "LOAD",
                                               "LOCALTIME",
                                               "LOCALTIMESTAMP",
                                               "LOCK",
                                               "LONG",
                                               "LONGBLOB",
                                               "LONGTEXT",
                                               "LOOP",
                                               "LOW_PRIORITY",
                                               "MASTER_BIND",
                                               "MASTER_SSL_VERIFY_SERVER_CERT",
                                               "MATCH",
                                               "MAXVALUE",
                                               "MEDIUMBLOB",
                                               "MEDIUMINT",
                                               "MEDIUMTEXT",
                                               "MIDDLEINT",
                                               "MINUTE_MICROSECOND",
                                               "MINUTE_SECOND",
                                               "MOD",
                                               "MODIFIES",
                                               "NATURAL",
                                               "NOT",
                                               "NO_WRITE_TO_BINLOG",
                                               "NTH_VALUE",
                                               "NTILE",
                                               "NULL",
                                               "NUMERIC",
                                               "OF",
                                               "ON",
                                               "OPTIMIZE",
                                               "OPTIMIZER_COSTS",
                                               "OPTION",
                                               "OPTIONALLY",
                                               "OR",
                                               "ORDER",
                                               "OUT",
                                               "OUTER",
                                               "OUTFILE",
                                               "OVER",
                                               "PARTITION",
                                               "PERCENT_RANK",
                                               "PRECISION",
                                               "PRIMARY",
                                               "PROCEDURE",
                                               "PURGE",
                                               "RANGE",
                                               "RANK",
                                               "READ",
                                               "READS",
                                               "READ_WRITE",
                                               "REAL",
                                               "RECURSIVE",
                                               "REFERENCES",
                                               "REGEXP",
                                               "RELEASE",
                                               "RENAME",
                                               "REPEAT",
                                               "REPLACE",
                                               "REQUIRE",
                                               "RESIGNAL",
                                               "RESTRICT",
                                               "RETURN",
                                               "REVOKE",
                                               "RIGHT",
                                               "RLIKE",
                                               "ROW",
                                               "ROWS",
                                               "ROW_NUMBER",
                                               "SCHEMA",
                                               "SCHEMAS",
                                               "SECOND_MICROSECOND",
                                               "SELECT",
                                               "SENSITIVE",
                                               "SEPARATOR",
                                               "SET",
                                               "SHOW",
                                               "SIGNAL",
                                               "SMALLINT",
                                               "SPATIAL",
                                               "SPECIFIC",
                                               "SQL",
                                               "SQLEXCEPTION",
                                               "SQLSTATE",
                                               "SQLWARNING",
                                               "SQL_BIG_RESULT",
                                               "SQL_CALC_FOUND_ROWS",
                                               "SQL_SMALL_RESULT",
                                               "SSL",
                                               "STARTING",
                                               "STORED",
                                               "STRAIGHT_JOIN",
                                               "SYSTEM",
                                               "TABLE",
                                               "TERMINATED",
                                               "THEN",
                                               "TINYBLOB",
                                               "TINYINT",
                                               "TINYTEXT",
                                               "TO",
                                               "TRAILING",
                                               "TRIGGER",
                                               "TRUE",
                                               "UNDO",
                                               "UNION",
                                               "UNIQUE",
                                               "UNLOCK",
                                               "UNSIGNED",
                                               "UPDATE",
                                               "USAGE",
                                               "USE",
                                               "USING",
                                               "UTC_DATE",
                                               "UTC_TIME",
                                               "UTC_TIMESTAMP",
                                               "VALUES",
                                               "VARBINARY",
                                               "VARCHAR",
                                               "VARCHARACTER",
                                               "VARYING",
                                               "VIRTUAL",
                                               "WHEN",
                                               "WHERE",
                                               "WHILE",
                                               "WINDOW",
                                               "WITH",
                                               "WRITE",
                                               "XOR",
                                               "YEAR_MONTH",
                                               "ZEROFILL"};

// Longest comments (characters) and index key (bytes).
constexpr size_t kColumnComment = 1024;
constexpr size_t kTableComment = 2048;
constexpr unsigned kKeyBytes = 3072;

// The head of valid UTF-8 `text` of at most `max` characters.
std::string firstCharacters(const std::string& text, size_t max) {
  size_t count = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    if ((static_cast<unsigned char>(text[at]) & 0xC0) != 0x80 && count++ == max) {
      return text.substr(0, at);
    }
  }
  return text;
}

// Bytes of a MySQL DECIMAL(p,s) value: 4 bytes per 9 digits, the rest packed.
unsigned decimalBytes(long precision, long scale) {
  static const unsigned kRest[] = {0, 1, 1, 2, 2, 3, 3, 4, 4, 4};
  const long whole = precision - scale;
  return static_cast<unsigned>(whole / 9 * 4 + kRest[whole % 9] + scale / 9 * 4 + kRest[scale % 9]);
}

// utf8mb4: four bytes per character in an index.
SqlType stringType(long length) {
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

class MySqlDialect final : public SqlDialect {
 public:
  std::string_view name() const override { return "mysql"; }

  // The data dictionary keeps identifiers as 64 characters, whatever their
  // bytes.
  IdentifierLimit identifierLimit() const override { return {64, false}; }
  // Identifiers match without regard to ASCII case.
  bool namesIgnoreCase() const override { return true; }
  std::string identifierText(std::string text) const override {
    // MySQL identifiers hold characters of the Basic Multilingual Plane
    // only and cannot end with a blank.
    text = basicPlaneOnly(text);
    size_t end = text.size();
    while (end > 0 && text[end - 1] == ' ') text[--end] = '_';
    return text;
  }
  // The databases of its own catalogs, compared without regard to case.
  const ReservedNames& reservedNames() const override {
    static const ReservedNames kReserved{
        "", {"mysql", "information_schema", "performance_schema", "sys"}, ""};
    return kReserved;
  }
  // A plain name may start with a digit, unless it is all digits.
  PlainNames plainNames() const override { return {true, true, false}; }
  // Index names are per table (every primary key is PRIMARY), foreign-key
  // names per database, and each foreign key also names an index of its
  // table.
  NameScopes nameScopes() const override {
    return {kIndexNames, kForeignKeyNames | kIndexNames, kIndexNames};
  }

  std::string_view schemaKind() const override { return "database"; }
  std::string_view schemaPlacement() const override {
    return "Each schema of every catalog becomes a database (utf8mb4).";
  }
  std::string_view scriptStart() const override { return "SET NAMES utf8mb4;\n"; }
  // Each DDL statement commits.
  bool transactionalDdl() const override { return false; }
  // A binary collation, so that keys compare as in the source.
  std::string createSchema(const std::string& quotedName, bool) const override {
    return "CREATE DATABASE " + quotedName + " CHARACTER SET utf8mb4 COLLATE utf8mb4_bin;\n";
  }
  std::string_view primaryKeyName() const override { return "PRIMARY"; }
  bool foreignKeysNeedIndexes() const override { return true; }
  unsigned indexKeyBytes() const override { return kKeyBytes; }

  // Comments hold 3-byte UTF-8 and are cut to the characters the engine
  // keeps.
  std::string keptDescription(const std::string& description, bool column) const override {
    return firstCharacters(basicPlaneOnly(description), column ? kColumnComment : kTableComment);
  }
  // COMMENT clauses of what the engine keeps (noted on the line when less).
  CarriedDescription tableDescriptionClause(const std::string& description) const override {
    const std::string kept = keptDescription(description, false);
    return {" COMMENT=" + quoteString(kept),
            kept.size() < description.size() ? "description shortened" : ""};
  }
  CarriedDescription columnDescriptionClause(std::string_view description) const override {
    const std::string kept = keptDescription(std::string(description), true);
    return {" COMMENT " + quoteString(kept),
            kept.size() < description.size() ? "description shortened" : ""};
  }

  std::string migrationStart() const override { return "SET NAMES utf8mb4;\n"; }
  std::string migrationEnd() const override { return ""; }
  std::string_view migrationLimits() const override {
    return "MySQL/MariaDB commit each DDL statement: a script that stops half way leaves the "
           "statements before the failing one applied.";
  }
  std::string dropSchema(const std::string& quotedName) const override {
    return "DROP DATABASE " + quotedName + ";\n";
  }
  // With the index the engine made for the foreign key where no index of
  // the table served it, which takes the foreign key's name (no index of
  // the script shares it: they are one scope). IF EXISTS is MariaDB's.
  std::string dropForeignKey(const std::string& tableRef,
                             const std::string& quotedName) const override {
    return "ALTER TABLE " + tableRef + " DROP FOREIGN KEY " + quotedName +
           ", DROP INDEX IF EXISTS " + quotedName + ";\n";
  }
  // Keys are indexes; every primary key is PRIMARY.
  std::string dropKey(const std::string& tableRef, const std::string& quotedName,
                      bool primary) const override {
    return "ALTER TABLE " + tableRef +
           (primary ? std::string(" DROP PRIMARY KEY") : " DROP INDEX " + quotedName) + ";\n";
  }
  std::string dropIndex(const std::string& tableRef, const std::string&,
                        const std::string& quotedName) const override {
    return "DROP INDEX " + quotedName + " ON " + tableRef + ";\n";
  }
  std::string renameTable(const std::string& oldRef, const std::string& newRef,
                          const std::string&) const override {
    return "RENAME TABLE " + oldRef + " TO " + newRef + ";\n";
  }
  // A new column goes where the new extract has it.
  std::string addColumn(const std::string& tableRef, const std::string& definition,
                        const std::string& quotedPrevious) const override {
    return "ALTER TABLE " + tableRef + " ADD COLUMN " + definition +
           (quotedPrevious.empty() ? std::string(" FIRST") : " AFTER " + quotedPrevious) + ";\n";
  }
  bool placesAddedColumns() const override { return true; }
  // MODIFY restates the whole column: type, nullability and comment.
  std::string alterColumn(const ColumnChange& change) const override {
    return "ALTER TABLE " + change.tableRef + " MODIFY COLUMN " + change.definition + ";\n";
  }
  bool restatesAlteredColumns() const override { return true; }
  std::string setTableDescription(const std::string& tableRef,
                                  const std::string& description) const override {
    return "ALTER TABLE " + tableRef +
           (description.empty() ? std::string(" COMMENT=''")
                                : tableDescriptionClause(description).clause) +
           ";\n";
  }

  SqlType generalType() const override {
    return {"LONGTEXT", "LONGTEXT", false, 0, kUnknownType, 4, 0};
  }

 protected:
  char identifierQuote() const override { return '`'; }
  // Backslashes start escapes in string literals.
  bool backslashEscapes() const override { return true; }
  SortedWords reservedWords() const override {
    return {std::begin(kReservedWords), std::end(kReservedWords)};
  }

  SqlType mappedType(std::string_view dataType, long length, long scale) const override {
    SqlType type;
    if (isOneOf(dataType, {"CHAR", "NCHAR"})) {
      const long kept = length > 0 ? length : 1;
      type = kept <= 255 ? SqlType{withLength("CHAR", kept), "string", true,
                                   static_cast<unsigned>(kept * 4), ""}
                         : stringType(kept);
    } else if (isOneOf(dataType, {"VARCHAR", "NVARCHAR"})) {
      type = stringType(length > 0 ? length : 255);
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
      type = generalType();
    }
    return type;
  }
};

}  // namespace

const SqlDialect& mysqlDialect() {
  static const MySqlDialect dialect;
  return dialect;
}

}  // namespace pcd::writers
