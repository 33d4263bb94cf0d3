// Processing order, duplicate ids, procedures' arguments, and what a failed
// or finished build leaves behind.
#include <gtest/gtest.h>

#include "bridge/file_option.h"
#include "bridge/import_bridge.h"
#include "model_queries.h"
#include "pcd_writer.h"

namespace {

TEST(Order, NodesOfOneKindAreProcessedInAscendingIdWhateverTheFileOrder) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .table(60, "LATE")
      .table(40, "EARLY")
      .tableAt(71, 60, 4)
      .tableAt(70, 40, 4)
      .relCol(80, 9, "B", 5)
      .relCol(81, 9, "A", 5)
      .tblCol(92, 40, 80, "N", 1)
      .tblCol(91, 40, 81, "N", 2);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  ZELDatabaseSchema* schema = schemaOf(*result.model, "DB", "S");
  EXPECT_EQ(namesOf(tablesOf(*schema)), (std::vector<std::string>{"EARLY", "LATE"}));
  EXPECT_EQ(namesOf(onlyClass(*result.model, "EARLY")->features()),
            (std::vector<std::string>{"A", "B"}));
}

TEST(Order, ALaterRecordWithTheSameIdReplacesTheEarlierOne) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .schema(6, "OTHER")
      .schemAt(7, 6, 2)
      .table(10, "OLD")
      .table(10, "NEW")
      .tableAt(12, 10, 4)
      .tableAt(12, 10, 6);
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  // Only the later placement is processed: no second-placement warning.
  EXPECT_TRUE(tablesOf(*schemaOf(*result.model, "DB", "S")).empty());
  EXPECT_EQ(namesOf(tablesOf(*schemaOf(*result.model, "DB", "OTHER"))),
            std::vector<std::string>{"NEW"});
  EXPECT_EQ(result.log.size(), 3u);  // importing, post processing, target database
}

TEST(Procedures, ArgumentsAreTypedAndKeepTheirLowPositionBits) {
  PcdWriter pcd;
  pcd.basicCatalog()
      .relDt(20, "CHAR")
      .dbProc(30, "PROC")
      .objAt(31, 30, 4)
      .relCol(40, 20, "CODE", 0, 10)
      .parm(41, 30, 40, 70000)
      .relCol(42, 20, "FLAG", 0, 0)
      .parm(43, 30, 42, 1)
      .parm(44, 30, 40, 3)
      .tableIn(50, "T", 4)
      .parm(52, 50, 40, 1);  // not a procedure: ignored
  ImportResult result = pcd.import();
  ASSERT_EQ(result.error, "");
  auto* schema = schemaOf(*result.model, "DB", "S");
  auto* procedure = findByName<ZELStoredProcedure>(schema->modelObjects(), "PROC");
  ASSERT_NE(procedure, nullptr);
  EXPECT_EQ(namesOf(procedure->arguments()), (std::vector<std::string>{"CODE", "FLAG", "CODE"}));
  ZELArgument* code = procedure->arguments().at(0);
  EXPECT_EQ(code->getPosition(), 4464);
  auto* codeType = static_cast<ZELDerivedType*>(code->getType());
  EXPECT_STREQ(codeType->getName().c_str(), "CHAR_10");
  EXPECT_EQ(codeType->Length, 10);
  EXPECT_EQ(namesOf(designPackagesOf(*result.model)[0]->elements()),
            (std::vector<std::string>{"T", "PROC"}));
}

// The number of objects in the model that still carry a general pointer.
int objectsWithUserData(ZELModel& model) {
  struct Counter : ZELTraversalOperation {
    bool pre_process(ZELObject* object, void*& /*argument*/) override {
      withPointer += object->getGeneralPointer() != nullptr;
      return true;
    }
    void post_process(ZELObject* /*object*/, void* /*argument*/) override {}
    int withPointer = 0;
  } counter;
  model.depthTraversal(counter, nullptr);
  return counter.withPointer;
}

// A table T with a column A, its primary key PK, and a procedure P.
PcdWriter smallCatalog() {
  PcdWriter pcd;
  pcd.basicCatalog()
      .placedTable(10, "T", {"A"})
      .key(30, "PK", "P")
      .keyCol(31, 30, 21, 1)
      .dbProc(40, "P")
      .objAt(41, 40, 4)
      .parm(42, 40, 20, 1);
  return pcd;
}

TEST(Failures, ADanglingIdEndsTheImportAndLeavesNoBridgeDataBehind) {
  PcdWriter pcd = smallCatalog();
  pcd.tableAt(50, 999, 4);
  ImportResult result = pcd.import();
  EXPECT_EQ(result.error, "[TAV_CARDS_F0009] Missing Object (999)");
  EXPECT_FALSE(result.returned);
  // The bridge itself does not empty the model; it only takes its user data
  // off what was built before the failure (the sanitizer build checks that
  // nodes and user data are freed).
  ASSERT_EQ(catalogsOf(*result.model).size(), 1u);
  EXPECT_NE(onlyClass(*result.model, "T"), nullptr);
  EXPECT_EQ(objectsWithUserData(*result.model), 0);
  EXPECT_EQ(result.logTexts(), std::vector<std::string>{"Importing the model..."});
}

TEST(Failures, ASuccessfulImportLeavesNoUserDataAndTheBridgeNoNodes) {
  PcdWriter pcd = smallCatalog();
  PcdFile file(pcd.lines());
  ZELModel model;
  ZELMemoryLog log;
  ZELOptionList options;
  addFileOption(options, file.path().c_str());
  ZELCaRepositoryDsOdbcImportBridge bridge(&log);
  ASSERT_TRUE(bridge.run(&model, &options, "CaRepositoryDsOdbcImport"));
  EXPECT_TRUE(bridge.holdsNothing());
  EXPECT_EQ(objectsWithUserData(model), 0);
  // A second clean-up finds nothing to do.
  bridge.cleanup(true);
  model.recursiveDelete();
}

}  // namespace
