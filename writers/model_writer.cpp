#include "model_writer.h"

#include "model_dbml.h"
#include "model_dot.h"
#include "model_html.h"
#include "model_json.h"
#include "model_markdown.h"
#include "model_mermaid.h"
#include "model_sql.h"
#include "model_summary.h"
#include "model_svg.h"

const std::vector<OutputFormat>& outputFormats() {
  static const std::vector<OutputFormat> formats = {
      {"json", "the whole model (default; --compact: without white space)", makeJsonModelWriter,
       kReadsCompact},
      {"summary", "one line of object counts", makeSummaryModelWriter},
      {"sql", "DDL script (--dialect postgresql|mysql|sqlite, --native-types)", makeSqlModelWriter,
       kReadsDialect},
      {"dot", "a Graphviz graph of the tables, views and their relations", makeDotModelWriter,
       kReadsSchemas | kReadsColumns},
      {"svg", "the Graphviz graph laid out and drawn as SVG", makeSvgModelWriter,
       kReadsSchemas | kReadsColumns},
      {"mermaid", "a Mermaid entity-relationship diagram (erDiagram)", makeMermaidModelWriter,
       kReadsSchemas | kReadsColumns},
      {"dbml", "the tables and views, keys, indexes and references in DBML", makeDbmlModelWriter,
       kReadsSchemas},
      {"html", "a browsable catalog in one self-contained HTML page", makeHtmlModelWriter,
       kReadsSchemas},
      {"markdown", "a folder of Markdown pages (-o DIR) with Mermaid diagrams",
       makeMarkdownModelWriter, kReadsSchemas | kReadsForce, true},
  };
  return formats;
}

const OutputFormat* findOutputFormat(std::string_view name) {
  for (const OutputFormat& format : outputFormats()) {
    if (format.name == name) return &format;
  }
  return nullptr;
}
