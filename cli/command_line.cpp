#include "command_line.h"

#include <cstring>

#include "model_writer.h"
#include "sql_dialect.h"

namespace {

enum class OptionId {
  kOutput, kFormat, kCompact, kBridgeId, kPlugin, kQuiet, kVersion, kHelp,
  kDialect, kNativeTypes,
};

struct OptionDefinition {
  OptionId id;
  char shortName;  // 0: none
  const char* longName;
  bool takesValue;
};

const OptionDefinition kOptions[] = {
    {OptionId::kOutput, 'o', "output", true},    {OptionId::kFormat, 'f', "format", true},
    {OptionId::kCompact, 0, "compact", false},
    {OptionId::kBridgeId, 0, "bridge-id", true}, {OptionId::kPlugin, 0, "plugin", true},
    {OptionId::kQuiet, 'q', "quiet", false},     {OptionId::kVersion, 0, "version", false},
    {OptionId::kHelp, 'h', "help", false},
    {OptionId::kDialect, 0, "dialect", true},    {OptionId::kNativeTypes, 0, "native-types", false},
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

// Applies one option; returns a usage error or "".
std::string apply(const OptionDefinition& definition, const std::string& value,
                  CommandLine& options) {
  switch (definition.id) {
    case OptionId::kOutput:
      if (value.empty()) return "the output file name is empty; give a file name after --output";
      options.outputPath = value;
      break;
    case OptionId::kFormat:
      if (findOutputFormat(value) == nullptr) {
        std::string names;
        for (const OutputFormat& format : outputFormats()) {
          names += names.empty() ? "" : ", ";
          names += format.name;
        }
        return "unknown format '" + value + "'; use one of: " + names;
      }
      options.format = value;
      break;
    case OptionId::kCompact:
      options.compact = true;
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
      break;
    case OptionId::kVersion:
      options.showVersion = true;
      break;
    case OptionId::kHelp:
      options.showHelp = true;
      break;
    case OptionId::kDialect: {
      SqlDialect dialect;
      if (!parseSqlDialect(value, dialect)) {
        std::string names;
        for (const std::string_view name : sqlDialectNames()) {
          names += names.empty() ? "" : ", ";
          names += name;
        }
        return "unknown dialect '" + value + "'; use one of: " + names;
      }
      options.dialect = value;
      break;
    }
    case OptionId::kNativeTypes:
      options.nativeTypes = true;
      break;
  }
  return "";
}

}  // namespace

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
      shown = std::string("-") + argument[1];
      definition = findShort(argument[1]);
      if (argument[2] != '\0') {
        if (definition && !definition->takesValue) {
          result.usageError = "option " + shown + " takes no value; write it on its own";
          break;
        }
        value = argument + 2;
        hasValue = true;
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

const char* usageText() {
  return "Usage: pcd-import [options] FILE.pcd\n"
         "Imports a PCD file through the bridge plug-in and writes the resulting model.\n"
         "\n"
         "Options:\n"
         "  -o, --output FILE     write to FILE instead of standard output; FILE is\n"
         "                        replaced only when the import succeeds\n"
         "  -f, --format FORMAT   json (the model, default), summary (one line of counts)\n"
         "                        or sql (a DDL script)\n"
         "      --compact         JSON without indentation or line breaks\n"
         "      --dialect NAME    SQL dialect of --format sql: postgresql (default),\n"
         "                        mysql or sqlite\n"
         "      --native-types    SQL with the extract's own type names\n"
         "      --bridge-id ID    bridge identifier handed to the plug-in\n"
         "                        (default CaRepositoryDsOdbcImport)\n"
         "      --plugin PATH     the plug-in library (default: $PCD_IMPORT_PLUGIN, else\n"
         "                        libZELCaRepositoryDsOdbcImport.so next to this program)\n"
         "  -q, --quiet           log only warnings and errors to standard error\n"
         "      --version         print the bridge version and exit\n"
         "  -h, --help            print this help and exit\n"
         "\n"
         "Exit status: 0 on success (warnings included), 1 when the import fails,\n"
         "2 for a usage error.\n";
}
