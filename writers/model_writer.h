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
  std::string toolVersion;             // SQL: the program's version, for the script's header
};

// What a writer writes: the model, the log of its import and where it came
// from.
struct ModelSource {
  const ZELModel& model;
  const std::vector<ZELLogEvent>& log;
  std::string_view sourceFile;
};

// The file, last of a folder's files, that names every file written there:
// the program recognises a folder it wrote by it.
constexpr char kFolderFileList[] = ".pcd-import-files";

// One file of a format that writes a folder: its name in the folder and
// its bytes.
struct FolderFile {
  std::string name;
  std::string bytes;
};

class ModelWriter {
 public:
  virtual ~ModelWriter() = default;
  // Formats that write a folder (OutputFormat::writesFolder): the files in
  // `files`, which the caller puts in place only when all of them exist.
  // Returns "" or why the model cannot be written.
  virtual std::string writeFolder(const ModelSource& source, std::vector<FolderFile>& files) {
    (void)source;
    (void)files;
    return "this format writes one file, not a folder";
  }
  // Writes the whole document to `out`. Returns "" when the model could be
  // written, otherwise why not (naming the object); the caller then throws
  // the output away. Stream errors are left in the stream for the caller.
  virtual std::string write(const ModelSource& source, std::FILE* out) = 0;
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
  std::string_view description;  // one line, for --help
  std::unique_ptr<ModelWriter> (*make)(const WriterOptions& options);
  unsigned reads = 0;         // FormatOptions
  bool writesFolder = false;  // -o names a folder; see ModelWriter::writeFolder
};

// Every format, in the order --help lists them; the first is the default.
const std::vector<OutputFormat>& outputFormats();
// The format of that name, or nullptr.
const OutputFormat* findOutputFormat(std::string_view name);
