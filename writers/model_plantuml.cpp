// The "plantuml" format: a PlantUML entity diagram in IE notation, one
// package per schema, one entity per table and view (the primary key's
// columns above the line, the others below; "*" on a column that must have
// a value, <<FK>> on a foreign key's), and one crow's-foot link per
// relation from the referenced table to the referencing one.
//
// How names reach PlantUML: entities and packages are known by generated
// aliases (e1, p1); in names, types and labels every ASCII character but
// letters, digits, "_" and blank is a numeric character reference (&#34;),
// which PlantUML shows as the character and never reads as syntax or
// markup. A backslash and "$" are written as code points (<U+005C>): PlantUML
// fails on their references; a quote is not (after a code point, PlantUML
// reads two quotes in an entity's name as markup).
#include <cstdio>
#include <string>

#include "diagram_writer.h"

namespace pcd::writers {

namespace {

std::string plantText(std::string_view bytes) {
  if (bytes.empty()) return "&#34;&#34;";  // an empty name shows as ""
  std::string text;
  for (const char byte : printableText(bytes)) {
    const auto c = static_cast<unsigned char>(byte);
    if (c >= 0x80 || c == ' ' || c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
        (c >= 'a' && c <= 'z')) {
      text += byte;
    } else {
      char code[16];
      std::snprintf(code, sizeof code, c == '\\' || c == '$' ? "<U+%04X>" : "&#%d;", c);
      text += code;
    }
  }
  return text;
}

void appendColumn(std::string& text, const DiagramColumn& column) {
  text += "    ";
  if (column.primaryKey || column.notNull) text += "*";
  text += plantText(bytesOf(column.column->getName()));
  const std::string type = columnTypeText(*column.column);
  if (!type.empty()) text += " : " + plantText(type);
  if (column.foreignKey) text += " <<FK>>";
  text += "\n";
}

void appendEntity(std::string& text, const DiagramTable& table, size_t id) {
  text += "  entity \"" + plantText(bytesOf(table.table->getName())) + "\" as e" +
          std::to_string(id) + (table.view ? " <<view>>" : "");
  if (table.columns.empty()) {
    text += "\n";
    return;
  }
  text += " {\n";
  bool keyed = false, others = false;
  for (const DiagramColumn& column : table.columns) {
    if (column.primaryKey) {
      appendColumn(text, column);
      keyed = true;
    }
  }
  for (const DiagramColumn& column : table.columns) {
    if (column.primaryKey) continue;
    if (keyed && !others) text += "    --\n";
    others = true;
    appendColumn(text, column);
  }
  text += "  }\n";
}

std::string diagramAsPlantUml(const Diagram& diagram) {
  std::string text = "@startuml\nhide circle\nhide empty members\n";
  for (size_t s = 0; s < diagram.schemas.size(); ++s) {
    const DiagramSchema& schema = diagram.schemas[s];
    text += "package \"" + plantText(schema.catalog) + "&#46;" + plantText(schema.path) +
            "\" as p" + std::to_string(s + 1) + " {\n";
    for (const size_t t : schema.tables) appendEntity(text, diagram.tables[t], t + 1);
    text += "}\n";
  }
  for (const DiagramRelation& relation : diagram.relations) {
    text += "e" + std::to_string(relation.parent + 1) + " " + crowsFootLeft(relation.parentEnd) +
            "--" + crowsFootRight(relation.childEnd) + " e" + std::to_string(relation.child + 1) +
            " : \"" + plantText(relation.name) + "\"\n";
  }
  return text + "@enduml\n";
}

}  // namespace

std::unique_ptr<ModelWriter> makePlantUmlModelWriter(const WriterOptions& options) {
  return makeTextDiagramWriter<diagramAsPlantUml>(options);
}

}  // namespace pcd::writers
