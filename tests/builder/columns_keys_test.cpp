// Columns with their derived types, keys with their position indexes, and
// index-only keys.
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "model_queries.h"
#include "pcd_writer.h"
#include "zel_type_helpers.h"

namespace {

TEST(Columns, TypesAreNamedByNativeTypeAndLengthAndShareBaseTypes) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .tableIn(10, "T", 4)
      .relDt(20, "NUMBER(10,2)")
      .relDt(21, "CHAR (10)")
      .relDt(22, "MYSTERY")
      .relCol(30, 9, "ALT_LENGTH", 0, 12)
      .tblCol(31, 10, 30, "N", 1)
      .relCol(32, 9, "NO_LENGTH", 0, 0)
      .tblCol(33, 10, 32, "Y", 2)
      .relCol(34, 20, "AMOUNT", 10, 0, 2)
      .tblCol(35, 10, 34, "n", 3)
      .relCol(36, 21, "CODE", 0)
      .tblCol(37, 10, 36, "NO", 65537)
      .relCol(38, 22, "ODD", 0)
      .tblCol(39, 10, 38, "", 40000);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELClass* table = onlyClass(*result.model, "T");
  ASSERT_NE(table, nullptr);

  // Names from native type and length, scale and the undefined base type
  // are in the sample; here the alternate length and a blank before brackets.
  ZELDerivedType* alt = typeOf(columnOf(table, "ALT_LENGTH"));
  EXPECT_STREQ(alt->getName().c_str(), "VARCHAR_12");
  EXPECT_STREQ(typeOf(columnOf(table, "NO_LENGTH"))->getName().c_str(), "VARCHAR");
  EXPECT_STREQ(typeOf(columnOf(table, "CODE"))->DataType.c_str(), "CHAR");

  // Positions keep their low 16 bits; only "N" leaves a column required.
  EXPECT_EQ(columnOf(table, "CODE")->getPosition(), 1);
  EXPECT_EQ(columnOf(table, "ODD")->getPosition(), -25536);
  EXPECT_FALSE(columnOf(table, "ALT_LENGTH")->isOptional());
  for (const char* name : {"NO_LENGTH", "AMOUNT", "CODE", "ODD"}) {
    EXPECT_TRUE(columnOf(table, name)->isOptional()) << name;
  }

  // One base type per logical name, one "undefined".
  int undefined = 0;
  for (ZELType* type : result.model->types()) undefined += type->getName() == "undefined";
  EXPECT_EQ(undefined, 1);
}

// Descriptions from the column definition, joined text lines and view
// columns are in the sample; not a column's own text over its definition's.
TEST(Columns, AColumnsOwnDescriptionComesBeforeItsDefinitions) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .tableIn(10, "T", 4)
      .relCol(20, 9, "A", 5, 0, 0, "from definition")
      .tblCol(21, 10, 20, "N", 1, "own");
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  EXPECT_STREQ(columnOf(onlyClass(*result.model, "T"), "A")->getDescription().c_str(), "own");
}

TEST(Columns, ColumnsOfWrongKindsEndTheImport) {
  PcdWriter pcd;
  pcd.basicCatalog().view(10, "V").relCol(20, 9, "A", 5).tblCol(21, 10, 20, "N", 1);
  EXPECT_EQ(pcd.import().error,
            "[TAV_CARDS_F0010] Bad Object Type for (10) (got (VIEW), expected (TABLE))");
  PcdWriter dangling;
  dangling.basicCatalog().tableIn(10, "T", 4).relCol(20, 99, "A", 5).tblCol(21, 10, 20, "N", 1);
  EXPECT_EQ(dangling.import().error, "[TAV_CARDS_F0009] Missing Object (99)");
}

// Table T with columns A, B, C (positions 1-3).
PcdWriter tableWithThreeColumns() {
  PcdWriter pcd;
  pcd.basicCatalog().placedTable(10, "T", {"A", "B", "C"});
  return pcd;
}

std::vector<std::string> memberColumns(const ZELIndex* index) {
  std::vector<std::string> names;
  for (ZELIndexMember* member : index->members()) {
    names.push_back(member->getAttribute()->getName().c_str());
  }
  return names;
}

TEST(Keys, KindLettersMakeCandidateKeysForeignKeysAndIndexes) {
  PcdWriter pcd = tableWithThreeColumns();
  pcd.key(30, "PK", "P")
      .keyCol(31, 30, 23, 2)
      .keyCol(32, 30, 21, 1, "D")
      .key(33, "AK", "A")
      .keyCol(34, 33, 25, 65537, "d")
      .key(35, "FK", "F")
      .keyCol(36, 35, 21, 1)
      .key(37, "IX", "I")
      .keyCol(38, 37, 21, 1)
      .keyCol(39, 37, 23, 2)
      .keyCol(40, 37, 25, 3, "")
      .key(41, "LOWER", "p")
      .keyCol(42, 41, 21, 1)
      .key(43, "LONG", "PK")
      .keyCol(44, 43, 21, 1);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELClass* table = onlyClass(*result.model, "T");
  EXPECT_EQ(namesOf(table->keys()), (std::vector<std::string>{"PK", "AK", "FK"}));
  EXPECT_EQ(namesOf(table->indexes()),
            (std::vector<std::string>{"PK_POSITION", "AK_POSITION", "FK_POSITION", "IX"}));

  // Key kinds, position indexes and sort orders "A" and "D" are in the
  // sample; here columns out of position order and odd sort orders.
  auto* primary = findByName<ZELCandidateKey>(table->keys(), "PK");
  EXPECT_EQ(namesOf(primary->attributes()), (std::vector<std::string>{"B", "A"}));
  ZELIndex* position = primary->getIndex();
  ASSERT_NE(position, nullptr);
  // Members keep record order, not position order.
  EXPECT_EQ(memberColumns(position), (std::vector<std::string>{"B", "A"}));
  EXPECT_EQ(position->members().at(0)->position, 2);
  EXPECT_EQ(position->members().at(0)->sortOrder, 1);
  EXPECT_EQ(position->members().at(1)->sortOrder, 2);

  auto* alternate = findByName<ZELCandidateKey>(table->keys(), "AK");
  EXPECT_EQ(alternate->getIndex()->members().first()->position, 1);
  EXPECT_EQ(alternate->getIndex()->members().first()->sortOrder, 1);

  auto* indexOnly = findByName<ZELIndex>(table->indexes(), "IX");
  EXPECT_EQ(memberColumns(indexOnly), (std::vector<std::string>{"A", "B", "C"}));
  EXPECT_EQ(indexOnly->members().at(2)->sortOrder, 1);
  // Unknown kind letters ("p", "PK") make nothing and say nothing.
  EXPECT_EQ(result.logTexts().size(), 3u);
}

TEST(Keys, IndexFlagsApplyToIndexOnlyKeysAndOtherKeysAreRemoved) {
  PcdWriter pcd = tableWithThreeColumns();
  pcd.key(30, "PK", "P")
      .keyCol(31, 30, 21, 1)
      .key(33, "IX", "I")
      .keyCol(34, 33, 23, 1)
      .key(35, "IY", "I")
      .keyCol(36, 35, 25, 1)
      .key(37, "NOCOLUMNS", "I")
      .indexAt(40, 33, "Y", "N")
      .indexAt(41, 35, "N", "Y")
      .indexAt(42, 30, "Y", "N")
      .indexAt(43, 30, "Y", "Y")
      .indexAt(44, 37, "Y", "Y");
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELClass* table = onlyClass(*result.model, "T");
  auto* ix = findByName<ZELIndex>(table->indexes(), "IX");
  auto* iy = findByName<ZELIndex>(table->indexes(), "IY");
  EXPECT_TRUE(ix->indexFlag1);
  EXPECT_FALSE(ix->indexFlag3);
  EXPECT_FALSE(iy->indexFlag1);
  EXPECT_TRUE(iy->indexFlag3);
  // The primary key is gone (once: the second INDEX_AT finds nothing), its
  // position index stays with the class.
  EXPECT_TRUE(table->keys().isEmpty());
  EXPECT_EQ(table->getPrimaryKey(), nullptr);
  EXPECT_NE(findByName<ZELIndex>(table->indexes(), "PK_POSITION"), nullptr);
  auto texts = result.logTexts();
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "Unexpected type for key (PK); skipping"), 1);
}

TEST(Keys, TwoPrimaryKeysOnOneClassLeaveTheLaterAsPrimary) {
  PcdWriter pcd = tableWithThreeColumns();
  pcd.key(30, "PK1", "P")
      .keyCol(31, 30, 21, 1)
      .key(32, "PK2", "P")
      .keyCol(33, 32, 23, 1)
      .key(34, "DUP", "A")
      .keyCol(35, 34, 21, 1)
      .keyCol(36, 34, 21, 2);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELClass* table = onlyClass(*result.model, "T");
  EXPECT_STREQ(table->getPrimaryKey()->getName().c_str(), "PK2");
  auto* duplicate = findByName<ZELKey>(table->keys(), "DUP");
  EXPECT_EQ(namesOf(duplicate->attributes()), (std::vector<std::string>{"A", "A"}));
  EXPECT_EQ(duplicate->getIndex()->members().count(), 2);
}

// Columns get the type of the first column whose type would be equal (native
// name, length, scale), also across native type records of one name, so that
// the model holds the types the factorization of one type per column keeps,
// in the order of first use; factorizing again finds nothing to merge.
TEST(Columns, EqualTypeValuesShareTheTypeOfTheirFirstColumn) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .table(10, "T")
      .tableAt(11, 10, 4)
      .relDt(20, "VARCHAR")
      .relDt(21, "INTEGER")
      .relCol(30, 9, "A", 10)
      .tblCol(31, 10, 30, "N", 1)
      .relCol(32, 20, "B", 10)
      .tblCol(33, 10, 32, "N", 2)
      .relCol(34, 9, "C", 10, 0, 2)
      .tblCol(35, 10, 34, "N", 3)
      .relCol(36, 21, "D", 0)
      .tblCol(37, 10, 36, "N", 4)
      .relCol(38, 20, "E", 0, 12)
      .tblCol(39, 10, 38, "N", 5)
      .relCol(40, 9, "F", 12)
      .tblCol(41, 10, 40, "N", 6)
      .relCol(42, 9, "G", 0, 0, 2)
      .tblCol(43, 10, 42, "N", 7);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELClass* table = onlyClass(*result.model, "T");
  ASSERT_NE(table, nullptr);
  auto type = [table](const char* column) { return typeOf(columnOf(table, column)); };
  EXPECT_EQ(type("B"), type("A"));
  EXPECT_EQ(type("F"), type("E"));
  EXPECT_NE(type("C"), type("A"));
  EXPECT_NE(type("G"), type("C"));
  std::vector<ZELDerivedType*> derived;
  for (ZELType* each : result.model->types()) {
    if (each->isInstanceOf(ZEL_ET_DERIVED_TYPE))
      derived.push_back(static_cast<ZELDerivedType*>(each));
  }
  EXPECT_EQ(derived,
            (std::vector<ZELDerivedType*>{type("A"), type("C"), type("D"), type("E"), type("G")}));
  const long types = result.model->types().count();
  factorizeTypes(result.model.get());
  EXPECT_EQ(result.model->types().count(), types);
}

// More native type records and lengths than the look-up keeps at hand: the
// values it no longer holds are found again by name, so a column still
// takes the type of the first column with its values.
TEST(Columns, ManyNativeTypesShareTypesAsFew) {
  constexpr long kNativeTypes = 3000;
  PcdWriter pcd;
  pcd.basicCatalog().table(10, "T").tableAt(11, 10, 4);
  // Two records per native name: the second one's columns share the first's.
  for (long at = 0; at < kNativeTypes; ++at) {
    pcd.relDt(1000 + at, "N" + std::to_string(at / 2));
  }
  long id = 10000;
  for (int pass = 0; pass < 2; ++pass) {
    for (long at = 0; at < kNativeTypes; ++at) {
      const std::string name = "C" + std::to_string(pass) + "_" + std::to_string(at);
      pcd.relCol(id, 1000 + at, name, 1 + (at / 2) % 3).tblCol(id + 1, 10, id, "N", 1);
      id += 2;
    }
  }
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELClass* table = onlyClass(*result.model, "T");
  ASSERT_NE(table, nullptr);
  std::set<const ZELDerivedType*> distinct;
  for (long at = 0; at < kNativeTypes; ++at) {
    const auto* first = typeOf(columnOf(table, "C0_" + std::to_string(at)));
    ASSERT_NE(first, nullptr);
    // The other record of the name, with the same length.
    EXPECT_EQ(typeOf(columnOf(table, "C0_" + std::to_string(at ^ 1))), first) << at;
    EXPECT_EQ(typeOf(columnOf(table, "C1_" + std::to_string(at))), first) << at;
    distinct.insert(first);
  }
  long types = 0;
  for (ZELType* each : result.model->types()) types += each->isInstanceOf(ZEL_ET_DERIVED_TYPE);
  EXPECT_EQ(distinct.size(), static_cast<size_t>(kNativeTypes / 2));
  EXPECT_EQ(types, static_cast<long>(distinct.size()));
}

}  // namespace
