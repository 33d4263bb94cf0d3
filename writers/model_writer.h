// The model writers: each output format turns an imported host model into
// the bytes of a file or of a folder's files. The program picks a writer by
// format name; adding a format is one writer file and one row in the format
// table, from which the help, the option checks and the documentation's
// lists of formats follow.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "model/zel_model.h"
#include "output_sink.h"
#include "zel_log.h"

namespace pcd::writers {

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
  std::string dialect = "postgresql";  // SQL: a name from sqlDialects()
  bool nativeTypes = false;            // SQL: the extract's own type names
  std::string toolVersion;             // SQL: the program's version, for the script's header
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
  // Writes the whole document into `sink`: one file, or the files of a
  // folder (OutputFormat::writesFolder). Returns "" when the model could be
  // written, otherwise why not (naming the object); the caller then throws
  // the output away.
  virtual std::string write(const ModelSource& source, OutputSink& sink) = 0;
};

// The options of WriterOptions (and --force) a format reads, as flags.
enum FormatOptions : unsigned {
  kReadsCompact = 1,  // --compact
  kReadsSchemas = 2,  // --schema
  kReadsColumns = 4,  // --columns
  kReadsDialect = 8,  // --dialect, --native-types
  kReadsForce = 16,   // --force
};

struct OutputFormat {
  std::string_view name;
  // What --help says of it, in a few words ("" none); formats next to each
  // other with the same words are listed together: "dot, svg (diagrams)".
  std::string_view help;
  std::unique_ptr<ModelWriter> (*make)(const WriterOptions& options);
  unsigned reads = 0;         // FormatOptions
  bool writesFolder = false;  // -o names a folder, written through a FolderSink
};

// Every format, in the order --help lists them; the first is the default.
const std::vector<OutputFormat>& outputFormats();
// The format of that name, or nullptr.
const OutputFormat* findOutputFormat(std::string_view name);
// The names of the formats that read any of `reads` (FormatOptions; 0:
// every format), in the table's order: "dot, svg, mermaid".
std::string outputFormatNames(unsigned reads);

}  // namespace pcd::writers
