// The diagram formats and DBML checked by the real tools: Graphviz renders
// the dot output, the reference DBML parser reads the dbml output, and
// Mermaid renders the mermaid output in headless Chromium. The checks
// themselves are the scripts in tests/js/, which compare each output with
// the model's JSON document.
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "builder/pcd_writer.h"
#include "cli/program_runner.h"

namespace {

const std::string kSourceDir = PCD_SOURCE_DIR;

// The programs this test starts inherit it (see tests/CMakeLists.txt).
[[maybe_unused]] const bool kLeakSuppressionsSet =
    setenv("LSAN_OPTIONS", "suppressions=" PCD_LSAN_SUPPRESSIONS ":print_suppressions=0", 0) == 0;
const std::string kScripts = kSourceDir + "/tests/js/";

void expectCheckPasses(const std::string& commandLine) {
  const CommandResult result = runCommand(commandLine);
  EXPECT_EQ(result.exitCode, 0) << commandLine << "\n" << result.output;
}

// The files every format is checked with: the sample (two catalogs, four
// schemas, a view, a composite foreign key), a catalog of generated tables
// in 25 schemas with foreign keys across them, a file of hostile names
// (quotes, blanks, reserved words, non-ASCII, empty names), the sample
// with one schema nested in another, and names that Graphviz reads
// specially in labels ("]]", markup, backslash escapes, control characters).
class DiagramFormats : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new TemporaryFolder;
    const std::string generated = folder_->file("generated.pcd");
    writeGenerated(generated, 300, 7);
    files_ = {kSourceDir + "/examples/sample.pcd",
              kSourceDir + "/tests/diagrams/data/hostile_names.pcd",
              generated,
              kSourceDir + "/tests/diagrams/data/nested_schemas.pcd",
              kSourceDir + "/tests/data/catalog_cases.pcd",
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
  void SetUp() override {
    // Installed by scripts/setup.sh; without them the checks cannot run.
    const CommandResult tools =
        runCommand("command -v node && command -v dot && test -x /usr/bin/chromium && test -d " +
                   shellWord(kScripts + "node_modules/@dbml/core") + " && test -d " +
                   shellWord(kScripts + "node_modules/mermaid") + " && test -d " +
                   shellWord(kScripts + "node_modules/playwright-core"));
    ASSERT_EQ(tools.exitCode, 0)
        << "node, Graphviz's dot, /usr/bin/chromium or the npm packages of tests/js are "
           "missing; run scripts/setup.sh";
  }
  static std::string output(const std::string& name) { return folder_->file(name); }

  static TemporaryFolder* folder_;
  static std::vector<std::string> files_, models_;
};
TemporaryFolder* DiagramFormats::folder_ = nullptr;
std::vector<std::string> DiagramFormats::files_, DiagramFormats::models_;

TEST_F(DiagramFormats, DotRendersOneNodePerTableAndOneEdgePerAssociation) {
  for (size_t i = 0; i < files_.size(); ++i) {
    const std::string dot = output("d" + std::to_string(i) + ".dot");
    const std::string svg = output("d" + std::to_string(i) + ".svg");
    writeFormat({"-f", "dot", files_[i]}, dot);
    const CommandResult rendered =
        runCommand("dot -Tsvg -o " + shellWord(svg) + " " + shellWord(dot));
    ASSERT_EQ(rendered.exitCode, 0) << files_[i] << "\n" << rendered.output;
    EXPECT_EQ(rendered.output, "") << "Graphviz warned about " << files_[i];
    expectCheckPasses("node " + shellWord(kScripts + "check_svg.mjs") + " --columns " +
                      shellWord(models_[i]) + " " + shellWord(svg));
  }
}

TEST_F(DiagramFormats, SvgIsDrawnInTheProgram) {
  for (size_t i = 0; i < files_.size(); ++i) {
    const std::string svg = output("s" + std::to_string(i) + ".svg");
    writeFormat({"-f", "svg", "--columns", i == 2 ? "keys" : "all", files_[i]}, svg);
#ifdef PCD_TESTS_NO_BROWSER  // see tests/CMakeLists.txt
    const std::string boxes = i == 2 ? "" : " --columns";
#else
    const std::string boxes = i == 2 ? "" : " --columns --boxes";  // the large one: no browser
#endif
    expectCheckPasses("node " + shellWord(kScripts + "check_svg.mjs") + boxes + " " +
                      shellWord(models_[i]) + " " + shellWord(svg));
  }
  // The same diagram, the same drawing, and the one Graphviz's own program
  // draws from the dot format: the layout depends on nothing else (it once
  // depended on where the heap put the schema clusters' names).
  const std::string first = output("all-columns.svg"), again = output("all-columns-again.svg");
  const std::string dot = output("all-columns.dot"), drawn = output("all-columns-dot.svg");
  writeFormat({"-f", "svg", files_[2]}, first);
  writeFormat({"-f", "svg", files_[2]}, again);
  writeFormat({"-f", "dot", files_[2]}, dot);
  ASSERT_EQ(runCommand("dot -Tsvg -o " + shellWord(drawn) + " " + shellWord(dot)).exitCode, 0);
  EXPECT_TRUE(readFile(first) == readFile(again));
  // The same but for the widths the svg format gives each text of a box.
  const std::regex widths(" textLength=\"[0-9.]+\"");
  EXPECT_NE(readFile(first).find(" textLength=\""), std::string::npos);
  EXPECT_TRUE(std::regex_replace(readFile(first), widths, "") == readFile(drawn));

  // Only the chosen schemas, and the relations between them.
  const std::string part = output("part.svg");
  writeFormat({"-f", "svg", "--columns", "none", "--schema", "SHOP", "--schema", "SALES.BILLING",
               files_[0]},
              part);
  expectCheckPasses("node " + shellWord(kScripts + "check_svg.mjs") + " " + shellWord(models_[0]) +
                    " " + shellWord(part) + " SHOP SALES.BILLING");
}

TEST_F(DiagramFormats, DbmlHoldsTheTablesColumnsRefsAndIndexes) {
  std::string jobs;  // one parser run for all documents
  // Not the last file: its names are hard for Graphviz's labels only.
  for (size_t i = 0; i + 1 < files_.size(); ++i) {
    const std::string dbml = output("m" + std::to_string(i) + ".dbml");
    writeFormat({"-f", "dbml", files_[i]}, dbml);
    jobs += " " + shellWord(models_[i]) + " " + shellWord(dbml);
  }
  const std::string part = output("part.dbml");
  writeFormat({"-f", "dbml", "--schema", "BILLING", files_[0]}, part);
  jobs += " --schemas=BILLING " + shellWord(models_[0]) + " " + shellWord(part);
  expectCheckPasses("node " + shellWord(kScripts + "check_dbml.mjs") + jobs);
}

TEST_F(DiagramFormats, MermaidRendersEveryEntityInTheBrowser) {
  // One browser for all documents; the generated one smaller, since the
  // browser's layout of hundreds of entities takes long.
  const std::string smaller = output("smaller.pcd");
  writeGenerated(smaller, 120, 7);
  const std::string smallerModel = output("smaller.json");
  writeFormat({smaller}, smallerModel);
  std::string jobs;
  const std::vector<std::pair<std::string, std::string>> documents = {
      {files_[0], models_[0]}, {files_[1], models_[1]}, {smaller, smallerModel}};
  for (size_t i = 0; i < documents.size(); ++i) {
    const std::string mmd = output("r" + std::to_string(i) + ".mmd");
    writeFormat({"-f", "mermaid", "--columns", i == 2 ? "keys" : "all", documents[i].first}, mmd);
    jobs += " " + shellWord(documents[i].second) + " " + shellWord(mmd);
  }
  const std::string part = output("part.mmd");
  writeFormat({"-f", "mermaid", "--columns", "none", "--schema", "SHOP", files_[0]}, part);
  jobs += " --schemas=SHOP " + shellWord(models_[0]) + " " + shellWord(part);
  const std::string nested = output("nested.mmd");
  writeFormat({"-f", "mermaid", "--schema", "SALES.SHOP/REPORTING", files_[3]}, nested);
  jobs += " --schemas=SALES.SHOP/REPORTING " + shellWord(models_[3]) + " " + shellWord(nested);
#ifdef PCD_TESTS_NO_BROWSER  // see tests/CMakeLists.txt
  return;
#endif
  expectCheckPasses("node " + shellWord(kScripts + "render_mermaid.mjs") + jobs);
}

// A wrong schema name or a diagram too large to lay out: a message, exit
// status 1 and no output file.
TEST_F(DiagramFormats, RefusesWhatItCannotDrawWithoutWritingAFile) {
  const std::string target = output("refused.out");
  ProgramResult result =
      runProgram({{"-q", "-f", "dot", "--schema", "NOPE", "-o", target, files_[0]}, "", {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("no schema named 'NOPE'"), std::string::npos) << result.err;
  EXPECT_FALSE(std::filesystem::exists(target));

  // 20,001 tables without columns: beyond the limit of the svg layout.
  PcdWriter pcd;
  pcd.basicCatalog();
  for (int table = 0; table <= 20000; ++table)
    pcd.tableIn(100 + 2 * table, "T" + std::to_string(table), 4);
  const std::string large = output("large.pcd");
  writeFile(large, pcd.text());
  result = runProgram({{"-q", "-f", "svg", "--columns", "none", "-o", target, large}, "", {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("too many to lay out"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("--schema NAME"), std::string::npos) << result.err;
  EXPECT_FALSE(std::filesystem::exists(target));

  result = runProgram({{"--columns", "some", files_[0]}, "", {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.err.find("use all, keys or none"), std::string::npos) << result.err;
}

// What makes Graphviz's layout slow is bounded before it starts: a table of
// 100,000 columns (once minutes) shows its first 100 and a row counting the
// others, a name of 100,000 characters its first 80; the dot format keeps
// everything.
TEST_F(DiagramFormats, WideTablesAndLongNamesAreDrawnInBoundedTime) {
  const std::string longName(100000, 'N');
  std::vector<std::string> columns;
  for (int column = 1; column <= 100000; ++column) columns.push_back("C" + std::to_string(column));
  PcdWriter pcd;
  pcd.basicCatalog().placedTable(100, longName, columns);
  const std::string wide = output("wide.pcd");
  writeFile(wide, pcd.text());
  for (const char* format : {"svg", "html"}) {
    const std::string drawn = output(std::string("wide.") + format);
    const auto started = std::chrono::steady_clock::now();
    writeFormat({"-f", format, wide}, drawn);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    EXPECT_LT(seconds, 60) << format;  // about a second; minutes before the limits
    const std::string text = readFile(drawn);
    const std::string end = format == std::string("svg") ? "<" : "\\u003c";  // in the page's data
    EXPECT_NE(text.find("\xE2\x80\xA6 and 99900 more columns"), std::string::npos) << format;
    EXPECT_NE(text.find(">C100" + end), std::string::npos) << format;
    EXPECT_EQ(text.find(">C101" + end), std::string::npos) << format;
    EXPECT_NE(text.find(std::string(80, 'N') + "\xE2\x80\xA6" + end), std::string::npos) << format;
  }
  const std::string dot = output("wide.dot");
  writeFormat({"-f", "dot", wide}, dot);
  const std::string text = readFile(dot);
  EXPECT_NE(text.find(">C100000<"), std::string::npos);
  EXPECT_NE(text.find(longName), std::string::npos);
}

// Text with PlantUML's and XML's character references (&#34;, <U+005C>,
// &lt;) replaced by the characters, in UTF-8.
std::string withoutReferences(const std::string& text) {
  static const std::regex reference("&#([0-9]+);|<U\\+([0-9A-F]{4})>|&(lt|gt|amp|quot);");
  std::string plain;
  auto from = text.cbegin();
  for (std::sregex_iterator match(text.begin(), text.end(), reference), end; match != end;
       ++match) {
    plain.append(from, (*match)[0].first);
    from = (*match)[0].second;
    const std::string named = (*match)[3];
    unsigned long code = named == "lt" ? '<' : named == "gt" ? '>' : named == "amp" ? '&' : '"';
    if (named.empty()) {
      code = (*match)[1].matched ? std::stoul((*match)[1]) : std::stoul((*match)[2], nullptr, 16);
    }
    if (code < 0x80) {
      plain += static_cast<char>(code);
      continue;
    }
    const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    plain += static_cast<char>(((0xFF00 >> (more + 1)) & 0xFF) | (code >> (6 * more)));
    for (int i = more - 1; i >= 0; --i)
      plain += static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F));
  }
  return plain.append(from, text.cend());
}

// Debian's PlantUML draws the plantuml output of the sample, a real catalog
// and hostile names without an error, one entity per table and view, each
// under its own name.
TEST(PlantUmlFormat, DrawsEveryTableUnderItsName) {
  ASSERT_EQ(runCommand("command -v plantuml").exitCode, 0)
      << "plantuml is missing; run scripts/setup.sh";
  const TemporaryFolder folder;
  const std::vector<std::string> inputs = {kSourceDir + "/examples/sample.pcd",
                                           kSourceDir + "/tests/data/corpus/bacula.postgresql.pcd",
                                           kSourceDir + "/tests/data/hostile_names.pcd"};
  std::string sources;
  for (size_t i = 0; i < inputs.size(); ++i) {
    writeFormat({"-f", "plantuml", inputs[i]}, folder.file(std::to_string(i) + ".puml"));
    sources += " " + shellWord(folder.file(std::to_string(i) + ".puml"));
  }
  // One run for all three: PlantUML takes seconds to start.
  const CommandResult drawn = runCommand("plantuml -tsvg -failfast2" + sources);
  ASSERT_EQ(drawn.exitCode, 0) << drawn.output;
  const std::regex entity("\n  entity \"([^\"]*)\" as e[0-9]+");
  for (size_t i = 0; i < inputs.size(); ++i) {
    const std::string text = readFile(folder.file(std::to_string(i) + ".puml"));
    const std::string svg = withoutReferences(readFile(folder.file(std::to_string(i) + ".svg")));
    // PlantUML draws what went wrong in place of the diagram, with status 0.
    EXPECT_EQ(svg.find("Syntax Error"), std::string::npos) << inputs[i];
    EXPECT_EQ(svg.find("An error has occured"), std::string::npos) << inputs[i];
    size_t entities = 0;
    for (std::sregex_iterator match(text.begin(), text.end(), entity), end; match != end;
         ++match, ++entities) {
      const std::string name = withoutReferences((*match)[1]);
      EXPECT_NE(svg.find(">" + name + "<"), std::string::npos) << inputs[i] << ": " << name;
    }
    const ProgramResult counts = runProgram({{"-q", "-f", "summary", inputs[i]}, "", {}});
    std::smatch tables, views;
    ASSERT_TRUE(std::regex_search(counts.out, tables, std::regex(" tables=([0-9]+)")));
    ASSERT_TRUE(std::regex_search(counts.out, views, std::regex(" views=([0-9]+)")));
    EXPECT_EQ(entities, std::stoul(tables[1]) + std::stoul(views[1])) << inputs[i];
  }
}

}  // namespace
