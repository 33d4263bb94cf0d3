// The walk over a model's schemas that every catalog-shaped writer makes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "diagram_selection.h"

// Calls visit(catalog, path, schema) for every schema of every catalog, in
// the model's order, each schema followed by the schemas nested in it.
// `path` is the schema's name, PARENT/CHILD when nested. The nesting is
// walked with a stack of its own, as deep as it goes.
template <class Visit>
void forEachSchema(const ZELModel& model, Visit visit) {
  struct Pending {
    const ZELPackage* schema;
    std::string path;
  };
  for (const ZELPackage* package : model.childPackages()) {
    if (package->getElementType() != ZEL_ET_DATABASE_CATALOG) continue;
    const std::string catalog(bytesOf(package->getName()));
    // A stack in reverse, so that schemas come out in the model's order.
    std::vector<Pending> pending;
    const auto pushChildren = [&pending](const ZELPackage& parent, const std::string& prefix) {
      const size_t first = pending.size();
      for (const ZELPackage* child : parent.childPackages()) {
        pending.push_back({child, prefix + std::string(bytesOf(child->getName()))});
      }
      std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
    };
    pushChildren(*package, "");
    while (!pending.empty()) {
      const Pending current = pending.back();
      pending.pop_back();
      pushChildren(*current.schema, current.path + "/");
      visit(catalog, current.path, *current.schema);
    }
  }
}
