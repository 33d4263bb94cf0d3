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

bool hasLine(const std::string& text, const std::string& line) {
  return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

TEST(Program, WritesTheSampleModelAsExpected) {
  const std::string expected = readFile(kSourceDir + "/examples/sample.json");
  const ProgramResult result = runSample({});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, expected);
  EXPECT_TRUE(hasLine(result.err, "STATUS TAV_CARDS_S0004 Importing the model...")) << result.err;
  EXPECT_TRUE(hasLine(result.err,
                      "WARNING TAV_CARDS_W0011 Table (CUSTOMERS) at multiple locations not "
                      "supported"))
      << result.err;

  // --quiet keeps the warnings and drops the progress lines, not the output.
  const ProgramResult quiet = runSample({"--quiet"});
  EXPECT_EQ(quiet.exitCode, 0);
  EXPECT_EQ(quiet.out, expected);
  EXPECT_EQ(quiet.err,
            "WARNING TAV_CARDS_W0011 Table (CUSTOMERS) at multiple locations not supported\n");

  const ProgramResult summary = runSample({"--format=summary", "-q"});
  EXPECT_EQ(summary.exitCode, 0);
  EXPECT_EQ(summary.out,
            "catalogs=2 schemas=4 tables=5 views=1 columns=18 keys=9 indexes=10 procedures=1 "
            "types=12\n");
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

  // A failing import leaves the earlier file as it was and no temporary file.
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
    EXPECT_TRUE(hasLine(result.err, "[TAV_CARDS_F0008] Error in input PCD file, line (3)"))
        << result.err;
  }
  EXPECT_EQ(readFile(output), expected);
  EXPECT_EQ(folder.entries(), (std::vector<std::string>{"broken.pcd", "model.json"}));

  // A folder that cannot take the file: a clear error and nothing left behind.
  result = runSample({"-o", folder.file("missing-folder/model.json")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("missing-folder/model.json"), std::string::npos) << result.err;
}

TEST(Program, ImportFailuresPrintTheExceptionTextAlone) {
  TemporaryFolder folder;
  const std::string broken = folder.file("broken.pcd");
  writeFile(broken, "first line\nE,SCHEMA,1,1,C4,SHOP\n\nR,NO_SUCH_RECORD,2,1,1,0\n");
  ProgramResult result = runProgram({{broken}, "", {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "STATUS TAV_CARDS_S0004 Importing the model...\n"
            "[TAV_CARDS_F0008] Error in input PCD file, line (4)\n");

  const std::string missing = folder.file("missing.pcd");
  result = runProgram({{"-q", missing}, "", {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "[TAV_CARDS_F0002] Unable to open '" + missing +
                            "'. The error is: No such file or directory\n");

  // After "--" an argument that looks like an option is the file name.
  result = runProgram({{"-q", "--", "-odd.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "[TAV_CARDS_F0002] Unable to open '-odd.pcd'. The error is: No such file or "
            "directory\n");
}

TEST(Program, UsageErrorsExitWithTwoAndSayWhatToDo) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"a.pcd", "b.pcd"},
      {"--bogus", "a.pcd"},
      {"-x", "a.pcd"},
      {"-f", "xml", "a.pcd"},
      {"--format=", "a.pcd"},
      {"a.pcd", "--output"},
      {"--quiet=yes", "a.pcd"},
      {"-qv", "a.pcd"},
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
}

TEST(Program, HelpVersionAndPluginChoice) {
  ProgramResult result = runProgram({{"--help"}, "", {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out.rfind("Usage: pcd-import [options] FILE.pcd\n", 0), 0u);
  EXPECT_EQ(result.err, "");

  result = runProgram({{"--version"}, "", {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "pcd-import 5.2.0 - Jun 12 2007 10:46:21\n");

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

TEST(Program, EscapesTextAndRepairsBrokenUtf8) {
  TemporaryFolder folder;
  const std::string file = folder.file("texts.pcd");
  writeFile(file,
            "texts\n"
            "E,REL_SYS,1,2,C3,SYS,C0\n"
            "E,DATABASE,2,1,C2,DB\n"
            "R,DB_AT,3,2,1,2,C0,C0\n"
            "E,SCHEMA,4,1,C1,S\n"
            "R,SCHEM_AT,5,4,2,1,C0\n"
            "E,TABLE,6,1,C3,T\xFF\x31\n"
            "T,1,6,1,DESCRIPTION,14,say \"hi\"\t\\ \x01\xE2\x82\n"
            "R,TABLE_AT,7,6,4,2,C0,C0\n");
  const ProgramResult result = runProgram({{"-q", file}, "", {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("\"name\": \"T\xEF\xBF\xBD"
                            "1\",\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("\"description\": \"say \\\"hi\\\"\\t\\\\ \\u0001\xEF\xBF\xBD"
                            "\xEF\xBF\xBD\",\n"),
            std::string::npos)
      << result.out;
}

}  // namespace
