// What changed between two imported models. Objects are matched by their
// name paths (catalog, schema, table, column), never by the extract's ids,
// which change from one export to the next.
#pragma once

#include <string>
#include <vector>

class ZELModel;

namespace pcd::cli {

struct PropertyChange {
  std::string name;
  std::string oldValue;  // empty for an added object
  std::string newValue;  // empty for a removed object
};

struct ModelChange {
  enum class Kind { kAdded, kRemoved, kChanged };
  std::string group;   // "catalog SALES", "table SALES.SHOP.ORDERS", ...
  std::string object;  // "column CITY", "key PK_ORDERS", "table ORDERS", ...
  Kind kind = Kind::kChanged;
  // kChanged: the properties that differ; kAdded: the new object's
  // properties; kRemoved: none.
  std::vector<PropertyChange> properties;
};

// What a comparison leaves aside: what a move between engines cannot keep
// the same.
struct CompareOptions {
  bool ignoreCatalogNames = false;  // schemas matched by name in whichever catalog
  bool ignoreSchemas = false;       // tables matched by name in whichever schema
  bool ignoreServer = false;        // the catalogs' server type name, text, number
  bool ignoreTypes = false;         // column and argument types, lengths, scales
  bool ignoreDescriptions = false;  // descriptions of every object
  bool ignoreIndexNames = false;    // indexes matched by their columns
  bool ignoreKeyNames = false;      // keys and foreign keys matched by their columns
};

// The changes from `before` to `after`, grouped (groups sorted by path, the
// group's own object first, then columns or arguments, keys, indexes).
std::vector<ModelChange> diffModels(const ZELModel& before, const ZELModel& after,
                                    const CompareOptions& options = {});

}  // namespace pcd::cli
