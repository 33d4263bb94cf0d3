#include "catalog_outline.h"

#include "utf8_sequence.h"

#include <algorithm>
#include <unordered_set>

#include "model_summary.h"
#include "schema_walk.h"
#include "unique_names.h"

namespace pcd::writers {

namespace {

// An anchor keeps at most this many bytes of its names: every link to an
// object repeats its anchor, so anchors of megabyte names would make the
// page and its diagrams' links grow with the name times the references.
constexpr size_t kMaxAnchorBytes = 256;

std::string anchorText(const std::string& bytes) {
  std::string text = printableText(bytes);
  if (text.size() > kMaxAnchorBytes) {
    size_t end = kMaxAnchorBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    text.resize(end);  // at a character's first byte: still UTF-8
  }
  for (char& c : text) {
    if (c == ' ' || c == '#' || c == '%') c = '_';
  }
  return text;
}

// The chosen schemas (all without names) of every catalog in the model's
// order, with their procedures.
void collectSchemas(const ZELModel& model, const std::vector<std::string>& names,
                    CatalogOutline& outline) {
  std::vector<bool> matched(names.size());
  forEachSchema(model, [&](const SchemaPath& path, const ZELPackage& package) {
    const std::string catalog(bytesOf(path.catalog().getName()));
    const std::string shown = path.text();
    if (!isChosenSchema(names, matched, catalog, shown)) return;
    OutlineSchema schema{catalog, shown, {}, {}, {}};
    if (package.isInstanceOf(ZEL_ET_DATA_PACKAGE)) {
      for (const ZELModelObject* object :
           static_cast<const ZELDataPackage&>(package).modelObjects()) {
        if (object->getElementType() == ZEL_ET_STORED_PROCEDURE) {
          schema.procedures.push_back({static_cast<const ZELStoredProcedure*>(object), {}});
        }
      }
    }
    outline.schemas.push_back(std::move(schema));
  });
}

// The overview's counts of what the outline of chosen schemas shows: its
// catalogs and schemas, their tables and views with their columns, keys
// (those of a foreign key are its table's) and indexes, and procedures.
std::vector<OverviewCount> shownCounts(const CatalogOutline& outline) {
  std::unordered_set<std::string, zel_hash::TextHash> catalogs;
  long procedures = 0;
  for (const OutlineSchema& schema : outline.schemas) {
    catalogs.insert(schema.catalog);
    procedures += static_cast<long>(schema.procedures.size());
  }
  long tables = 0, views = 0, columns = 0, keys = 0, foreignKeys = 0, indexes = 0;
  for (const DiagramTable& drawn : outline.diagram.tables) {
    ++(drawn.view ? views : tables);
    columns += static_cast<long>(drawn.columns.size());
    for (const ZELKey* key : drawn.table->keys()) {
      if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) ++foreignKeys;
      if (key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) ++keys;
    }
    indexes += static_cast<long>(catalogIndexes(*drawn.table).size());
  }
  return {{"Catalogs", static_cast<long>(catalogs.size())},
          {"Schemas", static_cast<long>(outline.schemas.size())},
          {"Tables", tables},
          {"Views", views},
          {"Columns", columns},
          {"Keys", keys},
          {"Foreign keys", foreignKeys},
          {"Indexes", indexes},
          {"Procedures", procedures}};
}

}  // namespace

std::string outlineModel(const ZELModel& model, const std::vector<std::string>& schemas,
                         CatalogOutline& outline) {
  WriterOptions chosen;  // every column of the chosen tables
  chosen.schemas = schemas;
  const std::string error = selectDiagram(model, chosen, outline.diagram);
  if (!error.empty()) return error;
  collectSchemas(model, schemas, outline);
  outline.whole = schemas.empty();

  // Diagram schemas are the outline's schemas that hold tables, in the same order.
  std::vector<size_t> schemaOf(outline.diagram.schemas.size());
  for (size_t d = 0, o = 0; d < schemaOf.size(); ++d) {
    const DiagramSchema& drawn = outline.diagram.schemas[d];
    while (outline.schemas[o].catalog != drawn.catalog || outline.schemas[o].path != drawn.path)
      ++o;
    schemaOf[d] = o++;
  }
  // A schema's anchors start with its path, or CATALOG.PATH when two
  // catalogs hold a schema of that path.
  std::unordered_map<std::string, std::unordered_set<std::string, zel_hash::TextHash>,
                     zel_hash::TextHash>
      catalogsOfPath;
  for (const OutlineSchema& schema : outline.schemas)
    catalogsOfPath[schema.path].insert(schema.catalog);
  std::vector<std::string> prefixes;
  prefixes.reserve(outline.schemas.size());
  for (const OutlineSchema& schema : outline.schemas) {
    prefixes.push_back(catalogsOfPath[schema.path].size() > 1 ? schema.catalog + "." + schema.path
                                                              : schema.path);
  }
  UniqueNames anchors;
  const auto anchorOf = [&](size_t schema, const ZELString& name) {
    std::string text = prefixes[schema];
    text += '.';
    text += bytesOf(name);
    return anchors.take(anchorText(text));
  };

  outline.tables.reserve(outline.diagram.tables.size());
  outline.drawnOf = drawnTables(outline.diagram);
  for (size_t t = 0; t < outline.diagram.tables.size(); ++t) {
    const DiagramTable& drawn = outline.diagram.tables[t];
    const size_t schema = schemaOf[drawn.schema];
    outline.schemas[schema].tables.push_back(t);
    outline.tables.push_back({schema, anchorOf(schema, drawn.table->getName()), {}, {}});
  }
  for (size_t s = 0; s < outline.schemas.size(); ++s) {
    for (OutlineProcedure& procedure : outline.schemas[s].procedures)
      procedure.anchor = anchorOf(s, procedure.procedure->getName());
  }
  for (size_t s = 0; s < outline.schemas.size(); ++s)
    outline.schemas[s].anchor = anchors.take(anchorText(prefixes[s]));

  for (size_t r = 0; r < outline.diagram.relations.size(); ++r) {
    const DiagramRelation& relation = outline.diagram.relations[r];
    outline.tables[relation.child].relations.push_back(r);
    if (relation.parent != relation.child) outline.tables[relation.parent].relations.push_back(r);
  }
  for (const DiagramTable& drawn : outline.diagram.tables) {
    for (const ZELKey* key : drawn.table->keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      const auto* foreignKey = static_cast<const ZELForeignKey*>(key);
      const ZELCandidateKey* referenced = foreignKey->getCandidateKey();
      if (referenced == nullptr) continue;
      const size_t target = outline.indexOf(referenced->getAssociatedClass());
      if (target != CatalogOutline::kNotShown)
        outline.tables[target].referencedBy.push_back(foreignKey);
    }
  }
  return "";
}

Diagram neighbourhoodDiagram(const CatalogOutline& outline, size_t t, size_t& neighbours) {
  std::vector<size_t> tables{t};
  for (const size_t r : outline.tables[t].relations) {
    const DiagramRelation& relation = outline.diagram.relations[r];
    for (const size_t end : {relation.child, relation.parent}) tables.push_back(end);
  }
  // Only the relations of t itself: relations among its neighbours would
  // draw a wider neighbourhood than the section talks about. The part
  // takes each table once.
  Diagram part = partOfDiagram(outline.diagram, tables, outline.tables[t].relations);
  neighbours = part.tables.size() - 1;
  return part;
}

std::vector<OverviewCount> overviewCounts(const ZELModel& model, const CatalogOutline& outline) {
  if (!outline.whole) return shownCounts(outline);
  long foreignKeys = 0;
  for (const OutlineTable& table : outline.tables)
    foreignKeys += static_cast<long>(table.referencedBy.size());
  const ModelCounts counts = countModel(model);
  return {{"Catalogs", counts.catalogs},    {"Schemas", counts.schemas},
          {"Tables", counts.tables},        {"Views", counts.views},
          {"Columns", counts.columns},      {"Keys", counts.keys - foreignKeys},
          {"Foreign keys", foreignKeys},    {"Indexes", counts.indexes - counts.keyIndexes},
          {"Procedures", counts.procedures}};
}

std::string referenceName(std::string_view bytes) {
  return shortenedText(std::string(bytes), kReferenceCharacters);
}

}  // namespace pcd::writers
