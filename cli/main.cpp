// pcd-import: runs the bridge plug-in on one PCD file and writes the model it
// builds in the format the user chose.
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "command_line.h"
#include "heap_setup.h"
#include "import_run.h"
#include "model/zel_model.h"
#include "model_writer.h"
#include "output_target.h"
#include "plugin_loader.h"
#include "zel_bridge_specification.h"
#include "zel_log.h"

namespace {

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

int fail(const std::string& message) {
  std::fprintf(stderr, "pcd-import: %s\n", message.c_str());
  return kExitFailure;
}

int printVersion(ZELModelBridgeImportDllInterface& bridge, const std::string& bridgeId) {
  ZELBridgeSpecification specification;
  bridge.getSpecification(ZELString(bridgeId.data(), bridgeId.size()), specification);
  std::printf("pcd-import %s\n", specification.getBridgeVersion().c_str());
  return std::fflush(stdout) == 0 ? kExitSuccess : fail("cannot write to standard output");
}

int importAndWrite(ZELModelBridgeImportDllInterface& bridge, const CommandLine& options) {
  std::error_code sizeUnknown;
  const std::uintmax_t inputBytes = std::filesystem::file_size(options.pcdFile, sizeUnknown);
  if (!sizeUnknown) prepareHeapForImport(inputBytes);

  ZELModel model;
  ZELMemoryLog keptLog;  // for the document's "log" array
  ZELPrintLog printedLog(stderr, options.quiet ? ZEL_SEVERITY_WARNING : ZEL_SEVERITY_STATUS);
  ZELTeeLog log(printedLog, keptLog);

  const std::string failure = runImport(bridge, options.bridgeId, options.pcdFile, model, log);
  if (!failure.empty()) {
    std::fprintf(stderr, "%s\n", failure.c_str());
    return kExitFailure;
  }

  // Opened only now, so that a failed import leaves no file behind.
  OutputTarget output;
  std::string error;
  if (!output.open(options.outputPath, error)) return fail(error);
  WriterOptions writerOptions;
  writerOptions.compact = options.compact;
  writerOptions.dialect = options.dialect;
  writerOptions.nativeTypes = options.nativeTypes;
  ZELBridgeSpecification specification;
  bridge.getSpecification(ZELString(options.bridgeId.data(), options.bridgeId.size()),
                          specification);
  writerOptions.toolVersion = specification.getBridgeVersion().c_str();
  const std::unique_ptr<ModelWriter> writer =
      findOutputFormat(options.format)->make(writerOptions);
  error = writer->write({model, keptLog.events(), options.pcdFile}, output.stream());
  if (!error.empty()) return fail(error);  // the output target removes its file
  if (!output.commit(error)) return fail(error);
  return kExitSuccess;
}

int runProgram(int argc, const char* const* argv) {
  const ParsedCommandLine parsed = parseCommandLine(argc, argv);
  if (!parsed.usageError.empty()) {
    std::fprintf(stderr, "pcd-import: %s\nTry 'pcd-import --help'.\n", parsed.usageError.c_str());
    return kExitUsage;
  }
  const CommandLine& options = parsed.options;
  if (options.showHelp) {
    std::fputs(usageText(), stdout);
    return std::fflush(stdout) == 0 ? kExitSuccess : fail("cannot write to standard output");
  }

  BridgePlugin plugin;
  std::string error;
  if (!plugin.load(choosePluginPath(options.pluginPath), error)) return fail(error);
  if (options.showVersion) return printVersion(plugin.bridge(), options.bridgeId);
  return importAndWrite(plugin.bridge(), options);
}

}  // namespace

int main(int argc, char** argv) {
  // File names are converted from UTF-8 to the user's encoding.
  std::setlocale(LC_CTYPE, "");
  try {
    return runProgram(argc, argv);
  } catch (const std::exception& failure) {
    return fail(std::string("unexpected failure: ") + failure.what());
  }
}
