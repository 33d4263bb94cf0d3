// Reading whole PCD files into the id registry. Records that share an id
// (the newest wins), line ends and files that cannot be read are checked
// through whole imports (builder and hostile inputs).
#include <gtest/gtest.h>

#include <string>

#include "reader_harness.h"
#include "support/pcd_fixture.h"

namespace cr = CaRepositoryDsOdbcImport;

namespace {

class StreamDriver : public ::testing::Test {
 protected:
  // Reads `file` into the harness's bridge; returns the error text or "".
  std::string read(const PcdFile& file) { return read(file.path()); }
  std::string read(const std::string& path) {
    return errorOf([&] { harness.bridge.processStream(path.c_str()); });
  }

  ReaderHarness harness;
};

TEST_F(StreamDriver, SkippedLinesAreCountedAndKeepTheLastRecord) {
  PcdFile file({
      "header",
      "E,TABLE,80,1,C6,ORDERS",
      "",
      "e,TABLE,81,1,C1,X",
      " E,TABLE,82,1,C1,X",
      "T,1,80,1,DESCRIPTION,5,after",
      "T,1,80,1,DESCRIPTIO,1,x",  // texts join only under their own exact name
      "T,1,80,1,COLUMN_COMMENTS,1,x",
      "R,TBL_COL,120,80,110,2,C1,N,L1",
      "T,1,120,1,COLUMN_COMMENTS,6,Order ",
      "",
      "T,1,120,1,column_comments,1,x",
      "T,1,120,1,DESCRIPTION,1,x",
      "T,1,120,1,COLUMN_COMMENTS,4,date",
  });
  ASSERT_EQ(read(file), "");
  EXPECT_EQ(harness.node<cr::Node>(81), nullptr);
  EXPECT_EQ(harness.node<cr::Node>(82), nullptr);
  EXPECT_STREQ(harness.node<cr::TableNode>(80)->description.c_str(), "after");
  EXPECT_STREQ(harness.node<cr::Tbl_colNode>(120)->comment.c_str(), "Order date");
}

TEST_F(StreamDriver, TheFirstLineIsNeverData) {
  EXPECT_EQ(read(PcdFile::raw("")), "");
  ASSERT_EQ(harness.log.events().size(), 1u);
  EXPECT_STREQ(harness.log.events()[0].getText().c_str(), "Importing the model...");
  EXPECT_EQ(read(PcdFile({"E,TABLE,80,1,C6,ORDERS"})), "");
  EXPECT_EQ(harness.node<cr::Node>(80), nullptr);
}

TEST_F(StreamDriver, ErrorsNameThePhysicalLine) {
  const struct {
    std::vector<std::string> lines;
    long line;
    bool terminated = true;
  } cases[] = {
      {{"head", "E,TABLE,1,2,C1,X"}, 2},
      {{"head", "E,TABLE,1,1,C1,X", "", "x", "R,FOO,1,2,3,0"}, 5, false},
      {{"head", "", "E"}, 3},                    // no record name at all
      {{"head", "E,table,1,1,C1,X"}, 2},         // record names are upper case
      {{"head", "R,TBL_COL"}, 2},                // no comma after the name
      {{"head", "E;TABLE,1,1,C1,X"}, 2},         // name taken from the third byte on
      {{"head", "T,1,1,1,DESCRIPTION,1,x"}, 2},  // text before any record
      {{"head", "E,TABLE,1,1,C1,X", "E,TABLE,2,1,C1,Y", "T,1,1,1,DESCRIPTION,1,x"}, 4},
      {{"head", "E," + std::string(2000, 'N') + ",1,0"}, 2},
  };
  for (const auto& c : cases) {
    ReaderHarness fresh;
    PcdFile file(c.lines, c.terminated);
    EXPECT_EQ(errorOf([&] { fresh.bridge.processStream(file.path().c_str()); }), pcdError(c.line))
        << c.lines.back();
  }
}

}  // namespace
