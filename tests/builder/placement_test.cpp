// Where tables, views and procedures land: catalogs, schemas, default
// schemas and design packages, and the warnings for second placements.
#include <gtest/gtest.h>

#include <algorithm>

#include "model_queries.h"
#include "pcd_writer.h"

namespace {

const char* kTargetWarning =
    "Unable to detect target database : Trying to import domains and datatypes using <targetdb>";

TEST(Placement, TablesInSchemaLessDatabasesGetOneDefaultSchemaPerCatalog) {
  PcdWriter pcd;
  pcd.relSys(1, "SYS")
      .database(2, "A")
      .dbAt(3, 2, 1)
      .database(6, "B")
      .dbAt(7, 6, 1)
      .tableIn(10, "T1", 2)
      .tableIn(12, "T2", 2)
      .tableIn(14, "T3", 6);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELDatabaseSchema* inA = schemaOf(*result.model, "A", "Default Schema");
  ZELDatabaseSchema* inB = schemaOf(*result.model, "B", "Default Schema");
  ASSERT_TRUE(inA && inB);
  EXPECT_EQ(namesOf(tablesOf(*inA)), (std::vector<std::string>{"T1", "T2"}));
  EXPECT_EQ(namesOf(tablesOf(*inB)), std::vector<std::string>{"T3"});
  auto packages = designPackagesOf(*result.model);
  ASSERT_EQ(packages.size(), 2u);
  for (ZELDesignPackage* package : packages) {
    EXPECT_STREQ(package->getName().c_str(), "Default Package");
    EXPECT_FALSE(package->isSchema());
  }
  EXPECT_EQ(namesOf(packages[0]->elements()), (std::vector<std::string>{"T1", "T2"}));
  // No server type: the target database is reported as unknown, last.
  EXPECT_EQ(result.logTexts().back(), kTargetWarning);
}

TEST(Placement, TableInDatabaseWithSchemasGoesToTheFirstSchema) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .schema(6, "SECOND")
      .schemAt(7, 6, 2)
      .tableIn(10, "T", 2)   // placed in the database itself
      .tableIn(12, "U", 6);  // placed in the schema record
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  EXPECT_EQ(namesOf(tablesOf(*schemaOf(*result.model, "DB", "S"))), std::vector<std::string>{"T"});
  EXPECT_EQ(namesOf(tablesOf(*schemaOf(*result.model, "DB", "SECOND"))),
            std::vector<std::string>{"U"});
  EXPECT_EQ(namesOf(catalogsOf(*result.model)[0]->childPackages()),
            (std::vector<std::string>{"S", "SECOND"}));
}

TEST(Placement, SecondPlacementWarnsAndTheFirstStands) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .schema(6, "OTHER")
      .schemAt(7, 6, 2)
      .table(10, "T")
      .tableAt(11, 10, 4, "FIRST")
      .tableAt(12, 10, 6, "SECOND");
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  EXPECT_EQ(tablesOf(*schemaOf(*result.model, "DB", "S")).size(), 1u);
  EXPECT_TRUE(tablesOf(*schemaOf(*result.model, "DB", "OTHER")).empty());
  auto texts = result.logTexts();
  ASSERT_GE(texts.size(), 2u);
  // Named by the later TABLE_AT's label (the sample has the warning's code).
  EXPECT_EQ(texts[1], "Table (SECOND) at multiple locations not supported");
}

TEST(Placement, NamesAreMadeUniqueInTheDesignPackage) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .tableIn(10, "X", 4)
      .tableIn(12, "X_1", 4)
      .view(14, "X")
      .tableAt(15, 14, 4)
      .tableIn(16, "X", 4)
      .dbProc(18, "X")
      .objAt(19, 18, 4);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  // One set of names for tables, views and procedures; X_1 is a real name,
  // so the first renamed X becomes X_2.
  EXPECT_EQ(namesOf(designPackagesOf(*result.model)[0]->elements()),
            (std::vector<std::string>{"X", "X_1", "X_2", "X_3", "X_4"}));
}

TEST(Placement, ModelIsNamedByTheLastSystemAndServerTypesFillTheirCatalog) {
  PcdWriter pcd;
  pcd.relSys(1, "FIRST")
      .database(2, "A")
      .dbAt(3, 2, 1)
      .relSys(4, "SECOND")
      .database(5, "B")
      .dbAt(6, 5, 4)
      .servType(7, "OLD", "1.0", 1)
      .servInst(8, 7, 4)
      .servType(9, "NEW", "2.0", 65537)
      .servInst(10, 9, 4);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  EXPECT_STREQ(result.model->getName().c_str(), "SECOND");
  auto catalogs = catalogsOf(*result.model);
  ASSERT_EQ(catalogs.size(), 2u);
  EXPECT_STREQ(catalogs[0]->getServerTypeName().c_str(), "");
  // The later SERVINST overwrites; the number keeps its low 16 bits.
  EXPECT_STREQ(catalogs[1]->getServerTypeName().c_str(), "NEW");
  EXPECT_STREQ(catalogs[1]->getServerTypeText().c_str(), "2.0");
  EXPECT_EQ(catalogs[1]->getServerTypeNumber(), 1);
  // Only the first catalog decides whether a target database was detected.
  EXPECT_EQ(result.logTexts().back(), kTargetWarning);
}

TEST(Placement, SchemaNamedTwiceMakesTwoSchemasAndASchemaCanOwnASchema) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .schemAt(6, 4, 2)  // the same SCHEMA again
      .schema(7, "INNER")
      .schemAt(8, 7, 4)
      .tableIn(10, "T", 7);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  auto* catalog = catalogsOf(*result.model)[0];
  EXPECT_EQ(namesOf(catalog->childPackages()), (std::vector<std::string>{"S", "S"}));
  // The SCHEMA node carries the later schema, so INNER went into that one.
  auto* second = static_cast<ZELDatabaseSchema*>(catalog->getChildPackage(1));
  ASSERT_EQ(second->getChildPackageCount(), 1);
  auto* inner = static_cast<ZELDatabaseSchema*>(second->getChildPackage(0));
  EXPECT_EQ(namesOf(tablesOf(*inner)), std::vector<std::string>{"T"});
  EXPECT_EQ(namesOf(designPackagesOf(*result.model)),
            (std::vector<std::string>{"S", "S", "INNER"}));
}

TEST(Placement, RecordsWhoseLocationHasNoObjectAreSkippedQuietly) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .relSys(20, "LONELY")
      .servType(21, "X", "1", 1)
      .servInst(22, 21, 20)
      .schema(23, "NOWHERE")
      .schemAt(24, 23, 20)
      .tableIn(25, "T", 23)
      .relCol(27, 9, "C", 5)
      .tblCol(28, 25, 27, "N", 1)
      .dbProc(29, "P")
      .objAt(30, 29, 20)
      .parm(31, 29, 27, 1);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  EXPECT_EQ(result.model->getChildPackageCount(), 2);  // catalog DB and design package S
  EXPECT_TRUE(schemaOf(*result.model, "DB", "S")->modelObjects().isEmpty());
  EXPECT_EQ(result.logTexts().size(), 3u);  // importing, post processing, target database
}

TEST(Placement, ProceduresFollowTheSchemaRulesAndWarnOnSecondPlacement) {
  PcdWriter pcd;
  pcd.relSys(1, "SYS")
      .database(2, "EMPTY")
      .dbAt(3, 2, 1)
      .dbProc(10, "P1")
      .objAt(11, 10, 2)
      .dbProc(12, "P2")
      .objAt(13, 12, 2)
      .objAt(14, 12, 2)
      .tableIn(15, "T", 2)
      .objAt(17, 15, 2);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELDatabaseSchema* schema = schemaOf(*result.model, "EMPTY", "Default Schema");
  ASSERT_NE(schema, nullptr);
  auto procedures =
      ofExactType<ZELStoredProcedure>(schema->modelObjects(), ZEL_ET_STORED_PROCEDURE);
  EXPECT_EQ(namesOf(procedures), (std::vector<std::string>{"P1", "P2"}));
  // The table made the default schema first; procedures reuse it.
  ASSERT_EQ(designPackagesOf(*result.model).size(), 1u);
  EXPECT_EQ(namesOf(designPackagesOf(*result.model)[0]->elements()),
            (std::vector<std::string>{"T", "P1", "P2"}));
  auto texts = result.logTexts();
  EXPECT_NE(
      std::find(texts.begin(), texts.end(), "Procedure (P2) at multiple locations not supported"),
      texts.end());
  EXPECT_NE(
      std::find(texts.begin(), texts.end(), "Procedure (?) at multiple locations not supported"),
      texts.end());
}

}  // namespace
