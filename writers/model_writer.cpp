#include "model_writer.h"

#include "model_dbml.h"
#include "model_dot.h"
#include "model_html.h"
#include "model_json.h"
#include "model_markdown.h"
#include "model_mermaid.h"
#include "model_summary.h"
#include "model_svg.h"
#include "sql/model_sql.h"

namespace pcd::writers {

// The plantuml and liquibase formats' entry points (model_plantuml.cpp,
// model_liquibase.cpp).
std::unique_ptr<ModelWriter> makePlantUmlModelWriter(const WriterOptions& options);
std::unique_ptr<ModelWriter> makeLiquibaseModelWriter(const WriterOptions& options);

const std::vector<OutputFormat>& outputFormats() {
  static const std::vector<OutputFormat> formats = {
      {"json", "the model, default", makeJsonModelWriter, kReadsCompact},
      {"summary", "one line of counts", makeSummaryModelWriter},
      {"sql", "a DDL script", makeSqlModelWriter, kReadsDialect},
      {"liquibase", "a Liquibase changelog", makeLiquibaseModelWriter, kReadsDialect},
      {"dot", "diagrams", makeDotModelWriter, kReadsSchemas | kReadsColumns},
      {"svg", "diagrams", makeSvgModelWriter, kReadsSchemas | kReadsColumns},
      {"mermaid", "diagrams", makeMermaidModelWriter, kReadsSchemas | kReadsColumns},
      {"plantuml", "diagrams", makePlantUmlModelWriter, kReadsSchemas | kReadsColumns},
      {"dbml", "", makeDbmlModelWriter, kReadsSchemas},
      {"html", "a browsable catalog page", makeHtmlModelWriter, kReadsSchemas},
      {"markdown", "a folder", makeMarkdownModelWriter, kReadsSchemas | kReadsForce, true},
  };
  return formats;
}

const OutputFormat* findOutputFormat(std::string_view name) {
  for (const OutputFormat& format : outputFormats()) {
    if (format.name == name) return &format;
  }
  return nullptr;
}

std::string outputFormatNames(unsigned reads) {
  std::string names;
  for (const OutputFormat& format : outputFormats()) {
    if (reads != 0 && (format.reads & reads) == 0) continue;
    names += names.empty() ? "" : ", ";
    names += format.name;
  }
  return names;
}

}  // namespace pcd::writers
