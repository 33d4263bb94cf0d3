// The command line of pcd-import: what the user asked for, or why the
// arguments cannot be used.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "model_writer.h"

namespace pcd::cli {

struct CommandLine {
  std::string pcdFile;            // the one file argument, as given
  std::string outputPath;         // empty: standard output
  std::string format = "json";    // a name from outputFormats()
  writers::WriterOptions writer;  // --compact, --schema, --columns, --dialect, --native-types
  bool force = false;             // a folder format: write into a folder holding other files
  std::string bridgeId = "CaRepositoryDsOdbcImport";
  std::string pluginPath;  // empty: the default location
  bool quiet = false;
  bool verbose = false;
  std::string logFormat = "text";  // "text" or "json"
  bool failOnWarning = false;
  size_t maxLineBytes = 0;    // 0: the host's default
  size_t maxInputBytes = 0;   // 0: InputFile's default
  std::string inputEncoding;  // empty: not given (the texts are taken as UTF-8)
  bool showHelp = false;
  bool showVersion = false;
  // The format options given, as written (--dialect, ...), with the
  // FormatOptions flag of each: the program says which the format ignores.
  std::vector<std::pair<std::string, unsigned>> formatOptions;
};

struct ParsedCommandLine {
  CommandLine options;
  // Empty when the arguments are usable; otherwise one line saying what is
  // wrong and what to do.
  std::string usageError;
};

// The format options of `options` that its format does not read, as given
// ("--dialect"), each once.
std::vector<std::string> ignoredFormatOptions(const CommandLine& options);

// Reads argv[1..argc-1]. Options take their value as "--opt=value", "--opt
// value" or, for short options, "-o value" and "-ovalue"; short options
// combine ("-qf json", "-qfjson"), the first one that takes a value taking
// the rest of the word or the next argument. "--" ends the options; "-"
// alone is a file name (standard input). --help and --version stop reading
// at once.
ParsedCommandLine parseCommandLine(int argc, const char* const* argv);

// The text printed by --help.
std::string usageText();

}  // namespace pcd::cli
