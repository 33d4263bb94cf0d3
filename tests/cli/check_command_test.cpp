// `pcd-import check`: every fault of a file with one of each kind, its exit
// status, and that a file named "check" is still imported.
#include <gtest/gtest.h>

#include <string>

#include "program_runner.h"

namespace {

const std::string kSourceDir = PCD_SOURCE_DIR;

// The sample with faults of every kind the check knows, one line each.
TEST(CheckCommand, ListsEveryFaultWithItsLine) {
  const ProgramResult result =
      runProgram({{"check", "tests/data/check_faults.pcd"}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 1);
  const std::string file = "tests/data/check_faults.pcd:";
  for (const std::string expected : {
           "18: error: [TAV_CARDS_F0008] Error in input PCD file, line (18): attribute 1 of 1 "
           "of TABLE: expected type letter C, found 'S6'",
           "29: error: [TAV_CARDS_F0009] Missing Object (101): TABLE_AT record (id 121): its "
           "from id 101 is defined only by the rejected line 18",
           "42: error: [TAV_CARDS_F0008] Error in input PCD file, line (42): attribute count of "
           "REL_COL: expected 7, found '6'",
           "67: error: [TAV_CARDS_F0008] Error in input PCD file, line (67): text line for "
           "object 999",
           "84: error: [TAV_CARDS_F0009] Missing Object (390)",
           "96: error: [TAV_CARDS_F0010] Bad Object Type for (100) (got (TABLE), expected "
           "(VIEW))",
           "105: error: [TAV_CARDS_F0008] Error in input PCD file, line (105): unknown record "
           "name 'KYE'",
           "113: warning: [TAV_CARDS_W0013] foreign key FK_ORDER_LINES_ORDERS (FK_TB_AT id 532) "
           "has 1 column, the primary key PK_ORDER_LINES of DUPED 2; the import drops it",
           "126: error: [TAV_CARDS_F0009] Missing Object (514)",
           "130: error: [TAV_CARDS_F0009] Missing Object (66): OBJ_AT record (id 610)",
           "136: warning: id 102 is defined again (TABLE); this record replaces the TABLE "
           "record on line 20",
           "137: warning: TABLE record (id 130) is placed by no TABLE_AT record",
           "138: warning: REL_COL record (id 399) is named by no TBL_COL, VIEW_COL or PARM",
           "139: warning: PARM record (id 622) belongs to the TABLE record on line 16",
           "140: error: [TAV_CARDS_F0009] Missing Object (99): DB_AT record (id 30)",
       }) {
    EXPECT_NE(result.out.find(file + expected), std::string::npos) << expected;
  }
  EXPECT_NE(result.out.find("\n16 errors, 7 warnings in 1 file\n"), std::string::npos)
      << result.out;
}

TEST(CheckCommand, CleanFileJsonAndUsage) {
  ProgramResult result = runProgram({{"check", "examples/sample.pcd"}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "0 errors, 0 warnings in 1 file\n");

  result = runProgram({{"check", "--format", "json", "examples/sample.pcd"}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.out.find("\"findings\": []"), std::string::npos) << result.out;

  // --strict became `lint`: refused, naming it.
  result = runProgram({{"check", "--strict", "examples/sample.pcd"}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.err.find("--strict is now 'pcd-import lint'"), std::string::npos) << result.err;

  EXPECT_EQ(runProgram({{"check"}, kSourceDir, {}}).exitCode, 2);
  EXPECT_EQ(runProgram({{"check", "--format", "xml", "x"}, kSourceDir, {}}).exitCode, 2);
  result = runProgram({{"check", "no-such-file.pcd"}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.out.find("no-such-file.pcd: error: cannot read the file"), std::string::npos);
}

// A file named "check" is imported when named as a path.
TEST(CheckCommand, FileNamedCheckIsImported) {
  TemporaryFolder folder;
  writeFile(folder.file("check"), readFile(kSourceDir + "/examples/sample.pcd"));
  const ProgramResult result = runProgram({{"-q", "./check"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("\"CUSTOMERS\""), std::string::npos);
}

}  // namespace
