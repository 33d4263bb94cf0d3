#include "lint_command.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "lint_config.h"
#include "lint_locations.h"
#include "lint_report.h"
#include "plugin_loader.h"
#include "program_end.h"
#include "subcommand_arguments.h"
#include "zel_text_io.h"

namespace pcd::cli {

namespace {

constexpr int kExitClean = 0;
constexpr int kExitFindings = 1;
constexpr int kExitTrouble = 2;

const char kLintUsage[] =
    "Usage: pcd-import lint [--config FILE] [--format text|json|sarif]\n"
    "                       [--fail-on error|warning|never] [--plugin PATH] SOURCE...\n"
    "       pcd-import lint --init [--config FILE]\n"
    "       pcd-import lint --list-rules\n"
    "Imports each SOURCE (a PCD file, - for standard input) and checks its model\n"
    "against schema design rules: keys and indexes, table shape, documentation,\n"
    "names in the SQL dialects, implied relations. Findings name the extract's\n"
    "line as FILE:LINE: severity: message [rule].\n"
    "  --config FILE   rules, severities, thresholds and exclusions (YAML); without\n"
    "                  it ./.pcd-lint.yaml is read when it exists\n"
    "  --format        text (default), json (with documentation coverage), sarif\n"
    "  --fail-on       exit 1 on findings of this severity or worse (default error)\n"
    "  --init          write the default configuration, every rule commented, to\n"
    "                  FILE (default .pcd-lint.yaml; - for standard output)\n"
    "  --list-rules    print the rules, their defaults and rationale (Markdown)\n"
    "This replaces 'pcd-import check --strict': its four checks are the rules\n"
    "table-without-primary-key, foreign-key-without-index, table-without-description\n"
    "and column-without-description.\n"
    "Exit status: 0 clean, 1 findings at the --fail-on level, 2 usage, configuration\n"
    "or source error.\n";

struct LintOptions {
  std::vector<std::string> sources;
  std::string configPath;
  std::string format = "text";
  std::string failOn = "error";
  std::string pluginPath;
  bool init = false;
};

int trouble(const std::string& message) {
  std::fprintf(stderr, "pcd-import lint: %s\n", message.c_str());
  return kExitTrouble;
}

int parse(int argc, const char* const* argv, LintOptions& options) {
  SubcommandArguments arguments(argc, argv);
  while (arguments.next()) {
    const std::string& argument = arguments.current();
    std::string text;
    if (arguments.isOperand()) {
      options.sources.push_back(argument);
    } else if (argument == "-h" || argument == "--help") {
      std::fputs(kLintUsage, stdout);
      return std::fflush(stdout) == 0 ? kExitClean : kExitTrouble;
    } else if (argument == "--list-rules") {
      std::fputs(lintRulesMarkdown().c_str(), stdout);
      return std::fflush(stdout) == 0 ? kExitClean : kExitTrouble;
    } else if (argument == "--init") {
      options.init = true;
    } else if (arguments.takeValue("--config", text) || arguments.takeValue("-c", text)) {
      options.configPath = text;
    } else if (arguments.takeValue("--format", text) || arguments.takeValue("-f", text)) {
      if (text != "text" && text != "json" && text != "sarif") {
        return trouble("unknown format '" + text + "'; use text, json or sarif");
      }
      options.format = text;
    } else if (arguments.takeValue("--fail-on", text)) {
      if (text != "error" && text != "warning" && text != "never") {
        return trouble("--fail-on takes error, warning or never, not '" + text + "'");
      }
      options.failOn = text;
    } else if (arguments.takeValue("--plugin", text)) {
      options.pluginPath = text;
    } else if (arguments.takeValue("--max-line-bytes", text)) {
      std::size_t bytes = 0;
      if (!parseByteCount(text, bytes)) return trouble("--max-line-bytes needs a positive number");
      setMaxLineBytes(bytes);
    } else {
      return trouble("unknown option '" + argument + "'; try 'pcd-import lint --help'");
    }
  }
  if (!options.init && options.sources.empty()) {
    return trouble("no source to lint; try 'pcd-import lint --help'");
  }
  if (options.init && !options.sources.empty()) {
    return trouble("--init writes the configuration and lints nothing; give no SOURCE");
  }
  return -1;
}

bool exists(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0;
}

int writeTemplate(const LintOptions& options) {
  const std::string path = options.configPath.empty() ? kDefaultLintConfigFile : options.configPath;
  const std::string text = lintConfigTemplate();
  if (path == "-") {
    std::fputs(text.c_str(), stdout);
    return std::fflush(stdout) == 0 ? kExitClean : trouble("cannot write to standard output");
  }
  if (exists(path)) return trouble(path + " exists; remove it or name another file with --config");
  std::ofstream out(path, std::ios::out | std::ios::binary);
  out << text;
  out.close();
  if (!out) return trouble("cannot write " + path);
  std::fprintf(stderr, "pcd-import lint: wrote %s\n", path.c_str());
  return kExitClean;
}

LintedSource lintSource(const std::string& source, const SourceLoader& load,
                        const LintConfig& config) {
  LintedSource linted;
  linted.source = source;
  LoadedSource loaded = load(source);
  if (!loaded.error.empty() || loaded.model == nullptr) {
    linted.error = loaded.error.empty() ? "no model" : loaded.error;
    return linted;
  }
  linted.result = lintModel(*loaded.model, config);
  if (!loaded.extractPath.empty()) {
    ExtractLines lines;
    std::string error;
    if (lines.read(loaded.extractPath, error)) {
      for (LintFinding& finding : linted.result.findings) finding.line = lines.lineOf(finding);
      // By line; findings whose line is unknown last, each group in model
      // order.
      std::stable_sort(linted.result.findings.begin(), linted.result.findings.end(),
                       [](const LintFinding& a, const LintFinding& b) {
                         return (a.line == 0 ? LONG_MAX : a.line) <
                                (b.line == 0 ? LONG_MAX : b.line);
                       });
    }
  }
  linted.model = std::move(loaded.model);
  return linted;
}

bool fails(const std::string& failOn, const LintTotals& totals) {
  if (failOn == "never") return false;
  return totals.errors > 0 || (failOn == "warning" && totals.warnings > 0);
}

}  // namespace

int runLint(int argc, const char* const* argv,
            const std::function<SourceLoader(const std::string&, std::string&)>& makeLoader) {
  LintOptions options;
  const int parsed = parse(argc, argv, options);
  if (parsed >= 0) return parsed;
  if (options.init) return writeTemplate(options);

  LintConfig config = defaultLintConfig();
  std::string configPath = options.configPath;
  if (configPath.empty() && exists(kDefaultLintConfigFile)) configPath = kDefaultLintConfigFile;
  if (!configPath.empty()) {
    const std::string error = loadLintConfig(configPath, config);
    if (!error.empty()) return trouble(error);
  }
  std::string error;
  const SourceLoader load = makeLoader(options.pluginPath, error);
  if (!load) return trouble(error);

  std::vector<LintedSource> sources;
  for (const std::string& source : options.sources) {
    sources.push_back(lintSource(source, load, config));
  }
  bool written = true;
  if (options.format == "json") {
    written = writeLintJson(stdout, sources);
  } else if (options.format == "sarif") {
    written = writeLintSarif(stdout, sources, PCD_IMPORT_VERSION);
  } else {
    written = writeLintText(stdout, sources);
  }
  if (!written || std::fflush(stdout) != 0) return trouble("cannot write to standard output");
  const LintTotals totals = countFindings(sources);
  for (const LintedSource& source : sources) {
    if (!source.error.empty() && options.format != "text") {
      std::fprintf(stderr, "pcd-import lint: %s: %s\n", source.source.c_str(),
                   source.error.c_str());
    }
  }
  for (LintedSource& source : sources) leaveForTheEnd(source.model);
  if (totals.sourcesFailed > 0) return kExitTrouble;
  return fails(options.failOn, totals) ? kExitFindings : kExitClean;
}

int runLintCommand(int argc, const char* const* argv) {
  // The plug-in stays loaded for the life of the process.
  static BridgePlugin plugin;
  return runLint(argc, argv, [](const std::string& pluginPath, std::string& error) -> SourceLoader {
    if (!plugin.load(choosePluginPath(pluginPath), error)) return nullptr;
    return extractLoader(plugin);
  });
}

}  // namespace pcd::cli
