// Liquibase changes (YAML) for one model's objects in one SQL dialect, one
// function per change kind, with the names, types and keys of the DDL plan
// (TableDdl). The whole-model changelog and the migration changelog both
// write their changesets with it.
//
// Every changeset quotes all names, so that names keep their case and any
// character. Scalars are YAML double-quoted with every non-ASCII character
// escaped, so that no name can read as YAML syntax or be changed by a
// reader's line breaking. Liquibase would change a name holding a quote
// character other than '"' (MySQL's backtick): refusal() names the first.
#pragma once

#include <yaml-cpp/yaml.h>

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "sql/table_ddl.h"

namespace pcd::writers {

// A foreign key's columns and those of the key it references, in pair order.
struct ForeignKeyColumns {
  std::vector<const ZELAttribute*> columns;
  std::vector<const ZELAttribute*> referenced;
};

class LiquibaseChanges {
 public:
  explicit LiquibaseChanges(TableDdl& ddl) : ddl_(ddl), dialect_(ddl.dialect()) {}

  // Why the model cannot be written as a changelog, or "": checks every name
  // a changelog may write, before the first byte.
  std::string refusal();

  // --- changesets ----------------------------------------------------------
  // Starts a changeset: the emitter is then inside its list of changes.
  static void beginChangeSet(YAML::Emitter& out, const std::string& id);
  // Ends it and appends it to `into` as an item of the changelog's list.
  static void endChangeSet(YAML::Emitter& out, std::string& into);
  static void notWritten(std::string& out, const std::string& what, const std::string& why);
  static void comment(std::string& out, const std::string& line);

  // The whole table as one changeset (createTable, its keys and indexes)
  // into `body`; its foreign keys, which need every table, as changesets
  // into `foreignKeys`.
  void writeTable(const ZELClass& table, std::string& body, std::string& foreignKeys);

  // --- change kinds: each writes one change into the open changeset --------
  // Statements as the dialect writes them, without the last ";".
  static void sqlChange(YAML::Emitter& out, std::string statements);
  // Columns with their types, NOT NULL and descriptions; on SQLite also the
  // constraints that must be made with the table.
  void createTable(
      YAML::Emitter& out, const ZELClass& table, const std::vector<const ZELAttribute*>& columns,
      const std::unordered_set<const ZELAttribute*>& notNull,
      const std::vector<const ZELCandidateKey*>& inlineKeys,
      const std::vector<std::pair<const ZELForeignKey*, ForeignKeyColumns>>& inlineFks);
  void addPrimaryKey(YAML::Emitter& out, const ZELClass& table, const ZELCandidateKey& key);
  void addUniqueConstraint(YAML::Emitter& out, const ZELClass& table, const ZELCandidateKey& key);
  void createIndex(YAML::Emitter& out, const ZELClass& table, const ZELObject& index,
                   const std::vector<TableDdl::IndexMember>& members, bool unique);
  void addForeignKeyConstraint(YAML::Emitter& out, const ZELClass& table, const ZELForeignKey& key,
                               const ForeignKeyColumns& pairs);
  void dropForeignKeyConstraint(YAML::Emitter& out, const ZELClass& table, const ZELObject& key);
  void dropIndex(YAML::Emitter& out, const ZELClass& table, const ZELObject& index);
  void dropKey(YAML::Emitter& out, const ZELClass& table, const ZELObject& key, bool primary);
  void dropTable(YAML::Emitter& out, const ZELClass& table);
  // `newName`: the table's name in the other model.
  void renameTable(YAML::Emitter& out, const ZELClass& table, const std::string& newName);
  // `oldName`: the column's name in the other model.
  void renameColumn(YAML::Emitter& out, const ZELClass& table, const std::string& oldName,
                    const ZELAttribute& column);
  void dropColumn(YAML::Emitter& out, const ZELClass& table, const std::string& columnName);
  // Nullable, with its description; at its place among the table's columns
  // where the engine places added columns.
  void addColumn(YAML::Emitter& out, const ZELClass& table, const ZELAttribute& column);
  void modifyDataType(YAML::Emitter& out, const ZELClass& table, const ZELAttribute& column);
  void notNullConstraint(YAML::Emitter& out, const ZELClass& table, const ZELAttribute& column,
                         bool add);
  void setColumnRemarks(YAML::Emitter& out, const ZELClass& table, const ZELAttribute& column);
  void setTableRemarks(YAML::Emitter& out, const ZELClass& table);

  // --- names ---------------------------------------------------------------
  std::string_view name(const ZELObject* object);
  // True when Liquibase's comma-separated lists can hold every column.
  bool listable(const std::vector<const ZELAttribute*>& columns) const;
  static const char* unlistable();

 private:
  static void text(YAML::Emitter& out, const char* key, std::string_view value);
  void tableNames(YAML::Emitter& out, const ZELClass& table, const char* schemaKey = "schemaName",
                  const char* tableKey = "tableName");
  std::string nameList(const std::vector<const ZELAttribute*>& columns);
  std::string columnNames(const ZELKey& key);
  std::string remarks(const ZELModelObject& object, bool column) const;

  TableDdl& ddl_;
  const SqlDialect& dialect_;
  std::string refused_;
};

}  // namespace pcd::writers
