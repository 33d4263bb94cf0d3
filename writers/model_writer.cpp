#include "model_writer.h"

#include "model_json.h"
#include "model_sql.h"
#include "model_summary.h"

const std::vector<OutputFormat>& outputFormats() {
  static const std::vector<OutputFormat> formats = {
      {"json", "the whole model (default; --compact: without white space)", makeJsonModelWriter},
      {"summary", "one line of object counts", makeSummaryModelWriter},
      {"sql", "DDL script (--dialect postgresql|mysql|sqlite, --native-types)", makeSqlModelWriter},
  };
  return formats;
}

const OutputFormat* findOutputFormat(std::string_view name) {
  for (const OutputFormat& format : outputFormats()) {
    if (format.name == name) return &format;
  }
  return nullptr;
}
