// pcd-import run as a user runs it: output, exit status, messages, files.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli/program_runner.h"

namespace {

const std::string kSourceDir = PCD_SOURCE_DIR;
const std::string kReproducible = "SOURCE_DATE_EPOCH";

// Imports the sample from the source folder, naming it by a relative path as
// the expected document does.
ProgramResult runSample(std::vector<std::string> extraArguments) {
  ProgramRun run;
  run.arguments = std::move(extraArguments);
  run.arguments.push_back("examples/sample.pcd");
  run.workingDirectory = kSourceDir;
  run.environment = {{kReproducible, "0"}};
  return runProgram(run);
}

TEST(Program, WritesTheSampleModelAsExpected) {
  const std::string expected = readFile(kSourceDir + "/examples/sample.json");
  const ProgramResult result = runSample({});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, expected);
  EXPECT_EQ(result.err.rfind("STATUS TAV_CARDS_S0004 Importing the model...\n", 0), 0u)
      << result.err;

  // --quiet keeps the warnings and drops the progress lines, not the output.
  const ProgramResult quiet = runSample({"--quiet"});
  EXPECT_EQ(quiet.out, expected);
  EXPECT_EQ(quiet.err,
            "WARNING TAV_CARDS_W0011 Table (CUSTOMERS) at multiple locations not supported\n");

  const ProgramResult summary = runSample({"--format=summary", "-q"});
  EXPECT_EQ(summary.exitCode, 0);
  EXPECT_EQ(summary.out,
            "catalogs=2 schemas=4 tables=5 views=1 columns=18 keys=9 indexes=10 keyIndexes=9 "
            "otherIndexes=1 procedures=1 types=12\n");
}

TEST(Program, OutputFileIsReplacedOnlyBySuccessfulImports) {
  const std::string expected = readFile(kSourceDir + "/examples/sample.json");
  TemporaryFolder folder;
  const std::string output = folder.file("model.json");
  writeFile(output, "previous content\n");

  ProgramResult result = runSample({"-o", output});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(readFile(output), expected);
  EXPECT_EQ(folder.entries(), std::vector<std::string>{"model.json"});

  // A failing import prints the exception's text alone, and leaves the
  // earlier file as it was and no temporary file.
  const std::string broken = folder.file("broken.pcd");
  writeFile(broken,
            "extract with an error in its third line\n"
            "E,SCHEMA,1,1,C4,SHOP\n"
            "E,TABLE,2,2,C4,SHOP\n"
            "E,TABLE,3,1,C6,ORDERS\n");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--output=" + output, broken},
        std::vector<std::string>{"--output", folder.file("new.json"), broken}}) {
    result = runProgram({arguments, "", {{kReproducible, "0"}}});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    // The catalogued text on its own line, then the context.
    EXPECT_EQ(result.err,
              "STATUS TAV_CARDS_S0004 Importing the model...\n"
              "[TAV_CARDS_F0008] Error in input PCD file, line (3)\n" +
                  broken + ":3: attribute count of TABLE: expected 1, found '2'\n" + broken +
                  ":3: | E,TABLE,2,2,C4,SHOP\n");
  }
  EXPECT_EQ(readFile(output), expected);
  EXPECT_EQ(folder.entries(), (std::vector<std::string>{"broken.pcd", "model.json"}));
}

TEST(Program, UsageErrorsExitWithTwoAndSayWhatToDo) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"a.pcd", "b.pcd"},
      {"--bogus", "a.pcd"},
      {"-x", "a.pcd"},
      {"-f", "xml", "a.pcd"},
      {"a.pcd", "--output"},
      {"--quiet=yes", "a.pcd"},
      {"-qx", "a.pcd"},  // an unknown letter inside a group
      {"a.pcd", "-qf"},  // the group's last option needs a value
      {"--log-format", "xml", "a.pcd"},
      {"a.pcd", "--", "--help"},  // after "--", a second file
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    const ProgramResult result = runProgram({cases[i], "", {}});
    SCOPED_TRACE(i);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    ASSERT_EQ(result.err.rfind("pcd-import: ", 0), 0u) << result.err;
    const size_t lineEnd = result.err.find('\n');
    EXPECT_EQ(result.err.substr(lineEnd + 1), "Try 'pcd-import --help'.\n") << result.err;
  }
  EXPECT_NE(runProgram({{"-f", "xml", "a.pcd"}, "", {}}).err.find("'xml'"), std::string::npos);

  // After "--" an argument that looks like an option is the file name.
  TemporaryFolder folder;
  const ProgramResult result = runProgram({{"-q", "--", "-odd.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "[TAV_CARDS_F0002] Unable to open '-odd.pcd'. The error is: No such file or "
            "directory\n");
}

// An option the chosen format does not read is named once, and the run goes
// on; --fail-on-warning makes it fail.
TEST(Program, OptionsTheFormatDoesNotReadAreNamed) {
  const std::string sample = kSourceDir + "/examples/sample.pcd";
  ProgramResult result = runProgram(
      {{"-q", "-f", "summary", "--dialect", "mysql", "--schema", "A", "--schema", "B", sample},
       "",
       {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err.find("WARNING PCD_IMPORT_W0003 --dialect does not apply to --format "
                            "summary; ignored\nWARNING PCD_IMPORT_W0003 --schema does not apply "
                            "to --format summary; ignored\nWARNING TAV_CARDS_W0011"),
            0u)
      << result.err;
  result = runProgram(
      {{"-q", "-f", "mermaid", "--columns", "keys", "--schema", "SHOP", sample}, "", {}});
  EXPECT_EQ(result.err.find("PCD_IMPORT_W0003"), std::string::npos) << result.err;
  result = runProgram({{"-q", "--fail-on-warning", "--compact", "-f", "dot", sample}, "", {}});
  EXPECT_EQ(result.exitCode, 3);
}

TEST(Program, HelpVersionAndPluginChoice) {
  ProgramResult result = runProgram({{"--help"}, "", {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out.rfind("Usage: pcd-import [options] FILE.pcd\n", 0), 0u);
  EXPECT_EQ(result.err, "");

  result = runProgram({{"--version"}, "", {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  // The program's own version, then the bridge's version text; -V is short
  // for it, also inside a group.
  EXPECT_EQ(result.out.rfind("pcd-import 1.", 0), 0u) << result.out;
  EXPECT_NE(result.out.find("\nbridge CaRepositoryDsOdbcImport 5.2.0 - Jun 12 2007 10:46:21\n"),
            std::string::npos)
      << result.out;
  EXPECT_EQ(runProgram({{"-qV"}, "", {}}).out, result.out);

  // The plug-in can be named on the command line or in the environment; a
  // library that cannot be loaded is an error with the loader's reason.
  const std::string plugin = std::string(PCD_BIN_DIR) + "/libZELCaRepositoryDsOdbcImport.so";
  result = runProgram({{"--plugin", plugin, "--version"}, "", {{"PCD_IMPORT_PLUGIN", "/nowhere"}}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  for (const ProgramRun& run :
       {ProgramRun{{"--plugin=/no/such/plugin.so", "--version"}, "", {}},
        ProgramRun{{"--version"}, "", {{"PCD_IMPORT_PLUGIN", "/no/such/plugin.so"}}}}) {
    result = runProgram(run);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("pcd-import: /no/such/plugin.so: cannot open shared object", 0), 0u)
        << result.err;
  }
  // A library without the entry function.
  result = runProgram({{"--plugin", std::string(PCD_BIN_DIR) + "/libzelhost.so", "x.pcd"}, "", {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("getZELCaRepositoryDsOdbcImportInterface"), std::string::npos)
      << result.err;
}

// The hash tables' key comes from the system's random source, never from
// the clock: without getrandom, /dev/urandom serves; without either, the
// program refuses before it reads or writes anything.
TEST(Program, HashKeyOnlyFromTheSystemsRandomSource) {
  // A sanitizer build's run-time accepts a library preloaded before it
  // when told.
  const std::pair<std::string, std::string> linkOrder{"ASAN_OPTIONS", "verify_asan_link_order=0"};
  TemporaryFolder folder;
  const std::string output = folder.file("model.json");
  const ProgramRun withoutGetrandom{{"-q", "-f", "summary", "examples/sample.pcd"},
                                    kSourceDir,
                                    {{"LD_PRELOAD", PCD_NO_RANDOM_SHIM}, linkOrder}};
  const ProgramResult urandom = runProgram(withoutGetrandom);
  EXPECT_EQ(urandom.exitCode, 0) << urandom.err;
  const ProgramRun withoutAny{
      {"-q", "-o", output, "examples/sample.pcd"},
      kSourceDir,
      {{"LD_PRELOAD", PCD_NO_RANDOM_SHIM}, {"PCD_TEST_NO_URANDOM", "1"}, linkOrder}};
  const ProgramResult none = runProgram(withoutAny);
  EXPECT_EQ(none.exitCode, 1);
  EXPECT_NE(none.err.find("no random bytes for the hash tables' key (getrandom: "),
            std::string::npos)
      << none.err;
  EXPECT_EQ(folder.entries(), std::vector<std::string>{});
}

}  // namespace
