// `pcd-import diff`: the changes made between two extracts, matched by name
// whatever the ids, and its exit status.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "program_runner.h"

namespace {

const std::string kSourceDir = PCD_SOURCE_DIR;

// `extract` with every record id (and every id a record names) moved by
// `offset`, as a later export numbers the same objects anew.
std::string renumbered(const std::string& extract, long offset) {
  std::istringstream in(extract);
  std::string line, out;
  while (std::getline(in, line)) {
    const int idFields = line.rfind("R,", 0) == 0                                 ? 3
                         : (line.rfind("E,", 0) == 0 || line.rfind("T,", 0) == 0) ? 1
                                                                                  : 0;
    std::string result;
    size_t start = 0;
    for (int field = 0; field < 2 + idFields; ++field) {
      const size_t comma = line.find(',', start);
      std::string value = line.substr(start, comma - start);
      if (field >= 2 && value != "0") value = std::to_string(std::stol(value) + offset);
      result += value + ",";
      start = comma + 1;
    }
    out += result + line.substr(start) + "\n";
  }
  return out;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

TEST(DiffCommand, ListsExactlyTheChangesWhateverTheIds) {
  TemporaryFolder folder;
  const std::string sample = readFile(kSourceDir + "/examples/sample.pcd");
  writeFile(folder.file("old.pcd"), sample);
  writeFile(folder.file("renumbered.pcd"), renumbered(sample, 5000));
  ProgramResult result = runProgram({{"diff", "old.pcd", "renumbered.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
  EXPECT_EQ(result.out, "");

  std::string edited = sample;
  edited = replaced(edited, "C4,NAME,S0,L60,", "C4,NAME,S0,L80,");
  edited = replaced(edited, "R,TBL_COL,402,100,302,2,C1,Y,L3", "R,TBL_COL,402,100,302,2,C1,N,L3");
  edited = replaced(edited, "R,TBL_COL,413,103,313,2,C1,Y,L4\n", "");
  edited = replaced(edited, "R,KEY_COL,544,503,401,2,S1,C1,D\n",
                    "R,KEY_COL,544,503,401,2,S1,C1,D\nR,KEY_COL,599,503,402,2,S2,C1,A\n");
  edited +=
      "\nR,REL_COL,800,0,201,7,C5,EMAIL,S0,L120,L0,S0,C0,C0\nR,TBL_COL,801,100,800,2,C1,Y,L4\n";
  writeFile(folder.file("new.pcd"), renumbered(edited, 7000));
  result = runProgram({{"diff", "old.pcd", "new.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1) << result.err;
  EXPECT_EQ(result.out,
            "table SALES.BILLING.INVOICES\n"
            "  - column TOTAL\n"
            "table SALES.SHOP.CUSTOMERS\n"
            "  ~ column CITY: optional 'yes' -> 'no'\n"
            "  + column EMAIL: position '4'; type 'VARCHAR2'; length '120'; scale '0'; optional "
            "'yes'; description ''\n"
            "  ~ column NAME: length '60' -> '80'\n"
            "  ~ key AK_CUSTOMERS_NAME: columns 'NAME' -> 'NAME, CITY'\n"
            "  ~ index AK_CUSTOMERS_NAME_POSITION: columns 'NAME desc' -> 'NAME desc, CITY'\n"
            "1 added, 1 removed, 4 changed\n");

  result = runProgram({{"diff", "--format", "json", "old.pcd", "new.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.out.find("\"object\": \"column TOTAL\",\n      \"change\": \"removed\""),
            std::string::npos)
      << result.out;

  EXPECT_EQ(runProgram({{"diff", "old.pcd"}, folder.path(), {}}).exitCode, 2);
  result = runProgram({{"diff", "old.pcd", "missing.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.err.find("missing.pcd: "), std::string::npos);
}

}  // namespace
