// Foreign keys: the association and its roles, pairing columns by position,
// and the keys that are reported and removed instead.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "model_queries.h"
#include "model_writer.h"
#include "pcd_writer.h"

using namespace pcd::writers;

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// PARENT (P1, P2, ...) in schema S with primary key PK over its columns at
// `parentPositions`; CHILD (C1, C2, ...) in schema `childSchema` with
// foreign key FK over its columns at `childPositions`, referring to
// PARENT's TABLE_AT 11 through FGN_KEY 50 with the flags given.
struct TwoTables {
  std::vector<long> parentPositions;
  std::vector<long> childPositions;
  std::string childNullable = "N";
  std::string flag1 = "N", flag2 = "N";
  long childSchema = 4;

  PcdWriter write() const {
    PcdWriter pcd;
    pcd.basicCatalog().schema(6, "OTHER").schemAt(7, 6, 2);
    pcd.tableIn(10, "PARENT", 4).tableIn(12, "CHILD", childSchema);
    pcd.key(30, "PK", "P").key(40, "FK", "F");
    // Column i of a table: REL_COL base+2i, TBL_COL base+2i+1; key columns
    // follow their KEY record's id.
    auto columns = [&](long table, long base, const std::string& prefix, long key,
                       const std::vector<long>& positions, const std::string& nullable) {
      for (size_t i = 0; i < positions.size(); ++i) {
        const long column = base + 2 * static_cast<long>(i);
        pcd.relCol(column, 9, prefix + std::to_string(i + 1), 5)
            .tblCol(column + 1, table, column, i == 1 ? nullable : "N", static_cast<long>(i) + 1)
            .keyCol(key * 10 + static_cast<long>(i), key, column + 1, positions[i]);
      }
    };
    columns(10, 1000, "P", 30, parentPositions, "N");
    columns(12, 2000, "C", 40, childPositions, childNullable);
    pcd.fgnKey(50, 40, flag1, flag2).fkTbAt(51, 50, 11);
    return pcd;
  }
  ImportResult import() const { return write().import(); }
};

Pairs pairsOf(const ZELForeignKey* key) {
  Pairs pairs;
  for (ZELAssociationRoleNameMap* map : key->roleNameMaps()) {
    pairs.emplace_back(map->getSourceAttribute()->getName().c_str(),
                       map->getDestinationAttribute()->getName().c_str());
  }
  return pairs;
}

ZELClass* tableOf(const ImportResult& result, const char* schema, const char* name) {
  const ZELDatabaseSchema* found = schemaOf(*result.model, "DB", schema);
  return found ? findByName<ZELClass>(found->modelObjects(), name) : nullptr;
}

ZELForeignKey* foreignKeyOf(const ImportResult& result, const char* schema = "S") {
  ZELClass* child = tableOf(result, schema, "CHILD");
  return child ? findByName<ZELForeignKey>(child->keys(), "FK") : nullptr;
}

// The associations in the design package named `package`.
std::vector<ZELAssociation*> associationsIn(const ImportResult& result, const char* package = "S") {
  auto* found = findByName<ZELDesignPackage>(designPackagesOf(*result.model), package);
  return ofExactType<ZELAssociation>(found->elements(), ZEL_ET_ASSOCIATION);
}

std::string compactJson(const ImportResult& result) {
  char* data = nullptr;
  size_t size = 0;
  std::FILE* stream = open_memstream(&data, &size);
  WriterOptions options;
  options.compact = true;
  StreamSink sink(stream);
  EXPECT_EQ(findOutputFormat("json")->make(options)->write({*result.model, result.log, "x"}, sink),
            "");
  std::fclose(stream);
  std::string text(data, size);
  std::free(data);
  return text;
}

// The association's shape, and the flags "NN", "NY" and "YN" on required
// columns, are in the sample; here both flags, lower-case flags and a
// nullable column.
TEST(ForeignKeys, RoleMultiplicitiesAndCodesFollowTheFlags) {
  const struct {
    const char *flag1, *flag2, *nullable;
    int code1, code2, code3;
    const char* parentMultiplicity;
  } cases[] = {{"N", "Y", "Y", 3, 3, 1, "0..1"},
               {"Y", "Y", "N", 3, 3, 3, "1"},
               {"y", "y", "N", 1, 1, 1, "1"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.flag1) + c.flag2 + c.nullable);
    TwoTables tables{{1, 2}, {1, 2}, c.nullable, c.flag1, c.flag2};
    ImportResult result = tables.import();
    ASSERT_EQ(result.error, "");
    auto associations = associationsIn(result);
    ASSERT_EQ(associations.size(), 1u);
    ASSERT_EQ(associations[0]->roles().count(), 2);
    ZELAssociationRole* parentRole = associations[0]->roles().at(0);
    ZELAssociationRole* childRole = associations[0]->roles().at(1);
    EXPECT_STREQ(parentRole->multiplicity.c_str(), c.parentMultiplicity);
    EXPECT_STREQ(childRole->multiplicity.c_str(), "0..*");
    EXPECT_EQ(childRole->roleCode1, c.code1);
    EXPECT_EQ(childRole->roleCode2, c.code2);
    EXPECT_EQ(childRole->roleCode3, c.code3);
  }
}

TEST(ForeignKeys, ColumnsPairWithTheFirstPrimaryKeyColumnOfTheirPosition) {
  const struct {
    std::vector<long> parent, child;
    Pairs pairs;
  } cases[] = {
      {{1, 2}, {2, 1}, {{"P2", "C1"}, {"P1", "C2"}}},  // whatever the record order
      {{3, 4}, {1, 2}, {}},                            // no equal positions: no pairs
      {{1, 1}, {1, 2}, {{"P1", "C1"}}},                // two at one position: the first
  };
  for (const auto& c : cases) {
    ImportResult result = TwoTables{c.parent, c.child}.import();
    ASSERT_EQ(result.error, "");
    EXPECT_EQ(pairsOf(foreignKeyOf(result)), c.pairs);
    EXPECT_EQ(associationsIn(result).at(0)->roles().count(), 2);
  }
  // The JSON names the primary-key column as the source and the foreign-key
  // column as the destination.
  ImportResult result = TwoTables{{1, 2}, {1, 2}}.import();
  EXPECT_NE(compactJson(result).find(R"("columnMaps":[{"source":"P1","destination":"C1"},)"
                                     R"({"source":"P2","destination":"C2"}])"),
            std::string::npos);
}

TEST(ForeignKeys, WidePrimaryKeysPairTheSameWay) {
  // 17 primary-key columns at positions 1, 1, 2, ... 16; 17 foreign-key
  // columns at 17, 16, ... 1.
  TwoTables tables;
  for (long i = 0; i < 17; ++i) {
    tables.parentPositions.push_back(std::max(i, 1L));
    tables.childPositions.push_back(17 - i);
  }
  ImportResult result = tables.import();
  ASSERT_EQ(result.error, "");
  Pairs expected;
  for (long i = 2; i <= 17; ++i) {  // C1 is at 17: no match
    const long position = 17 - (i - 1);
    expected.emplace_back("P" + std::to_string(position == 1 ? 1 : position + 1),
                          "C" + std::to_string(i));
  }
  EXPECT_EQ(pairsOf(foreignKeyOf(result)), expected);
}

TEST(ForeignKeys, TheAssociationGoesToTheReferencedTablesSchema) {
  TwoTables tables{{1}, {1}};
  tables.childSchema = 6;
  ImportResult result = tables.import();
  ASSERT_EQ(result.error, "");
  EXPECT_NE(foreignKeyOf(result, "OTHER")->getCandidateKey(), nullptr);
  EXPECT_EQ(associationsIn(result, "S").size(), 1u);
  EXPECT_TRUE(associationsIn(result, "OTHER").empty());
}

TEST(ForeignKeys, EachRecordForAForeignKeyBuildsItsOwnAssociation) {
  PcdWriter pcd = TwoTables{{1, 2}, {1, 2}}.write();
  pcd.fgnKey(60, 40).fkTbAt(61, 60, 11);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  auto associations = associationsIn(result);
  ASSERT_EQ(associations.size(), 2u);
  EXPECT_EQ(associations[1]->roles().at(1)->getForeignKey(), foreignKeyOf(result));
  EXPECT_EQ(pairsOf(foreignKeyOf(result)),
            (Pairs{{"P1", "C1"}, {"P2", "C2"}, {"P1", "C1"}, {"P2", "C2"}}));
}

TEST(ForeignKeys, MismatchesAndOtherKeysAreRemovedWithAWarning) {
  auto hasLine = [](const ImportResult& result, const std::string& text) {
    auto texts = result.logTexts();
    return std::find(texts.begin(), texts.end(), text) != texts.end();
  };
  ImportResult mismatch = TwoTables{{1, 2}, {1, 2, 3}}.import();
  ASSERT_EQ(mismatch.error, "");
  EXPECT_EQ(foreignKeyOf(mismatch), nullptr);
  EXPECT_TRUE(associationsIn(mismatch).empty());
  EXPECT_TRUE(hasLine(mismatch,
                      "Foreign key (FK) number of attributes does not match primary key; "
                      "omitting Foreign Key"));
  // Its position index stays with the class.
  EXPECT_NE(findByName<ZELIndex>(tableOf(mismatch, "S", "CHILD")->indexes(), "FK_POSITION"),
            nullptr);

  // A FGN_KEY leading to the primary key removes it; the foreign key
  // completed before now refers to nothing.
  PcdWriter toPrimary = TwoTables{{1}, {1}}.write();
  toPrimary.fgnKey(60, 30).fkTbAt(61, 60, 13);
  ImportResult primary = toPrimary.import();
  ASSERT_EQ(primary.error, "");
  EXPECT_TRUE(tableOf(primary, "S", "PARENT")->keys().isEmpty());
  EXPECT_EQ(foreignKeyOf(primary)->getCandidateKey(), nullptr);
  EXPECT_TRUE(hasLine(primary, "Unexpected type for key (PK); skipping"));

  // A view has no primary key: reported like a count mismatch. A second
  // placement carries no object: skipped quietly.
  PcdWriter toView = TwoTables{{1}, {1}}.write();
  toView.view(70, "V").tableAt(71, 70, 4).fgnKey(72, 40).fkTbAt(73, 72, 71);
  ImportResult view = toView.import();
  EXPECT_EQ(foreignKeyOf(view), nullptr);
  EXPECT_EQ(associationsIn(view).size(), 1u);  // made by FK_TB_AT 51 before
  PcdWriter toSecond = TwoTables{{1}, {1}}.write();
  toSecond.tableAt(80, 10, 4).fgnKey(81, 40).fkTbAt(82, 81, 80);
  ImportResult second = toSecond.import();
  EXPECT_NE(foreignKeyOf(second), nullptr);
  EXPECT_EQ(associationsIn(second).size(), 1u);

  // An index record removes a completed foreign key; its association stays.
  PcdWriter indexed = TwoTables{{1}, {1}}.write();
  indexed.indexAt(90, 40, "Y", "Y");
  ImportResult index = indexed.import();
  EXPECT_EQ(foreignKeyOf(index), nullptr);
  ASSERT_EQ(associationsIn(index).size(), 1u);
  EXPECT_EQ(associationsIn(index)[0]->roles().at(1)->getForeignKey(), nullptr);
}

}  // namespace
