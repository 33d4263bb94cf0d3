// The documentation formats end to end: the html page opened in headless
// Chromium (tests/js/check_html.mjs), the markdown folder's links resolved
// and its Mermaid blocks rendered (tests/js/render_mermaid.mjs), and the
// rules of writing into a folder.
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli/program_runner.h"

namespace {

const std::string kSourceDir = PCD_SOURCE_DIR;
const std::string kScripts = kSourceDir + "/tests/js/";
// The programs this test starts inherit it: Graphviz's lasting allocations
// are not leaks of ours (see tests/CMakeLists.txt).
[[maybe_unused]] const bool kLeakSuppressionsSet =
    setenv("LSAN_OPTIONS", "suppressions=" PCD_LSAN_SUPPRESSIONS ":print_suppressions=0", 0) == 0;

struct CommandResult {
  int exitCode = -1;
  std::string output;  // standard output and error together
};

CommandResult runCommand(const std::string& commandLine) {
  CommandResult result;
  std::FILE* pipe = popen((commandLine + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[4096];
  size_t count;
  while ((count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) result.output.append(buffer, count);
  const int status = pclose(pipe);
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  return result;
}

std::string shellWord(const std::string& text) { return "'" + text + "'"; }

void writeFormat(const std::vector<std::string>& arguments, const std::string& output) {
  std::vector<std::string> all{"-q", "-o", output};
  all.insert(all.end(), arguments.begin(), arguments.end());
  const ProgramResult result = runProgram({all, "", {}});
  ASSERT_EQ(result.exitCode, 0) << result.err;
}

// The files both formats are checked with: the sample (two catalogs, four
// schemas, a view, a procedure, a composite foreign key), the sample with a
// table description that is markup, and generated tables in 25 schemas
// with foreign keys across them.
class DocumentationFormats : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new TemporaryFolder;
    const std::string generated = folder_->file("generated.pcd");
    const CommandResult made = runCommand(shellWord(std::string(PCD_BIN_DIR) + "/generate_pcd") +
                                          " 300 7 > " + shellWord(generated));
    ASSERT_EQ(made.exitCode, 0) << made.output;
    std::string sample = readFile(kSourceDir + "/examples/sample.pcd");
    const std::string plain = "DESCRIPTION,20,Registered customers";
    const std::string markup = "<script>window.pwned=1</script> & <b>bold</b>";
    sample.replace(sample.find(plain), plain.size(),
                   "DESCRIPTION," + std::to_string(markup.size()) + "," + markup);
    writeFile(folder_->file("markup.pcd"), sample);
    files_ = {kSourceDir + "/examples/sample.pcd", folder_->file("markup.pcd"), generated};
    for (size_t i = 0; i < files_.size(); ++i) {
      models_.push_back(folder_->file("model" + std::to_string(i) + ".json"));
      writeFormat({files_[i]}, models_.back());
    }
  }
  static void TearDownTestSuite() {
    delete folder_;
    folder_ = nullptr;
  }
  static TemporaryFolder* folder_;
  static std::vector<std::string> files_;
  static std::vector<std::string> models_;
};

TemporaryFolder* DocumentationFormats::folder_ = nullptr;
std::vector<std::string> DocumentationFormats::files_;
std::vector<std::string> DocumentationFormats::models_;

TEST_F(DocumentationFormats, HtmlPageWorksInTheBrowser) {
  std::string command = "node " + shellWord(kScripts + "check_html.mjs");
  for (size_t i = 0; i < files_.size(); ++i) {
    const std::string page = folder_->file("page" + std::to_string(i) + ".html");
    writeFormat({"--format", "html", files_[i]}, page);
    const std::string html = readFile(page);
    // Text from the extract is escaped, never markup; the page loads nothing.
    EXPECT_EQ(html.find("<script>window"), std::string::npos);
    EXPECT_EQ(html.find("src="), std::string::npos);
    EXPECT_EQ(html.find("http://"), html.find("http://www.w3.org/"));  // only SVG namespaces
    if (i == 1) EXPECT_NE(html.find("&lt;script&gt;window.pwned=1&lt;/script&gt; &amp; &lt;b&gt;"), std::string::npos);
    command += " " + shellWord(models_[i]) + " " + shellWord(page);
  }
#ifdef PCD_TESTS_NO_BROWSER  // see tests/CMakeLists.txt
  GTEST_SKIP() << "the browser checks run in the normal build";
#endif
  const CommandResult result = runCommand(command);
  EXPECT_EQ(result.exitCode, 0) << command << "\n" << result.output;
}

}  // namespace
