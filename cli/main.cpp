// pcd-import: the dispatch to the subcommands and the import, and the
// program's last line of error handling.
#include <clocale>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "check_command.h"
#include "command_line.h"
#include "diff_command.h"
#include "import_command.h"
#include "lint_command.h"
#include "plugin_loader.h"
#include "program_end.h"
#include "program_log.h"
#include "snapshot_command.h"
#include "temporary_files.h"
#include "zel_bridge_specification.h"
#include "zel_keyed_hash.h"

using namespace pcd::cli;

namespace {

constexpr int kExitDiffTrouble = 2;  // diff: the comparison could not be made

// A failure before the log exists (help, version): plain text.
int fail(const std::string& message) {
  std::fprintf(stderr, "pcd-import: %s\n", message.c_str());
  return kImportFailed;
}

int printVersion(ZELModelBridgeImportDllInterface& bridge, const std::string& bridgeId) {
  ZELBridgeSpecification specification;
  bridge.getSpecification(ZELString(bridgeId.data(), bridgeId.size()), specification);
  std::printf("pcd-import %s\nbridge %s %s\n", PCD_IMPORT_VERSION, bridgeId.c_str(),
              specification.getBridgeVersion().c_str());
  return std::fflush(stdout) == 0 ? kImportSucceeded : fail("cannot write to standard output");
}

int runProgram(int argc, const char* const* argv) {
  // A subcommand is the first argument, spelt exactly; a file of that name
  // is imported as "./check", "./diff", "./lint" or "./snapshot".
  if (argc > 1 && std::string(argv[1]) == "check") return runCheckCommand(argc - 1, argv + 1);
  if (argc > 1 && std::string(argv[1]) == "diff") {
    // A comparison that fails is diff's error status (2), never "different" (1).
    try {
      return runDiffCommand(argc - 1, argv + 1);
    } catch (const std::bad_alloc&) {
      std::fputs("pcd-import diff: out of memory\n", stderr);
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "pcd-import diff: unexpected failure: %s\n", failure.what());
    }
    return kExitDiffTrouble;
  }
  if (argc > 1 && std::string(argv[1]) == "snapshot") return runSnapshotCommand(argc - 1, argv + 1);
  if (argc > 1 && std::string(argv[1]) == "lint") {
    return pcd::cli::runLintCommand(argc - 1, argv + 1);
  }
  const ParsedCommandLine parsed = parseCommandLine(argc, argv);
  if (!parsed.usageError.empty()) return importUsageFailure(parsed.usageError);
  const CommandLine& options = parsed.options;
  if (options.showHelp) {
    std::fputs(usageText().c_str(), stdout);
    return std::fflush(stdout) == 0 ? kImportSucceeded : fail("cannot write to standard output");
  }

  const int minimumLevel = options.quiet ? ZEL_SEVERITY_WARNING : ZEL_SEVERITY_STATUS;
  ProgramLog log(stderr, options.logFormat == "json" ? LogFormat::kJson : LogFormat::kText,
                 minimumLevel, options.verbose);
  BridgePlugin plugin;
  std::string error;
  if (!plugin.load(choosePluginPath(options.pluginPath), error)) {
    return importProgramFailure(log, error);
  }
  if (options.showVersion) return printVersion(plugin.bridge(), options.bridgeId);
  return runImportCommand(plugin.bridge(), options, log);
}

}  // namespace

int main(int argc, char** argv) {
  // File names are converted from UTF-8 to the user's encoding.
  std::setlocale(LC_CTYPE, "");
  removeTemporaryFilesOnSignals();
  try {
    // Tables keyed by the input's names and ids need a random key; without
    // one the program refuses before it reads or writes anything.
    if (std::string error; !zel_hash::drawProcessKey(error)) return fail(error);
    return runProgram(argc, argv);
  } catch (const std::bad_alloc&) {
    // Reported without allocating anything more.
    std::fputs("pcd-import: out of memory\n", stderr);
    return kImportFailed;
  } catch (const std::exception& failure) {
    return fail(std::string("unexpected failure: ") + failure.what());
  }
}
