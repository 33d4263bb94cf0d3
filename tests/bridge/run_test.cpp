// The bridge's run: its log, the metadata origin, and what it keeps after
// success and failure.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bridge/file_option.h"
#include "bridge/import_bridge.h"
#include "pcd/reader_harness.h"
#include "support/pcd_fixture.h"

namespace {

using Texts = std::vector<std::string>;

const char kImporting[] = "Importing the model...";

TEST(Run, FilesWithoutRecordsImportWithTheWarningAndTheOrigin) {
  for (const PcdFile& file : {PcdFile::raw(""), PcdFile({"E,DATABASE,20,1,C5,SALES"}, false)}) {
    ImportResult result = importFile(file.path());
    EXPECT_EQ(result.error, "");
    EXPECT_TRUE(result.returned);
    EXPECT_EQ(result.logTexts(),
              (Texts{kImporting, "Post processing the imported model...",
                     "Unable to detect target database : Trying to import domains and datatypes "
                     "using <targetdb>"}));
    EXPECT_EQ(result.model->metadataOrigins().count(), 1);
  }
}

TEST(Run, AReadErrorStopsTheRunBeforeTheOrigin) {
  ImportResult result = importFile(PcdFile({"header", "E,TABLE,1,1,C1,X", "R,FOO,1,2,3,0"}).path());
  EXPECT_EQ(result.error, pcdError(3));
  EXPECT_FALSE(result.returned);
  EXPECT_EQ(result.logTexts(), Texts{kImporting});
  EXPECT_EQ(result.model->metadataOrigins().count(), 0);
}

TEST(Run, TheBridgeKeepsNothingAfterAFailedRun) {
  ZELModel model;
  ZELOptionList options;
  ZELMemoryLog log;
  {
    // No file option: the empty name cannot be opened.
    ZELCaRepositoryDsOdbcImportBridge bridge(&log);
    EXPECT_EQ(errorOf([&] { bridge.run(&model, &options, "id"); }),
              "[TAV_CARDS_F0002] Unable to open ''. The error is: No such file or directory");
  }
  // The nodes read before the error are freed at once.
  PcdFile broken({"header", "E,TABLE,1,1,C1,X", "E,TABLE,2,1,C1,Y", "E,TABLE,3,9"});
  addFileOption(options, broken.path().c_str());
  ZELCaRepositoryDsOdbcImportBridge bridge(&log);
  EXPECT_EQ(errorOf([&] { bridge.run(&model, &options, "id"); }), pcdError(4));
  EXPECT_TRUE(bridge.holdsNothing());
}

}  // namespace
