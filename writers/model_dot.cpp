#include "model_dot.h"

namespace {

// Text for an HTML-like label: the markup characters as entities.
std::string htmlText(std::string_view bytes) {
  std::string text;
  for (const char byte : printableText(bytes)) {
    switch (byte) {
      case '&':
        text += "&amp;";
        break;
      case '<':
        text += "&lt;";
        break;
      case '>':
        text += "&gt;";
        break;
      case '"':
        text += "&quot;";
        break;
      default:
        text += byte;
    }
  }
  return text;
}

// A name as drawn: an empty name shows as "" rather than as nothing.
std::string shownName(const ZELString& name) {
  return name.length() == 0 ? std::string("&quot;&quot;") : htmlText(bytesOf(name));
}

std::string columnMarks(const DiagramColumn& column) {
  std::string marks;
  const auto add = [&marks](const char* mark) {
    if (!marks.empty()) marks += ' ';
    marks += mark;
  };
  if (column.primaryKey) add("PK");
  if (column.foreignKey) add("FK");
  if (column.notNull && !column.primaryKey) add("NN");
  return marks;
}

void appendNode(std::string& dot, const DiagramTable& table, size_t id) {
  dot += "    t" + std::to_string(id) + " [";
  if (table.view) dot += "style=dashed, ";
  dot += "label=<<TABLE BORDER=\"0\" CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"2\">";
  // One row a line, so that a change to one column is a one-line diff.
  dot += "\n      <TR><TD COLSPAN=\"3\" BGCOLOR=\"";
  dot += table.view ? "#eeeeee" : "#dce6f2";
  dot += "\"><B>" + shownName(table.table->getName()) + "</B></TD></TR>";
  for (const DiagramColumn& column : table.columns) {
    dot += "\n      <TR><TD ALIGN=\"LEFT\">" + columnMarks(column) + "</TD><TD ALIGN=\"LEFT\">" +
           shownName(column.column->getName()) + "</TD><TD ALIGN=\"LEFT\">" +
           htmlText(columnTypeText(*column.column)) + "</TD></TR>";
  }
  dot += "\n    </TABLE>>];\n";
}

// Crow's foot ends: the shape nearest the node first (crow for many, bar for
// one), then a circle for an optional end or a second bar for a mandatory one.
const char* arrowOf(const Multiplicity& end) {
  if (end.many) return end.optional ? "crowodot" : "crowtee";
  return end.optional ? "teeodot" : "teetee";
}

}  // namespace

std::string diagramAsDot(const Diagram& diagram, std::string_view layoutAttributes) {
  std::string dot = "digraph model {\n";
  // newrank: the classic ranking fails ("trouble in init_rank") on some
  // graphs whose edges cross clusters.
  dot += "  graph [rankdir=LR, newrank=true, fontname=\"Helvetica\", fontsize=11";
  if (!layoutAttributes.empty()) dot += ", " + std::string(layoutAttributes);
  dot += "];\n";
  dot += "  node [shape=box, margin=0, fontname=\"Helvetica\", fontsize=10];\n";
  dot += "  edge [dir=both, fontname=\"Helvetica\", fontsize=9];\n";
  for (size_t s = 0; s < diagram.schemas.size(); ++s) {
    const DiagramSchema& schema = diagram.schemas[s];
    dot += "  subgraph cluster_" + std::to_string(s + 1) + " {\n";
    dot += "    label=<" + htmlText(schema.catalog) + ".<B>" + htmlText(schema.path) + "</B>>;\n";
    dot += "    style=rounded; color=\"#8899aa\";\n";
    for (const size_t t : schema.tables) appendNode(dot, diagram.tables[t], t + 1);
    dot += "  }\n";
  }
  for (const DiagramRelation& relation : diagram.relations) {
    dot += "  t" + std::to_string(relation.child + 1) + " -> t" +
           std::to_string(relation.parent + 1) + " [label=<" + htmlText(relation.name) +
           ">, arrowtail=" + arrowOf(relation.childEnd) +
           ", arrowhead=" + arrowOf(relation.parentEnd) + "];\n";
  }
  dot += "}\n";
  return dot;
}

namespace {

class DotModelWriter final : public ModelWriter {
 public:
  explicit DotModelWriter(WriterOptions options) : options_(std::move(options)) {}
  std::string write(const ModelSource& source, std::FILE* out) override {
    Diagram diagram;
    std::string error = selectDiagram(source.model, options_, diagram);
    if (!error.empty()) return error;
    const std::string dot = diagramAsDot(diagram, "");
    std::fwrite(dot.data(), 1, dot.size(), out);  // a write error stays in the stream
    return "";
  }

 private:
  WriterOptions options_;
};

}  // namespace

std::unique_ptr<ModelWriter> makeDotModelWriter(const WriterOptions& options) {
  return std::make_unique<DotModelWriter>(options);
}
