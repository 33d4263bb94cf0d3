// The program's own log messages: codes in the style of the bridge's
// catalog (PREFIX_ severity initial, four digits), so that a log reader
// treats both alike. The texts are built where they are logged.
#pragma once

namespace pcd::cli::program_messages {

// STATUS, --verbose only: how long one phase of the run took.
inline constexpr const char* kPhaseTime = "PCD_IMPORT_S0001";
// STATUS, --verbose only: the closing line, with the model's counts and the
// total time.
inline constexpr const char* kDone = "PCD_IMPORT_S0002";
// STATUS, --verbose only: the input and output as the program resolved them.
inline constexpr const char* kFiles = "PCD_IMPORT_S0003";
// WARNING: the file holds no record at all; the model is empty.
inline constexpr const char* kNoRecords = "PCD_IMPORT_W0001";
// WARNING: texts of the model are not UTF-8 and no --input-encoding was given.
inline constexpr const char* kNotUtf8 = "PCD_IMPORT_W0002";
// WARNING: an option that the chosen format does not read was given.
inline constexpr const char* kIgnoredOption = "PCD_IMPORT_W0003";
// WARNING: a table or view is placed only at records that are neither a
// schema nor a catalog, and the import left it out.
inline constexpr const char* kMisplacedTable = "PCD_IMPORT_W0004";
// FATAL: a failure of the program itself (plug-in, input, output).
inline constexpr const char* kProgramFailure = "PCD_IMPORT_F0001";

// FATAL: --fail-on-warning, and the import logged warnings (exit status 3).
inline constexpr const char* kWarningsFailRun = "PCD_IMPORT_F0002";

}  // namespace pcd::cli::program_messages
