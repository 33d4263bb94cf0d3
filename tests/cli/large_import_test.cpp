// An import large enough for the program to prepare its heap for the model
// (files of 8 MB and more): the same model as without the preparation.
#include <string>

#include <gtest/gtest.h>

#include "builder/pcd_writer.h"
#include "cli/program_runner.h"

namespace {

// `tables` tables of ten columns in one schema: about 90 bytes per column.
std::string manyTables(int tables) {
  std::vector<std::string> columns;
  for (int column = 0; column < 10; ++column) columns.push_back("COL" + std::to_string(column));
  PcdWriter pcd;
  pcd.basicCatalog();
  for (int table = 0; table < tables; ++table) {
    pcd.placedTable(100 + 40 * table, "T" + std::to_string(table), columns);
  }
  return pcd.text();
}

TEST(LargeImport, BuildsTheSameModelWithThePreparedHeap) {
  TemporaryFolder folder;
  const std::string path = folder.file("large.pcd");
  const std::string bytes = manyTables(9000);
  ASSERT_GT(bytes.size(), 8u << 20);  // large enough for the preparation
  writeFile(path, bytes);

  const ProgramResult summary = runProgram({{"-q", "-f", "summary", path}, "", {}});
  EXPECT_EQ(summary.exitCode, 0) << summary.err;
  EXPECT_EQ(summary.out,
            "catalogs=1 schemas=1 tables=9000 views=0 columns=90000 keys=0 indexes=0 "
            "keyIndexes=0 otherIndexes=0 procedures=0 types=3\n");

  const ProgramResult json = runProgram({{"-q", "-o", folder.file("large.json"), path}, "", {}});
  EXPECT_EQ(json.exitCode, 0) << json.err;
  const std::string document = readFile(folder.file("large.json"));
  EXPECT_NE(document.find("\"name\": \"T8999\""), std::string::npos);
  EXPECT_NE(document.find("\"name\": \"VARCHAR_5\""), std::string::npos);
}

}  // namespace
