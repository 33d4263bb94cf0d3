// `pcd-import diff`: the changes made between two extracts, matched by name
// whatever the ids, and its exit status.
#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "builder/pcd_writer.h"
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

TEST(DiffCommand, ListsExactlyTheChangesWhateverTheIds) {
  TemporaryFolder folder;
  const std::string sample = readFile(kSourceDir + "/examples/sample.pcd");
  writeFile(folder.file("old.pcd"), sample);
  writeFile(folder.file("renumbered.pcd"), renumbered(sample, 5000));
  ProgramResult result = runProgram({{"diff", "old.pcd", "renumbered.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
  EXPECT_EQ(result.out, "");

  std::string edited =
      replacedIn(sample, {{"C4,NAME,S0,L60,", "C4,NAME,S0,L80,"},
                          {"R,TBL_COL,402,100,302,2,C1,Y,L3", "R,TBL_COL,402,100,302,2,C1,N,L3"},
                          {"R,TBL_COL,413,103,313,2,C1,Y,L4\n", ""},
                          {"R,KEY_COL,544,503,401,2,S1,C1,D\n",
                           "R,KEY_COL,544,503,401,2,S1,C1,D\nR,KEY_COL,599,503,402,2,S2,C1,A\n"}});
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
            "1 added, 1 removed, 3 changed\n");

  // Without schema names a table moved to another schema is the same table.
  writeFile(folder.file("moved.pcd"),
            replacedIn(edited, {{"R,TABLE_AT,123,103,61,", "R,TABLE_AT,123,103,60,"}}));
  result = runProgram({{"diff", "--ignore", "schemas", "old.pcd", "moved.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1) << result.err;
  EXPECT_NE(result.out.find("table SALES.*.INVOICES\n  - column TOTAL\n"
                            "1 added, 1 removed, 3 changed\n"),
            std::string::npos)
      << result.out;

  result = runProgram({{"diff", "--format", "json", "old.pcd", "new.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.out.find("\"object\": \"column TOTAL\",\n      \"change\": \"removed\""),
            std::string::npos)
      << result.out;

  // As a migration: what depends on a key is dropped before and made after
  // its columns change; what may lose data is marked, or left out by --safe.
  result = runProgram({{"diff", "--format", "sql", "old.pcd", "new.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1) << result.err;
  // The script less its header's comments.
  const auto statements = [](const std::string& script) {
    std::string kept;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("-- ", 0) != 0 || line.rfind("-- MAY LOSE", 0) == 0 ||
          line.rfind("-- END MAY", 0) == 0) {
        kept += line + "\n";
      }
    }
    return kept;
  };
  EXPECT_EQ(
      statements(result.out),
      "SET client_encoding = 'UTF8';\n"
      "BEGIN;\n"
      "ALTER TABLE \"SHOP\".\"CUSTOMERS\" DROP CONSTRAINT \"AK_CUSTOMERS_NAME\";\n"
      "-- MAY LOSE DATA: column \"TOTAL\" of \"BILLING\".\"INVOICES\" dropped: column dropped "
      "with its values\n"
      "ALTER TABLE \"BILLING\".\"INVOICES\" DROP COLUMN \"TOTAL\";\n"
      "-- END MAY LOSE DATA\n"
      "ALTER TABLE \"SHOP\".\"CUSTOMERS\" ADD COLUMN \"EMAIL\" varchar(120);\n"
      "ALTER TABLE \"SHOP\".\"CUSTOMERS\" ALTER COLUMN \"NAME\" TYPE varchar(80) USING "
      "\"NAME\"::varchar(80);\n"
      "-- MAY LOSE DATA: column \"CITY\" of \"SHOP\".\"CUSTOMERS\": NOT NULL on a column that "
      "may hold nulls\n"
      "ALTER TABLE \"SHOP\".\"CUSTOMERS\" ALTER COLUMN \"CITY\" SET NOT NULL;\n"
      "-- END MAY LOSE DATA\n"
      "ALTER TABLE \"SHOP\".\"CUSTOMERS\" ADD CONSTRAINT \"AK_CUSTOMERS_NAME\" UNIQUE "
      "(\"NAME\", \"CITY\");\n"
      "COMMIT;\n");
  result =
      runProgram({{"diff", "--format", "sql", "--dialect", "mysql", "--safe", "old.pcd", "new.pcd"},
                  folder.path(),
                  {}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out.find("DROP COLUMN"), std::string::npos) << result.out;
  EXPECT_EQ(result.out.find("NOT NULL COMMENT 'City"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("-- Left out (--safe), as they may lose data: 2\n"), std::string::npos);
  // Equal catalogs, whatever the ids: no statement.
  result =
      runProgram({{"diff", "--format", "sql", "--dialect", "sqlite", "old.pcd", "renumbered.pcd"},
                  folder.path(),
                  {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.out.find("\n-- The catalogs are equal: nothing to change.\n"),
            std::string::npos);
  EXPECT_EQ(statements(result.out), "");
  EXPECT_EQ(runProgram({{"diff", "--dialect", "mysql", "old.pcd", "new.pcd"}, folder.path(), {}})
                .exitCode,
            2);
  EXPECT_EQ(
      runProgram(
          {{"diff", "-f", "sql", "--dialect", "db2", "old.pcd", "new.pcd"}, folder.path(), {}})
          .exitCode,
      2);

  EXPECT_EQ(runProgram({{"diff", "old.pcd"}, folder.path(), {}}).exitCode, 2);
  result = runProgram({{"diff", "old.pcd", "missing.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.err.find("missing.pcd: "), std::string::npos);
}

// A file that fails to import is told as the import tells it: the
// catalogued text, the line and what is wrong in it; also for a line over
// the limit, which reading the line again meets too.
TEST(DiffCommand, FailedImportsCarryTheirContext) {
  TemporaryFolder folder;
  writeFile(folder.file("old.pcd"), readFile(kSourceDir + "/examples/sample.pcd"));
  writeFile(folder.file("bad.pcd"), "header\nE,SCHEMA,1,1,C4,SHOP\nE,SCHEMA,2,1,S4\n");
  ProgramResult result = runProgram({{"diff", "old.pcd", "bad.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "pcd-import diff: bad.pcd: [TAV_CARDS_F0008] Error in input PCD file, line (3)\n"
            "bad.pcd:3: attribute 1 of 1 of SCHEMA: expected type letter C, found 'S4'\n"
            "bad.pcd:3: | E,SCHEMA,2,1,S4\n");

  // A line of 257 MiB (a hole in a sparse file after its start).
  {
    std::ofstream huge(folder.file("huge.pcd"), std::ios::binary);
    huge << "header\nE,SCHEMA,1,1,C4,SHOP\nE,TABLE,80,1,C1,T" << std::string(100, 'x');
  }
  ASSERT_EQ(truncate(folder.file("huge.pcd").c_str(), off_t{257} << 20), 0);
  result = runProgram({{"diff", "huge.pcd", "old.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err,
            "pcd-import diff: huge.pcd: [TAV_CARDS_F0008] Error in input PCD file, line (3)\n"
            "huge.pcd:3: the line is longer than 268435456 bytes (see --max-line-bytes)\n"
            "huge.pcd:3: | E,TABLE,80,1,C1,T" +
                std::string(80 - 17, 'x') + "...\n");
}

// A chain of `depth` nested schemas with the tables `tables` in the
// innermost one.
std::string nestedSchemas(int depth, const std::vector<std::string>& tables) {
  PcdWriter pcd;
  pcd.relSys(10, "SYS").database(20, "CAT").dbAt(30, 20, 10);
  long parent = 20;
  for (long level = 1; level <= depth; ++level) {
    pcd.schema(1000 + 2 * level, "S" + std::to_string(level))
        .schemAt(1001 + 2 * level, 1000 + 2 * level, parent);
    parent = 1000 + 2 * level;
  }
  for (size_t i = 0; i < tables.size(); ++i) {
    const long id = 100 + static_cast<long>(i);
    pcd.table(id, tables[i]).tableAt(id + 100, id, parent, tables[i]);
  }
  return pcd.text();
}

// Deep schemas are matched by their whole path but named by their innermost
// names, numbered by path: a chain of 20,000 nested schemas once took
// quadratic memory and cubic time.
TEST(DiffCommand, DeepSchemasMatchByTheirWholePath) {
  TemporaryFolder folder;
  writeFile(folder.file("old.pcd"), nestedSchemas(12, {"T"}));
  writeFile(folder.file("new.pcd"), renumbered(nestedSchemas(12, {"T", "U"}), 5000));
  ProgramResult result = runProgram({{"diff", "old.pcd", "new.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1) << result.err;
  EXPECT_EQ(result.out,
            "table \xE2\x80\xA6#13.S5.S6.S7.S8.S9.S10.S11.S12.U\n"
            "  + table U: description ''; primaryKey '(none)'\n"
            "1 added, 0 removed, 0 changed\n");

  // Either file may come from standard input; both cannot.
  EXPECT_EQ(runProgram({{"diff", "-", "new.pcd"}, folder.path(), {}}, folder.file("old.pcd")).out,
            result.out);
  EXPECT_EQ(runProgram({{"diff", "-", "-"}, folder.path(), {}}, folder.file("old.pcd")).exitCode,
            2);

  writeFile(folder.file("deep.pcd"), nestedSchemas(20000, {"T"}));
  result = runProgram({{"diff", "deep.pcd", "deep.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "");
}

// Names are stored once and referred to: a hub table whose schema, table,
// column and key are named with 1 MB each, referenced by 200 small tables
// (a 5 MB file), is compared with itself in well under 1 GB (it took more
// than 3.5 GB when each reference copied the names).
TEST(DiffCommand, LongNamesReferencedOftenStayWithinMemory) {
  const std::string name(1 << 20, 'N');
  const std::string c = "C" + std::to_string(name.size()) + "," + name;
  std::string pcd =
      "header\nE,REL_SYS,10,2,C3,SYS,C4,ODBC\nE,DATABASE,20,1,C2,DB\n"
      "R,DB_AT,30,20,10,2,C0,C0\nE,SCHEMA,60,1," +
      c +
      "\n"
      "R,SCHEM_AT,70,60,20,1,C0\nE,REL_DT,200,5,C7,INTEGER,S4,C0,C0,C0\n"
      "R,TABLE_AT,120,100,60,2," +
      c +
      ",C0\n"
      "R,REL_COL,300,0,200,7," +
      c +
      ",S0,L0,L0,S0,C0,C0\n"
      "R,TBL_COL,400,100,300,2,C1,N,L1\nE,KEY,500,3," +
      c +
      ",C1,P,C0\n"
      "R,PRIM_KEY,515,500,100,1,L1\nR,KEY_COL,540,500,400,2,S1,C1,A\n"
      "E,TABLE,100,1," +
      c + "\n";
  for (long i = 1; i <= 200; ++i) {
    const std::string b = std::to_string(1000 + 20 * i);
    const auto id = [&](int plus) { return std::to_string(1000 + 20 * i + plus); };
    const std::string t = "T" + std::to_string(i);
    pcd += "E,TABLE," + b + ",1,C" + std::to_string(t.size()) + "," + t + "\n";
    pcd +=
        "R,TABLE_AT," + id(1) + "," + b + ",60,2,C" + std::to_string(t.size()) + "," + t + ",C0\n";
    pcd += "R,REL_COL," + id(2) + ",0,200,7,C2,ID,S0,L0,L0,S0,C0,C0\n";
    pcd += "R,TBL_COL," + id(3) + "," + b + "," + id(2) + ",2,C1,N,L1\n";
    pcd += "E,KEY," + id(4) + ",3,C2,FK,C1,F,C0\n";
    pcd += "R,FGN_KEY," + id(5) + "," + b + "," + id(4) + ",2,C1,N,C1,Y\n";
    pcd += "R,FK_TB_AT," + id(6) + "," + id(5) + ",120,0\n";
    pcd += "R,KEY_COL," + id(7) + "," + id(4) + "," + id(3) + ",2,S1,C1,A\n";
  }
  TemporaryFolder folder;
  const std::string file = folder.file("long.pcd");
  writeFile(file, pcd);
#if defined(__SANITIZE_ADDRESS__)
  const std::string limit;  // the sanitizer reserves more address space than any such limit
#else
  const std::string limit = "ulimit -v 1000000; ";
#endif
  const CommandResult result = runCommand(limit + shellWord(programPath()) + " diff " +
                                          shellWord(file) + " " + shellWord(file) + " 2>&1");
  EXPECT_EQ(result.exitCode, 0) << result.output.substr(0, 500);
}

}  // namespace
