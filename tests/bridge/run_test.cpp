// The bridge's run: logs, errors, clean-up and the metadata origin.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "support/pcd_fixture.h"
#include "zel_exception.h"
#include "zel_fault_injection.h"

namespace {

using Texts = std::vector<std::string>;

const char kImporting[] = "Importing the model...";
const char kPostProcessing[] = "Post processing the imported model...";
const char kNoTarget[] =
    "Unable to detect target database : Trying to import domains and datatypes using "
    "<targetdb>";

template <class Action>
std::string errorOf(Action action) {
  try {
    action();
  } catch (const ZELException& e) {
    return e.getText().c_str();
  }
  return "";
}

std::string pcdError(long line) {
  return "[TAV_CARDS_F0008] Error in input PCD file, line (" + std::to_string(line) + ")";
}

TEST(Run, EmptyFilesImportWithTheWarningAndTheOrigin) {
  for (const PcdFile& file : {PcdFile::raw(""), PcdFile({"only the first line"}),
                              PcdFile({"E,DATABASE,20,1,C5,SALES"}, false)}) {
    ImportResult result = importFile(file.path());
    EXPECT_EQ(result.error, "");
    EXPECT_TRUE(result.returned);
    EXPECT_EQ(result.logTexts(), (Texts{kImporting, kPostProcessing, kNoTarget}));
    ASSERT_EQ(result.log.size(), 3u);
    EXPECT_STREQ(result.log[0].getCode().c_str(), "TAV_CARDS_S0004");
    EXPECT_STREQ(result.log[1].getCode().c_str(), "TAV_CARDS_S0003");
    EXPECT_STREQ(result.log[2].getCode().c_str(), "TAV_CARDS_W0007");

    ASSERT_EQ(result.model->metadataOrigins().count(), 1);
    const ZELMetadataOrigin* origin = result.model->metadataOrigins().first();
    EXPECT_STREQ(origin->sourceToolName.c_str(), "CA Repository PCD");
    EXPECT_EQ(origin->sourceFile.c_str(), file.path());
    EXPECT_STREQ(origin->modelKind.c_str(), "REL");
    EXPECT_STREQ(origin->characterEncoding.c_str(), "UTF-8");
    EXPECT_STREQ(origin->bridgeId.c_str(), "CaRepositoryDsOdbcImport");
  }
}

TEST(Run, AFirstCatalogWithAServerTypeAvoidsTheWarning) {
  PcdFile example(smallExampleFile());
  ImportResult result = importFile(example.path());
  ASSERT_EQ(result.error, "");
  EXPECT_EQ(result.logTexts(), (Texts{kImporting, kPostProcessing}));

  // Two systems; the server type serves only the second one's database, so
  // the first catalog has no server type name.
  const std::vector<std::string> twoSystems = {
      "header",
      "E,REL_SYS,10,2,C5,FIRST,C0,",
      "E,REL_SYS,11,2,C6,SECOND,C0,",
      "E,DATABASE,20,1,C2,D1",
      "E,DATABASE,21,1,C2,D2",
      "R,DB_AT,30,20,10,2,C0,C0,",
      "R,DB_AT,31,21,11,2,C0,C0,",
      "E,SERVTYPE,40,13,C2,T1,C6,DBSERV,C3,8.1,S8,S0,S0,S0,S0,S0,S0,S0,S0,S0",
  };
  std::vector<std::string> secondServed = twoSystems;
  secondServed.push_back("R,SERVINST,50,40,11,0");
  EXPECT_EQ(importFile(PcdFile(secondServed).path()).logTexts(),
            (Texts{kImporting, kPostProcessing, kNoTarget}));
  std::vector<std::string> firstServed = twoSystems;
  firstServed.push_back("R,SERVINST,50,40,10,0");
  EXPECT_EQ(importFile(PcdFile(firstServed).path()).logTexts(),
            (Texts{kImporting, kPostProcessing}));
}

TEST(Run, ReadErrorsStopTheRun) {
  struct Case {
    std::vector<std::string> lines;
    long line;
  };
  const Case cases[] = {
      {{"E,TABLE,1,1,C1,X", "E,TABLE,1,2,C1,X"}, 2},
      {{"header", "E,TABLE,1,1,C1,X", "", "ignored", "R,FOO,1,2,3,0", "E,TABLE,2,1,C1,Y"}, 5},
      {{"header", "R,TBL_COL,3,1,2,2,C1,N,S3"}, 2},
  };
  for (const Case& c : cases) {
    ImportResult result = importFile(PcdFile(c.lines).path());
    EXPECT_EQ(result.error, pcdError(c.line));
    EXPECT_FALSE(result.returned);
    EXPECT_EQ(result.logTexts(), Texts{kImporting});
    EXPECT_EQ(result.model->metadataOrigins().count(), 0);
  }

  // Nothing is logged before the file is open.
  ImportResult missing = importFile("/nonexistent/model.pcd");
  EXPECT_EQ(missing.error,
            "[TAV_CARDS_F0002] Unable to open '/nonexistent/model.pcd'. The error is: No such "
            "file or directory");
  EXPECT_TRUE(missing.log.empty());
  EXPECT_EQ(missing.model->metadataOrigins().count(), 0);
  EXPECT_EQ(importError("/tmp"),
            "[TAV_CARDS_F0002] Unable to open '/tmp'. The error is: Is a directory");
}

TEST(Run, TheBridgeKeepsNothingAfterARun) {
  PcdFile file(smallExampleFile());
  PcdFile broken({"header", "E,TABLE,1,1,C1,X", "E,TABLE,2,1,C1,Y", "E,TABLE,3,9"});
  ZELModel model;
  ZELOptionList options;
  ZELMemoryLog log;
  {
    // No file option: the empty name cannot be opened.
    ZELCaRepositoryDsOdbcImportBridge bridge(&log);
    EXPECT_EQ(errorOf([&] { bridge.run(&model, &options, "id"); }),
              "[TAV_CARDS_F0002] Unable to open ''. The error is: No such file or directory");
  }
  const char* extensions[] = {"pcd", nullptr};
  options.options.add(TAV_CARDS::BP_FILE.generateOption(true, extensions, "Default", true), true,
                      nullptr);
  options.options.option(0)->setValue(file.path().c_str());
  ZELCaRepositoryDsOdbcImportBridge bridge(&log);
  EXPECT_EQ(bridge.scannerIndexTable.count(), 28);
  ASSERT_TRUE(bridge.run(&model, &options, "id"));
  EXPECT_EQ(bridge.idRegistry.count(), 0);
  EXPECT_EQ(bridge.scannerIndexTable.count(), 0);
  EXPECT_EQ(bridge.kindTable.count(), 0);
  EXPECT_FALSE(bridge.input.is_open());

  // A failed run frees the nodes read before the error.
  options.options.option(0)->setValue(broken.path().c_str());
  ZELCaRepositoryDsOdbcImportBridge failing(&log);
  EXPECT_EQ(errorOf([&] { failing.run(&model, &options, "id"); }), pcdError(4));
  EXPECT_EQ(failing.idRegistry.count(), 0);
}

// A host failure at any point of a run leaves by its own exception, with the
// bridge's data freed (the leak sanitizer checks) and nothing crashing.
TEST(Run, FailuresAtEveryHostFaultPointAreCleanedUp) {
  PcdFile file(smallExampleFile());
  int faults = 0;
  for (long countdown = 1; countdown < 1000; ++countdown) {
    zel_testing::armFault(countdown);
    bool faulted = false;
    try {
      importFile(file.path());
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), "injected fault");
      faulted = true;
    }
    zel_testing::armFault(0);
    if (!faulted) break;
    ++faults;
  }
  EXPECT_GT(faults, 2);
}

}  // namespace
