// The walk over a model's schemas that every catalog-shaped writer makes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "diagram_selection.h"

// A nested schema's path names at most this many schemas, the innermost:
// deeper ones start with "…/", so that the paths of a chain of n nested
// schemas take space linear in n, not quadratic.
constexpr size_t kSchemaPathNames = 8;

// Calls visit(catalog, path, schema) for every schema of every catalog, in
// the model's order, each schema followed by the schemas nested in it.
// `path` is the schema's name, PARENT/CHILD when nested (shortened as said
// above). The nesting is walked with a stack of its own, as deep as it goes.
template <class Visit>
void forEachSchema(const ZELModel& model, Visit visit) {
  struct Walked {
    const ZELPackage* schema;
    size_t parent;  // index into `walked`, or kNone at the catalog's level
    size_t depth;   // 1 at the catalog's level
  };
  constexpr size_t kNone = static_cast<size_t>(-1);
  std::vector<Walked> walked;
  std::vector<size_t> pending;  // indexes into `walked`, a stack in reverse model order
  std::vector<std::string_view> names;
  std::string path;
  for (const ZELPackage* package : model.childPackages()) {
    if (package->getElementType() != ZEL_ET_DATABASE_CATALOG) continue;
    const std::string catalog(bytesOf(package->getName()));
    walked.clear();
    const auto pushChildren = [&](const ZELPackage& parent, size_t index, size_t depth) {
      const size_t first = pending.size();
      for (const ZELPackage* child : parent.childPackages()) {
        pending.push_back(walked.size());
        walked.push_back({child, index, depth});
      }
      std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
    };
    pushChildren(*package, kNone, 1);
    while (!pending.empty()) {
      const size_t current = pending.back();
      pending.pop_back();
      const Walked schema = walked[current];
      pushChildren(*schema.schema, current, schema.depth + 1);
      names.clear();
      for (size_t at = current; at != kNone && names.size() < kSchemaPathNames;
           at = walked[at].parent) {
        names.push_back(bytesOf(walked[at].schema->getName()));
      }
      path.assign(schema.depth > kSchemaPathNames ? "\xE2\x80\xA6/" : "");  // "…/"
      for (auto name = names.rbegin(); name != names.rend(); ++name) {
        if (name != names.rbegin()) path += '/';
        path.append(name->data(), name->size());
      }
      visit(catalog, static_cast<const std::string&>(path), *schema.schema);
    }
  }
}
