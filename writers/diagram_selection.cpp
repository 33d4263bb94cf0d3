#include "diagram_selection.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <utility>

#include "schema_walk.h"
#include "utf8_sequence.h"

namespace pcd::writers {

namespace {

bool isKeyColumn(const ZELClass& table, const ZELAttribute& column) {
  for (const ZELKey* key : table.keys()) {
    for (const ZELAttribute* member : key->attributes()) {
      if (member == &column) return true;
    }
  }
  return false;
}

DiagramTable describeTable(const ZELClass& table, bool view, size_t schema, DiagramColumns detail) {
  DiagramTable drawn{&table, view, schema, {}};
  if (detail == DiagramColumns::kNone) return drawn;
  // The key marks of the key columns, sorted by column: a table's keys
  // name few columns, so a sorted array finds them without a hash set.
  enum : uint8_t { kPrimary = 1, kForeign = 2, kUnique = 4 };
  std::vector<std::pair<const ZELAttribute*, uint8_t>> marks;
  for (const ZELKey* key : table.keys()) {
    uint8_t mark = 0;
    if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) {
      mark = kForeign;
    } else if (key == table.getPrimaryKey()) {
      mark = kPrimary;
    } else if (key->isInstanceOf(ZEL_ET_CANDIDATE_KEY) &&
               static_cast<const ZELCandidateKey*>(key)->uniqueKey &&
               key->attributes().count() == 1) {
      mark = kUnique;
    }
    if (mark == 0) continue;
    for (const ZELAttribute* column : key->attributes()) marks.emplace_back(column, mark);
  }
  std::sort(marks.begin(), marks.end());
  const auto markOf = [&marks](const ZELAttribute* column) {
    uint8_t mark = 0;
    for (auto at = std::lower_bound(marks.begin(), marks.end(), std::make_pair(column, uint8_t{0}));
         at != marks.end() && at->first == column; ++at) {
      mark |= at->second;
    }
    return mark;
  };
  drawn.columns.reserve(static_cast<size_t>(table.features().count()));
  for (const ZELFeature* feature : table.features()) {
    if (!feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) continue;
    const auto* column = static_cast<const ZELAttribute*>(feature);
    if (detail == DiagramColumns::kKeys && !isKeyColumn(table, *column)) continue;
    const uint8_t mark = marks.empty() ? 0 : markOf(column);
    DiagramColumn drawnColumn{column};
    drawnColumn.primaryKey = (mark & kPrimary) != 0;
    drawnColumn.foreignKey = (mark & kForeign) != 0;
    drawnColumn.unique = (mark & kUnique) != 0;
    drawnColumn.notNull = !view && !column->isOptional();
    drawn.columns.push_back(drawnColumn);
  }
  return drawn;
}

}  // namespace

DrawnTables drawnTables(const Diagram& diagram) {
  DrawnTables drawn;
  drawn.reserve(diagram.tables.size());
  for (const DiagramTable& table : diagram.tables) {
    if (drawn.find(table.table) == nullptr) drawn.add(table.table, &table);
  }
  return drawn;
}

bool isChosenSchema(const std::vector<std::string>& names, std::vector<bool>& matched,
                    const std::string& catalog, const std::string& path) {
  if (names.empty()) return true;
  bool chosen = false;
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i] == path || names[i] == catalog + "." + path) {
      matched[i] = true;
      chosen = true;
    }
  }
  return chosen;
}

namespace {

// The tables and views of the chosen schemas of every catalog.
void selectTables(const ZELModel& model, const WriterOptions& options, Diagram& diagram,
                  std::vector<bool>& matched) {
  forEachSchema(model, [&](const SchemaPath& path, const ZELPackage& package) {
    const std::string catalog(bytesOf(path.catalog().getName()));
    const std::string shown = path.text();
    if (!isChosenSchema(options.schemas, matched, catalog, shown)) return;
    if (!package.isInstanceOf(ZEL_ET_DATA_PACKAGE)) return;
    DiagramSchema schema{catalog, shown, {}};
    for (const ZELModelObject* object :
         static_cast<const ZELDataPackage&>(package).modelObjects()) {
      const ZELElementType type = object->getElementType();
      if (type != ZEL_ET_CLASS && type != ZEL_ET_SQL_VIEW_ENTITY) continue;
      schema.tables.push_back(diagram.tables.size());
      diagram.tables.push_back(describeTable(*static_cast<const ZELClass*>(object),
                                             type == ZEL_ET_SQL_VIEW_ENTITY, diagram.schemas.size(),
                                             options.columns));
    }
    if (!schema.tables.empty()) diagram.schemas.push_back(std::move(schema));
  });
}

// The associations of the design packages whose two ends are both drawn.
void selectRelations(const ZELModel& model, Diagram& diagram) {
  const DrawnTables drawn = drawnTables(diagram);
  for (const ZELPackage* package : model.childPackages()) {
    if (package->getElementType() != ZEL_ET_DESIGN_PACKAGE) continue;
    for (const ZELModelElement* element :
         static_cast<const ZELDesignPackage*>(package)->elements()) {
      if (element->getElementType() != ZEL_ET_ASSOCIATION) continue;
      const auto& association = *static_cast<const ZELAssociation*>(element);
      if (association.roles().count() != 2) continue;
      const ZELAssociationRole* parent = *association.roles().begin();
      const ZELAssociationRole* child = *std::next(association.roles().begin());
      if (child->parentSide && !parent->parentSide) std::swap(parent, child);
      const DiagramTable* parentTable = drawn.find(parent->getAssociatedClass());
      const DiagramTable* childTable = drawn.find(child->getAssociatedClass());
      if (parentTable == nullptr || childTable == nullptr) continue;
      DiagramRelation relation{static_cast<size_t>(childTable - diagram.tables.data()),
                               static_cast<size_t>(parentTable - diagram.tables.data()),
                               parseMultiplicity(bytesOf(child->multiplicity)),
                               parseMultiplicity(bytesOf(parent->multiplicity)),
                               child->getForeignKey(),
                               {}};
      relation.name = std::string(bytesOf(
          relation.foreignKey != nullptr ? relation.foreignKey->getName() : association.getName()));
      diagram.relations.push_back(std::move(relation));
    }
  }
}

}  // namespace

Multiplicity parseMultiplicity(std::string_view text) {
  const size_t dots = text.find("..");
  const std::string_view lower = text.substr(0, dots);
  const std::string_view upper = dots == std::string_view::npos ? text : text.substr(dots + 2);
  const bool upperIsOne = upper == "1" || upper == "0";
  return {lower == "0" || lower.empty(), !upperIsOne};
}

std::string selectDiagram(const ZELModel& model, const WriterOptions& options, Diagram& diagram) {
  std::vector<bool> matched(options.schemas.size(), false);
  selectTables(model, options, diagram, matched);
  for (size_t i = 0; i < matched.size(); ++i) {
    if (!matched[i]) {
      return "no schema named '" + options.schemas[i] +
             "' in the model; give a schema's name or CATALOG.SCHEMA";
    }
  }
  selectRelations(model, diagram);
  return "";
}

namespace {

// An index into a diagram's vectors as a key of a flat map.
struct IndexHash {
  size_t operator()(size_t index) const noexcept { return index; }
};

}  // namespace

Diagram partOfDiagram(const Diagram& whole, const std::vector<size_t>& tables,
                      const std::vector<size_t>& relations) {
  Diagram part;
  // Reserved: the maps point at the part's elements, which never move.
  part.tables.reserve(tables.size());
  part.schemas.reserve(tables.size());
  ZELFlatMap<size_t, const DiagramTable, IndexHash> tableOf;    // whole.tables -> part.tables
  ZELFlatMap<size_t, const DiagramSchema, IndexHash> schemaOf;  // whole.schemas -> part.schemas
  tableOf.reserve(tables.size());
  for (const size_t t : tables) {
    if (tableOf.find(t) != nullptr) continue;
    DiagramTable table = whole.tables[t];
    const DiagramSchema* schema = schemaOf.find(table.schema);
    if (schema == nullptr) {
      const DiagramSchema& original = whole.schemas[table.schema];
      part.schemas.push_back({original.catalog, original.path, {}});
      schema = &part.schemas.back();
      schemaOf.add(table.schema, schema);
    }
    table.schema = static_cast<size_t>(schema - part.schemas.data());
    part.schemas[table.schema].tables.push_back(part.tables.size());
    part.tables.push_back(std::move(table));
    tableOf.add(t, &part.tables.back());
  }
  ZELFlatMap<size_t, const DiagramRelation, IndexHash> taken;
  taken.reserve(relations.size());
  for (const size_t r : relations) {
    if (taken.find(r) != nullptr) continue;  // listed by both its ends
    taken.add(r, &whole.relations[r]);
    const DiagramTable* child = tableOf.find(whole.relations[r].child);
    const DiagramTable* parent = tableOf.find(whole.relations[r].parent);
    if (child == nullptr || parent == nullptr) continue;
    DiagramRelation relation = whole.relations[r];
    relation.child = static_cast<size_t>(child - part.tables.data());
    relation.parent = static_cast<size_t>(parent - part.tables.data());
    part.relations.push_back(std::move(relation));
  }
  return part;
}

std::string printableText(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  appendWellFormed(
      text, bytes, [](unsigned char byte) { return byte >= 0x20 && byte != 0x7F; },
      [](std::string& out, unsigned char) { out += ' '; });
  return text;
}

std::string columnTypeText(const ZELAttribute& column) {
  return typeText(column.getType());
}

std::string typeText(const ZELType* type) {
  std::string text;
  appendTypeText(text, type);
  return text;
}

void appendTypeText(std::string& out, const ZELType* type) {
  if (type == nullptr) return;
  if (!type->isInstanceOf(ZEL_ET_DERIVED_TYPE)) {
    out += bytesOf(type->getName());
    return;
  }
  const auto& derived = static_cast<const ZELDerivedType&>(*type);
  const std::string_view name =
      bytesOf(derived.NativeDataType.length() != 0 ? derived.NativeDataType : derived.getName());
  out += name;
  // Some native names carry their size already: "NUMBER(10,2)".
  if (derived.getLength() > 0 && name.find('(') == std::string_view::npos) {
    char digits[48];
    char* end = digits;
    *end++ = '(';
    end = std::to_chars(end, digits + sizeof digits, derived.getLength()).ptr;
    if (derived.getScale() > 0) {
      *end++ = ',';
      end = std::to_chars(end, digits + sizeof digits, derived.getScale()).ptr;
    }
    *end++ = ')';
    out.append(digits, end);
  }
}

const char* crowsFootLeft(const Multiplicity& end) {
  if (end.many) return end.optional ? "}o" : "}|";
  return end.optional ? "|o" : "||";
}

const char* crowsFootRight(const Multiplicity& end) {
  if (end.many) return end.optional ? "o{" : "|{";
  return end.optional ? "o|" : "||";
}

}  // namespace pcd::writers
