// PostgreSQL: schemas in the current database, one transaction, names of up
// to 63 bytes, descriptions as COMMENT ON statements.
#include <algorithm>
#include <iterator>

#include "sql_dialect.h"
#include "sql_type_text.h"

namespace pcd::writers {

namespace {

// The words the parser refuses as a plain (unquoted) identifier. Sorted,
// upper case.
constexpr std::string_view kReservedWords[] = {"ALL",
                                               "ANALYSE",
                                               "ANALYZE",
                                               "AND",
                                               "ANY",
                                               "ARRAY",
                                               "AS",
                                               "ASC",
                                               "ASYMMETRIC",
                                               "AUTHORIZATION",
                                               "BINARY",
                                               "BOTH",
                                               "CASE",
                                               "CAST",
                                               "CHECK",
                                               "COLLATE",
                                               "COLLATION",
                                               "COLUMN",
                                               "CONCURRENTLY",
                                               "CONSTRAINT",
                                               "CREATE",
                                               "CROSS",
                                               "CURRENT_CATALOG",
                                               "CURRENT_DATE",
                                               "CURRENT_ROLE",
                                               "CURRENT_SCHEMA",
                                               "CURRENT_TIME",
                                               "CURRENT_TIMESTAMP",
                                               "CURRENT_USER",
                                               "DEFAULT",
                                               "DEFERRABLE",
                                               "DESC",
                                               "DISTINCT",
                                               "DO",
                                               "ELSE",
                                               "END",
                                               "EXCEPT",
                                               "FALSE",
                                               "FETCH",
                                               "FOR",
                                               "FOREIGN",
                                               "FREEZE",
                                               "FROM",
                                               "FULL",
                                               "GRANT",
                                               "GROUP",
                                               "HAVING",
                                               "ILIKE",
                                               "IN",
                                               "INITIALLY",
                                               "INNER",
                                               "INTERSECT",
                                               "INTO",
                                               "IS",
                                               "ISNULL",
                                               "JOIN",
                                               "LATERAL",
                                               "LEADING",
                                               "LEFT",
                                               "LIKE",
                                               "LIMIT",
                                               "LOCALTIME",
                                               "LOCALTIMESTAMP",
                                               "NATURAL",
                                               "NOT",
                                               "NOTNULL",
                                               "NULL",
                                               "OFFSET",
                                               "ON",
                                               "ONLY",
                                               "OR",
                                               "ORDER",
                                               "OUTER",
                                               "OVERLAPS",
                                               "PLACING",
                                               "PRIMARY",
                                               "REFERENCES",
                                               "RETURNING",
                                               "RIGHT",
                                               "SELECT",
                                               "SESSION_USER",
                                               "SIMILAR",
                                               "SOME",
                                               "SYMMETRIC",
                                               "SYSTEM_USER",
                                               "TABLE",
                                               "TABLESAMPLE",
                                               "THEN",
                                               "TO",
                                               "TRAILING",
                                               "TRUE",
                                               "UNION",
                                               "UNIQUE",
                                               "USER",
                                               "USING",
                                               "VARIADIC",
                                               "VERBOSE",
                                               "WHEN",
                                               "WHERE",
                                               "WINDOW",
                                               "WITH"};

class PostgreSqlDialect final : public SqlDialect {
 public:
  std::string_view name() const override { return "postgresql"; }

  // NAMEDATALEN is 64 bytes with the terminating NUL; a longer name is cut
  // by the engine, so the script cuts it first.
  IdentifierLimit identifierLimit() const override { return {63, true}; }
  // Quoted names compare as they are.
  bool namesIgnoreCase() const override { return false; }
  // pg_ is kept for the engine's own schemas, which it refuses to create,
  // quoted or not; the script renames tables of that prefix too.
  const ReservedNames& reservedNames() const override {
    static const ReservedNames kReserved{
        "public", {"information_schema", "pg_catalog", "pg_toast"}, "pg_", true, false};
    return kReserved;
  }
  PlainNames plainNames() const override { return {true, false, true}; }
  // Tables, indexes and key constraints share one namespace per schema (a
  // primary or unique key's index takes the constraint's name); constraint
  // names are unique per table, so two tables may both have a foreign key
  // domain_exists.
  NameScopes nameScopes() const override {
    return {kConstraintNames | kRelationNames, kConstraintNames, kRelationNames};
  }

  std::string_view schemaKind() const override { return "schema"; }
  std::string_view schemaPlacement() const override {
    return "Each schema of every catalog becomes a schema of the current database.";
  }
  std::string_view scriptStart() const override { return "SET client_encoding = 'UTF8';\n"; }
  bool transactionalDdl() const override { return true; }
  std::string createSchema(const std::string& quotedName, bool usersSchema) const override {
    if (!usersSchema) return "CREATE SCHEMA " + quotedName + ";\n";
    // The database's own schema, made only where it was dropped; the
    // notice that it exists says nothing the header does not.
    return "SET client_min_messages = warning;\nCREATE SCHEMA IF NOT EXISTS " + quotedName +
           ";\nRESET client_min_messages;\n";
  }
  bool tablesWithoutColumns() const override { return true; }

  void appendDescriptionStatements(std::string& out, std::string_view tableRef,
                                   std::string_view description,
                                   const std::vector<ColumnDescription>& columns) const override {
    if (!description.empty()) {
      out += "COMMENT ON TABLE ";
      out += tableRef;
      out += " IS ";
      appendString(out, description);
      out += ";\n";
    }
    for (const ColumnDescription& column : columns) {
      out += "COMMENT ON COLUMN ";
      out += tableRef;
      out += '.';
      out += column.quotedName;
      out += " IS ";
      appendString(out, column.description);
      out += ";\n";
    }
  }

  std::string migrationStart() const override { return "SET client_encoding = 'UTF8';\nBEGIN;\n"; }
  std::string migrationEnd() const override { return "COMMIT;\n"; }
  std::string_view migrationLimits() const override {
    return "PostgreSQL runs the whole script as one transaction: it applies entirely or not "
           "at all.\n"
           "A column added in place comes last, whatever its position in the new extract.";
  }
  std::string dropSchema(const std::string& quotedName) const override {
    return "DROP SCHEMA " + quotedName + ";\n";
  }
  std::string dropForeignKey(const std::string& tableRef,
                             const std::string& quotedName) const override {
    return "ALTER TABLE " + tableRef + " DROP CONSTRAINT " + quotedName + ";\n";
  }
  std::string dropKey(const std::string& tableRef, const std::string& quotedName,
                      bool) const override {
    return dropForeignKey(tableRef, quotedName);
  }
  std::string dropIndex(const std::string&, const std::string& indexRef,
                        const std::string&) const override {
    return "DROP INDEX " + indexRef + ";\n";
  }
  // Each change its own statement; a new type converts the values by a
  // cast, which fails (and rolls everything back) on a value that does not
  // convert.
  std::string alterColumn(const ColumnChange& change) const override {
    const std::string alter =
        "ALTER TABLE " + change.tableRef + " ALTER COLUMN " + change.quotedName;
    std::string text;
    if (change.type) {
      text += alter + " TYPE " + change.typeText + " USING " + change.quotedName +
              "::" + change.typeText + ";\n";
    }
    if (change.dropNotNull) text += alter + " DROP NOT NULL;\n";
    if (change.setNotNull) text += alter + " SET NOT NULL;\n";
    if (change.description) {
      text += "COMMENT ON COLUMN " + change.tableRef + "." + change.quotedName + " IS " +
              (change.descriptionText.empty() ? "NULL" : quoteString(change.descriptionText)) +
              ";\n";
    }
    return text;
  }
  std::string setTableDescription(const std::string& tableRef,
                                  const std::string& description) const override {
    return "COMMENT ON TABLE " + tableRef + " IS " +
           (description.empty() ? "NULL" : quoteString(description)) + ";\n";
  }

  SqlType generalType() const override { return {"text", "text", true, 0, kUnknownType}; }

 protected:
  SortedWords reservedWords() const override {
    return {std::begin(kReservedWords), std::end(kReservedWords)};
  }

  SqlType mappedType(std::string_view dataType, long length, long scale) const override {
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
      type = generalType();
    }
    return type;
  }
};

}  // namespace

const SqlDialect& postgresqlDialect() {
  static const PostgreSqlDialect dialect;
  return dialect;
}

}  // namespace pcd::writers
