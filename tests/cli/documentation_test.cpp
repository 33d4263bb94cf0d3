// The man page and the bash completion know every option --help lists.
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "cli/program_runner.h"

namespace {

TEST(Documentation, ManPageAndCompletionListEveryOption) {
  const ProgramResult help = runProgram({{"--help"}, "", {}});
  ASSERT_EQ(help.exitCode, 0);
  std::string manPage = readFile(std::string(PCD_SOURCE_DIR) + "/docs/pcd-import.1");
  // roff writes a hyphen as "\-".
  manPage = std::regex_replace(manPage, std::regex(R"(\\-)"), "-");
  const std::string completion =
      readFile(std::string(PCD_SOURCE_DIR) + "/docs/pcd-import.bash-completion");

  const std::regex longOption(R"(  (?:-[A-Za-z], )?(--[a-z-]+))");
  int options = 0;
  for (std::sregex_iterator match(help.out.begin(), help.out.end(), longOption), end; match != end;
       ++match) {
    const std::string option = (*match)[1];
    ++options;
    EXPECT_NE(manPage.find(option), std::string::npos) << option << " missing in the man page";
    // A whole word: "--format" must not be found inside "--log-format".
    EXPECT_TRUE(std::regex_search(completion, std::regex("[\\s\"]" + option + "[\\s\"]")))
        << option << " missing in the completion";
  }
  EXPECT_GE(options, 10);
}

}  // namespace
