#include "model_dot.h"
#include "utf8_sequence.h"

#include <algorithm>
#include <cstdint>

namespace pcd::writers {

namespace {

// The font Graphviz measures text with, named so that every viewer draws
// the text in the font it was measured in (the svg and html formats say so
// in their style too); another font runs wider or narrower than its boxes.
constexpr const char* kFont = "DejaVu Sans";

// Text for an HTML-like label: the markup characters as entities, "]" as
// a character reference ("]]" ends Graphviz's reading of the label), and
// a backslash doubled (Graphviz replaces "\N", "\G" and the like in labels
// by the node's or graph's name, and "\\" by one backslash).
std::string htmlText(std::string_view bytes, size_t limit = SIZE_MAX) {
  // Characters past the limit are not drawn: read no more bytes than the
  // limit's characters and one more can take, a character being at most 4.
  if (limit < SIZE_MAX / 8 && bytes.size() > (limit + 2) * 4)
    bytes = bytes.substr(0, (limit + 2) * 4);
  std::string text;
  for (const char byte : shortenedText(printableText(bytes), limit)) {
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
      case ']':
        text += "&#93;";
        break;
      case '\\':
        text += "\\\\";
        break;
      default:
        text += byte;
    }
  }
  return text;
}

// A name as drawn: an empty name shows as "" rather than as nothing.
std::string shownName(const ZELString& name, size_t limit) {
  return name.length() == 0 ? std::string("&quot;&quot;") : htmlText(bytesOf(name), limit);
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

void appendNode(std::string& dot, const DiagramTable& table, size_t id, const DotStyle& style) {
  dot += "    t" + std::to_string(id) + " [";
  if (table.view) dot += "style=dashed, ";
  if (style.links != nullptr) dot += "href=\"" + (*style.links)[id - 1] + "\", ";
  dot += "label=<<TABLE BORDER=\"0\" CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"2\">";
  // One row a line, so that a change to one column is a one-line diff.
  dot += "\n      <TR><TD COLSPAN=\"3\" BGCOLOR=\"";
  dot += table.view ? "#eeeeee" : "#dce6f2";
  dot += "\"><B>" + shownName(table.table->getName(), style.maxTextLength) + "</B></TD></TR>";
  const size_t shown = std::min(table.columns.size(), style.maxColumns);
  for (size_t c = 0; c < shown; ++c) {
    const DiagramColumn& column = table.columns[c];
    dot += "\n      <TR><TD ALIGN=\"LEFT\">" + columnMarks(column) + "</TD><TD ALIGN=\"LEFT\">" +
           shownName(column.column->getName(), style.maxTextLength) + "</TD><TD ALIGN=\"LEFT\">" +
           htmlText(columnTypeText(*column.column), style.maxTextLength) + "</TD></TR>";
  }
  if (shown < table.columns.size()) {
    dot +=
        "\n      <TR><TD COLSPAN=\"3\" ALIGN=\"LEFT\"><FONT COLOR=\"#5b6575\">\xE2\x80\xA6 and " +
        std::to_string(table.columns.size() - shown) + " more columns</FONT></TD></TR>";
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

std::string diagramAsDot(const Diagram& diagram, const DotStyle& style) {
  std::string dot = "digraph model {\n";
  // newrank: the classic ranking fails ("trouble in init_rank") on some
  // graphs whose edges cross clusters.
  dot +=
      std::string("  graph [rankdir=LR, newrank=true, fontname=\"") + kFont + "\", fontsize=11];\n";
  dot += std::string("  node [shape=box, margin=0, fontname=\"") + kFont + "\", fontsize=10];\n";
  dot += std::string("  edge [dir=both, fontname=\"") + kFont + "\", fontsize=9];\n";
  for (size_t s = 0; s < diagram.schemas.size(); ++s) {
    const DiagramSchema& schema = diagram.schemas[s];
    dot += "  subgraph cluster_" + std::to_string(s + 1) + " {\n";
    dot += "    label=<" + htmlText(schema.catalog, style.maxTextLength) + ".<B>" +
           htmlText(schema.path, style.maxTextLength) + "</B>>;\n";
    dot += "    style=rounded; color=\"#8899aa\";\n";
    for (const size_t t : schema.tables) appendNode(dot, diagram.tables[t], t + 1, style);
    dot += "  }\n";
  }
  for (const DiagramRelation& relation : diagram.relations) {
    dot += "  t" + std::to_string(relation.child + 1) + " -> t" +
           std::to_string(relation.parent + 1) + " [label=<" +
           htmlText(relation.name, style.maxTextLength) +
           ">, arrowtail=" + arrowOf(relation.childEnd) +
           ", arrowhead=" + arrowOf(relation.parentEnd) + "];\n";
  }
  dot += "}\n";
  return dot;
}

namespace {

std::string diagramAsPlainDot(const Diagram& diagram) {
  return diagramAsDot(diagram);
}

}  // namespace

std::unique_ptr<ModelWriter> makeDotModelWriter(const WriterOptions& options) {
  return makeTextDiagramWriter<diagramAsPlainDot>(options);
}

}  // namespace pcd::writers
