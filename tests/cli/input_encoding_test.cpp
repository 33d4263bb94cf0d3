// --input-encoding: a CP1252 extract comes out as UTF-8 with the option, the
// import's messages that quote its names included, and without it the
// program warns once and suggests it.
#include <gtest/gtest.h>

#include <string>

#include "program_runner.h"

namespace {

// A small extract whose table name and column description are CP1252
// ("\xc8" is È, "\xfc" is ü, "\xe8" is è); lengths count bytes. The table
// is placed in two schemas, which the import warns about by its name.
const std::string kCp1252Extract =
    "PCD extract\n"
    "E,REL_SYS,10,2,C4,PROD,C4,ODBC\n"
    "E,DATABASE,20,1,C5,SALES\n"
    "R,DB_AT,30,20,10,2,C0,C0\n"
    "E,SCHEMA,60,1,C4,SHOP\n"
    "R,SCHEM_AT,70,60,20,1,C0\n"
    "E,TABLE,100,1,C9,CLIENT\xc8LE\n"
    "E,SCHEMA,61,1,C4,SHIP\n"
    "R,SCHEM_AT,71,61,20,1,C0\n"
    "R,TABLE_AT,120,100,60,2,C9,CLIENT\xc8LE,C0\n"
    "R,TABLE_AT,121,100,61,2,C9,CLIENT\xc8LE,C0\n"
    "E,REL_DT,200,5,C7,INTEGER,S4,C0,C0,C0\n"
    "R,REL_COL,300,0,200,7,C4,CITY,S0,L0,L0,S0,C0,C0\n"
    "R,TBL_COL,400,100,300,2,C1,N,L1\n"
    "T,1,400,1,COLUMN_COMMENTS,14,Z\xfcrich, Gen\xe8ve\n";

TEST(InputEncoding, ConvertsLegacyTextsAndWarnsWithoutTheOption) {
  TemporaryFolder folder;
  writeFile(folder.file("legacy.pcd"), kCp1252Extract);

  ProgramResult result =
      runProgram({{"-q", "--input-encoding", "CP1252", "legacy.pcd"}, folder.path(), {}});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("\"name\": \"CLIENT\xc3\x88LE\""), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\"description\": \"Z\xc3\xbcrich, Gen\xc3\xa8ve\""),
            std::string::npos);
  EXPECT_NE(result.out.find("\"encoding\": \"CP1252\""), std::string::npos);
  EXPECT_EQ(result.err.find("PCD_IMPORT_W0002"), std::string::npos);
  const std::string warning = "Table (CLIENT\xc3\x88LE) at multiple locations not supported";
  EXPECT_NE(result.err.find("WARNING TAV_CARDS_W0011 " + warning), std::string::npos) << result.err;
  EXPECT_NE(result.out.find("\"text\": \"" + warning + "\""), std::string::npos);

  result = runProgram({{"-q", "legacy.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.err.find("WARNING PCD_IMPORT_W0002 2 texts of the model are not UTF-8; name "
                            "the extract's code page with --input-encoding"),
            std::string::npos)
      << result.err;
  EXPECT_NE(result.out.find("\"encoding\": \"UTF-8\""), std::string::npos);

  // A code page iconv does not know is a usage error.
  EXPECT_EQ(runProgram({{"--input-encoding", "NO-SUCH-CODE-PAGE", "legacy.pcd"}, folder.path(), {}})
                .exitCode,
            2);
}

// The program skips its look at the model's texts when the whole file is
// ASCII: a single byte that is not, far into a large file, must still be
// found, in a file and through standard input, and an ASCII file imported
// with a code page still names it.
TEST(InputEncoding, FindsOneLegacyByteAtTheEndOfALargeFile) {
  TemporaryFolder folder;
  std::string extract = kCp1252Extract.substr(0, kCp1252Extract.find("E,TABLE,"));
  extract +=
      "E,TABLE,100,1,C6,CLIENT\n"
      "R,TABLE_AT,120,100,60,2,C6,CLIENT,C0\n"
      "E,REL_DT,200,5,C7,INTEGER,S4,C0,C0,C0\n"
      "R,REL_COL,300,0,200,7,C4,CITY,S0,L0,L0,S0,C0,C0\n"
      "R,TBL_COL,400,100,300,2,C1,N,L1\n";
  // Over two read blocks of comment lines, all ASCII.
  for (int line = 0; extract.size() < (size_t{5} << 19); ++line) {
    extract += "T,1,400," + std::to_string(line + 1) + ",COLUMN_COMMENTS,50," +
               std::string(50, 'a' + line % 26) + "\n";
  }
  writeFile(folder.file("ascii.pcd"), extract);
  writeFile(folder.file("late.pcd"), extract + "T,1,400,99999,COLUMN_COMMENTS,1,\xe8\n");

  ProgramResult result = runProgram({{"-q", "-f", "summary", "ascii.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err.find("PCD_IMPORT_W0002"), std::string::npos) << result.err;
  result = runProgram({{"-q", "--input-encoding", "CP1252", "ascii.pcd"}, folder.path(), {}});
  EXPECT_NE(result.out.find("\"encoding\": \"CP1252\""), std::string::npos);

  for (const std::string& input : {std::string("late.pcd"), std::string("-")}) {
    result = runProgram({{"-q", "-f", "summary", input}, folder.path(), {}},
                        input == "-" ? folder.file("late.pcd") : "/dev/null");
    EXPECT_EQ(result.exitCode, 0) << input;
    EXPECT_NE(result.err.find("WARNING PCD_IMPORT_W0002 1 text of the model is not UTF-8"),
              std::string::npos)
        << input << ": " << result.err;
  }
}

}  // namespace
