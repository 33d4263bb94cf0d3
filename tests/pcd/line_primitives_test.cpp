// The cursor primitives of a PCD line and text lines. Attribute counts,
// type letters and counted strings are checked through the record scanners.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "reader_harness.h"

using CaRepositoryDsOdbcImport::TableNode;

namespace {

class LinePrimitives : public ::testing::Test {
 protected:
  // Errors quote the number of the last line handed to the reader (an
  // empty line: skipped, but counted).
  LinePrimitives() { atLine(12); }
  void atLine(long number) { bridge.processLine("", number, nullptr); }
  ReaderHarness harness;
  ZELCaRepositoryDsOdbcImportBridge& bridge = harness.bridge;
};

TEST_F(LinePrimitives, LiteralsMatchOnlyWhenFollowedByAComma) {
  EXPECT_STREQ(bridge.assertName("SCHEMA,1201", "SCHEMA"), "1201");
  EXPECT_STREQ(bridge.assertObjectType("E,SCHEMA", "E"), "SCHEMA");
  for (const char* text : {"SCHEMA2,", "schema,", "SCHEMA", "SCHEM", ""}) {
    EXPECT_EQ(errorOf([&] { bridge.assertName(text, "SCHEMA"); }), pcdError(12)) << text;
  }
  EXPECT_EQ(errorOf([&] { bridge.assertObjectType("E;SCHEMA", "E"); }), pcdError(12));
}

TEST_F(LinePrimitives, TokensFollowStrtolAndSaturateAt32Bits) {
  const struct {
    const char* text;
    long value;
    const char* rest;
  } cases[] = {
      {"1201,1,C5", 1201, "1,C5"},
      {" \t\n\v\f\r-7x", -7, "x"},
      {"12 ,", 12, " ,"},  // no blank is skipped behind digits
      {"2147483647,", INT32_MAX, ""},
      {"2147483648,", INT32_MAX, ""},
      {"99999999999999999999999999,x", INT32_MAX, "x"},
      {"-2147483649", INT32_MIN, ""},
      // No digits: 0, and only a comma right at the cursor is stepped over.
      {",1", 0, "1"},
      {"-,1", 0, "-,1"},
  };
  for (const auto& c : cases) {
    long value = -99;
    EXPECT_STREQ(bridge.scanToken(c.text, &value), c.rest) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
  }
}

TEST_F(LinePrimitives, TextLinesAttachToTheirRecord) {
  TableNode node;
  node.id = -5;
  using Text = std::pair<std::string, std::string>;
  std::vector<Text> texts;
  auto read = [&](const std::string& line) {
    const auto text = bridge.readText(&node, line.c_str());
    texts.emplace_back(text.name, text.value);
  };
  read("T,1,-5,1,NAME,-1,a,b");      // negative: the rest of the line
  read("T,1,-5,1,NAME,100,a,b");     // too long: the rest of the line
  read("T,9,-5,9,,0,ignored");       // empty name, empty text
  read("T,1,-5,1,N A M E,x,whole");  // no length: 0
  const std::string longName(1030, 'N');
  read("T,1,-5,1," + longName + ",2,ok");
  EXPECT_EQ(texts, (std::vector<Text>{{"NAME", "a,b"},
                                      {"NAME", "a,b"},
                                      {"", ""},
                                      {"N A M E", ""},
                                      {longName.substr(0, 1024), "ok"}}));

  // Another record's id, no record, a missing field, a bad separator.
  TableNode table;
  table.id = 80;
  atLine(5);
  EXPECT_EQ(errorOf([&] { bridge.scanText(&table, "T,1,81,1,DESCRIPTION,1,x"); }), pcdError(5));
  EXPECT_EQ(errorOf([&] { bridge.scanText(nullptr, "T,1,80,1,DESCRIPTION,1,x"); }), pcdError(5));
  EXPECT_EQ(errorOf([&] { bridge.scanText(&table, "T,1,80,1,DESCRIPTION"); }), pcdError(5));
  EXPECT_EQ(errorOf([&] { bridge.scanText(&table, "T;1,80,1,DESCRIPTION,1,x"); }), pcdError(5));
  EXPECT_TRUE(table.description.isEmpty());
  atLine(INT32_MAX);
  EXPECT_EQ(errorOf([&] { bridge.throwPcdError(); }), pcdError(INT32_MAX));
}

}  // namespace
