// What DDL for one dialect makes of a model, decided once for every writer
// of DDL (the SQL script, the Liquibase changelog): which tables are
// created, each column's type, which keys become primary keys, unique
// constraints or indexes, the members of each of the catalog's indexes and
// the column pairs of each foreign key, and why the dialect cannot take
// what it leaves out.
#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/zel_model.h"
#include "sql_dialect.h"
#include "sql_names.h"

namespace pcd::writers {

class DdlPlan {
 public:
  // `names` must have been assigned for the model and the dialect.
  DdlPlan(const ZELModel& model, const SqlDialect& dialect, bool nativeTypes,
          const SqlNames& names);

  const SqlDialect& dialect() const { return dialect_; }
  // The schemas in the order they are written (catalogSchemas).
  const std::vector<SchemaOfCatalog>& schemas() const { return schemas_; }

  // --- names as the dialect writes them -----------------------------------
  const std::string& name(const ZELObject* object) const { return names_.of(object); }
  std::string quoted(const ZELObject* object) const {
    return dialect_.quoteIdentifier(name(object));
  }
  // False where the dialect has no schemas and every table goes into one
  // database.
  bool hasSchemas() const { return !dialect_.schemaKind().empty(); }
  const ZELPackage* schemaOf(const ZELClass* table) const { return schemaOf_.at(table); }
  // The table as statements refer to it: "SCHEMA"."TABLE", or "TABLE".
  std::string tableRef(const ZELClass* table) const;
  // A model name for a comment, quoted as the dialect would (not shortened).
  std::string shown(const ZELString& raw) const;

  // --- what is created ----------------------------------------------------
  // The columns of a table or view in position order (the model's order
  // among equal positions).
  static std::vector<const ZELAttribute*> columnsOf(const ZELClassifier& classifier);
  // False for a table the dialect cannot create (no columns).
  bool creates(const ZELClass* table) const { return createdTables_.count(table) != 0; }
  // The column's type: the dialect's mapping of its host type, or with
  // native types the extract's own name where it can be written as it is.
  const SqlType& typeOf(const ZELFeature* column);

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
  const TableKeys& keysOf(const ZELClass* table) const { return plannedKeys_.at(table); }

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

 private:
  // What keyProblem checks columns for: only a MySQL index that is not
  // unique may take a TEXT or BLOB column by a prefix.
  enum class KeyUse { kUnique, kPlainIndex, kForeignKey };
  std::string keyProblem(const ZELClass& table, const std::vector<const ZELAttribute*>& columns,
                         KeyUse use = KeyUse::kUnique, std::vector<unsigned>* prefixes = nullptr);
  void planKeys(const ZELClass& table);

  const SqlDialect& dialect_;
  bool nativeTypes_;
  const SqlNames& names_;
  std::vector<SchemaOfCatalog> schemas_;
  std::unordered_set<const ZELClass*> createdTables_;
  std::unordered_set<const ZELCandidateKey*> writtenKeys_;
  std::unordered_map<const ZELClass*, const ZELPackage*> schemaOf_;
  std::unordered_map<const ZELType*, SqlType> types_;
  std::unordered_map<const ZELClass*, TableKeys> plannedKeys_;
};

}  // namespace pcd::writers
