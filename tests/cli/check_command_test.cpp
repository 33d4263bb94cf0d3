// `pcd-import check`: every fault of a file with one of each kind, its exit
// status, and that a file named "check" is still imported.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "builder/record_references.h"
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

  // Schema design rules are lint's: --strict says where they went.
  result = runProgram({{"check", "--strict", "examples/sample.pcd"}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.err.find("--strict is now 'pcd-import lint'"), std::string::npos) << result.err;

  EXPECT_EQ(runProgram({{"check"}, kSourceDir, {}}).exitCode, 2);
  EXPECT_EQ(runProgram({{"check", "--format", "xml", "x"}, kSourceDir, {}}).exitCode, 2);
  // A file that cannot be read is not checked (2), whatever the others hold;
  // a report that cannot be written is no verdict either (4).
  result =
      runProgram({{"check", "tests/data/check_faults.pcd", "no-such-file.pcd"}, kSourceDir, {}});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.out.find("no-such-file.pcd: error: cannot read the file"), std::string::npos);
  const CommandResult full =
      runCommand(shellWord(programPath()) + " check " +
                 shellWord(kSourceDir + "/examples/sample.pcd") + " > /dev/full");
  EXPECT_EQ(full.exitCode, 4) << full.output;

  // The help says where --strict went.
  result = runProgram({{"check", "--help"}, kSourceDir, {}});
  EXPECT_NE(result.out.find("--strict is now 'pcd-import lint'"), std::string::npos);
}

// Negative ids, which the check keeps beside the others, are ids like any:
// the sample twice, once with every id negated, is as clean as the sample.
TEST(CheckCommand, NegativeIdsResolveLikeAnyOther) {
  std::istringstream in(readFile(kSourceDir + "/examples/sample.pcd"));
  std::string pcd, negated, line;
  std::getline(in, line);
  pcd = line + "\n";
  while (std::getline(in, line)) {
    pcd += line + "\n";
    std::vector<std::string> fields;
    std::istringstream split(line);
    for (std::string field; std::getline(split, field, ',');) fields.push_back(field);
    for (size_t at = 2; at < (fields[0] == "R" ? 5u : 3u); ++at) {
      if (fields[at] != "0") fields[at] = "-" + fields[at];
    }
    for (size_t at = 0; at < fields.size(); ++at) negated += (at == 0 ? "" : ",") + fields[at];
    negated += "\n";
  }
  TemporaryFolder folder;
  writeFile(folder.file("negative.pcd"), pcd + negated);
  const ProgramResult result = runProgram({{"check", "negative.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "0 errors, 0 warnings in 1 file\n");
}

// Ids in ascending order, as extracts list them, are searched in place:
// an id below the first, between two and above the last is missing, and a
// record right after another of its id replaces it.
TEST(CheckCommand, AscendingIdsResolveLikeAnyOther) {
  TemporaryFolder folder;
  writeFile(folder.file("ascending.pcd"),
            replacedIn(readFile(kSourceDir + "/examples/sample.pcd"),
                       {{"R,DB_AT,30,20,10,", "R,DB_AT,30,5,10,"},
                        {"E,TABLE,103,1,C8,INVOICES\n",
                         "E,TABLE,103,1,C8,INVOICES\nE,TABLE,103,1,C9,INVOICES2\n"},
                        {"R,TABLE_AT,123,103,61,", "R,TABLE_AT,123,103,63,"},
                        {"R,PARM,621,600,341,", "R,PARM,621,600,9999,"}}));
  const ProgramResult result = runProgram({{"check", "ascending.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1);
  for (const std::string expected : {
           ":6: error: [TAV_CARDS_F0009] Missing Object (5): DB_AT record (id 30): its from id 5 "
           "is defined by no record",
           ":23: warning: id 103 is defined again (TABLE); this record replaces the TABLE record "
           "on line 22",
           ":32: error: [TAV_CARDS_F0009] Missing Object (63): TABLE_AT record (id 123)",
           ":133: error: [TAV_CARDS_F0009] Missing Object (9999): PARM record (id 621)",
       }) {
    EXPECT_NE(result.out.find("ascending.pcd" + expected), std::string::npos) << expected;
  }
  EXPECT_NE(result.out.find("\n3 errors, 2 warnings in 1 file\n"), std::string::npos) << result.out;
}

// A table placed at something that is neither a schema nor a catalog:
// another table's placement, a table, a schema no SCHEM_AT places. The
// import skips it and its columns (or only the placement, when another one
// builds it), and a foreign key to it keeps no referenced table.
TEST(CheckCommand, TablesPlacedAtNeitherSchemaNorCatalog) {
  TemporaryFolder folder;
  writeFile(folder.file("placed.pcd"),
            replacedIn(readFile(kSourceDir + "/examples/sample.pcd"),
                       {{"R,TABLE_AT,121,101,60,", "R,TABLE_AT,121,101,120,"},
                        {"R,TABLE_AT,122,102,60,", "R,TABLE_AT,122,102,100,"},
                        {"E,SCHEMA,62,1,C9,REPORTING\n",
                         "E,SCHEMA,62,1,C9,REPORTING\nE,SCHEMA,63,1,C1,X\n"},
                        {"R,TABLE_AT,126,100,61,", "R,TABLE_AT,126,100,63,"}}));
  const ProgramResult result = runProgram({{"check", "placed.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out,
            "placed.pcd:30: warning: TABLE_AT record (id 121) places table ORDERS at the "
            "TABLE_AT record on line 29, which is neither a schema nor a catalog; the import "
            "skips the table and its columns\n"
            "placed.pcd:31: warning: TABLE_AT record (id 122) places table ORDER_LINES at the "
            "TABLE record on line 17, which is neither a schema nor a catalog; the import skips "
            "the table and its columns\n"
            "placed.pcd:35: warning: TABLE_AT record (id 126) places table CUSTOMERS at the "
            "SCHEMA record on line 13, which is neither a schema nor a catalog; the import "
            "ignores this placement\n"
            "placed.pcd:113: warning: foreign key FK_INVOICES_LINES (FK_TB_AT id 531): the "
            "TABLE_AT record on line 31 places the referenced table at neither a schema nor a "
            "catalog; the import keeps the foreign key without a referenced table\n"
            "0 errors, 4 warnings in 1 file\n");
}

// A counted string whose count ends inside its field: the import takes the
// counted bytes and ignores the rest of the field, or takes the rest of the
// line for a count beyond it; the check warns, and the line still imports.
TEST(CheckCommand, CountsThatEndInsideTheirFieldAreWarnedAbout) {
  TemporaryFolder folder;
  writeFile(folder.file("counts.pcd"),
            "header\n"
            "E,REL_SYS,10,2,C3,SYS,C4,ODBC\n"
            "E,DATABASE,20,1,C3,CAT\n"
            "R,DB_AT,30,20,10,2,C0,C0\n"
            "E,SCHEMA,60,1,C4,SHOP\n"
            "R,SCHEM_AT,70,60,20,1,C0\n"
            "E,TABLE,100,1,C1,TXYZ\n"
            "R,TABLE_AT,120,100,60,2,C1,T,C9,X\n"
            "E,TABLE,101,1,C11,Order, date\n"
            "R,TABLE_AT,121,101,60,2,C11,Order, date,C0\n");
  ProgramResult result = runProgram({{"check", "counts.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out,
            "counts.pcd:7: warning: attribute 1 of 1 of TABLE: its count 1 ends inside the "
            "field: the import takes 'T' and ignores 'XYZ'\n"
            "counts.pcd:8: warning: attribute 2 of 2 of TABLE_AT: its count 9 is more than the 1 "
            "byte left on the line: the import takes the rest of the line\n"
            "0 errors, 2 warnings in 1 file\n");
  result = runProgram({{"-q", "-f", "summary", "counts.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out.rfind("catalogs=1 schemas=1 tables=2 ", 0), 0u) << result.out;
}

// Every id of every relationship in the sample, made missing one at a time:
// check reports it exactly when the import stops on it. Then each id check
// expects a kind for, and the ids behind the records found, made to name a
// record of another kind: the import stops with the message check reports
// on that record's line, or skips the record where check says it does.
// Both resolve through one table (builder/record_references.h); this holds
// check's reading of it against what the import does.
TEST(CheckCommand, ResolvesEveryIdAsTheImportDoes) {
  namespace cr = CaRepositoryDsOdbcImport;
  std::vector<std::string> lines;
  {
    std::istringstream in(readFile(kSourceDir + "/examples/sample.pcd"));
    for (std::string line; std::getline(in, line);) lines.push_back(line);
  }
  auto fieldsOf = [](const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream in(line);
    for (std::string field; std::getline(in, field, ',');) fields.push_back(field);
    return fields;
  };
  // The index of the first line whose record has that name, or that id.
  auto find = [&](const std::string& name, const std::string& id) {
    for (size_t at = 1; at < lines.size(); ++at) {
      const std::vector<std::string> fields = fieldsOf(lines[at]);
      if (fields.size() > 2 && fields[0] != "T" && (fields[1] == name || fields[2] == id)) {
        return at;
      }
    }
    ADD_FAILURE() << "no record " << name << id;
    return size_t{0};
  };
  TemporaryFolder folder;
  // Sets field `field` (3: from id, 4: to id) of line `at` to `value`, runs
  // the import and the check on the result.
  auto run = [&](size_t at, size_t field, const std::string& value) {
    std::vector<std::string> fields = fieldsOf(lines[at]);
    fields[field] = value;
    std::string pcd;
    for (size_t i = 0; i < lines.size(); ++i) {
      std::string line = lines[i];
      if (i == at) {
        line.clear();
        for (const std::string& f : fields) line += (line.empty() ? "" : ",") + f;
      }
      pcd += line + "\n";
    }
    writeFile(folder.file("broken.pcd"), pcd);
    return std::make_pair(runProgram({{"-q", "-f", "summary", "broken.pcd"}, folder.path(), {}}),
                          runProgram({{"check", "broken.pcd"}, folder.path(), {}}));
  };
  auto expectFailure = [](const std::pair<ProgramResult, ProgramResult>& results, size_t at,
                          const std::string& message) {
    EXPECT_NE(results.first.exitCode, 0) << message;
    EXPECT_NE(results.first.err.find(message), std::string::npos) << results.first.err;
    const std::string reported = "broken.pcd:" + std::to_string(at + 1) + ": error: " + message;
    EXPECT_NE(results.second.out.find(reported), std::string::npos) << reported << "\n"
                                                                    << results.second.out;
  };
  for (int kind = 0; kind < cr::kRecordKinds; ++kind) {
    const std::string name = cr::kRecordNameTexts[kind];
    const bool present = std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.rfind("R," + name + ",", 0) == 0;
    });
    if (!present) continue;
    const size_t at = find(name, "");
    for (const size_t field : {3, 4}) {
      SCOPED_TRACE(lines[at] + ", field " + std::to_string(field));
      const auto results = run(at, field, "999999");
      const std::string message = "[TAV_CARDS_F0009] Missing Object (999999)";
      const bool stops = results.first.err.find(message) != std::string::npos;
      const std::string reported = "broken.pcd:" + std::to_string(at + 1) + ": error: " + message;
      EXPECT_EQ(stops, results.second.out.find(reported) != std::string::npos)
          << results.first.err << results.second.out;
      if (!stops) {
        EXPECT_EQ(results.second.out.find(message), std::string::npos);
      }
    }
  }
  for (const cr::IdReference& reference : cr::kIdReferences) {
    if (reference.reached || reference.resolution == cr::Resolution::kAnyKind) continue;
    const std::string name = cr::kRecordNameTexts[static_cast<int>(reference.record)];
    const std::string kind = cr::kRecordNameTexts[static_cast<int>(reference.kind)];
    const size_t at = find(name, "");
    const std::vector<std::string> fields = fieldsOf(lines[at]);
    const size_t field = reference.field == cr::kFromId ? 3 : 4;
    SCOPED_TRACE(lines[at]);
    if (reference.resolution == cr::Resolution::kKindOrSkip) {
      const auto results = run(at, field, fields[2]);
      EXPECT_EQ(results.first.exitCode, 0) << results.first.err;
      EXPECT_NE(results.second.out.find("belongs to the " + name + " record"), std::string::npos)
          << results.second.out;
      continue;
    }
    expectFailure(run(at, field, fields[2]), at,
                  "[TAV_CARDS_F0010] Bad Object Type for (" + fields[2] + ") (got (" + name +
                      "), expected (" + kind + "))");
    // The ids resolved on the record found.
    for (const cr::IdReference& next : cr::kIdReferences) {
      if (!next.reached || next.record != reference.kind) continue;
      const size_t target = find("", fields[field]);
      const std::vector<std::string> targetFields = fieldsOf(lines[target]);
      expectFailure(run(target, next.field == cr::kFromId ? 3 : 4, targetFields[2]), target,
                    "[TAV_CARDS_F0010] Bad Object Type for (" + targetFields[2] + ") (got (" +
                        targetFields[1] + "), expected (" +
                        cr::kRecordNameTexts[static_cast<int>(next.kind)] + "))");
    }
  }
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
