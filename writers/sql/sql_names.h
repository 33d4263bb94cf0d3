// The names a SQL script gives the model's objects in one dialect: valid
// UTF-8, within the dialect's length limit, unique where the dialect needs
// it, never empty. Given out in model order, so the same model always gets
// the same names.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "model/zel_model.h"
#include "name_set.h"
#include "sql_dialect.h"
#include "zel_flat_map.h"

namespace pcd::writers {

class SqlNames {
 public:
  // Names every schema, table, column, key and index-only index of the
  // model's catalogs. Returns "" or why a name cannot be written (naming
  // the object).
  std::string assign(const ZELModel& model, const SqlDialect& dialect);

  struct Name {
    std::string_view name;
    std::string_view quoted;  // as the dialect quotes an identifier
  };
  // Both names of an object that assign() named, by one look-up; "" and
  // its quoted form for any other. Valid while the names are.
  const Name& names(const ZELObject* object) const {
    const Name* found = byObject_.find(object);
    return found != nullptr ? *found : unnamed_;
  }
  // The name of an object that assign() named; "" for any other.
  std::string_view of(const ZELObject* object) const { return names(object).name; }
  // That name as the dialect quotes an identifier.
  std::string_view quoted(const ZELObject* object) const { return names(object).quoted; }

  // True for the schema that takes the name of one every database of the
  // dialect already has for its users (PostgreSQL's "public"): the script
  // creates it only if it does not exist, and uses it as it is.
  bool isEngineSchema(const ZELPackage* schema) const { return schema == engineSchema_; }

 private:
  std::string_view add(const ZELObject* object, std::string_view name);

  // Both texts of every name, kept once each: a model names hundreds of
  // thousands of objects, and a string apiece would cost an allocation and
  // twice the bytes.
  NameArena texts_;
  std::deque<Name> names_;  // in place for the map's life
  ZELFlatMap<const ZELObject*, Name, ZELAddressHash> byObject_;
  Name unnamed_;  // "" quoted
  const ZELPackage* engineSchema_ = nullptr;
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
