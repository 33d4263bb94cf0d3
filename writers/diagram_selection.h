// What the diagram formats (and DBML) draw: the tables and views of the
// chosen schemas, each with the columns --columns asks for and their key
// marks, and the associations whose two ends are both drawn. Everything in
// the model's order, so that the same model gives the same bytes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "model/zel_model.h"
#include "model_writer.h"
#include "string_bytes.h"
#include "zel_flat_map.h"

namespace pcd::writers {

struct DiagramColumn {
  const ZELAttribute* column;
  bool primaryKey = false;  // in the table's primary key
  bool foreignKey = false;  // in one of the table's foreign keys
  bool unique = false;      // alone in a unique candidate key that is not the primary key
  bool notNull = false;     // a table column that is not optional (views carry no flag)
};

struct DiagramTable {
  const ZELClass* table;
  bool view;
  size_t schema;                       // index into Diagram::schemas
  std::vector<DiagramColumn> columns;  // as --columns asks
};

struct DiagramSchema {
  std::string catalog;         // the catalog's name
  std::string path;            // the schema's name; "PARENT/CHILD" when schemas nest
  std::vector<size_t> tables;  // indexes into Diagram::tables
};

// Bounds of an association role's multiplicity ("1", "0..1", "0..*", "1..5").
struct Multiplicity {
  bool optional;  // lower bound 0
  bool many;      // upper bound above 1
};
Multiplicity parseMultiplicity(std::string_view text);
// A link's end in crow's-foot notation (Mermaid and PlantUML write it
// alike): a bar for one, a crow's foot for many, a circle when optional;
// the end left of "--" and the end right of it.
const char* crowsFootLeft(const Multiplicity& end);
const char* crowsFootRight(const Multiplicity& end);

// An association between two drawn tables: the referencing (child) end and
// the referenced (parent) end.
struct DiagramRelation {
  size_t child, parent;  // indexes into Diagram::tables
  Multiplicity childEnd, parentEnd;
  const ZELForeignKey* foreignKey;  // the key the child role holds, or null
  std::string name;                 // the foreign key's name, else the association's
};

struct Diagram {
  std::vector<DiagramSchema> schemas;  // only schemas with something to draw
  std::vector<DiagramTable> tables;
  std::vector<DiagramRelation> relations;
};

// Each drawn table's entry in a diagram's tables, found by its table (the
// first entry where a table is drawn twice); valid while the tables stay.
using DrawnTables = ZELFlatMap<const ZELClass*, const DiagramTable, ZELAddressHash>;
DrawnTables drawnTables(const Diagram& diagram);

// Whether --schema names (`names`, none: every schema) choose the schema of
// `catalog` with path `path`: its path or CATALOG.PATH; marks in `matched`
// (as long as `names`) the names that chose it.
bool isChosenSchema(const std::vector<std::string>& names, std::vector<bool>& matched,
                    const std::string& catalog, const std::string& path);

// Fills `diagram` from the model as `options` choose. Returns "" or, when a
// --schema name matches no schema of the model, the message to show.
std::string selectDiagram(const ZELModel& model, const WriterOptions& options, Diagram& diagram);

// The part of `whole` that draws just these tables (indexes into
// whole.tables, in the order given) and those of `relations` (indexes into
// whole.relations, repeats ignored) whose two ends are among them: the documentation
// formats draw one table with its neighbours this way.
Diagram partOfDiagram(const Diagram& whole, const std::vector<size_t>& tables,
                      const std::vector<size_t>& relations);

// Valid UTF-8 for any bytes: each byte that is not part of a well-formed
// sequence becomes U+FFFD and each control character a blank, so that a
// diagram language (and its renderer) can take the text.
std::string printableText(std::string_view bytes);

// A column's type as a reader expects it: "VARCHAR2(60)", "NUMBER(10,2)",
// "DATE"; "" when the column has no type.
std::string columnTypeText(const ZELAttribute& column);
// The same for any type (an argument's); "" for none.
std::string typeText(const ZELType* type);
// The same, appended to `out`.
void appendTypeText(std::string& out, const ZELType* type);

}  // namespace pcd::writers
