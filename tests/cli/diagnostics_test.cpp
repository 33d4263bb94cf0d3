// What pcd-import tells its user: errors with their context, files that are
// not PCD text, empty imports, the JSON log, verbose details and
// --fail-on-warning.
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "cli/program_runner.h"

namespace {

const std::string kSourceDir = PCD_SOURCE_DIR;

ProgramResult runIn(const TemporaryFolder& folder, std::vector<std::string> arguments) {
  return runProgram({std::move(arguments), folder.path(), {{"SOURCE_DATE_EPOCH", "0"}}});
}

size_t countLines(const std::string& text) {
  size_t lines = 0;
  for (char c : text) lines += c == '\n';
  return lines;
}

TEST(Diagnostics, FailuresCarryTheirContext) {
  TemporaryFolder folder;
  writeFile(folder.file("missing.pcd"),
            "header\n"
            "E,SCHEMA,1,1,C4,SHOP\n"
            "R,SCHEM_AT,5,1,99,1,C1,X\n");
  ProgramResult result = runIn(folder, {"-q", "missing.pcd"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "[TAV_CARDS_F0009] Missing Object (99)\n"
            "missing.pcd: no record has the id 99\n"
            "missing.pcd: SCHEM_AT record 5 names object 99 as its to id, line 3: "
            "R,SCHEM_AT,5,1,99,1,C1,X\n");

  // Compressed and binary files are named before any reading.
  writeFile(folder.file("x.pcd.gz"), std::string("\x1f\x8b\x08\x00rest", 8));
  writeFile(folder.file("utf16.pcd"), std::string("\xff\xfeh\0e\0", 6));
  result = runIn(folder, {"x.pcd.gz"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "pcd-import: 'x.pcd.gz' is a gzip-compressed file, not a PCD text file; decompress "
            "it first, e.g. zcat 'x.pcd.gz' | pcd-import -\n");
  result = runIn(folder, {"utf16.pcd"});
  EXPECT_EQ(result.err,
            "pcd-import: 'utf16.pcd' is UTF-16 text (little-endian), not a PCD text file; "
            "convert it to UTF-8 first, e.g. iconv -f UTF-16 -t UTF-8\n");

  // A line over the limit: the catalogued text and its context, although
  // reading the line again meets the same limit.
  writeFile(folder.file("long.pcd"), "header\nE,SCHEMA,1,1,C1,S\nE,TABLE,80,1,C1,TX\nE,X\n");
  result = runIn(folder, {"-q", "--max-line-bytes", "17", "long.pcd"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "[TAV_CARDS_F0008] Error in input PCD file, line (3)\n"
            "long.pcd:3: the line is longer than 17 bytes (see --max-line-bytes)\n"
            "long.pcd:3: | E,TABLE,80,1,C1,TX\n");
}

// A table placed at something that is neither a schema nor a catalog (here
// another table's placement, and a table) is left out by the import without
// a message of its own: the program names it, once per table.
TEST(Diagnostics, TablesPlacedAtNeitherSchemaNorCatalogAreNamed) {
  TemporaryFolder folder;
  writeFile(folder.file("placed.pcd"),
            replacedIn(readFile(kSourceDir + "/examples/sample.pcd"),
                       {{"R,TABLE_AT,121,101,60,", "R,TABLE_AT,121,101,120,"},
                        {"R,TABLE_AT,122,102,60,", "R,TABLE_AT,122,102,100,"},
                        {"R,TABLE_AT,124,110,62,",
                         "R,TABLE_AT,124,110,62,2,C1,X,C0\nR,TABLE_AT,127,110,122,"}}));
  ProgramResult result = runIn(folder, {"-q", "-f", "summary", "placed.pcd"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out.rfind("catalogs=2 schemas=4 tables=3 views=1 ", 0), 0u) << result.out;
  // The view is placed at a schema too: it is built, and only the bridge
  // names its second placement.
  EXPECT_EQ(result.err,
            "WARNING TAV_CARDS_W0011 Table (CUSTOMERS) at multiple locations not supported\n"
            "WARNING TAV_CARDS_W0011 Table (OPEN_ORDERS) at multiple locations not supported\n"
            "WARNING PCD_IMPORT_W0004 Table ORDERS (placed by the TABLE_AT record on line 29) is "
            "not imported: its location, the TABLE_AT record on line 28, is neither a schema nor "
            "a catalog\n"
            "WARNING PCD_IMPORT_W0004 Table ORDER_LINES (placed by the TABLE_AT record on line "
            "30) is not imported: its location, the TABLE record on line 16, is neither a schema "
            "nor a catalog\n");
  // They count as warnings.
  result = runIn(folder, {"-q", "--fail-on-warning", "-f", "summary", "placed.pcd"});
  EXPECT_EQ(result.exitCode, 3);
}

TEST(Diagnostics, EmptyImportWarnsAndFailOnWarningHasItsOwnStatus) {
  TemporaryFolder folder;
  writeFile(folder.file("empty.pcd"), "only a header line\n");
  ProgramResult result = runIn(folder, {"-q", "-f", "summary", "empty.pcd"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.err.find("WARNING PCD_IMPORT_W0001 No record found in empty.pcd"),
            std::string::npos)
      << result.err;

  // The sample warns once: with --fail-on-warning nothing is written.
  writeFile(folder.file("model.json"), "previous\n");
  result = runProgram(
      {{"-q", "--fail-on-warning", "-o", folder.file("model.json"), "examples/sample.pcd"},
       kSourceDir,
       {}});
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("1 warning and --fail-on-warning: nothing written"), std::string::npos)
      << result.err;
  EXPECT_EQ(readFile(folder.file("model.json")), "previous\n");
  EXPECT_EQ(folder.entries(), (std::vector<std::string>{"empty.pcd", "model.json"}));
}

TEST(Diagnostics, JsonLogAndVerboseDetails) {
  TemporaryFolder folder;
  writeFile(folder.file("broken.pcd"), "header\nE,SCHEMA,x1,1,C4,SHOP\n");
  ProgramResult result = runIn(folder, {"--log-format", "json", "broken.pcd"});
  EXPECT_EQ(result.exitCode, 1);
  // One object per line: the bridge's status, then the failure with its
  // context as fields.
  ASSERT_EQ(countLines(result.err), 2u) << result.err;
  EXPECT_EQ(result.err.rfind("{\"severity\":\"STATUS\",\"code\":\"TAV_CARDS_S0004\","
                             "\"text\":\"Importing the model...\",\"seconds\":",
                             0),
            0u)
      << result.err;
  const std::string failure = result.err.substr(result.err.find('\n') + 1);
  EXPECT_EQ(failure.rfind("{\"severity\":\"FATAL\",\"code\":\"TAV_CARDS_F0008\","
                          "\"text\":\"Error in input PCD file, line (2)\",",
                          0),
            0u)
      << failure;
  EXPECT_NE(failure.find(",\"file\":\"broken.pcd\",\"line\":2,"
                         "\"lineStart\":\"E,SCHEMA,x1,1,C4,SHOP\",\"explanation\":\"attribute "
                         "count of SCHEMA: expected 1, found 'x1'; the object id is not an "
                         "integer (found 'x1')\"}\n"),
            std::string::npos)
      << failure;

  // Verbose: the files, each phase's time and a closing line with the
  // counts; the output is unchanged.
  result = runProgram({{"-vf", "summary", "examples/sample.pcd"}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.err.find("STATUS PCD_IMPORT_S0003 Reading examples/sample.pcd"),
            std::string::npos);
  EXPECT_NE(result.err.find("STATUS PCD_IMPORT_S0001 Phase 'Importing the model...' took "),
            std::string::npos);
  const size_t closing = result.err.rfind("STATUS PCD_IMPORT_S0002 Done: catalogs=2 schemas=4 ");
  ASSERT_NE(closing, std::string::npos) << result.err;
  EXPECT_NE(result.err.find("; 1 warning; ", closing), std::string::npos);
  EXPECT_EQ(result.err.back(), '\n');
  EXPECT_EQ(countLines(result.err.substr(closing)), 1u);
}

}  // namespace
