// SQLite: no schemas (every table in one database), one transaction, no
// limit on names, descriptions as "--" comments, any declared type.
#include <algorithm>
#include <iterator>

#include "sql_dialect.h"
#include "sql_text.h"
#include "sql_type_text.h"

namespace pcd::writers {

namespace {

// The words the parser refuses as a plain (unquoted) identifier. Sorted,
// upper case.
constexpr std::string_view kReservedWords[] = {"ABORT",
                                               "ACTION",
                                               "ADD",
                                               "AFTER",
                                               "ALL",
                                               "ALTER",
                                               "ALWAYS",
                                               "ANALYZE",
                                               "AND",
                                               "AS",
                                               "ASC",
                                               "ATTACH",
                                               "AUTOINCREMENT",
                                               "BEFORE",
                                               "BEGIN",
                                               "BETWEEN",
                                               "BY",
                                               "CASCADE",
                                               "CASE",
                                               "CAST",
                                               "CHECK",
                                               "COLLATE",
                                               "COLUMN",
                                               "COMMIT",
                                               "CONFLICT",
                                               "CONSTRAINT",
                                               "CREATE",
                                               "CROSS",
                                               "CURRENT",
                                               "CURRENT_DATE",
                                               "CURRENT_TIME",
                                               "CURRENT_TIMESTAMP",
                                               "DATABASE",
                                               "DEFAULT",
                                               "DEFERRABLE",
                                               "DEFERRED",
                                               "DELETE",
                                               "DESC",
                                               "DETACH",
                                               "DISTINCT",
                                               "DO",
                                               "DROP",
                                               "EACH",
                                               "ELSE",
                                               "END",
                                               "ESCAPE",
                                               "EXCEPT",
                                               "EXCLUDE",
                                               "EXCLUSIVE",
                                               "EXISTS",
                                               "EXPLAIN",
                                               "FAIL",
                                               "FILTER",
                                               "FIRST",
                                               "FOLLOWING",
                                               "FOR",
                                               "FOREIGN",
                                               "FROM",
                                               "FULL",
                                               "GENERATED",
                                               "GLOB",
                                               "GROUP",
                                               "GROUPS",
                                               "HAVING",
                                               "IF",
                                               "IGNORE",
                                               "IMMEDIATE",
                                               "IN",
                                               "INDEX",
                                               "INDEXED",
                                               "INITIALLY",
                                               "INNER",
                                               "INSERT",
                                               "INSTEAD",
                                               "INTERSECT",
                                               "INTO",
                                               "IS",
                                               "ISNULL",
                                               "JOIN",
                                               "KEY",
                                               "LAST",
                                               "LEFT",
                                               "LIKE",
                                               "LIMIT",
                                               "MATCH",
                                               "MATERIALIZED",
                                               "NATURAL",
                                               "NO",
                                               "NOT",
                                               "NOTHING",
                                               "NOTNULL",
                                               "NULL",
                                               "NULLS",
                                               "OF",
                                               "OFFSET",
                                               "ON",
                                               "OR",
                                               "ORDER",
                                               "OTHERS",
                                               "OUTER",
                                               "OVER",
                                               "PARTITION",
                                               "PLAN",
                                               "PRAGMA",
                                               "PRECEDING",
                                               "PRIMARY",
                                               "QUERY",
                                               "RAISE",
                                               "RANGE",
                                               "RECURSIVE",
                                               "REFERENCES",
                                               "REGEXP",
                                               "REINDEX",
                                               "RELEASE",
                                               "RENAME",
                                               "REPLACE",
                                               "RESTRICT",
                                               "RETURNING",
                                               "RIGHT",
                                               "ROLLBACK",
                                               "ROW",
                                               "ROWS",
                                               "SAVEPOINT",
                                               "SELECT",
                                               "SET",
                                               "TABLE",
                                               "TEMP",
                                               "TEMPORARY",
                                               "THEN",
                                               "TIES",
                                               "TO",
                                               "TRANSACTION",
                                               "TRIGGER",
                                               "UNBOUNDED",
                                               "UNION",
                                               "UNIQUE",
                                               "UPDATE",
                                               "USING",
                                               "VACUUM",
                                               "VALUES",
                                               "VIEW",
                                               "VIRTUAL",
                                               "WHEN",
                                               "WHERE",
                                               "WINDOW",
                                               "WITH",
                                               "WITHOUT"};

class SqliteDialect final : public SqlDialect {
 public:
  std::string_view name() const override { return "sqlite"; }

  // SQLite keeps a name of any length as it is: nothing to cut.
  IdentifierLimit identifierLimit() const override { return {}; }
  // Identifiers match without regard to ASCII case.
  bool namesIgnoreCase() const override { return true; }
  // sqlite_ is kept for the engine's own tables and indexes: it refuses
  // such names, quoted or not.
  const ReservedNames& reservedNames() const override {
    static const ReservedNames kReserved{"", {}, "sqlite_", false, true};
    return kReserved;
  }
  PlainNames plainNames() const override { return {false, false, false}; }
  // Tables and indexes share the database's one namespace (a candidate key
  // that is not unique becomes an index); constraint names are per table.
  NameScopes nameScopes() const override {
    return {kConstraintNames | kRelationNames, kConstraintNames, kRelationNames};
  }

  std::string_view schemaKind() const override { return ""; }
  std::string_view schemaPlacement() const override {
    return "SQLite has no schemas: the tables of every schema go into one database.";
  }
  bool transactionalDdl() const override { return true; }
  std::string createSchema(const std::string&, bool) const override { return ""; }
  // A foreign key cannot be added to a table later; inside CREATE TABLE it
  // may refer to a table created after it.
  bool foreignKeysInCreateTable() const override { return true; }

  // The engine keeps no descriptions: "--" comments before the table and
  // after each column.
  std::string tableDescriptionBefore(const std::string& description) const override {
    return "-- " + commentText(description) + "\n";
  }
  CarriedDescription columnDescriptionClause(std::string_view description) const override {
    return {"", commentText(description)};
  }

  // The engine's procedure for changing a table: foreign keys off (which
  // takes effect outside a transaction only), the rebuilds in one
  // transaction, the foreign keys checked before it commits.
  std::string migrationStart() const override { return "PRAGMA foreign_keys = OFF;\nBEGIN;\n"; }
  std::string migrationEnd() const override {
    return "PRAGMA foreign_key_check;\nCOMMIT;\nPRAGMA foreign_keys = ON;\n";
  }
  std::string_view migrationLimits() const override {
    return "SQLite runs the whole script as one transaction. ALTER TABLE cannot change a "
           "column's type or nullability,\n"
           "add a key or foreign key or drop one: such a table is rebuilt (a new table, its rows "
           "copied, the old one dropped,\n"
           "the new one renamed, its indexes made again), with foreign keys checked before the "
           "commit.";
  }
  bool altersColumnsAndKeys() const override { return false; }
  std::string dropSchema(const std::string&) const override { return ""; }
  std::string dropForeignKey(const std::string&, const std::string&) const override { return ""; }
  std::string dropKey(const std::string&, const std::string&, bool) const override { return ""; }
  std::string dropIndex(const std::string&, const std::string&,
                        const std::string& quotedName) const override {
    return "DROP INDEX " + quotedName + ";\n";
  }
  std::string alterColumn(const ColumnChange&) const override { return ""; }
  std::string setTableDescription(const std::string&, const std::string&) const override {
    return "";
  }

  SqlType generalType() const override { return {"TEXT", "any", true, 0, kUnknownType}; }

 protected:
  SortedWords reservedWords() const override {
    return {std::begin(kReservedWords), std::end(kReservedWords)};
  }

  // SQLite takes any declared type and keeps it as written; the declared
  // name decides only the column's affinity.
  SqlType mappedType(std::string_view dataType, long length, long scale) const override {
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
      type = generalType();
    }
    return type;
  }
};

}  // namespace

const SqlDialect& sqliteDialect() {
  static const SqliteDialect dialect;
  return dialect;
}

}  // namespace pcd::writers
