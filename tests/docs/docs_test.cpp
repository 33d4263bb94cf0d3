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

// The files both formats are checked with: the sample (two catalogs, four
// schemas, a view, a procedure, a composite foreign key), the sample with a
// table description that is markup, generated tables in 25 schemas with
// foreign keys across them, and names with quotes, blanks, reserved words,
// duplicates, empty names and bytes that are not UTF-8.
class DocumentationFormats : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new TemporaryFolder;
    const std::string generated = folder_->file("generated.pcd");
    writeGenerated(generated, 300, 7);
    std::string sample = readFile(kSourceDir + "/examples/sample.pcd");
    const std::string plain = "DESCRIPTION,20,Registered customers";
    const std::string markup = "<script>window.pwned=1</script> & <b>bold</b>";
    sample.replace(sample.find(plain), plain.size(),
                   "DESCRIPTION," + std::to_string(markup.size()) + "," + markup);
    writeFile(folder_->file("markup.pcd"), sample);
    files_ = {kSourceDir + "/examples/sample.pcd", folder_->file("markup.pcd"), generated,
              kSourceDir + "/tests/data/hostile_names.pcd",
              kSourceDir + "/tests/diagrams/data/drawing_names.pcd"};
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
    if (i == 1) {
      // In the page's data, "<" is an escape: no "</script" ends the element.
      EXPECT_NE(html.find("\\u003cscript>window.pwned=1\\u003c/script> & \\u003cb>"),
                std::string::npos);
    }
    command += " " + shellWord(models_[i]) + " " + shellWord(page);
  }
  // Two schemas of the sample: their sections only, links to the others as text.
  const std::string part = folder_->file("part.html");
  writeFormat({"--format", "html", "--schema", "SHOP", "--schema", "SALES.BILLING", files_[0]},
              part);
  EXPECT_NE(readFile(part).find("<dt>Schemas chosen</dt><dd>SHOP, SALES.BILLING"),
            std::string::npos);
  command += " --schemas=SHOP,SALES.BILLING " + shellWord(models_[0]) + " " + shellWord(part);
#ifdef PCD_TESTS_NO_BROWSER  // see tests/CMakeLists.txt
  GTEST_SKIP() << "the browser checks run in the normal build";
#endif
  const CommandResult result = runCommand(command);
  EXPECT_EQ(result.exitCode, 0) << command << "\n" << result.output;
}

// Every relative link of every page names a file of the folder.
void expectLinksResolve(const std::string& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".md") continue;
    const std::string text = readFile(entry.path().string());
    for (size_t at = text.find("]("); at != std::string::npos; at = text.find("](", at + 2)) {
      const size_t end = text.find(')', at);
      ASSERT_NE(end, std::string::npos) << entry.path();
      std::string target;
      const std::string encoded = text.substr(at + 2, end - at - 2);
      for (size_t i = 0; i < encoded.size(); ++i) {
        if (encoded[i] == '%' && i + 2 < encoded.size()) {
          target += static_cast<char>(std::stoi(encoded.substr(i + 1, 2), nullptr, 16));
          i += 2;
        } else {
          target += encoded[i];
        }
      }
      EXPECT_TRUE(std::filesystem::is_regular_file(folder + "/" + target))
          << entry.path().filename() << " links to " << encoded;
    }
  }
}

// The Mermaid blocks of the folder's pages (at most `most`, rendering is
// slow), each written to a file of its own.
std::vector<std::string> extractMermaidBlocks(const std::string& folder,
                                              const TemporaryFolder& into, size_t most) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (files.size() >= most) break;
    const std::string text = readFile(entry.path().string());
    for (size_t at = text.find("```mermaid\n"); at != std::string::npos;
         at = text.find("```mermaid\n", at + 1)) {
      const size_t start = at + 11, end = text.find("```", start);
      files.push_back(into.file(std::filesystem::path(folder).filename().string() + "-block" +
                                std::to_string(files.size()) + ".mmd"));
      writeFile(files.back(), text.substr(start, end - start));
    }
  }
  return files;
}

TEST_F(DocumentationFormats, MarkdownFolderLinksResolveAndDiagramsRender) {
  std::string command = "node " + shellWord(kScripts + "render_mermaid.mjs");
  size_t blocks = 0;
  for (size_t i = 0; i < files_.size(); ++i) {
    const std::string folder = folder_->file("markdown" + std::to_string(i));
    writeFormat({"--format", "markdown", files_[i]}, folder);
    ASSERT_TRUE(std::filesystem::is_regular_file(folder + "/README.md"));
    expectLinksResolve(folder);
    for (const std::string& block : extractMermaidBlocks(folder, *folder_, 25)) {
      command += " --only " + shellWord(block);
      ++blocks;
    }
  }
  EXPECT_GT(blocks, 10u);
  // One schema: its pages, linked among themselves and to nothing else.
  const std::string part = folder_->file("markdown-part");
  writeFormat({"--format", "markdown", "--schema", "SALES.BILLING", files_[0]}, part);
  EXPECT_EQ(entriesOf(part),
            (std::vector<std::string>{".pcd-import-files", "BILLING.INVOICES.md", "README.md"}));
  expectLinksResolve(part);
  const std::string markup = readFile(folder_->file("markdown1") + "/SHOP.CUSTOMERS.md");
  EXPECT_NE(markup.find("&lt;script&gt;window.pwned=1&lt;/script&gt; &amp; &lt;b&gt;"),
            std::string::npos);
#ifdef PCD_TESTS_NO_BROWSER
  GTEST_SKIP() << "the browser checks run in the normal build";
#endif
  const CommandResult result = runCommand(command + " > /dev/null");
  EXPECT_EQ(result.exitCode, 0) << result.output;
}

// A folder of other files is refused unless --force, which keeps them; a
// folder the program wrote is replaced, stale pages included; a failed
// import leaves the folder as it was.
TEST_F(DocumentationFormats, MarkdownFolderRules) {
  TemporaryFolder work;
  const std::string folder = work.file("docs");
  const std::string sample = kSourceDir + "/examples/sample.pcd";
  std::filesystem::create_directory(folder);
  writeFile(folder + "/notes.txt", "mine");
  ProgramResult result = runProgram({{"-q", "-f", "markdown", "-o", folder, sample}, "", {}});
  EXPECT_NE(result.exitCode, 0);
  EXPECT_NE(result.err.find("--force"), std::string::npos) << result.err;
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
  EXPECT_EQ(work.entries(), std::vector<std::string>{"docs"});

  result = runProgram({{"-q", "-f", "markdown", "--force", "-o", folder, sample}, "", {}});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(readFile(folder + "/notes.txt"), "mine");
  EXPECT_TRUE(std::filesystem::is_regular_file(folder + "/SHOP.ORDERS.md"));

  // Our own folder: replaced, and a page of a table gone since goes too.
  const std::string own = work.file("own");
  writeFormat({"-f", "markdown", sample}, own);
  writeFile(own + "/OLD.TABLE.md", "stale");
  writeFile(own + "/.pcd-import-files", readFile(own + "/.pcd-import-files") + "OLD.TABLE.md\n");
  writeFormat({"-f", "markdown", sample}, own);
  EXPECT_FALSE(std::filesystem::exists(own + "/OLD.TABLE.md"));
  EXPECT_TRUE(std::filesystem::is_regular_file(own + "/SHOP.ORDERS.md"));

  const std::vector<std::string> before = entriesOf(own);
  result = runProgram({{"-q", "-f", "markdown", "--fail-on-warning", "-o", own, sample}, "", {}});
  EXPECT_NE(result.exitCode, 0);  // the sample has a warning
  EXPECT_EQ(entriesOf(own), before);
  EXPECT_EQ(work.entries(), (std::vector<std::string>{"docs", "own"}));

  result = runProgram({{"-q", "-f", "markdown", sample}, "", {}});
  EXPECT_EQ(result.exitCode, 2) << result.err;

  // A schema the model does not have: an error, and nothing written.
  result = runProgram(
      {{"-q", "-f", "markdown", "--schema", "NONE", "-o", work.file("none"), sample}, "", {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("no schema named 'NONE'"), std::string::npos) << result.err;
  EXPECT_EQ(work.entries(), (std::vector<std::string>{"docs", "own"}));
}

// A long name is shown whole where its object is described and shortened
// where other objects refer to it, so the pages stay near the catalog's
// size; anchors stay short.
// README.md of a catalog large enough to be written in several pieces
// still links every page, and ends where the last one does.
TEST(DocumentationPage, MarkdownReadmeOfALargeCatalogLinksEveryPage) {
  TemporaryFolder work;
  writeGenerated(work.file("large.pcd"), 1500, 3);
  const std::string folder = work.file("md");
  writeFormat({"-f", "markdown", work.file("large.pcd")}, folder);
  const std::string readme = readFile(folder + "/README.md");
  ASSERT_GT(readme.size(), size_t{3} << 16);
  size_t pages = 0;
  for (const std::string& entry : entriesOf(folder)) {
    if (entry == "README.md" || entry == ".pcd-import-files") continue;
    ++pages;
    EXPECT_NE(readme.find("](" + entry + ")"), std::string::npos) << entry;
  }
  EXPECT_GE(pages, 1500u);
  EXPECT_EQ(readme.compare(readme.size() - 3, 3, " |\n"), 0);
}

TEST(DocumentationPage, ShowsLongNamesWholeOnlyWhereDescribed) {
  TemporaryFolder work;
  const std::string table(100000, 'C'), schema(100000, 'S'), key(100000, 'K');
  const std::string sample = kSourceDir + "/examples/sample.pcd";
  writeFile(work.file("long.pcd"),
            replacedIn(readFile(sample), {{"C9,CUSTOMERS", "C100000," + table},
                                          {"C4,SHOP", "C100000," + schema},
                                          {"C12,PK_CUSTOMERS", "C100000," + key}}));
  writeFormat({"-f", "html", work.file("long.pcd")}, work.file("long.html"));
  const std::string page = readFile(work.file("long.html"));
  writeFormat({"-f", "markdown", work.file("long.pcd")}, work.file("md"));
  std::string pages;
  for (const auto& entry : std::filesystem::directory_iterator(work.file("md")))
    pages += readFile(entry.path().string());
  const std::string* texts[] = {&page, &pages};
  for (const std::string* text : texts) {
    for (const std::string* name : {&table, &schema, &key}) {
      size_t whole = 0;
      for (size_t at = text->find(*name); at != std::string::npos;
           at = text->find(*name, at + name->size()))
        ++whole;
      EXPECT_GE(whole, 1u) << name->front();
      EXPECT_LE(whole, 3u) << name->front();  // the navigation, the heading, the page's data
    }
    EXPECT_NE(text->find(schema.substr(0, 256) + "\xE2\x80\xA6"), std::string::npos);
  }
  for (size_t at = page.find(" id=\""); at != std::string::npos; at = page.find(" id=\"", at + 1)) {
    EXPECT_LT(page.find('"', at + 5) - at, 300u) << page.substr(at, 80);
  }
}

}  // namespace
