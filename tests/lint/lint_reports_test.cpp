// `pcd-import lint` as a whole: the configuration file and its errors,
// `--init`, the exit status, the text format, SARIF checked by Microsoft's
// validator, and the reviewed baseline of findings for the test extracts.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/program_runner.h"
#include "lint_support.h"

namespace {

const std::string kSourceDir = PCD_SOURCE_DIR;

// The error `lint` gives for the configuration `yaml` (exit 2).
std::string configError(const std::string& yaml) {
  TemporaryFolder folder;
  writeFile(folder.file("c.yaml"), yaml);
  const ProgramResult result = runProgram(
      {{"lint", "--config", "c.yaml", kSourceDir + "/examples/sample.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 2) << yaml;
  EXPECT_TRUE(result.out.empty());
  return result.err;
}

TEST(LintConfig, ErrorsNameTheirLine) {
  EXPECT_EQ(configError("rules:\n  table-without-primary-key: {}\n  no-such-rule: {}\n"),
            "pcd-import lint: c.yaml:3: unknown rule 'no-such-rule'\n");
  EXPECT_EQ(configError("rules:\n  too-many-columns:\n    treshold: 5\n"),
            "pcd-import lint: c.yaml:3: unknown key 'treshold' in rule too-many-columns (known: "
            "enabled, severity, threshold, exclude)\n");
  EXPECT_EQ(configError("exclude: []\nrule: {}\n"),
            "pcd-import lint: c.yaml:2: unknown key 'rule' (known: rules, exclude, dialects)\n");
  EXPECT_EQ(configError("rules:\n  single-column-table: {severity: fatal}\n"),
            "pcd-import lint: c.yaml:2: severity takes error, warning or info, not 'fatal'\n");
  EXPECT_EQ(configError("rules:\n  single-column-table: {threshold: 2}\n"),
            "pcd-import lint: c.yaml:2: rule single-column-table takes no threshold\n");
  EXPECT_EQ(configError("rules:\n  too-many-columns: {threshold: -1}\n"),
            "pcd-import lint: c.yaml:2: threshold takes a positive whole number\n");
  EXPECT_EQ(configError("dialects: [postgresql, oracle]\n"),
            "pcd-import lint: c.yaml:1: unknown dialect 'oracle' (known: postgresql, mysql, "
            "sqlite)\n");
  EXPECT_EQ(configError("rules:\n  x: [\n"),
            "pcd-import lint: c.yaml:3: end of sequence flow not found\n");
  // Missing file.
  const ProgramResult missing =
      runProgram({{"lint", "--config", "nowhere.yaml", "examples/sample.pcd"}, kSourceDir, {}});
  EXPECT_EQ(missing.exitCode, 2);
  EXPECT_EQ(missing.err, "pcd-import lint: nowhere.yaml: cannot read the configuration file\n");
}

TEST(LintConfig, InitWritesTheDefaultsCommented) {
  TemporaryFolder folder;
  ProgramResult result = runProgram({{"lint", "--init"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const std::string written = readFile(folder.file(".pcd-lint.yaml"));
  for (const std::string id :
       {"table-without-primary-key", "implied-foreign-key", "view-without-description"}) {
    EXPECT_NE(written.find("  # " + id + ":\n"), std::string::npos) << id;
  }
  EXPECT_NE(written.find("  #   threshold: 100"), std::string::npos);
  // Not overwritten.
  EXPECT_EQ(runProgram({{"lint", "--init"}, folder.path(), {}}).exitCode, 2);
  // Read from the current folder, it changes nothing.
  const std::string sample = kSourceDir + "/examples/sample.pcd";
  const ProgramResult withFile = runProgram({{"lint", sample}, folder.path(), {}});
  const ProgramResult without = runProgram({{"lint", sample}, kSourceDir, {}});
  EXPECT_EQ(withFile.exitCode, 0) << withFile.err;
  EXPECT_EQ(withFile.out, without.out);
}

TEST(LintConfig, SeverityEnabledAndExclusions) {
  const std::string sample = "examples/sample.pcd";
  TemporaryFolder folder;
  writeFile(folder.file("c.yaml"),
            "exclude: [BILLING.*]\n"
            "rules:\n"
            "  foreign-key-without-index: {severity: error, exclude: [FK_NONE_*]}\n"
            "  column-without-description: {enabled: false}\n");
  ProgramResult result =
      runProgram({{"lint", "--config", folder.file("c.yaml"), sample}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out,
            "examples/sample.pcd:101: error: foreign key FK_ORDERS_CUSTOMERS of table "
            "SHOP.ORDERS: no index or key starts with its columns (CUSTOMER_ID) "
            "[foreign-key-without-index]\n"
            "1 error, 0 warnings, 0 infos in 1 source\n");
  // A rule's own exclusion by object name.
  writeFile(folder.file("c.yaml"),
            "rules:\n"
            "  foreign-key-without-index: {exclude: [FK_ORDERS_*, INVOICES]}\n"
            "  column-without-description: {exclude: [TOTAL]}\n");
  result = runProgram({{"lint", "--config", folder.file("c.yaml"), sample}, kSourceDir, {}});
  EXPECT_EQ(result.out, "0 errors, 0 warnings, 0 infos in 1 source\n");
}

TEST(LintCommand, ExitStatusAndUsage) {
  const std::string sample = "examples/sample.pcd";  // 2 warnings, 1 info
  EXPECT_EQ(runProgram({{"lint", sample}, kSourceDir, {}}).exitCode, 0);
  EXPECT_EQ(runProgram({{"lint", "--fail-on", "warning", sample}, kSourceDir, {}}).exitCode, 1);
  EXPECT_EQ(
      runProgram({{"lint", "--fail-on=never", "tests/data/hostile_names.pcd"}, kSourceDir, {}})
          .exitCode,
      0);
  EXPECT_EQ(runProgram({{"lint", "tests/data/hostile_names.pcd"}, kSourceDir, {}}).exitCode, 1);
  EXPECT_EQ(runProgram({{"lint"}, kSourceDir, {}}).exitCode, 2);
  EXPECT_EQ(runProgram({{"lint", "--format", "xml", sample}, kSourceDir, {}}).exitCode, 2);
  EXPECT_EQ(runProgram({{"lint", "--fail-on", "info", sample}, kSourceDir, {}}).exitCode, 2);
  // A source that does not import, or a database that cannot be read.
  ProgramResult result = runProgram({{"lint", "no-such.pcd", sample}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.out.find("no-such.pcd: error: "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("examples/sample.pcd:101: warning:"), std::string::npos);
  result = runProgram({{"lint", "sqlite:no-such.sqlite"}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.out.find("no-such.sqlite"), std::string::npos) << result.out;
  // Standard input is named "-", its lines still found.
  result = runProgram({{"lint", "-"}, kSourceDir, {}}, kSourceDir + "/examples/sample.pcd");
  EXPECT_NE(result.out.find("-:101: warning:"), std::string::npos) << result.out;
  // The help says where check --strict went.
  result = runProgram({{"lint", "--help"}, kSourceDir, {}});
  EXPECT_NE(result.out.find("replaces 'pcd-import check --strict'"), std::string::npos);
}

// The validator ships in tests/js (scripts/setup.sh installs it). It exits 0
// whatever it finds and quietly skips a log it cannot read, so its own SARIF
// output is read: at least one result (our log names no informationUri,
// which it always notes) and none of level error.
TEST(LintSarif, ValidatedByTheSarifMultitool) {
  const std::string validator = kSourceDir + "/tests/js/node_modules/.bin/sarif-multitool";
  ASSERT_EQ(runCommand("test -x " + shellWord(validator)).exitCode, 0)
      << "the SARIF validator is missing: run scripts/setup.sh";
  TemporaryFolder folder;
  const ProgramResult lint =
      runProgram({{"lint", "--format", "sarif", "--fail-on", "never", "examples/sample.pcd",
                   "tests/data/hostile_names.pcd", "no-such.pcd"},
                  kSourceDir,
                  {}});
  EXPECT_EQ(lint.exitCode, 2);  // the missing source
  writeFile(folder.file("lint.sarif"), lint.out);
  const nlohmann::json log = nlohmann::json::parse(lint.out);
  const nlohmann::json& run = log["runs"][0];
  EXPECT_EQ(log["version"], "2.1.0");
  EXPECT_EQ(run["tool"]["driver"]["rules"].size(), 22u);
  EXPECT_EQ(run["tool"]["driver"]["rules"][0]["id"], "table-without-primary-key");
  EXPECT_GT(run["results"].size(), 50u);
  EXPECT_EQ(run["invocations"][0]["executionSuccessful"], false);
  const nlohmann::json& first = run["results"][0];
  EXPECT_EQ(first["locations"][0]["physicalLocation"]["artifactLocation"]["uri"],
            "examples/sample.pcd");
  EXPECT_EQ(first["locations"][0]["physicalLocation"]["region"]["startLine"], 90);

  const CommandResult validated =
      runCommand(shellWord(validator) + " validate --output " + shellWord(folder.file("v.sarif")) +
                 " " + shellWord(folder.file("lint.sarif")) + " 2>&1");
  ASSERT_EQ(validated.exitCode, 0) << validated.output;
  const nlohmann::json verdict = nlohmann::json::parse(readFile(folder.file("v.sarif")));
  const nlohmann::json& results = verdict["runs"][0]["results"];
  EXPECT_FALSE(results.empty()) << "the validator read nothing: " << validated.output;
  for (const auto& result : results) {
    EXPECT_NE(result.value("level", "warning"), "error") << result.dump();
  }
}

// The rules' documentation is the program's own table.
TEST(LintDocs, PageListsEveryRuleFromTheTable) {
  const ProgramResult rules = runProgram({{"lint", "--list-rules"}, kSourceDir, {}});
  EXPECT_EQ(rules.exitCode, 0);
  EXPECT_NE(readFile(kSourceDir + "/docs/lint.md").find(rules.out), std::string::npos)
      << "docs/lint.md does not hold the output of 'pcd-import lint --list-rules'";
  EXPECT_EQ(std::count(rules.out.begin(), rules.out.end(), '\n'), 2 + 22);
}

// The findings for the test extracts, reviewed and committed; a change in
// any rule shows here as a diff to review.
TEST(LintBaseline, TestExtractsMatchTheReviewedFindings) {
  const ProgramResult result =
      runProgram({{"lint", "--fail-on", "never", "examples/sample.pcd",
                   "tests/data/hostile_names.pcd", "tests/diagrams/data/nested_schemas.pcd"},
                  kSourceDir,
                  {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, readFile(kSourceDir + "/tests/data/lint_baseline.txt"));
}

}  // namespace
