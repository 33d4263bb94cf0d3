// Foreign keys: pairing columns by position, multiplicities, and the keys
// that are reported and removed instead.
#include <gtest/gtest.h>

#include <algorithm>

#include "model_queries.h"
#include "pcd_writer.h"

namespace {

// PARENT (P1, P2) with primary key PK over positions `parentPositions`;
// CHILD (C1, C2, C3) with foreign key FK over C1.. at `childPositions`,
// referring to PARENT's TABLE_AT 11.
PcdWriter twoTables(std::vector<long> parentPositions, std::vector<long> childPositions,
                    const std::string& childNullable = "N") {
  PcdWriter pcd;
  pcd.basicCatalog()
      .table(10, "PARENT")
      .tableAt(11, 10, 4)
      .table(12, "CHILD")
      .tableAt(13, 12, 4)
      .relCol(20, 9, "P1", 5)
      .tblCol(21, 10, 20, "N", 1)
      .relCol(22, 9, "P2", 5)
      .tblCol(23, 10, 22, "N", 2)
      .relCol(24, 9, "C1", 5)
      .tblCol(25, 12, 24, "N", 1)
      .relCol(26, 9, "C2", 5)
      .tblCol(27, 12, 26, childNullable, 2)
      .relCol(28, 9, "C3", 5)
      .tblCol(29, 12, 28, "N", 3)
      .key(30, "PK", "P")
      .key(40, "FK", "F");
  const long parentColumns[] = {21, 23};
  for (size_t i = 0; i < parentPositions.size(); ++i) {
    pcd.keyCol(31 + static_cast<long>(i), 30, parentColumns[i], parentPositions[i]);
  }
  const long childColumns[] = {25, 27, 29};
  for (size_t i = 0; i < childPositions.size(); ++i) {
    pcd.keyCol(41 + static_cast<long>(i), 40, childColumns[i], childPositions[i]);
  }
  pcd.fgnKey(50, 40).fkTbAt(51, 50, 11);
  return pcd;
}

std::vector<std::pair<std::string, std::string>> pairsOf(const ZELForeignKey* key) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (ZELAssociationRoleNameMap* map : key->roleNameMaps()) {
    pairs.emplace_back(map->getSourceAttribute()->getName().c_str(),
                       map->getDestinationAttribute()->getName().c_str());
  }
  return pairs;
}

ZELForeignKey* foreignKeyOf(const ImportResult& result) {
  return findByName<ZELForeignKey>(onlyClass(*result.model, "CHILD")->keys(), "FK");
}

std::vector<ZELAssociation*> associationsOf(const ImportResult& result) {
  return ofExactType<ZELAssociation>(designPackagesOf(*result.model)[0]->elements(),
                                     ZEL_ET_ASSOCIATION);
}

TEST(ForeignKeys, ColumnsPairByPositionWhateverTheRecordOrder) {
  ImportResult result = twoTables({1, 2}, {2, 1}).import();
  ASSERT_EQ(result.error, "");
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(pairsOf(foreignKeyOf(result)), (Pairs{{"P2", "C1"}, {"P1", "C2"}}));

  ImportResult disjoint = twoTables({3, 4}, {1, 2}).import();
  ASSERT_EQ(disjoint.error, "");
  EXPECT_TRUE(foreignKeyOf(disjoint)->roleNameMaps().isEmpty());
  ASSERT_EQ(associationsOf(disjoint).size(), 1u);
  EXPECT_EQ(associationsOf(disjoint)[0]->roles().count(), 2);
}

TEST(ForeignKeys, AnOptionalColumnMakesTheParentSideOptional) {
  ImportResult required = twoTables({1, 2}, {1, 2}).import();
  ImportResult optional = twoTables({1, 2}, {1, 2}, "Y").import();
  ASSERT_EQ(required.error + optional.error, "");
  EXPECT_STREQ(associationsOf(required)[0]->roles().at(0)->multiplicity.c_str(), "1");
  EXPECT_STREQ(associationsOf(optional)[0]->roles().at(0)->multiplicity.c_str(), "0..1");
}

TEST(ForeignKeys, CountMismatchRemovesTheForeignKeyWithAWarning) {
  ImportResult result = twoTables({1, 2}, {1, 2, 3}).import();
  ASSERT_EQ(result.error, "");
  EXPECT_EQ(foreignKeyOf(result), nullptr);
  EXPECT_TRUE(associationsOf(result).empty());
  auto texts = result.logTexts();
  EXPECT_NE(std::find(texts.begin(), texts.end(),
                      "Foreign key (FK) number of attributes does not match primary key; "
                      "omitting Foreign Key"),
            texts.end());
  // Its position index stays with the class.
  EXPECT_NE(findByName<ZELIndex>(onlyClass(*result.model, "CHILD")->indexes(), "FK_POSITION"),
            nullptr);
}

TEST(ForeignKeys, KeysThatAreNotForeignKeysAreRemoved) {
  PcdWriter pcd = twoTables({1}, {1});
  pcd.fgnKey(60, 30).fkTbAt(61, 60, 13);  // a FGN_KEY leading to the primary key
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELClass* parent = onlyClass(*result.model, "PARENT");
  EXPECT_EQ(parent->getPrimaryKey(), nullptr);
  EXPECT_TRUE(parent->keys().isEmpty());
  // The foreign key completed earlier now refers to nothing.
  EXPECT_EQ(foreignKeyOf(result)->getCandidateKey(), nullptr);
  auto texts = result.logTexts();
  EXPECT_NE(std::find(texts.begin(), texts.end(), "Unexpected type for key (PK); skipping"),
            texts.end());
}

TEST(ForeignKeys, ReferencesWithoutAPrimaryKeyOrWithoutATableAreHandled) {
  // A view has no primary key: reported like a count mismatch.
  PcdWriter toView = twoTables({1}, {1});
  toView.view(70, "V").tableAt(71, 70, 4).fgnKey(72, 40).fkTbAt(73, 72, 71);
  ImportResult viewResult = toView.import();
  ASSERT_EQ(viewResult.error, "");
  EXPECT_EQ(foreignKeyOf(viewResult), nullptr);
  EXPECT_EQ(associationsOf(viewResult).size(), 1u);  // made by FK_TB_AT 51 before

  // A second placement carries no object: the record is skipped quietly.
  PcdWriter toSecond = twoTables({1}, {1});
  toSecond.tableAt(80, 10, 4).fgnKey(81, 40).fkTbAt(82, 81, 80);
  ImportResult secondResult = toSecond.import();
  ASSERT_EQ(secondResult.error, "");
  EXPECT_NE(foreignKeyOf(secondResult), nullptr);
  EXPECT_EQ(associationsOf(secondResult).size(), 1u);
}

TEST(ForeignKeys, AnIndexRecordRemovesACompletedForeignKeyCleanly) {
  PcdWriter pcd = twoTables({1}, {1});
  pcd.indexAt(90, 40, "Y", "Y");
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  EXPECT_EQ(foreignKeyOf(result), nullptr);
  // The association stays, its child role holds no key any more.
  auto associations = associationsOf(result);
  ASSERT_EQ(associations.size(), 1u);
  EXPECT_EQ(associations[0]->roles().at(1)->getForeignKey(), nullptr);
}

}  // namespace
