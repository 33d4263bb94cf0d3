#include "command_line.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "model_writer.h"
#include "sql/sql_dialect.h"
#include "subcommand_arguments.h"
#include "text_encoding.h"

namespace pcd::cli {

namespace {

enum class OptionId {
  kOutput,
  kFormat,
  kCompact,
  kSchema,
  kColumns,
  kBridgeId,
  kPlugin,
  kQuiet,
  kVerbose,
  kLogFormat,
  kFailOnWarning,
  kVersion,
  kHelp,
  kMaxLineBytes,
  kMaxInputBytes,
  kDialect,
  kNativeTypes,
  kInputEncoding,
  kForce
};

struct OptionDefinition {
  OptionId id;
  char shortName;  // 0: none
  const char* longName;
  bool takesValue;
};

const OptionDefinition kOptions[] = {
    {OptionId::kOutput, 'o', "output", true},
    {OptionId::kFormat, 'f', "format", true},
    {OptionId::kCompact, 0, "compact", false},
    {OptionId::kSchema, 0, "schema", true},
    {OptionId::kColumns, 0, "columns", true},
    {OptionId::kBridgeId, 0, "bridge-id", true},
    {OptionId::kPlugin, 0, "plugin", true},
    {OptionId::kQuiet, 'q', "quiet", false},
    {OptionId::kVerbose, 'v', "verbose", false},
    {OptionId::kLogFormat, 0, "log-format", true},
    {OptionId::kFailOnWarning, 0, "fail-on-warning", false},
    {OptionId::kVersion, 'V', "version", false},
    {OptionId::kHelp, 'h', "help", false},
    {OptionId::kMaxLineBytes, 0, "max-line-bytes", true},
    {OptionId::kMaxInputBytes, 0, "max-input-bytes", true},
    {OptionId::kDialect, 0, "dialect", true},
    {OptionId::kNativeTypes, 0, "native-types", false},
    {OptionId::kInputEncoding, 0, "input-encoding", true},
    {OptionId::kForce, 0, "force", false},
};

const OptionDefinition* findLong(const std::string& name) {
  for (const OptionDefinition& definition : kOptions) {
    if (name == definition.longName) return &definition;
  }
  return nullptr;
}

const OptionDefinition* findShort(char name) {
  for (const OptionDefinition& definition : kOptions) {
    if (definition.shortName != 0 && definition.shortName == name) return &definition;
  }
  return nullptr;
}

// The FormatOptions flag of an option that only some formats read, or 0.
unsigned formatOptionFlag(OptionId id) {
  switch (id) {
    case OptionId::kCompact:
      return writers::kReadsCompact;
    case OptionId::kSchema:
      return writers::kReadsSchemas;
    case OptionId::kColumns:
      return writers::kReadsColumns;
    case OptionId::kDialect:
    case OptionId::kNativeTypes:
      return writers::kReadsDialect;
    case OptionId::kForce:
      return writers::kReadsForce;
    default:
      return 0;
  }
}

// Applies one option; returns a usage error or "".
std::string apply(const OptionDefinition& definition, const std::string& value,
                  CommandLine& options) {
  if (const unsigned flag = formatOptionFlag(definition.id)) {
    options.formatOptions.emplace_back(std::string("--") + definition.longName, flag);
  }
  switch (definition.id) {
    case OptionId::kOutput:
      if (value.empty()) return "the output file name is empty; give a file name after --output";
      options.outputPath = value;
      break;
    case OptionId::kFormat:
      if (writers::findOutputFormat(value) == nullptr) {
        return "unknown format '" + value + "'; use one of: " + writers::outputFormatNames(0);
      }
      options.format = value;
      break;
    case OptionId::kCompact:
      options.writer.compact = true;
      break;
    case OptionId::kSchema:
      options.writer.schemas.push_back(value);
      break;
    case OptionId::kColumns:
      if (value == "all") {
        options.writer.columns = writers::DiagramColumns::kAll;
      } else if (value == "keys") {
        options.writer.columns = writers::DiagramColumns::kKeys;
      } else if (value == "none") {
        options.writer.columns = writers::DiagramColumns::kNone;
      } else {
        return "unknown column choice '" + value + "'; use all, keys or none";
      }
      break;
    case OptionId::kBridgeId:
      options.bridgeId = value;
      break;
    case OptionId::kPlugin:
      if (value.empty()) return "the plug-in path is empty; give a file after --plugin";
      options.pluginPath = value;
      break;
    case OptionId::kQuiet:
      options.quiet = true;
      options.verbose = false;  // the last of -q and -v wins
      break;
    case OptionId::kVerbose:
      options.verbose = true;
      options.quiet = false;
      break;
    case OptionId::kLogFormat:
      if (value != "text" && value != "json") {
        return "unknown log format '" + value + "'; use text or json";
      }
      options.logFormat = value;
      break;
    case OptionId::kFailOnWarning:
      options.failOnWarning = true;
      break;
    case OptionId::kVersion:
      options.showVersion = true;
      break;
    case OptionId::kHelp:
      options.showHelp = true;
      break;
    case OptionId::kMaxLineBytes:
      if (!parseByteCount(value, options.maxLineBytes)) {
        return "--max-line-bytes takes a positive number of bytes, not '" + value + "'";
      }
      break;
    case OptionId::kMaxInputBytes:
      if (!parseByteCount(value, options.maxInputBytes)) {
        return "--max-input-bytes takes a positive number of bytes, not '" + value + "'";
      }
      break;
    case OptionId::kDialect:
      if (writers::findSqlDialect(value) == nullptr) {
        return "unknown dialect '" + value + "'; use one of: " + writers::sqlDialectNameList();
      }
      options.writer.dialect = value;
      break;
    case OptionId::kForce:
      options.force = true;
      break;
    case OptionId::kNativeTypes:
      options.writer.nativeTypes = true;
      break;
    case OptionId::kInputEncoding:
      if (!isKnownEncoding(value)) {
        return "unknown input encoding '" + value + "'; 'iconv -l' lists the names known";
      }
      options.inputEncoding = value;
      break;
  }
  return "";
}

}  // namespace

std::vector<std::string> ignoredFormatOptions(const CommandLine& options) {
  const writers::OutputFormat* format = writers::findOutputFormat(options.format);
  std::vector<std::string> ignored;
  for (const auto& [name, flag] : options.formatOptions) {
    if (format == nullptr || (format->reads & flag) != 0) continue;
    if (std::find(ignored.begin(), ignored.end(), name) == ignored.end()) ignored.push_back(name);
  }
  return ignored;
}

ParsedCommandLine parseCommandLine(int argc, const char* const* argv) {
  ParsedCommandLine result;
  CommandLine& options = result.options;
  int fileArguments = 0;
  bool optionsEnded = false;

  auto takeFile = [&](const char* argument) {
    if (++fileArguments == 1) {
      options.pcdFile = argument;
    } else if (result.usageError.empty()) {
      result.usageError =
          std::string("unexpected argument '") + argument + "'; give exactly one PCD file";
    }
  };

  for (int i = 1; i < argc && result.usageError.empty(); ++i) {
    const char* argument = argv[i];
    // "-" alone is a file name, as are all arguments after "--".
    if (optionsEnded || argument[0] != '-' || argument[1] == '\0') {
      takeFile(argument);
      continue;
    }
    if (std::strcmp(argument, "--") == 0) {
      optionsEnded = true;
      continue;
    }

    const OptionDefinition* definition;
    std::string shown;  // the option as the user wrote it, for messages
    std::string value;
    bool hasValue = false;
    if (argument[1] == '-') {
      const char* name = argument + 2;
      const char* equals = std::strchr(name, '=');
      const std::string longName = equals ? std::string(name, equals) : std::string(name);
      shown = "--" + longName;
      definition = findLong(longName);
      if (equals) {
        value = equals + 1;
        hasValue = true;
      }
    } else {
      // A group of short options: flags until one that takes a value, which
      // takes the rest of the word (or, when none is left, the next argument).
      const char* letter = argument + 1;
      for (; letter[1] != '\0'; ++letter) {
        const OptionDefinition* flag = findShort(*letter);
        if (flag == nullptr || flag->takesValue) break;
        result.usageError = apply(*flag, "", options);
        if (!result.usageError.empty()) break;
        if (options.showHelp || options.showVersion) return result;
      }
      if (!result.usageError.empty()) break;
      shown = std::string("-") + *letter;
      definition = findShort(*letter);
      if (letter[1] != '\0') {
        value = letter + 1;
        hasValue = true;
      }
      if (definition == nullptr) {
        result.usageError = "unknown option '" + shown + "'";
        break;
      }
    }

    if (definition == nullptr) {
      result.usageError = "unknown option '" + std::string(argument) + "'";
      break;
    }
    if (definition->takesValue && !hasValue) {
      if (i + 1 >= argc) {
        result.usageError = "option " + shown + " needs a value";
        break;
      }
      value = argv[++i];
    } else if (!definition->takesValue && hasValue) {
      result.usageError = "option " + shown + " takes no value; write it without '='";
      break;
    }
    result.usageError = apply(*definition, value, options);
    if (options.showHelp || options.showVersion) return result;
  }

  if (result.usageError.empty() && fileArguments == 0) {
    result.usageError = "missing the PCD file to import; give it as the last argument";
  }
  return result;
}

namespace {

constexpr size_t kHelpWidth = 80;
constexpr size_t kHelpIndent = 24;  // where an option's text starts

// An option's line: `head` ("  -f, --format FORMAT") and `text` wrapped at
// kHelpWidth, its further lines indented to kHelpIndent.
std::string optionHelp(const std::string& head, const std::string& text) {
  std::string help = head + std::string(kHelpIndent - head.size(), ' ');
  size_t column = kHelpIndent, start = 0;
  bool first = true;
  while (start < text.size()) {
    size_t end = text.find(' ', start);
    if (end == std::string::npos) end = text.size();
    const size_t length = end - start;
    if (!first && column + 1 + length > kHelpWidth) {
      help += "\n" + std::string(kHelpIndent, ' ');
      column = kHelpIndent;
    } else if (!first) {
      help += ' ';
      ++column;
    }
    help.append(text, start, length);
    column += length;
    first = false;
    start = end + 1;
  }
  return help + "\n";
}

// "json (the model, default), summary (...), dot, svg or mermaid (diagrams)":
// formats next to each other with the same help are named together.
std::string formatList() {
  const std::vector<writers::OutputFormat>& formats = writers::outputFormats();
  std::string list;
  for (size_t i = 0; i < formats.size();) {
    size_t end = i + 1;
    while (end < formats.size() && formats[end].help == formats[i].help) ++end;
    if (!list.empty()) list += ", ";
    for (size_t f = i; f < end; ++f) {
      if (f > i) list += f + 1 == end ? " or " : ", ";
      list += formats[f].name;
    }
    if (!formats[i].help.empty()) list += " (" + std::string(formats[i].help) + ")";
    i = end;
  }
  return list;
}

// "postgresql (default), mysql or sqlite", from the list of dialects.
std::string dialectChoices() {
  const std::vector<const writers::SqlDialect*>& dialects = writers::sqlDialects();
  std::string text = std::string(dialects.front()->name()) + " (default)";
  for (size_t i = 1; i < dialects.size(); ++i) {
    text += i + 1 == dialects.size() ? " or " : ", ";
    text += dialects[i]->name();
  }
  return text;
}

}  // namespace

std::string usageText() {
  return std::string(
             "Usage: pcd-import [options] FILE.pcd\n"
             "       pcd-import check [--format text|json] FILE...\n"
             "       pcd-import diff [--format text|json] OLD NEW\n"
             "       pcd-import lint [--config FILE] [--format text|json|sarif] SOURCE...\n"
             "       pcd-import snapshot [-o FILE.pcd] URL\n"
             "Imports a PCD file through the bridge plug-in and writes the resulting model.\n"
             "FILE.pcd '-' reads standard input; '-o -' writes standard output.\n"
             "\n"
             "Options:\n") +
         optionHelp("  -o, --output FILE",
                    "write to FILE instead of standard output; FILE is replaced only when the "
                    "import succeeds; --format " +
                        writers::outputFormatNames(writers::kReadsForce) +
                        " writes the folder FILE") +
         optionHelp("  -f, --format FORMAT", formatList()) +
         "      --compact         JSON without indentation or line breaks\n" +
         optionHelp("      --dialect NAME", "SQL dialect of --format " +
                                                writers::outputFormatNames(writers::kReadsDialect) +
                                                ": " + dialectChoices()) +
         "      --native-types    SQL with the extract's own type names\n" +
         optionHelp("      --force", writers::outputFormatNames(writers::kReadsForce) +
                                         ": write into a folder that holds other files") +
         optionHelp("      --schema NAME",
                    writers::outputFormatNames(writers::kReadsSchemas) +
                        ": only this schema (NAME or CATALOG.NAME); repeat for more") +
         optionHelp("      --columns WHICH", writers::outputFormatNames(writers::kReadsColumns) +
                                                 ": all columns (default), keys (only key "
                                                 "columns) or none (tables and relations only)") +
         "      --bridge-id ID    bridge identifier handed to the plug-in\n"
         "                        (default CaRepositoryDsOdbcImport)\n"
         "      --plugin PATH     the plug-in library (default: $PCD_IMPORT_PLUGIN, else\n"
         "                        libZELCaRepositoryDsOdbcImport.so next to this program)\n"
         "      --max-line-bytes N  refuse input lines longer than N bytes (default 256 MiB)\n"
         "      --max-input-bytes N  refuse an input longer than N bytes (default 64 GiB);\n"
         "                        standard input and pipes are copied only that far\n"
         "      --input-encoding NAME  the extract's code page (default UTF-8; any name\n"
         "                        iconv knows, e.g. CP1252): texts are written as UTF-8\n"
         "  -q, --quiet           log only warnings and errors to standard error\n"
         "  -v, --verbose         also log each phase's time, the files, and a closing\n"
         "                        line with the model's counts and the total time\n"
         "      --log-format FMT  text (default): one line per event; json: one JSON\n"
         "                        object per event, for pipelines\n"
         "      --fail-on-warning exit with status 3, writing nothing, when the import\n"
         "                        logged a warning\n"
         "  -V, --version         print this program's and the bridge's versions and exit\n"
         "  -h, --help            print this help and exit\n"
         "\n"
         "\n"
         "Subcommands ('pcd-import SUBCOMMAND --help'):\n"
         "  check FILE...         list every problem of each file with its line\n"
         "  diff OLD NEW          list what changed between the models of two files or\n"
         "                        databases\n"
         "  snapshot URL          write a live database's catalog as an extract\n"
         "  lint SOURCE...        check schema design rules on each model\n"
         "\n"
         "Exit status: 0 on success (warnings included), 1 when the import fails,\n"
         "2 for a usage error, 3 for warnings under --fail-on-warning; a run ended by\n"
         "a signal leaves no temporary file.\n";
}

}  // namespace pcd::cli
