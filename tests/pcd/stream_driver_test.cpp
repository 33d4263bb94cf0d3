// Reading whole PCD files into the id registry.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "bridge/messages/tav_cards.h"
#include "pcd/record_layouts.h"
#include "reader_harness.h"
#include "support/pcd_fixture.h"

namespace cr = CaRepositoryDsOdbcImport;

namespace {

class StreamDriver : public ::testing::Test {
 protected:
  // Reads `file` into the harness's bridge; returns the error text or "".
  std::string read(const PcdFile& file) {
    harness.bridge.fileName = file.path().c_str();
    return errorOf([&] { harness.bridge.processStream(); });
  }
  long nodeCount() { return harness.bridge.idRegistry.count(); }

  ReaderHarness harness;
};

TEST_F(StreamDriver, ScannerIndexTableMapsEveryRecordName) {
  ZELStringNodeHashtable& table = harness.bridge.scannerIndexTable;
  EXPECT_EQ(table.count(), 28);
  for (int i = 0; i < cr::layout::kRecordCount; ++i) {
    EXPECT_EQ(reinterpret_cast<intptr_t>(table.find(cr::layout::kShapes[i].name)), i);
  }
  EXPECT_EQ(table.find("TABLE2"), nullptr);
  EXPECT_EQ(table.find("table"), nullptr);
}

TEST_F(StreamDriver, ReadsTheSmallExampleFile) {
  PcdFile file(smallExampleFile());
  ASSERT_EQ(read(file), "");
  EXPECT_EQ(nodeCount(), 12);
  EXPECT_FALSE(harness.bridge.input.is_open());
  ASSERT_EQ(harness.log.events().size(), 1u);
  EXPECT_STREQ(harness.log.events()[0].getText().c_str(), "Importing the model...");

  const char* types[] = {"REL_SYS",  "DATABASE", "DB_AT",    "SERVTYPE", "SERVINST", "SCHEMA",
                         "SCHEM_AT", "TABLE",    "TABLE_AT", "REL_DT",   "REL_COL",  "TBL_COL"};
  for (long id = 10; id <= 120; id += 10) {
    EXPECT_STREQ(harness.node<cr::Node>(id)->type.c_str(), types[id / 10 - 1]);
  }
  EXPECT_STREQ(harness.node<cr::Rel_sysNode>(10)->name.c_str(), "PRODSYS");
  EXPECT_EQ(harness.node<cr::Db_atNode>(30)->fromId, 20);
  EXPECT_STREQ(harness.node<cr::ServtypeNode>(40)->attr3C.c_str(), "8.1");
  EXPECT_EQ(harness.node<cr::ServtypeNode>(40)->attr4S, 8);
  EXPECT_STREQ(harness.node<cr::TableNode>(80)->name.c_str(), "ORDERS");
  EXPECT_STREQ(harness.node<cr::TableNode>(80)->description.c_str(), "Order heads");
  EXPECT_EQ(harness.node<cr::Rel_colNode>(110)->length, 30);
  auto* column = harness.node<cr::Tbl_colNode>(120);
  EXPECT_STREQ(column->nullable.c_str(), "Y");
  EXPECT_EQ(column->position, 1);
  EXPECT_STREQ(column->comment.c_str(), "Customer name");
}

TEST_F(StreamDriver, EmptyFilesAndTheFirstLine) {
  EXPECT_EQ(read(PcdFile::raw("")), "");
  EXPECT_EQ(harness.bridge.lineNumber, 1);
  EXPECT_EQ(read(PcdFile({"E,TABLE,80,1,C6,ORDERS"})), "");  // the first line is never data
  EXPECT_EQ(read(PcdFile({"garbage, never read", ""})), "");
  EXPECT_EQ(nodeCount(), 0);
  EXPECT_EQ(harness.log.events().size(), 3u);
}

TEST_F(StreamDriver, SkippedLinesAreCountedAndKeepTheLastRecord) {
  PcdFile file({
      "header",
      "E,TABLE,80,1,C6,ORDERS",
      "",
      "e,TABLE,81,1,C1,X",
      " E,TABLE,82,1,C1,X",
      "#",
      "T,1,80,1,DESCRIPTION,5,after",
      "R,TBL_COL,120,80,110,2,C1,N,L1",
      "T,1,120,1,COLUMN_COMMENTS,6,Order ",
      "",
      "T,1,120,1,COLUMN_COMMENTS,4,date",
      "E,TABLE,13,1,C1,X",
  });
  ASSERT_EQ(read(file), "");
  EXPECT_EQ(nodeCount(), 3);
  EXPECT_STREQ(harness.node<cr::TableNode>(80)->description.c_str(), "after");
  EXPECT_STREQ(harness.node<cr::Tbl_colNode>(120)->comment.c_str(), "Order date");
  EXPECT_TRUE(harness.node<cr::TableNode>(13)->description.isEmpty());
}

TEST_F(StreamDriver, LineEndings) {
  // CRLF line ends, and a last line without any.
  ASSERT_EQ(read(PcdFile::raw("head\r\nE,TABLE,1,1,C2,AB\r\nE,TABLE,2,1,C2,CD")), "");
  EXPECT_EQ(harness.bridge.lineNumber, 3);
  EXPECT_STREQ(harness.node<cr::TableNode>(1)->name.c_str(), "AB");
  EXPECT_STREQ(harness.node<cr::TableNode>(2)->name.c_str(), "CD");
  // A NUL byte ends what the scanners see of a line.
  ASSERT_EQ(read(PcdFile::raw(std::string("head\nE,TABLE,3,1,C5,AB\0CD\n", 24))), "");
  EXPECT_STREQ(harness.node<cr::TableNode>(3)->name.c_str(), "AB");
}

TEST_F(StreamDriver, ErrorsNameThePhysicalLine) {
  struct Case {
    std::vector<std::string> lines;
    bool terminated;
    long line;
  };
  const Case cases[] = {
      {{"head", "E,TABLE,1,2,C1,X"}, true, 2},
      {{"head", "E,TABLE,1,1,C1,X", "", "x", "R,FOO,1,2,3,0"}, true, 5},
      {{"head", "E,TABLE,1,1,C1,X", "", "x", "E,NOTAREC,1,0"}, false, 5},
      {{"head", "", "E"}, true, 3},                    // no record name at all
      {{"head", "E,"}, true, 2},                       // nothing after the letter's comma
      {{"head", "R,TBL_COL"}, true, 2},                // no comma after the name
      {{"head", "E;TABLE,1,1,C1,X"}, true, 2},         // name taken from the third byte on
      {{"head", "T,1,1,1,DESCRIPTION,1,x"}, true, 2},  // text before any record
      {{"head", "E,TABLE,1,1,C1,X", "E,TABLE,2,1,C1,Y", "T,1,1,1,DESCRIPTION,1,x"}, true, 4},
      {{"head", "E," + std::string(2000, 'N') + ",1,0"}, true, 2},
  };
  for (const Case& c : cases) {
    ReaderHarness fresh;
    PcdFile file(c.lines, c.terminated);
    fresh.bridge.fileName = file.path().c_str();
    EXPECT_EQ(errorOf([&] { fresh.bridge.processStream(); }), pcdError(c.line)) << c.lines.back();
  }
}

TEST_F(StreamDriver, DuplicateIdsKeepBothNodesAndFindTheNewest) {
  ASSERT_EQ(read(PcdFile(
                {"head", "E,TABLE,5,1,C3,OLD", "E,SCHEMA,5,1,C3,NEW", "T,1,5,1,DESCRIPTION,1,x"})),
            "");
  EXPECT_EQ(nodeCount(), 2);
  auto* newest = harness.node<cr::SchemaNode>(5);
  ASSERT_NE(newest, nullptr);
  EXPECT_STREQ(newest->name.c_str(), "NEW");
  // Both are freed with the bridge (checked by the leak sanitizer).
}

TEST_F(StreamDriver, FilesThatCannotBeRead) {
  harness.bridge.fileName = "/nonexistent/dir/model.pcd";
  EXPECT_EQ(errorOf([&] { harness.bridge.processStream(); }),
            "[TAV_CARDS_F0002] Unable to open '/nonexistent/dir/model.pcd'. The error is: No "
            "such file or directory");
  EXPECT_EQ(harness.bridge.lineNumber, 0);
  EXPECT_TRUE(harness.log.events().empty());  // nothing logged before the file is open

  harness.bridge.fileName = "/tmp";
  EXPECT_EQ(errorOf([&] { harness.bridge.processStream(); }),
            "[TAV_CARDS_F0002] Unable to open '/tmp'. The error is: Is a directory");
  EXPECT_TRUE(harness.log.events().empty());

  // A file that opens but cannot be read (this one fails with an I/O error
  // at offset 0): reading ends with the system's text instead of looping.
  if (std::ifstream("/proc/self/mem").is_open()) {
    ReaderHarness unreadable;
    unreadable.bridge.fileName = "/proc/self/mem";
    EXPECT_EQ(errorOf([&] { unreadable.bridge.processStream(); }),
              "[TAV_CARDS_F0002] Unable to open '/proc/self/mem'. The error is: Input/output "
              "error");
    EXPECT_EQ(unreadable.bridge.lineNumber, 1);
  }
}

}  // namespace
