// The progress line: shown on a terminal (a pseudo-terminal made by
// script(1)), never in a pipe, silenced by -q. PCD_IMPORT_PROGRESS_BYTES=1
// makes the sample "large".
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "program_runner.h"

namespace {

const std::string kSourceDir = PCD_SOURCE_DIR;

// What the program wrote to its terminal when run under script(1).
std::string onTerminal(const TemporaryFolder& folder, const std::string& options) {
  const std::string command = "cd '" + folder.path() +
                              "' && PCD_IMPORT_PROGRESS_BYTES=1 script -qec \"'" + programPath() +
                              "' " + options + " -o model.json '" + kSourceDir +
                              "/examples/sample.pcd'\" terminal.txt > /dev/null 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return readFile(folder.file("terminal.txt"));
}

TEST(ProgressLine, OnATerminalOnlyAndNotWhenQuiet) {
  TemporaryFolder folder;
  std::string shown = onTerminal(folder, "");
  EXPECT_NE(shown.find("\rpcd-import: "), std::string::npos) << shown;
  // Cleared at the end: the last thing on the line is the erase sequence.
  EXPECT_NE(shown.find("\r\033[K"), std::string::npos);

  shown = onTerminal(folder, "-q");
  EXPECT_EQ(shown.find("pcd-import: "), std::string::npos) << shown;

  const ProgramResult piped = runProgram({{"-o", folder.file("piped.json"), "examples/sample.pcd"},
                                          kSourceDir,
                                          {{"PCD_IMPORT_PROGRESS_BYTES", "1"}}});
  EXPECT_EQ(piped.exitCode, 0);
  EXPECT_EQ(piped.err.find("pcd-import: "), std::string::npos) << piped.err;
  EXPECT_EQ(piped.err.find('\r'), std::string::npos);
}

}  // namespace
