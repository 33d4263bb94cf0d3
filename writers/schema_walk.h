// The one walk over a model's catalogs and their schemas, and the path that
// names a schema in every output: the writers, lint and diff all walk with
// it, each formatting the path as its output prints it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "model/zel_model.h"
#include "string_bytes.h"

namespace pcd::writers {

// A schema's path keeps at most this many names, the innermost, so that
// the paths of a chain of n nested schemas take space linear in n, not
// quadratic.
constexpr size_t kSchemaPathNames = 8;

// Where the walk stands: a schema's catalog and the names of the schemas
// from the catalog in, the schema's own last. Valid during the call it is
// passed to.
class SchemaPath {
 public:
  SchemaPath(const ZELPackage& catalog, const std::vector<std::string_view>& chain)
      : catalog_(catalog), chain_(chain) {}

  const ZELPackage& catalog() const { return catalog_; }
  // How many schemas the whole path names: 1 for a schema of the catalog.
  size_t depth() const { return chain_.size(); }
  // Whether the path leaves outer names out.
  bool shortened() const { return depth() > kSchemaPathNames; }
  // The names the path keeps, outermost first.
  const std::string_view* begin() const { return chain_.data() + depth() - size(); }
  const std::string_view* end() const { return chain_.data() + depth(); }
  size_t size() const { return std::min(depth(), kSchemaPathNames); }

  // "OUTER/INNER", after "…/" when shortened: the path as the writers and
  // lint print it.
  std::string text() const {
    std::string path(shortened() ? "\xE2\x80\xA6/" : "");
    for (const std::string_view* name = begin(); name != end(); ++name) {
      if (name != begin()) path += '/';
      path.append(name->data(), name->size());
    }
    return path;
  }

 private:
  const ZELPackage& catalog_;
  const std::vector<std::string_view>& chain_;
};

inline bool isCatalog(const ZELPackage& package) {
  return package.getElementType() == ZEL_ET_DATABASE_CATALOG;
}

// Calls enter(path, schema) for every schema of `catalog` in the model's
// order, each followed by the schemas nested in it and then by
// leave(schema). The nesting is walked with a stack of its own, as deep as
// it goes.
template <class Enter, class Leave>
void forEachSchemaOf(const ZELPackage& catalog, Enter enter, Leave leave) {
  struct Level {
    const ZELPackage* schema;  // null at the catalog's level
    ZELOwnedList<ZELPackage>::iterator next, end;
  };
  std::vector<Level> stack{
      {nullptr, catalog.childPackages().begin(), catalog.childPackages().end()}};
  std::vector<std::string_view> chain;  // the names of the schemas on the stack
  while (!stack.empty()) {
    Level& level = stack.back();
    if (level.next == level.end) {
      if (level.schema != nullptr) {
        chain.pop_back();
        leave(*level.schema);
      }
      stack.pop_back();
      continue;
    }
    const ZELPackage& schema = **level.next;
    ++level.next;
    chain.push_back(bytesOf(schema.getName()));
    enter(SchemaPath(catalog, chain), schema);
    stack.push_back({&schema, schema.childPackages().begin(), schema.childPackages().end()});
  }
}

template <class Enter>
void forEachSchemaOf(const ZELPackage& catalog, Enter enter) {
  forEachSchemaOf(catalog, enter, [](const ZELPackage&) {});
}

// The same for every catalog of the model, in the model's order.
template <class Enter>
void forEachSchema(const ZELModel& model, Enter enter) {
  for (const ZELPackage* package : model.childPackages()) {
    if (isCatalog(*package)) forEachSchemaOf(*package, enter);
  }
}

}  // namespace pcd::writers
