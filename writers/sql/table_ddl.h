// The DDL of one model's tables in one dialect: CREATE TABLE with its
// columns, keys and descriptions, its indexes, its foreign keys, and each of
// these pieces alone. The "sql" format writes whole tables with it; a
// migration writes a new table the same way, and the pieces of a changed one.
// What a dialect cannot take is a NOT WRITTEN comment that says why.
#pragma once

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/zel_model.h"
#include "sql_dialect.h"
#include "sql_names.h"
#include "zel_flat_map.h"

namespace pcd::writers {

class TableDdl {
 public:
  // Decides which tables and keys of `model` are written; `names` were
  // assigned for the same model and dialect.
  TableDdl(const ZELModel& model, const SqlDialect& dialect, bool nativeTypes,
           const SqlNames& names);

  const std::vector<SchemaOfCatalog>& schemas() const { return schemas_; }
  const SqlDialect& dialect() const { return dialect_; }
  // True when the dialect can create the table (one without columns is not,
  // in most).
  bool isCreated(const ZELClass* table) const {
    const TablePlan* plan = tables_.find(table);
    return plan != nullptr && plan->created;
  }
  // False where the dialect has no schemas and every table goes into one
  // database.
  bool hasSchemas() const { return !dialect_.schemaKind().empty(); }
  const ZELPackage* schemaOf(const ZELClass* table) const { return planOf(table).schema; }

  // Something the dialect cannot take: what it is and why.
  struct Skipped {
    std::string what;
    std::string why;
  };
  // The candidate keys of a created table that become constraints.
  struct TableKeys {
    const ZELCandidateKey* primary = nullptr;
    std::vector<const ZELCandidateKey*> unique;
    std::vector<const ZELCandidateKey*> indexed;  // candidate keys that are not unique
    std::vector<Skipped> skipped;
  };
  const TableKeys& keysOf(const ZELClass* table) const { return planOf(table).keys; }
  struct IndexMember {
    const ZELAttribute* column;
    bool descending;
    unsigned prefix;  // MySQL: the length of the prefix indexed; 0: the whole value
  };
  // The members of one of the catalog's own indexes of `table`, or why the
  // dialect cannot make it.
  std::string indexMembers(const ZELClass& table, const ZELIndex& index,
                           std::vector<IndexMember>& members);
  // Why the foreign key cannot be written, or "" with its column pairs.
  std::string foreignKeyProblem(const ZELClass& table, const ZELForeignKey& key,
                                std::vector<const ZELAttribute*>& columns,
                                std::vector<const ZELAttribute*>& referencedColumns);
  // How many objects were written as NOT WRITTEN comments so far.
  unsigned notWrittenCount() const { return notWrittenCount_; }

  std::string_view name(const ZELObject* object) const { return names_.of(object); }
  std::string_view quoted(const ZELObject* object) const { return names_.quoted(object); }
  // The table as a statement names it: "SCHEMA"."TABLE", or "TABLE" in a
  // dialect without schemas.
  std::string tableRef(const ZELClass* table) const;
  void appendTableRef(std::string& out, const ZELClass* table) const;
  // A model name for a comment, quoted as the dialect would (not shortened).
  std::string shown(const ZELString& raw) const;
  // The column's type in the script, cached per model type.
  const SqlType& typeOf(const ZELFeature* column);

  // The whole table as the "sql" format writes it, after a blank line, into
  // `out`; its foreign keys go into `foreignKeys` (ALTER TABLE statements
  // for once every table exists) unless the dialect writes them inside
  // CREATE TABLE. `as`: the reference CREATE TABLE uses instead of the
  // table's own (a table made under another name and renamed);
  // `withIndexes`: its CREATE INDEX statements too.
  void writeTable(const ZELClass& table, std::string& out, std::string& foreignKeys,
                  const std::string& as = "", bool withIndexes = true);
  // The table's CREATE INDEX statements (of keys that are not unique, and
  // of the catalog's own indexes).
  std::string indexStatements(const ZELClass& table);

  // An object of the table's schema as a statement names it (an index in
  // PostgreSQL).
  std::string qualified(const ZELClass* table, const ZELObject* object) const;
  // A column as CREATE TABLE and ALTER TABLE write it: name, type, NOT NULL
  // (also for a column of the written primary key) unless `nullable`, the
  // dialect's description clause.
  std::string columnDefinition(const ZELAttribute& column, bool nullable = false);
  // The constraint a candidate key becomes inside CREATE TABLE or after
  // ALTER TABLE ... ADD: "CONSTRAINT "PK" PRIMARY KEY (...)" or "... UNIQUE
  // (...)"; "" for a key the script writes as an index, or not at all.
  std::string keyConstraint(const ZELCandidateKey& key) const;
  void appendKeyConstraint(std::string& out, const ZELCandidateKey& key) const;
  // The CREATE INDEX statement of a key that is not unique or of a catalog
  // index, or its NOT WRITTEN comment.
  std::string indexStatement(const ZELClass& table, const ZELObject& keyOrIndex);
  // The foreign key's constraint for ALTER TABLE ... ADD or CREATE TABLE;
  // "" with `problem` saying why when the dialect cannot take it.
  std::string foreignKeyConstraint(const ZELClass& table, const ZELForeignKey& key,
                                   std::string& problem);
  // True when the script writes the key, index or foreign key (a drop
  // needs it there).
  bool isWritten(const ZELObject& keyOrIndex);
  // A NOT WRITTEN comment line, counted.
  std::string notWritten(const std::string& what, const std::string& why);

 private:
  // What keyProblem checks columns for: only a MySQL index that is not
  // unique may take a TEXT or BLOB column by a prefix.
  enum class KeyUse { kUnique, kPlainIndex, kForeignKey };

  // The columns' quoted names, joined by ", ".
  template <class Columns>
  void appendColumnList(std::string& out, const Columns& columns) const;
  std::string keyProblem(const ZELClass& table, const std::vector<const ZELAttribute*>& columns,
                         KeyUse use = KeyUse::kUnique, std::vector<unsigned>* prefixes = nullptr);
  void planKeys(const ZELClass& table, TableKeys& keys);
  // The constraint of a foreign key that can be written, of these pairs.
  void appendForeignKeyClause(std::string& out, const ZELForeignKey& key,
                              const std::vector<const ZELAttribute*>& columns,
                              const std::vector<const ZELAttribute*>& referencedColumns) const;
  std::string indexText(const ZELClass& table, const ZELObject* index,
                        const std::vector<IndexMember>& members, bool unique) const;
  void collectForeignKeys(const ZELClass& table, std::vector<std::string>& clauses,
                          std::string& out, std::string& foreignKeys);
  // Appends the column's line in CREATE TABLE (`description`: its valid
  // UTF-8 description); `note` receives what its comment carries.
  void appendColumnLine(std::string& out, const ZELAttribute& column, const SqlNames::Name& names,
                        std::string_view description, std::string& note, bool nullable = false);
  bool isPrimaryColumn(const ZELAttribute& column) const;

  const SqlDialect& dialect_;
  bool nativeTypes_;
  const SqlNames& names_;
  std::vector<SchemaOfCatalog> schemas_;
  unsigned notWrittenCount_ = 0;
  // What the script does with each table of the model, found by one
  // look-up; the plans in model order.
  struct TablePlan {
    const ZELClass* table;
    const ZELPackage* schema;
    bool created;
    TableKeys keys;  // of a created table
  };
  const TablePlan& planOf(const ZELClass* table) const;
  std::deque<TablePlan> plans_;
  ZELFlatMap<const ZELClass*, TablePlan, ZELAddressHash> tables_;
  ZELFlatMap<const ZELCandidateKey*, const ZELCandidateKey, ZELAddressHash> writtenKeys_;
  std::unordered_map<const ZELType*, SqlType> types_;
  // The described columns of the table being written; kept for the next.
  std::vector<SqlDialect::ColumnDescription> described_;
  std::deque<std::string> repairedDescriptions_;  // theirs that were not valid UTF-8
};

}  // namespace pcd::writers
