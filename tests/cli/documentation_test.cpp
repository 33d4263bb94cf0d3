// The man page and the bash completion know every option --help lists and
// every format of the program's format table.
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

  // The program names its formats when the one asked for is unknown.
  const ProgramResult unknown = runProgram({{"-f", "?", "x.pcd"}, "", {}});
  const std::string listed = "use one of: ";
  const size_t at = unknown.err.find(listed);
  ASSERT_NE(at, std::string::npos) << unknown.err;
  const std::string names =
      unknown.err.substr(at + listed.size(), unknown.err.find('\n', at) - at - listed.size());
  std::smatch completed;
  ASSERT_TRUE(
      std::regex_search(completion, completed,
                        std::regex(R"re(--format\)\s+COMPREPLY=\(\$\(compgen -W "([^"]*)")re")));
  const std::string completedFormats = " " + completed[1].str() + " ";
  const size_t manFormats = manPage.find("--format\\fR \\fIFORMAT");
  const std::string manList =
      manPage.substr(manFormats, manPage.find(".TP", manFormats) - manFormats);
  int formats = 0;
  const std::regex word("[a-z]+");
  for (std::sregex_iterator name(names.begin(), names.end(), word), end; name != end;
       ++name, ++formats) {
    const std::string format = name->str();
    EXPECT_NE(completedFormats.find(" " + format + " "), std::string::npos)
        << format << " missing in the completion's formats";
    EXPECT_NE(manList.find("\\fB" + format + "\\fR"), std::string::npos)
        << format << " missing in the man page's formats";
  }
  EXPECT_GE(formats, 2);
}

}  // namespace
