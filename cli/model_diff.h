// What changed between two imported models. Objects are matched by their
// name paths (catalog, schema, table, column), never by the extract's ids,
// which change from one export to the next.
#pragma once

#include <string>
#include <vector>

class ZELModel;

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

// The changes from `before` to `after`, grouped (groups sorted by path, the
// group's own object first, then columns or arguments, keys, indexes).
std::vector<ModelChange> diffModels(const ZELModel& before, const ZELModel& after);
