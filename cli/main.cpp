// pcd-import: runs the bridge plug-in on one PCD file and writes the model it
// builds in the format the user chose.
#include <unistd.h>

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <string>

#include "check_command.h"
#include "command_line.h"
#include "diff_command.h"
#include "error_context.h"
#include "extract_side_scan.h"
#include "heap_setup.h"
#include "import_run.h"
#include "input_file.h"
#include "lint_command.h"
#include "model/zel_model.h"
#include "model_summary.h"
#include "model_writer.h"
#include "output_folder.h"
#include "output_target.h"
#include "plugin_loader.h"
#include "program_end.h"
#include "program_log.h"
#include "program_messages.h"
#include "progress_line.h"
#include "snapshot_command.h"
#include "temporary_files.h"
#include "text_encoding.h"
#include "zel_bridge_specification.h"
#include "zel_keyed_hash.h"
#include "zel_log.h"
#include "zel_text_io.h"

namespace {

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr int kExitWarnings = 3;     // --fail-on-warning and the import warned
constexpr int kExitDiffTrouble = 2;  // diff: the comparison could not be made

int usageFailure(const std::string& message) {
  std::fprintf(stderr, "pcd-import: %s\nTry 'pcd-import --help'.\n", message.c_str());
  return kExitUsage;
}

// A failure before the log exists (help, version): plain text.
int fail(const std::string& message) {
  std::fprintf(stderr, "pcd-import: %s\n", message.c_str());
  return kExitFailure;
}

int programFailure(ProgramLog& log, const std::string& message) {
  log.programFailure(program_messages::kProgramFailure, message);
  return kExitFailure;
}

int printVersion(ZELModelBridgeImportDllInterface& bridge, const std::string& bridgeId) {
  ZELBridgeSpecification specification;
  bridge.getSpecification(ZELString(bridgeId.data(), bridgeId.size()), specification);
  std::printf("pcd-import %s\nbridge %s %s\n", PCD_IMPORT_VERSION, bridgeId.c_str(),
              specification.getBridgeVersion().c_str());
  return std::fflush(stdout) == 0 ? kExitSuccess : fail("cannot write to standard output");
}

std::string secondsText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f s", seconds);
  return text;
}

// Brings the model's texts to UTF-8 from the extract's code page; without
// one, warns once when texts are not UTF-8. A file of ASCII alone needs
// neither: its texts are ASCII, which reads the same in UTF-8 and in every
// code page the option is meant for. False when a text cannot be converted.
bool decodeTexts(ZELModel& model, const std::string& inputEncoding, ExtractSideScan& sideScan,
                 ProgramLog& log) {
  const bool utf8 = inputEncoding.empty() || isUtf8Name(inputEncoding);
  const long invalid = utf8 && !sideScan.allAscii() ? countInvalidUtf8(model) : 0;
  if (invalid > 0) {
    log.program(ZEL_SEVERITY_WARNING, program_messages::kNotUtf8,
                std::to_string(invalid) +
                    (invalid == 1 ? " text of the model is" : " texts of the model are") +
                    " not UTF-8; name the extract's code page with --input-encoding (e.g. "
                    "CP1252)");
  }
  if (utf8) return true;
  std::string error;
  if (!sideScan.allAscii() && !convertModelToUtf8(model, inputEncoding, error)) {
    programFailure(log, error);
    return false;
  }
  // The origin names the code page the extract was written in.
  for (ZELMetadataOrigin* origin : model.metadataOrigins()) {
    origin->characterEncoding = ZELString(inputEncoding.data(), inputEncoding.size());
  }
  return true;
}

int importAndWrite(ZELModelBridgeImportDllInterface& bridge, const CommandLine& options,
                   ProgramLog& log) {
  setMaxLineBytes(options.maxLineBytes);
  for (const std::string& option : ignoredFormatOptions(options)) {
    log.program(ZEL_SEVERITY_WARNING, program_messages::kIgnoredOption,
                option + " does not apply to --format " + options.format + "; ignored");
  }
  InputFile input;
  input.setMaxInputBytes(options.maxInputBytes);
  std::string error;
  if (!input.identify(options.pcdFile, error)) return programFailure(log, error);
  const bool toStandardOutput = options.outputPath.empty() || options.outputPath == "-";
  if (!toStandardOutput && input.isSameFileAs(options.outputPath)) {
    return usageFailure("the output '" + options.outputPath +
                        "' is the input file; choose another output file");
  }
  // Opened before the import, so that an output that cannot be written is
  // reported at once; nothing replaces the file unless the run succeeds.
  const bool toFolder = findOutputFormat(options.format)->writesFolder;
  if (toFolder && toStandardOutput) {
    return usageFailure("--format " + options.format + " writes a folder; name it with -o DIR");
  }
  OutputTarget output;
  OutputFolder folder;
  if (toFolder ? !folder.open(options.outputPath, options.force, error)
               : !output.open(options.outputPath, error)) {
    return programFailure(log, error);
  }
  if (!input.prepare(error)) return programFailure(log, error);
  if (log.verbose()) {
    log.program(ZEL_SEVERITY_STATUS, program_messages::kFiles,
                "Reading " + input.shownName() + " (" + std::to_string(input.size()) +
                    " bytes), writing " + options.format + " to " +
                    (toStandardOutput ? std::string("standard output") : options.outputPath));
  }

  if (input.size() > 0) prepareHeapForImport(input.size());
  auto modelOwner = std::make_unique<ZELModel>();
  ZELModel& model = *modelOwner;
  ZELMemoryLog keptLog;  // for the document's "log" array
  ProgressLine progress(input.path(), input.size(), !options.quiet);
  ProgressAwareLog shownLog(progress, log);
  ZELTeeLog keptAndShown(shownLog, keptLog);
  DecodingLog importLog(keptAndShown, options.inputEncoding);
  // Reads the file on a free processor while the bridge imports it.
  ExtractSideScan sideScan(input.path());
  const std::string failure = runImport(bridge, options.bridgeId, input.path(), model, importLog);
  log.endPhase();
  // The program's own messages below are printed on a clean line.
  progress.stop();
  if (!failure.empty()) {
    sideScan.cancel();  // before the file is read again, for the context
    log.failure(failure, explainFailure(failure, input));
    return kExitFailure;
  }
  // The origin names the input as the user did, not the copy read.
  if (input.isStandardInput()) {
    for (ZELMetadataOrigin* origin : model.metadataOrigins()) origin->sourceFile = "-";
  }
  if (!decodeTexts(model, options.inputEncoding, sideScan, log)) return kExitFailure;

  // The bridge skips a table placed at something that is neither a schema
  // nor a catalog without a message; the file tells which.
  for (const MisplacedTable& table : sideScan.misplacedTables()) {
    log.program(ZEL_SEVERITY_WARNING, program_messages::kMisplacedTable,
                std::string(table.kind == "VIEW" ? "View " : "Table ") + table.name +
                    " (placed by the TABLE_AT record on line " + std::to_string(table.line) +
                    ") is not imported: its location, " + table.location +
                    ", is neither a schema nor a catalog");
  }

  const ModelCounts counts = countModel(model);
  // Only a model without catalogs makes the file worth a second look.
  if (counts.catalogs == 0 && counts.schemas == 0 && !hasAnyRecord(input)) {
    log.program(ZEL_SEVERITY_WARNING, program_messages::kNoRecords,
                "No record found in " + input.shownName() + "; the model is empty");
  }
  if (options.failOnWarning && log.warningCount() > 0) {
    log.programFailure(program_messages::kWarningsFailRun,
                       std::to_string(log.warningCount()) +
                           (log.warningCount() == 1 ? " warning" : " warnings") +
                           " and --fail-on-warning: nothing written");
    return kExitWarnings;
  }

  log.beginPhase("Writing " + options.format);
  WriterOptions writerOptions;
  writerOptions.compact = options.compact;
  writerOptions.schemas = options.schemas;
  writerOptions.columns = options.columns;
  writerOptions.dialect = options.dialect;
  writerOptions.nativeTypes = options.nativeTypes;
  writerOptions.toolVersion = PCD_IMPORT_VERSION;
  const std::unique_ptr<ModelWriter> writer = findOutputFormat(options.format)->make(writerOptions);
  // Not over a model being written to the same terminal.
  if (!toStandardOutput || isatty(STDOUT_FILENO) == 0) progress.resume("writing " + options.format);
  const std::string shownSource = input.isStandardInput() ? "-" : options.pcdFile;
  std::vector<FolderFile> files;
  error = toFolder ? writer->writeFolder({model, keptLog.events(), shownSource}, files)
                   : writer->write({model, keptLog.events(), shownSource}, output.stream());
  progress.stop();
  if (!error.empty()) return programFailure(log, error);  // the output target removes its file
  log.endPhase();

  if (log.verbose()) {
    for (const auto& [phase, seconds] : log.phases()) {
      log.program(ZEL_SEVERITY_STATUS, program_messages::kPhaseTime,
                  "Phase '" + phase + "' took " + secondsText(seconds));
    }
    const long warnings = log.warningCount();
    log.program(ZEL_SEVERITY_STATUS, program_messages::kDone,
                "Done: " + formatSummary(counts) + "; " + std::to_string(warnings) +
                    (warnings == 1 ? " warning" : " warnings") + "; " +
                    secondsText(log.secondsSinceStart()));
  }
  // Last: once the file is in place nothing else may fail, so that a
  // failing run never leaves a file behind.
  if (toFolder ? !folder.commit(files, error) : !output.commit(error)) {
    return programFailure(log, error);
  }
  pcd::cli::leaveForTheEnd(modelOwner);
  return kExitSuccess;
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
  if (!parsed.usageError.empty()) return usageFailure(parsed.usageError);
  const CommandLine& options = parsed.options;
  if (options.showHelp) {
    std::fputs(usageText(), stdout);
    return std::fflush(stdout) == 0 ? kExitSuccess : fail("cannot write to standard output");
  }

  const int minimumLevel = options.quiet ? ZEL_SEVERITY_WARNING : ZEL_SEVERITY_STATUS;
  ProgramLog log(stderr, options.logFormat == "json" ? LogFormat::kJson : LogFormat::kText,
                 minimumLevel, options.verbose);
  BridgePlugin plugin;
  std::string error;
  if (!plugin.load(choosePluginPath(options.pluginPath), error)) {
    return programFailure(log, error);
  }
  if (options.showVersion) return printVersion(plugin.bridge(), options.bridgeId);
  return importAndWrite(plugin.bridge(), options, log);
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
    return kExitFailure;
  } catch (const std::exception& failure) {
    return fail(std::string("unexpected failure: ") + failure.what());
  }
}
