// The names a SQL script gives the model's objects in one dialect: valid
// UTF-8, within the dialect's length limit, unique where the dialect needs
// it, never empty. Given out in model order, so the same model always gets
// the same names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/zel_model.h"
#include "sql_dialect.h"

namespace pcd::writers {

// One object's name in the script.
struct SqlName {
  const ZELObject* object;
  std::string quoted;  // as the dialect quotes it
  bool renamed;        // differs from the extract's name (as valid UTF-8)
};

// The names of a whole script, given in the model's order and kept in
// arrays in that order: a writer that walks the model alike finds a table
// by its position, and an object of a table among the table's few.
class SqlNames {
 public:
  // Names every schema, table, column, key and index-only index of the
  // model's catalogs. Returns "" or why a name cannot be written (naming
  // the object).
  std::string assign(const ZELModel& model, const SqlDialect& dialect);

  // Schema s of catalogSchemas(); table t in the order of the schemas and
  // their tables, and the position of its schema.
  const SqlName& schema(size_t s) const { return schemas_[s]; }
  const SqlName& table(size_t t) const { return tables_[t].name; }
  size_t schemaOf(size_t t) const { return tables_[t].schema; }
  // The position of `table`, or -1 when the script has no such table.
  long positionOf(const ZELClass* table) const;
  // The names of the objects of table t; an empty name for any other.
  const SqlName& column(size_t t, const ZELAttribute* column) const;
  const SqlName& key(size_t t, const ZELKey* key) const;
  const SqlName& index(size_t t, const ZELIndex* index) const;

  // True for the schema that takes the name of one every database of the
  // dialect already has for its users (PostgreSQL's "public"): the script
  // creates it only if it does not exist, and uses it as it is.
  bool isEngineSchema(size_t s) const { return s == engineSchema_; }

 private:
  // Where a table's columns, keys and indexes are in members_.
  struct Table {
    SqlName name;
    size_t schema;
    size_t firstColumn, columns, firstKey, keys, firstIndex, indexes;
    size_t firstByAddress;  // in columnsByAddress_, for wide tables
  };
  const SqlName& find(const ZELObject* object, size_t first, size_t count) const;

  std::vector<SqlName> schemas_;
  std::vector<Table> tables_;
  std::vector<SqlName> members_;  // every table's columns, keys and indexes
  // Of wide tables, the positions of their columns in members_, by address.
  std::vector<uint32_t> columnsByAddress_;
  // (address, position) of every table, sorted by address.
  std::vector<std::pair<const ZELClass*, size_t>> tablesByAddress_;
  size_t engineSchema_ = SIZE_MAX;
};

// The data packages (schemas) of the model's catalogs, nested ones
// included, in model order, each with its catalog.
struct SchemaOfCatalog {
  const ZELDatabaseCatalog* catalog;
  const ZELPackage* schema;
};
std::vector<SchemaOfCatalog> catalogSchemas(const ZELModel& model);
// The schema's model objects whose element type is exactly `type`.
std::vector<const ZELModelObject*> objectsOfType(const ZELPackage& schema, ZELElementType type);

}  // namespace pcd::writers
