// The rules of one SQL dialect the "sql" format writes and lint checks names
// against: how the engine quotes identifiers and strings, how long and where
// unique its names must be, which names it keeps for itself, how it takes
// DDL (transactions, schemas, keys, indexes, descriptions) and which of the
// host's data types it has. Each dialect is one file under writers/sql/;
// the list of them is sqlDialects().
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pcd::writers {

// The longest identifier the dialect keeps, in its own unit.
struct IdentifierLimit {
  unsigned max = 0;  // 0: none
  bool countsBytes = false;
};

// How the script treats names the engine has for itself, one rule for the
// naming, the script's header and lint: the schema every database already
// has (PostgreSQL "public", else ""); the schema (MySQL database) names the
// engine keeps for its own catalogs; the prefix it keeps for its own
// schemas and tables ("pg_", "sqlite_", or ""). A reserved name gets an
// "x" in front.
struct ReservedNames {
  std::string_view usersSchema;
  std::vector<std::string_view> systemSchemas;
  std::string_view prefix;
  // Which objects the engine itself refuses under `prefix`, quoted or not
  // (what lint reports): schemas, and tables with the views and indexes
  // that share their namespace.
  bool prefixRefusesSchemas = false;
  bool prefixRefusesTables = false;

  // Whether `name` starts with `prefix`, its ASCII letters compared
  // without regard to case.
  bool hasPrefix(std::string_view name) const;
};

// What an unquoted name may hold, for lint's advice on quoting: letters,
// digits after the first character and '_' everywhere, and beyond that:
struct PlainNames {
  bool dollarAfterFirst = false;  // '$' after the first character
  bool leadingDigit = false;      // a digit first (a name of digits only is a number)
  bool foldsCase = false;         // unquoted names fold to one case: mixed case is lost
};

// The scopes in which a name must be unique, as flags. Tables are unique
// among the relations of a schema, or of the whole database where the
// dialect has no schemas.
enum SqlNameScope : unsigned {
  kRelationNames = 1,    // tables, and what shares their namespace
  kConstraintNames = 2,  // the constraints of one table
  kIndexNames = 4,       // the indexes of one table
  kForeignKeyNames = 8,  // the foreign keys of one schema
};
struct NameScopes {
  unsigned keys = 0;  // primary, unique and other candidate keys
  unsigned foreignKeys = 0;
  unsigned indexes = 0;  // the catalog's own indexes
};

// A column type as the script writes it.
struct SqlType {
  std::string text;  // "varchar(60)", "numeric(10,2)", ...
  // Compatibility class for foreign-key pairs: two columns can be paired
  // when their classes are equal (see SqlDialect::type).
  std::string pairClass;
  // False when the dialect cannot use the type in a key or index (MySQL
  // TEXT and BLOB types, PostgreSQL xml).
  bool indexable = true;
  // Bytes one value takes in a MySQL index, for its 3072-byte key limit.
  unsigned indexBytes = 0;
  // Why the type is not the host's own, e.g. "unknown type GEOMETRY, written
  // as text"; empty when it maps plainly. kUnknownType while mapping.
  std::string note;
  // MySQL TEXT and BLOB types, which an index takes by a prefix only: the
  // bytes one unit of the prefix takes in the key (4 per utf8mb4
  // character, 1 per byte), 0 for other types; and the column's length in
  // those units, 0 when unknown.
  unsigned prefixUnitBytes = 0;
  unsigned prefixUnits = 0;
};

// A sorted, upper-case word list.
struct SortedWords {
  const std::string_view* first;
  const std::string_view* last;
};

// A column's description as the statement carries it: a clause for the
// statement and what the line's comment adds.
struct CarriedDescription {
  std::string clause;
  std::string note;
};

class SqlDialect {
 public:
  virtual ~SqlDialect() = default;

  // "postgresql", "mysql", "sqlite": the name --dialect and lint take.
  virtual std::string_view name() const = 0;

  // --- names -------------------------------------------------------------

  // The identifier quoted, embedded quote characters doubled. `name` must
  // be valid UTF-8 and fit the dialect's limits (SqlNames sees to it).
  std::string quoteIdentifier(std::string_view name) const;
  // A string literal: single quotes doubled, and backslashes too where the
  // engine reads them as escapes.
  std::string quoteString(std::string_view text) const;
  // The same, appended to `out`.
  void appendIdentifier(std::string& out, std::string_view name) const;
  void appendString(std::string& out, std::string_view text) const;
  // The longest name; the name fitting cuts longer ones and lint reports them.
  virtual IdentifierLimit identifierLimit() const = 0;
  // True when the engine matches identifiers without regard to ASCII case.
  virtual bool namesIgnoreCase() const = 0;
  // Valid UTF-8 name text with what the engine refuses in an identifier
  // replaced.
  virtual std::string identifierText(std::string text) const { return text; }
  virtual const ReservedNames& reservedNames() const = 0;
  // True when `name` is a word the dialect reserves, compared without
  // regard to case: as an identifier it must be quoted.
  bool isReservedWord(std::string_view name) const;
  virtual PlainNames plainNames() const = 0;
  // Where each kind of name must be unique.
  virtual NameScopes nameScopes() const = 0;

  // --- the script --------------------------------------------------------

  // What a schema of the model becomes: "schema", "database" (MySQL), or
  // "" where the dialect has none and every table goes into one database.
  virtual std::string_view schemaKind() const = 0;
  // The header's line on where the schemas go.
  virtual std::string_view schemaPlacement() const = 0;
  // The statements that open the script, after the header.
  virtual std::string_view scriptStart() const { return ""; }
  // True when DDL is transactional: the script is one transaction, so that
  // one that stops half way leaves nothing behind.
  virtual bool transactionalDdl() const = 0;
  // The statement that creates the schema (quoted name); `usersSchema`: it
  // is the one every database already has (ReservedNames::usersSchema).
  virtual std::string createSchema(const std::string& quotedName, bool usersSchema) const = 0;
  // True when the engine takes a table without columns; else such a table
  // is not written.
  virtual bool tablesWithoutColumns() const { return false; }
  // The name the engine gives every primary key ("PRIMARY"), which is then
  // written without a constraint name and taken among the table's indexes;
  // "" when the constraint keeps its own.
  virtual std::string_view primaryKeyName() const { return ""; }
  // True when foreign keys go inside CREATE TABLE, for engines that cannot
  // add them later; else ALTER TABLE once every table exists.
  virtual bool foreignKeysInCreateTable() const { return false; }
  // True when the engine keeps an index on both sides of a foreign key: the
  // referenced columns must be an index's in its order, and the
  // referencing columns must be indexable.
  virtual bool foreignKeysNeedIndexes() const { return false; }
  // The most bytes an index key may take; 0: no limit that matters.
  virtual unsigned indexKeyBytes() const { return 0; }

  // Descriptions (valid UTF-8, not empty). What the engine keeps of a
  // table's or a column's description: all of it, or (MySQL) a shorter text.
  virtual std::string keptDescription(const std::string& description, bool column) const {
    return description;
  }
  // Lines before CREATE TABLE.
  virtual std::string tableDescriptionBefore(const std::string& description) const;
  // Inside CREATE TABLE: after the closing parenthesis, and on a column's line.
  virtual CarriedDescription tableDescriptionClause(const std::string& description) const;
  virtual CarriedDescription columnDescriptionClause(std::string_view description) const;
  // Statements after CREATE TABLE, appended to `out`: for the table
  // `tableRef` with its description (may be empty), and each column's
  // quoted name and description (those with one).
  struct ColumnDescription {
    std::string_view quotedName;
    std::string_view description;
  };
  virtual void appendDescriptionStatements(std::string& out, std::string_view tableRef,
                                           std::string_view description,
                                           const std::vector<ColumnDescription>& columns) const;

  // --- migrations --------------------------------------------------------

  // What opens and closes a migration script: a transaction where DDL is
  // transactional, and what the engine's own procedure for rebuilding a
  // table asks around it.
  virtual std::string migrationStart() const = 0;
  virtual std::string migrationEnd() const = 0;
  // The header's lines on what the engine cannot do in place or undo.
  virtual std::string_view migrationLimits() const = 0;
  // False when ALTER TABLE cannot change a column's type or nullability,
  // add a column in place, or add or drop a key or foreign key: the table
  // is then rebuilt (made anew under another name, its rows copied, the old
  // one dropped, the new one renamed).
  virtual bool altersColumnsAndKeys() const { return true; }
  // Each statement below is complete with its ";\n", or "" where the
  // dialect has no such object (a schema in SQLite) or rebuilds instead.
  virtual std::string dropSchema(const std::string& quotedName) const = 0;
  virtual std::string dropForeignKey(const std::string& tableRef,
                                     const std::string& quotedName) const = 0;
  virtual std::string dropKey(const std::string& tableRef, const std::string& quotedName,
                              bool primary) const = 0;
  // `indexRef`: the index qualified by its schema as the table is.
  virtual std::string dropIndex(const std::string& tableRef, const std::string& indexRef,
                                const std::string& quotedName) const = 0;
  virtual std::string renameTable(const std::string& oldRef, const std::string& newRef,
                                  const std::string& quotedNewName) const;
  // `definition`: the column as CREATE TABLE writes it; `quotedPrevious`:
  // the column it follows ("" when first).
  virtual std::string addColumn(const std::string& tableRef, const std::string& definition,
                                const std::string& quotedPrevious) const;
  // True when addColumn puts the column at its place, not last.
  virtual bool placesAddedColumns() const { return false; }
  struct ColumnChange {
    std::string tableRef;
    std::string quotedName;
    std::string definition;  // the whole column as it becomes
    std::string typeText;    // its type
    bool type = false;       // the type changes
    bool dropNotNull = false;
    bool setNotNull = false;
    bool description = false;  // the description changes, to:
    std::string descriptionText;
  };
  virtual std::string alterColumn(const ColumnChange& change) const = 0;
  // True when alterColumn restates the whole column (MySQL's MODIFY
  // COLUMN): a change of its type or nullability alone, as other tools
  // write it, would lose its NOT NULL and description.
  virtual bool restatesAlteredColumns() const { return false; }
  virtual std::string renameColumn(const std::string& tableRef, const std::string& oldQuoted,
                                   const std::string& newQuoted) const;
  // Sets or (with "") removes a table's description.
  virtual std::string setTableDescription(const std::string& tableRef,
                                          const std::string& description) const = 0;

  // --- types -------------------------------------------------------------

  // The dialect's type for a host data type ("VARCHAR", "NUMERIC", ...) with
  // its length and scale. `nativeName` is only used in notes.
  SqlType type(std::string_view dataType, int length, int scale, std::string_view nativeName) const;
  // The dialect's most general type, for columns without a type; its note
  // is kUnknownType.
  virtual SqlType generalType() const = 0;
  static constexpr const char* kUnknownType = "unknown";

 protected:
  virtual char identifierQuote() const { return '"'; }
  virtual bool backslashEscapes() const { return false; }
  virtual SortedWords reservedWords() const = 0;
  // The type of a known host data type; generalType() for others.
  virtual SqlType mappedType(std::string_view dataType, long length, long scale) const = 0;
};

// Every dialect, in the order --dialect and lint list them; the first is
// the default.
const std::vector<const SqlDialect*>& sqlDialects();
// The dialect of that name, or nullptr.
const SqlDialect* findSqlDialect(std::string_view name);
// "postgresql, mysql, sqlite".
std::string sqlDialectNameList();

}  // namespace pcd::writers
