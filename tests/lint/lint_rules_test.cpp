// `pcd-import lint`, rule by rule: each on a small catalog that has the
// fault and on one that almost has it, through the program's JSON report.
// Nullable key columns, self-references, cycles and which record a finding's
// line names are left to the reviewed baseline of the test extracts, which
// shows each of their faults.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "builder/pcd_writer.h"
#include "cli/program_runner.h"
#include "lint_support.h"

namespace {

using P = PcdWriter;

// Column `column` (a REL_COL id) of type `type`, as TBL_COL column+1.
void addColumn(PcdWriter& pcd, long table, long column, const std::string& name, long position,
               long type = 9, const std::string& nullable = "N") {
  pcd.relCol(column, type, name, 10).tblCol(column + 1, table, column, nullable, position);
}

// A key of `kind` on TBL_COL ids, KEY_COL ids from id+1.
void addKey(PcdWriter& pcd, long id, const std::string& name, const std::string& kind,
            const std::vector<long>& tableColumns) {
  pcd.key(id, name, kind);
  for (size_t i = 0; i < tableColumns.size(); ++i) {
    pcd.keyCol(id + 1 + static_cast<long>(i), id, tableColumns[i], static_cast<long>(i) + 1);
  }
}

// Foreign key `id` (KEY) with FGN_KEY id+5 and FK_TB_AT id+6 to the table
// placed by `tableAt`.
void addForeignKey(PcdWriter& pcd, long id, const std::string& name,
                   const std::vector<long>& tableColumns, long tableAt) {
  addKey(pcd, id, name, "F", tableColumns);
  pcd.fgnKey(id + 5, id).fkTbAt(id + 6, id + 5, tableAt);
}

// A table PARENT (100, placed by 101) with primary key ID (TBL_COL 111),
// described, its column described.
PcdWriter withParent() {
  PcdWriter pcd;
  pcd.basicCatalog().relDt(8, "INTEGER");
  pcd.table(100, "PARENT").text(100, "DESCRIPTION", "parents").tableAt(101, 100, 4);
  pcd.relCol(110, 9, "ID", 10, 0, 0, "key").tblCol(111, 100, 110, "N", 1);
  addKey(pcd, 120, "PK_PARENT", "P", {111});
  return pcd;
}

TEST(LintKeys, PrimaryAndUniqueKeys) {
  PcdWriter pcd = withParent();
  pcd.tableIn(200, "NOKEY", 4);
  addColumn(pcd, 200, 210, "A", 1);
  addColumn(pcd, 200, 212, "B", 2);
  pcd.tableIn(300, "ALTONLY", 4);
  addColumn(pcd, 300, 310, "A", 1);
  addColumn(pcd, 300, 312, "B", 2);
  addKey(pcd, 320, "AK_ALTONLY", "A", {311});
  pcd.tableIn(400, "UNIQUEINDEX", 4);
  addColumn(pcd, 400, 410, "A", 1);
  addColumn(pcd, 400, 412, "B", 2);
  addKey(pcd, 420, "UX", "I", {411});
  pcd.indexAt(425, 420, "Y", "N");
  const Findings found = lintFindings(pcd);
  EXPECT_TRUE(found.has("table-without-primary-key", "DB.S.NOKEY"));
  EXPECT_TRUE(found.has("table-without-primary-key", "DB.S.ALTONLY"));
  EXPECT_FALSE(found.has("table-without-primary-key", "DB.S.PARENT"));
  EXPECT_TRUE(found.has("table-without-unique-key", "DB.S.NOKEY"));
  EXPECT_FALSE(found.has("table-without-unique-key", "DB.S.ALTONLY"));
  EXPECT_FALSE(found.has("table-without-unique-key", "DB.S.UNIQUEINDEX"));
  EXPECT_FALSE(found.has("table-without-unique-key", "DB.S.PARENT"));
}

// Child CHILD (200) with ID (PK) and PARENT_ID referencing PARENT.
PcdWriter withChild(long parentIdType = 9) {
  PcdWriter pcd = withParent();
  pcd.tableIn(200, "CHILD", 4);
  addColumn(pcd, 200, 210, "ID", 1);
  addColumn(pcd, 200, 212, "PARENT_ID", 2, parentIdType);
  addKey(pcd, 220, "PK_CHILD", "P", {211});
  addForeignKey(pcd, 230, "FK_CHILD_PARENT", {213}, 101);
  return pcd;
}

TEST(LintKeys, ForeignKeyIndexTypeAndTarget) {
  Findings found = lintFindings(withChild());
  EXPECT_TRUE(found.has("foreign-key-without-index", "DB.S.CHILD.FK_CHILD_PARENT"));
  EXPECT_FALSE(found.has("foreign-key-type-mismatch"));
  EXPECT_FALSE(found.has("foreign-key-without-key"));
  EXPECT_FALSE(found.has("self-referencing-foreign-key"));

  // An index that starts with the column covers the foreign key.
  PcdWriter indexed = withChild();
  addKey(indexed, 250, "IX_CHILD_PARENT", "I", {213, 211});
  EXPECT_FALSE(lintFindings(indexed).has("foreign-key-without-index"));
  // One that only holds it second does not.
  PcdWriter second = withChild();
  addKey(second, 250, "IX_CHILD_ID_PARENT", "I", {211, 213});
  EXPECT_TRUE(lintFindings(second).has("foreign-key-without-index"));

  found = lintFindings(withChild(8));
  EXPECT_TRUE(found.has("foreign-key-type-mismatch", "DB.S.CHILD.PARENT_ID"));
  EXPECT_NE(found.message("foreign-key-type-mismatch").find("INTEGER(10)"), std::string::npos);

  // Without its FK_TB_AT the foreign key references nothing.
  PcdWriter dangling = withParent();
  dangling.tableIn(200, "CHILD", 4);
  addColumn(dangling, 200, 210, "PARENT_ID", 1);
  addKey(dangling, 230, "FK_NOWHERE", "F", {211});
  EXPECT_TRUE(lintFindings(dangling).has("foreign-key-without-key", "DB.S.CHILD.FK_NOWHERE"));
}

TEST(LintIndexes, RedundantAndDuplicateIgnoreKeyPositionIndexes) {
  PcdWriter pcd = withParent();
  pcd.tableIn(200, "T", 4);
  addColumn(pcd, 200, 210, "A", 1);
  addColumn(pcd, 200, 212, "B", 2);
  addColumn(pcd, 200, 214, "C", 3);
  addKey(pcd, 220, "PK_T", "P", {211});
  addKey(pcd, 230, "IX_AB", "I", {211, 213});
  addKey(pcd, 240, "IX_A_AGAIN", "I", {211});  // the primary key's columns
  addKey(pcd, 250, "IX_B", "I", {213});
  addKey(pcd, 260, "IX_BC", "I", {213, 215});
  addKey(pcd, 270, "IX_AB_AGAIN", "I", {211, 213});
  addKey(pcd, 280, "IX_BA", "I", {213, 211});
  const Findings found = lintFindings(pcd);
  EXPECT_TRUE(found.has("duplicate-index", "DB.S.T.IX_A_AGAIN"));
  EXPECT_TRUE(found.has("duplicate-index", "DB.S.T.IX_AB_AGAIN"));
  EXPECT_TRUE(found.has("redundant-index", "DB.S.T.IX_B"));
  // And no other: not IX_BA (another order), IX_BC (wider) or the primary
  // key's own position index.
  EXPECT_EQ(found.count("duplicate-index") + found.count("redundant-index"), 3);
}

TEST(LintShape, ColumnsLargeObjectsAndSeries) {
  PcdWriter pcd = withParent();
  pcd.relDt(7, "CLOB");
  pcd.tableIn(200, "ONE", 4);
  addColumn(pcd, 200, 210, "A", 1);
  pcd.tableIn(300, "WIDE", 4);
  for (long i = 0; i < 4; ++i)
    addColumn(pcd, 300, 310 + 2 * i, "C" + std::string(1, 'A' + i), i + 1);
  pcd.tableIn(400, "LOBS", 4);
  for (long i = 0; i < 3; ++i)
    addColumn(pcd, 400, 410 + 2 * i, "DOC" + std::to_string(i + 1), i + 1, 7);
  pcd.tableIn(500, "TWOLOBS", 4);
  addColumn(pcd, 500, 510, "NOTE1", 1, 7);
  addColumn(pcd, 500, 512, "NOTE2", 2, 7);
  const Findings found = lintFindings(pcd, "rules:\n  too-many-columns: {threshold: 3}\n");
  EXPECT_TRUE(found.has("single-column-table", "DB.S.ONE"));
  EXPECT_FALSE(found.has("single-column-table", "DB.S.TWOLOBS"));
  EXPECT_TRUE(found.has("too-many-columns", "DB.S.WIDE"));
  EXPECT_FALSE(found.has("too-many-columns", "DB.S.LOBS"));  // 3 is not more than 3
  EXPECT_TRUE(found.has("too-many-large-objects", "DB.S.LOBS"));
  EXPECT_FALSE(found.has("too-many-large-objects", "DB.S.TWOLOBS"));
  EXPECT_TRUE(found.has("incrementing-column-names", "DB.S.LOBS.DOC1"));
  EXPECT_FALSE(found.has("incrementing-column-names", "DB.S.TWOLOBS.NOTE1"));
}

TEST(LintDocumentation, DescriptionsAndCoverage) {
  PcdWriter pcd = withParent();
  pcd.tableIn(200, "BARE", 4);
  addColumn(pcd, 200, 210, "A", 1);
  pcd.view(300, "V").tableAt(301, 300, 4);
  pcd.dbProc(400, "P_DOC").text(400, "DESCRIPTION", "does things").objAt(401, 400, 4);
  pcd.dbProc(410, "P_BARE").objAt(411, 410, 4);
  const nlohmann::json report = lintJson(pcd);
  const Findings found(report);
  EXPECT_TRUE(found.has("table-without-description", "DB.S.BARE"));
  EXPECT_FALSE(found.has("table-without-description", "DB.S.PARENT"));
  EXPECT_TRUE(found.has("column-without-description", "DB.S.BARE.A"));
  EXPECT_FALSE(found.has("column-without-description", "DB.S.PARENT.ID"));
  EXPECT_TRUE(found.has("procedure-without-description", "DB.S.P_BARE"));
  EXPECT_FALSE(found.has("procedure-without-description", "DB.S.P_DOC"));
  // Views carry no description in an extract: the rule is off by default.
  EXPECT_FALSE(found.has("view-without-description"));
  EXPECT_TRUE(lintFindings(pcd, "rules:\n  view-without-description: {enabled: true}\n")
                  .has("view-without-description", "DB.S.V"));

  // 2 tables (1 described), 2 columns (1), 1 view (0), 2 procedures (1).
  const nlohmann::json& coverage = report["sources"][0]["coverage"];
  ASSERT_EQ(coverage["schemas"].size(), 1u);
  EXPECT_EQ(coverage["schemas"][0]["schema"], "S");
  EXPECT_EQ(coverage["schemas"][0]["tables"]["documented"], 1);
  EXPECT_EQ(coverage["schemas"][0]["columns"]["total"], 2);
  EXPECT_EQ(coverage["schemas"][0]["procedures"]["documented"], 1);
  EXPECT_DOUBLE_EQ(coverage["overall"]["percent"].get<double>(), 42.9);  // 3 of 7
  EXPECT_DOUBLE_EQ(report["coverage"]["percent"].get<double>(), 42.9);
}

TEST(LintNames, QuotingLengthAndCase) {
  PcdWriter pcd = withParent();
  const std::string long64(64, 'L');
  const std::string long63(63, 'K');
  long id = 200;
  for (const std::string& name :
       {std::string("ORDER"), std::string("ORDERS"), std::string("Order Lines"),
        std::string("MixedCase"), long64, long63, std::string("Abc"), std::string("ABC"),
        std::string("ABD"), std::string("1ST")}) {
    pcd.table(id, name).text(id, "DESCRIPTION", "d").tableAt(id + 1, id, 4);
    pcd.relCol(id + 10, 9, "ID", 10, 0, 0, "d").tblCol(id + 11, id, id + 10, "N", 1);
    id += 100;
  }
  // Two more columns of ORDER whose names differ only in case from each other.
  pcd.relCol(220, 9, "Qty", 10, 0, 0, "d").tblCol(221, 200, 220, "N", 2);
  pcd.relCol(222, 9, "QTY", 10, 0, 0, "d").tblCol(223, 200, 222, "N", 3);
  // A reserved word as a column of two tables: each is reported.
  pcd.relCol(224, 9, "SELECT", 10, 0, 0, "d").tblCol(225, 200, 224, "N", 4);
  pcd.relCol(324, 9, "SELECT", 10, 0, 0, "d").tblCol(325, 300, 324, "N", 2);
  Findings found = lintFindings(pcd);
  EXPECT_TRUE(found.has("name-needs-quoting", "DB.S.ORDER.SELECT"));
  EXPECT_TRUE(found.has("name-needs-quoting", "DB.S.ORDERS.SELECT"));
  EXPECT_TRUE(found.has("name-needs-quoting", "DB.S.ORDER"));
  EXPECT_NE(found.message("name-needs-quoting", "DB.S.ORDER")
                .find("a reserved word (postgresql, mysql, sqlite)"),
            std::string::npos);
  EXPECT_FALSE(found.has("name-needs-quoting", "DB.S.ORDERS"));
  EXPECT_TRUE(found.has("name-needs-quoting", "DB.S.Order Lines"));
  EXPECT_TRUE(found.has("name-needs-quoting", "DB.S.MixedCase"));
  EXPECT_TRUE(found.has("name-needs-quoting", "DB.S.1ST"));
  EXPECT_TRUE(found.has("name-too-long", "DB.S." + long64));
  EXPECT_FALSE(found.has("name-too-long", "DB.S." + long63));
  EXPECT_TRUE(found.has("names-differ-only-by-case", "DB.S.ABC"));
  EXPECT_TRUE(found.has("names-differ-only-by-case", "DB.S.ORDER.QTY"));
  EXPECT_EQ(found.count("names-differ-only-by-case"), 2);

  // Mixed case only matters where unquoted names fold; MySQL keeps 64.
  found = lintFindings(pcd, "dialects: [mysql]\n");
  EXPECT_FALSE(found.has("name-needs-quoting", "DB.S.MixedCase"));
  EXPECT_FALSE(found.has("name-needs-quoting", "DB.S.1ST"));
  EXPECT_FALSE(found.has("name-too-long", "DB.S." + long64));
}

TEST(LintRelations, ImpliedForeignKeys) {
  // CUSTOMERS (ID) and ORDERS with CUSTOMERS_ID, CUSTOMER_ID-like columns.
  const auto catalog = [](bool withForeignKey, long customerIdType) {
    PcdWriter pcd;
    pcd.basicCatalog().relDt(8, "INTEGER");
    pcd.tableIn(100, "CUSTOMERS", 4);
    addColumn(pcd, 100, 110, "ID", 1);
    addKey(pcd, 120, "PK_CUSTOMERS", "P", {111});
    pcd.tableIn(200, "ORDERS", 4);
    addColumn(pcd, 200, 210, "ID", 1);
    addColumn(pcd, 200, 212, "CUSTOMER_ID", 2, customerIdType);
    addKey(pcd, 220, "PK_ORDERS", "P", {211});
    if (withForeignKey) addForeignKey(pcd, 230, "FK_ORDERS_CUSTOMERS", {213}, 101);
    return pcd;
  };
  Findings found = lintFindings(catalog(false, 9));
  EXPECT_TRUE(found.has("implied-foreign-key", "DB.S.ORDERS.CUSTOMER_ID"));
  // Each table's own ID is its key, not a reference to the other's.
  EXPECT_EQ(found.count("implied-foreign-key"), 1);
  EXPECT_FALSE(lintFindings(catalog(true, 9)).has("implied-foreign-key"));
  EXPECT_FALSE(lintFindings(catalog(false, 8)).has("implied-foreign-key"));
}

// The JSON report gives a finding the line of the record that defines its
// object (which record that is, the reviewed baseline shows).
TEST(LintLocations, JsonFindingsCarryTheirLine) {
  PcdWriter pcd = withChild();
  long keyLine = 0;
  for (size_t i = 0; i < pcd.lines().size(); ++i) {
    if (pcd.lines()[i].rfind("E,KEY,230,", 0) == 0) keyLine = static_cast<long>(i + 1);
  }
  EXPECT_EQ(lintFindings(pcd).line("foreign-key-without-index", "DB.S.CHILD.FK_CHILD_PARENT"),
            keyLine);

  // A long name: the finding's object holds it whole and finds its line;
  // the message shows its first 256 characters.
  const std::string longName(100000, 'L');
  pcd.tableIn(900, longName, 4);
  addColumn(pcd, 900, 910, "A", 1);
  const Findings findings = lintFindings(pcd);
  EXPECT_EQ(findings.line("table-without-primary-key", "DB.S." + longName),
            static_cast<long>(pcd.lines().size()) - 3);
  EXPECT_EQ(findings.message("table-without-primary-key", "DB.S." + longName),
            "table S." + longName.substr(0, 256) + "\xE2\x80\xA6 has no primary key");
}

}  // namespace
