#include "import_command.h"

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "error_context.h"
#include "extract_side_scan.h"
#include "heap_setup.h"
#include "import_run.h"
#include "input_file.h"
#include "model/zel_model.h"
#include "model_summary.h"
#include "model_writer.h"
#include "output_folder.h"
#include "output_target.h"
#include "program_end.h"
#include "program_messages.h"
#include "progress_line.h"
#include "text_encoding.h"
#include "zel_log.h"
#include "zel_text_io.h"

namespace pcd::cli {

int importUsageFailure(const std::string& message) {
  std::fprintf(stderr, "pcd-import: %s\nTry 'pcd-import --help'.\n", message.c_str());
  return kImportUsage;
}

int importProgramFailure(ProgramLog& log, const std::string& message) {
  log.programFailure(program_messages::kProgramFailure, message);
  return kImportFailed;
}

namespace {

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
    importProgramFailure(log, error);
    return false;
  }
  // The origin names the code page the extract was written in.
  for (ZELMetadataOrigin* origin : model.metadataOrigins()) {
    origin->characterEncoding = ZELString(inputEncoding.data(), inputEncoding.size());
  }
  return true;
}

// One run's state from stage to stage. Each stage returns false when the
// run ends there, with the exit status in status_.
class ImportCommand {
 public:
  ImportCommand(ZELModelBridgeImportDllInterface& bridge, const CommandLine& options,
                ProgramLog& log)
      : bridge_(bridge),
        options_(options),
        log_(log),
        format_(*writers::findOutputFormat(options.format)),
        toStandardOutput_(options.outputPath.empty() || options.outputPath == "-") {}

  int run() {
    if (openOutput() && import() && postProcess() && write() && commit()) {
      pcd::cli::leaveForTheEnd(model_);
    }
    return status_;
  }

 private:
  bool fail(int status) {
    status_ = status;
    return false;
  }

  // Identifies the input and opens the output before the import, so that
  // an output that cannot be written is reported at once; nothing replaces
  // the file unless the run succeeds.
  bool openOutput() {
    setMaxLineBytes(options_.maxLineBytes);
    for (const std::string& option : ignoredFormatOptions(options_)) {
      log_.program(ZEL_SEVERITY_WARNING, program_messages::kIgnoredOption,
                   option + " does not apply to --format " + options_.format + "; ignored");
    }
    input_.setMaxInputBytes(options_.maxInputBytes);
    std::string error;
    if (!input_.identify(options_.pcdFile, error)) return fail(importProgramFailure(log_, error));
    if (!toStandardOutput_ && input_.isSameFileAs(options_.outputPath)) {
      return fail(importUsageFailure("the output '" + options_.outputPath +
                                     "' is the input file; choose another output file"));
    }
    if (format_.writesFolder && toStandardOutput_) {
      return fail(importUsageFailure("--format " + options_.format +
                                     " writes a folder; name it with -o DIR"));
    }
    if (format_.writesFolder ? !folder_.open(options_.outputPath, options_.force, error)
                             : !output_.open(options_.outputPath, error)) {
      return fail(importProgramFailure(log_, error));
    }
    if (!input_.prepare(error)) return fail(importProgramFailure(log_, error));
    if (log_.verbose()) {
      log_.program(ZEL_SEVERITY_STATUS, program_messages::kFiles,
                   "Reading " + input_.shownName() + " (" + std::to_string(input_.size()) +
                       " bytes), writing " + options_.format + " to " +
                       (toStandardOutput_ ? std::string("standard output") : options_.outputPath));
    }
    return true;
  }

  // Runs the bridge on the input, the progress line showing how far it
  // read, while a side scan reads the file on a free processor.
  bool import() {
    if (input_.size() > 0) prepareHeapForImport(input_.size());
    model_ = std::make_unique<ZELModel>();
    progress_ = std::make_unique<ProgressLine>(input_.path(), input_.size(), !options_.quiet);
    ProgressAwareLog shownLog(*progress_, log_);
    ZELTeeLog keptAndShown(shownLog, keptLog_);
    DecodingLog importLog(keptAndShown, options_.inputEncoding);
    sideScan_ = std::make_unique<ExtractSideScan>(input_.path());
    const std::string failure =
        runImport(bridge_, options_.bridgeId, input_.path(), *model_, importLog);
    log_.endPhase();
    // The program's own messages below are printed on a clean line.
    progress_->stop();
    if (!failure.empty()) {
      sideScan_->cancel();  // before the file is read again, for the context
      log_.failure(failure, explainFailure(failure, input_));
      return fail(kImportFailed);
    }
    return true;
  }

  // What the bridge leaves to the program: the input's name as the user
  // gave it, the texts' code page, the tables it skipped silently, an
  // empty model, and --fail-on-warning.
  bool postProcess() {
    ZELModel& model = *model_;
    if (input_.isStandardInput()) {
      for (ZELMetadataOrigin* origin : model.metadataOrigins()) origin->sourceFile = "-";
    }
    if (!decodeTexts(model, options_.inputEncoding, *sideScan_, log_)) return fail(kImportFailed);
    // The bridge skips a table placed at something that is neither a schema
    // nor a catalog without a message; the file tells which.
    for (const MisplacedTable& table : sideScan_->misplacedTables()) {
      log_.program(ZEL_SEVERITY_WARNING, program_messages::kMisplacedTable,
                   std::string(table.kind == "VIEW" ? "View " : "Table ") + table.name +
                       " (placed by the TABLE_AT record on line " + std::to_string(table.line) +
                       ") is not imported: its location, " + table.location +
                       ", is neither a schema nor a catalog");
    }
    counts_ = writers::countModel(model);
    // Only a model without catalogs makes the file worth a second look.
    if (counts_.catalogs == 0 && counts_.schemas == 0 && !hasAnyRecord(input_)) {
      log_.program(ZEL_SEVERITY_WARNING, program_messages::kNoRecords,
                   "No record found in " + input_.shownName() + "; the model is empty");
    }
    if (options_.failOnWarning && log_.warningCount() > 0) {
      log_.programFailure(program_messages::kWarningsFailRun,
                          std::to_string(log_.warningCount()) +
                              (log_.warningCount() == 1 ? " warning" : " warnings") +
                              " and --fail-on-warning: nothing written");
      return fail(kImportWarned);
    }
    return true;
  }

  // The model in the chosen format, into the output file or the folder's
  // files.
  bool write() {
    log_.beginPhase("Writing " + options_.format);
    writers::WriterOptions writerOptions = options_.writer;
    writerOptions.toolVersion = PCD_IMPORT_VERSION;
    const std::unique_ptr<writers::ModelWriter> writer = format_.make(writerOptions);
    // Not over a model being written to the same terminal.
    if (!toStandardOutput_ || isatty(STDOUT_FILENO) == 0) {
      progress_->resume("writing " + options_.format);
    }
    const std::string shownSource = input_.isStandardInput() ? "-" : options_.pcdFile;
    const writers::ModelSource source{*model_, keptLog_.events(), shownSource};
    std::string error;
    if (format_.writesFolder) {
      writers::FolderSink sink(folder_.staging(), folder_.path());
      error = writer->write(source, sink);
      if (error.empty()) sink.finish();
      // A file that could not be written stops the writer: say why.
      if (!sink.error().empty()) error = sink.error();
      folderFiles_ = sink.names();
    } else {
      writers::StreamSink sink(output_.stream());
      error = writer->write(source, sink);
    }
    progress_->stop();
    // The output target removes its file.
    if (!error.empty()) return fail(importProgramFailure(log_, error));
    log_.endPhase();
    return true;
  }

  // Last: once the file is in place nothing else may fail, so that a
  // failing run never leaves a file behind.
  bool commit() {
    if (log_.verbose()) {
      for (const auto& [phase, seconds] : log_.phases()) {
        log_.program(ZEL_SEVERITY_STATUS, program_messages::kPhaseTime,
                     "Phase '" + phase + "' took " + secondsText(seconds));
      }
      const long warnings = log_.warningCount();
      log_.program(ZEL_SEVERITY_STATUS, program_messages::kDone,
                   "Done: " + writers::formatSummary(counts_) + "; " + std::to_string(warnings) +
                       (warnings == 1 ? " warning" : " warnings") + "; " +
                       secondsText(log_.secondsSinceStart()));
    }
    std::string error;
    if (format_.writesFolder ? !folder_.commit(folderFiles_, error) : !output_.commit(error)) {
      return fail(importProgramFailure(log_, error));
    }
    status_ = kImportSucceeded;
    return true;
  }

  ZELModelBridgeImportDllInterface& bridge_;
  const CommandLine& options_;
  ProgramLog& log_;
  const writers::OutputFormat& format_;
  const bool toStandardOutput_;
  int status_ = kImportFailed;
  InputFile input_;
  OutputTarget output_;
  OutputFolder folder_;
  std::unique_ptr<ZELModel> model_;
  ZELMemoryLog keptLog_;  // for the document's "log" array
  std::unique_ptr<ProgressLine> progress_;
  std::unique_ptr<ExtractSideScan> sideScan_;
  writers::ModelCounts counts_;
  std::vector<std::string> folderFiles_;  // written into the folder
};

}  // namespace

int runImportCommand(ZELModelBridgeImportDllInterface& bridge, const CommandLine& options,
                     ProgramLog& log) {
  return ImportCommand(bridge, options, log).run();
}

}  // namespace pcd::cli
