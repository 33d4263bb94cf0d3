// The model writers: each output format turns an imported host model into
// bytes on a stdio stream. The program picks a writer by format name; adding
// a format is one writer file and one row in the format table.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "model/zel_model.h"
#include "zel_log.h"

// What the user chose for the formats that look at it; each writer ignores
// the rest.
enum class DiagramColumns { kAll, kKeys, kNone };

struct WriterOptions {
  bool compact = false;  // JSON without white space
  // Diagram formats and DBML: only these schemas (a schema's name, its path
  // from the catalog when schemas nest, or CATALOG.SCHEMA); empty: all.
  std::vector<std::string> schemas;
  // Diagram formats: every column, only the columns of keys, or none.
  DiagramColumns columns = DiagramColumns::kAll;
  std::string dialect = "postgresql";  // SQL: a name from sqlDialectNames()
  bool nativeTypes = false;            // SQL: the extract's own type names
  std::string toolVersion;             // SQL: for the script's header
};

// What a writer writes: the model, the log of its import and where it came
// from.
struct ModelSource {
  const ZELModel& model;
  const std::vector<ZELLogEvent>& log;
  std::string_view sourceFile;
};

class ModelWriter {
 public:
  virtual ~ModelWriter() = default;
  // Writes the whole document to `out`. Returns "" when the model could be
  // written, otherwise why not (naming the object); the caller then throws
  // the output away. Stream errors are left in the stream for the caller.
  virtual std::string write(const ModelSource& source, std::FILE* out) = 0;
};

struct OutputFormat {
  std::string_view name;
  std::string_view description;  // one line, for --help
  std::unique_ptr<ModelWriter> (*make)(const WriterOptions& options);
};

// Every format, in the order --help lists them; the first is the default.
const std::vector<OutputFormat>& outputFormats();
// The format of that name, or nullptr.
const OutputFormat* findOutputFormat(std::string_view name);
