// What the documentation formats (html, markdown) show, gathered once: the
// schemas with their tables, views and procedures, a stable anchor for each,
// the diagram of the whole model and, per table, the relations that touch it
// and the foreign keys that reference it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "catalog_view.h"
#include "diagram_selection.h"
#include "model/zel_model.h"

namespace pcd::writers {

struct OutlineProcedure {
  const ZELStoredProcedure* procedure;
  std::string anchor;
};

struct OutlineSchema {
  std::string catalog;
  std::string path;  // the schema's name; "PARENT/CHILD" when schemas nest
  std::string anchor;
  std::vector<size_t> tables;  // indexes into CatalogOutline::tables
  std::vector<OutlineProcedure> procedures;
};

struct OutlineTable {
  size_t schema;  // index into CatalogOutline::schemas
  std::string anchor;
  std::vector<size_t> relations;  // indexes into diagram.relations, where it is either end
  std::vector<const ZELForeignKey*> referencedBy;  // foreign keys of other tables (or its own)
};

struct CatalogOutline {
  std::vector<OutlineSchema> schemas;  // every schema, in the model's order
  // Table i is diagram.tables[i]: the diagram draws every table and view
  // with all its columns and key marks.
  std::vector<OutlineTable> tables;
  Diagram diagram;
  bool whole = true;  // every schema of the model, not the ones --schema chose

  // The index in `tables` of a table or view; kNotShown when the outline
  // does not show it.
  static constexpr size_t kNotShown = SIZE_MAX;
  size_t indexOf(const ZELClass* table) const {
    const DiagramTable* drawn = drawnOf.find(table);
    return drawn == nullptr ? kNotShown : static_cast<size_t>(drawn - diagram.tables.data());
  }
  DrawnTables drawnOf;  // into diagram.tables
};

// Characters the documentation formats show of a name where another object
// refers to it (a foreign key's table, key and columns, a table's schema, a
// link): each name is shown whole where its own object is described, so a
// long name referred to from many tables cannot make the pages many times
// the catalog's size.
constexpr size_t kReferenceCharacters = 256;
std::string referenceName(std::string_view bytes);

// Fills `outline` with the schemas that --schema names (all without names)
// and what they hold. Returns "" or, when a name matches no schema, the
// message to show.
//
// Anchors are "SCHEMA.NAME" (SCHEMA the schema's path), or
// "CATALOG.SCHEMA.NAME" when two catalogs hold a schema of that path; blanks,
// "#" and "%" become "_", bytes that are not UTF-8 U+FFFD, the text ends
// after its first 256 bytes (at a character's end), and a repeated
// anchor gets "_2", "_3"... in the model's order. Tables and views take
// theirs first, then procedures, then schemas ("CATALOG.SCHEMA" or SCHEMA),
// so that adding a procedure never moves a table's anchor.
std::string outlineModel(const ZELModel& model, const std::vector<std::string>& schemas,
                         CatalogOutline& outline);

// The counts a documentation's overview shows, in order: catalogs, schemas,
// tables, views, columns, keys (primary and alternate), foreign keys,
// indexes (the catalog's own, not the keys'), procedures.
struct OverviewCount {
  const char* name;
  long value;
};
std::vector<OverviewCount> overviewCounts(const ZELModel& model, const CatalogOutline& outline);

// The directly related tables of table t (t first, then the others in the
// order of its relations) and the relations among them.
Diagram neighbourhoodDiagram(const CatalogOutline& outline, size_t t, size_t& neighbours);

}  // namespace pcd::writers
