// The import: one extract through the bridge plug-in into a model, checked
// and brought to UTF-8, then written in the format the command line chose.
#pragma once

#include <string>

#include "command_line.h"
#include "program_log.h"
#include "zel_bridge_interface.h"

namespace pcd::cli {

// The import's exit statuses.
constexpr int kImportSucceeded = 0;
constexpr int kImportFailed = 1;
constexpr int kImportUsage = 2;
constexpr int kImportWarned = 3;  // --fail-on-warning and the import warned

// Prints a usage error with the pointer to --help; returns kImportUsage.
int importUsageFailure(const std::string& message);
// Logs a failure of the program itself (not of the bridge's import);
// returns kImportFailed.
int importProgramFailure(ProgramLog& log, const std::string& message);

// Opens the output, imports, post-processes the model, writes it and puts
// the output in place; a failure at any stage leaves no output. Returns the
// exit status.
int runImportCommand(ZELModelBridgeImportDllInterface& bridge, const CommandLine& options,
                     ProgramLog& log);

}  // namespace pcd::cli
