// An import large enough for the program to prepare its heap for the model
// (files of 8 MB and more): the same model as without the preparation.
#include <string>

#include <gtest/gtest.h>

#include "cli/program_runner.h"

namespace {

// `tables` tables of ten columns in one schema: about 95 bytes per column.
std::string manyTables(int tables) {
  std::string pcd = "PCD extract\n";
  pcd += "E,REL_SYS,1,2,C3,SYS,C0\nE,DATABASE,2,1,C2,DB\nR,DB_AT,3,2,1,2,C0,C0\n";
  pcd += "E,SCHEMA,4,1,C1,S\nR,SCHEM_AT,5,4,2,1,C0\nE,REL_DT,9,5,C8,VARCHAR2,S0,C0,C0,C0\n";
  long id = 100;
  for (int table = 0; table < tables; ++table) {
    const long tableId = id++;
    const std::string name = "T" + std::to_string(table);
    pcd += "E,TABLE," + std::to_string(tableId) + ",1,C" + std::to_string(name.size()) + "," +
           name + "\n";
    pcd += "R,TABLE_AT," + std::to_string(id++) + "," + std::to_string(tableId) + ",4,2,C0,C0\n";
    for (int column = 0; column < 10; ++column) {
      const long columnId = id++;
      pcd += "R,REL_COL," + std::to_string(columnId) + ",0,9,7,C4,COL" + std::to_string(column) +
             ",S0,L" + std::to_string(20 + column) + ",L0,S0,C0,C0\n";
      pcd += "R,TBL_COL," + std::to_string(id++) + "," + std::to_string(tableId) + "," +
             std::to_string(columnId) + ",2,C1,N,L" + std::to_string(column + 1) + "\n";
    }
  }
  return pcd;
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
            "keyIndexes=0 otherIndexes=0 procedures=0 types=12\n");

  const ProgramResult json = runProgram({{"-q", "-o", folder.file("large.json"), path}, "", {}});
  EXPECT_EQ(json.exitCode, 0) << json.err;
  const std::string document = readFile(folder.file("large.json"));
  EXPECT_NE(document.find("\"name\": \"T8999\""), std::string::npos);
  EXPECT_NE(document.find("\"name\": \"VARCHAR2_29\""), std::string::npos);
}

}  // namespace
