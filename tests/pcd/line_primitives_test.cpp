// The cursor primitives of a PCD line and text lines.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "reader_harness.h"

using CaRepositoryDsOdbcImport::Node;
using CaRepositoryDsOdbcImport::TableNode;
using CaRepositoryDsOdbcImport::Tbl_colNode;

namespace {

class LinePrimitives : public ::testing::Test {
 protected:
  LinePrimitives() { bridge().lineNumber = 12; }
  ZELCaRepositoryDsOdbcImportBridge& bridge() { return harness.bridge; }

  // Scans a token and returns the value and what is left of the line.
  std::pair<long, std::string> token(const char* text) {
    long value = -99;
    const char* rest = bridge().scanToken(text, &value);
    return {value, rest};
  }

  ReaderHarness harness;
};

// Keeps every text it receives.
class RecordingNode : public Node {
 public:
  RecordingNode() : Node("TEST") {}
  void setText(ZELString name, ZELString value) override {
    texts.emplace_back(std::string(name.c_str(), name.length()),
                       std::string(value.c_str(), value.length()));
  }
  std::vector<std::pair<std::string, std::string>> texts;
};

TEST_F(LinePrimitives, LiteralsMatchOnlyWhenFollowedByAComma) {
  EXPECT_STREQ(bridge().assertName("SCHEMA,1201", "SCHEMA"), "1201");
  EXPECT_STREQ(bridge().assertObjectType("E,SCHEMA", "E"), "SCHEMA");
  EXPECT_STREQ(bridge().assertName("X,", "X"), "");

  // Longer names, other names, lower case, a missing comma, a short line.
  for (const char* text : {"SCHEMA2,", "SCHEM_AT,", "schema,", "SCHEMA", "SCHEMA;", "SCHEM", ""}) {
    EXPECT_EQ(errorOf([&] { bridge().assertName(text, "SCHEMA"); }), pcdError(12)) << text;
  }
  for (const char* line : {"E;SCHEMA", "e,SCHEMA", "R,SCHEMA", "E", ""}) {
    EXPECT_EQ(errorOf([&] { bridge().assertObjectType(line, "E"); }), pcdError(12)) << line;
  }
}

TEST_F(LinePrimitives, TokensFollowStrtolAndSaturateAt32Bits) {
  using Result = std::pair<long, std::string>;
  EXPECT_EQ(token("1201,1,C5"), Result(1201, "1,C5"));
  EXPECT_EQ(token("-7,x"), Result(-7, "x"));
  EXPECT_EQ(token("+5x"), Result(5, "x"));
  EXPECT_EQ(token(" \t\n\v\f\r42,"), Result(42, ""));
  EXPECT_EQ(token("0012"), Result(12, ""));
  EXPECT_EQ(token("12 ,"), Result(12, " ,"));  // no blank is skipped behind digits

  // The 32-bit limits, and saturation beyond them in both directions.
  EXPECT_EQ(token("2147483647,").first, INT32_MAX);
  EXPECT_EQ(token("2147483648,").first, INT32_MAX);
  EXPECT_EQ(token("99999999999999999999999999,").first, INT32_MAX);
  EXPECT_EQ(token("-2147483648,").first, INT32_MIN);
  EXPECT_EQ(token("-2147483649,").first, INT32_MIN);
  EXPECT_EQ(token("-99999999999999999999999999").first, INT32_MIN);
  EXPECT_EQ(token("99999999999999999999999999,x").second, "x");

  // No digits: 0 and nothing consumed, not even blanks or a sign; only a
  // comma right at the cursor is stepped over.
  EXPECT_EQ(token(""), Result(0, ""));
  EXPECT_EQ(token(",1"), Result(0, "1"));
  EXPECT_EQ(token("x,1"), Result(0, "x,1"));
  EXPECT_EQ(token("  ,1"), Result(0, "  ,1"));
  EXPECT_EQ(token("-,1"), Result(0, "-,1"));
  EXPECT_EQ(token("+"), Result(0, "+"));
}

TEST_F(LinePrimitives, AttributeCountsAndTypeLetters) {
  EXPECT_STREQ(bridge().assertNumAttributes("2,C1,N", 2), "C1,N");
  EXPECT_STREQ(bridge().assertNumAttributes("", 0), "");  // an empty count reads 0
  EXPECT_EQ(errorOf([&] { bridge().assertNumAttributes("2,C1,N", 1); }), pcdError(12));
  EXPECT_EQ(errorOf([&] { bridge().assertNumAttributes("x", 1); }), pcdError(12));

  long value = 0;
  EXPECT_STREQ(bridge().assertAttrTypeAndReadVal("C5,SALES", "C", &value), "SALES");
  EXPECT_EQ(value, 5);
  EXPECT_STREQ(bridge().assertAttrTypeAndReadVal("L-3", "L", &value), "");
  EXPECT_EQ(value, -3);
  EXPECT_STREQ(bridge().assertAttrTypeAndReadVal("S,C1", "S", &value), "C1");
  EXPECT_EQ(value, 0);
  // "S" and "L" carry the same kind of value but are not interchangeable.
  for (const char* text : {"S3", "l3", "C3", ""}) {
    EXPECT_EQ(errorOf([&] { bridge().assertAttrTypeAndReadVal(text, "L", &value); }), pcdError(12))
        << text;
  }
}

TEST_F(LinePrimitives, CountedStringsTakeExactlyTheirBytes) {
  struct Case {
    const char* text;
    long length;
    const char* value;
    const char* rest;
  };
  const Case cases[] = {
      {"SALES", 5, "SALES", ""},
      {"Order, date,L3", 11, "Order, date", "L3"},  // commas inside are bytes
      {"ABCDEF", 3, "ABC", "DEF"},
      {"AB", 5, "AB", ""},  // longer than the line: the rest of the line
      {"AB,CD", -1, "AB,CD", ""},
      {",X", 0, "", "X"},
  };
  for (const Case& c : cases) {
    ZELString value("old");
    const char* rest = bridge().scanString(c.text, value, c.length);
    EXPECT_STREQ(value.c_str(), c.value) << c.text;
    EXPECT_STREQ(rest, c.rest) << c.text;
  }
}

TEST_F(LinePrimitives, TextLinesAttachToTheLastRecord) {
  TableNode table;
  table.id = 80;
  bridge().scanText(&table, "T,1,80,1,DESCRIPTION,11,Order heads");
  bridge().scanText(&table, "T,9,80,9,DESCRIPTION,3,, a,b");
  EXPECT_STREQ(table.description.c_str(), "Order heads, a");

  RecordingNode node;
  node.id = -5;
  bridge().scanText(&node, "T,1,-5,1,NAME,-1,a,b");      // negative: the rest of the line
  bridge().scanText(&node, "T,1,-5,1,NAME,100,a,b");     // too long: the rest of the line
  bridge().scanText(&node, "T,1,-5,1,,0,ignored");       // empty name, empty text
  bridge().scanText(&node, "T,1,-5,1,N A M E,x,whole");  // no length: 0
  const std::string longName(1030, 'N');
  bridge().scanText(&node, ("T,1,-5,1," + longName + ",2,ok").c_str());
  using Text = std::pair<std::string, std::string>;
  EXPECT_EQ(node.texts, (std::vector<Text>{{"NAME", "a,b"},
                                           {"NAME", "a,b"},
                                           {"", ""},
                                           {"N A M E", ""},
                                           {longName.substr(0, 1024), "ok"}}));
}

TEST_F(LinePrimitives, BadTextLinesNameTheirLine) {
  TableNode table;
  table.id = 80;
  bridge().lineNumber = 5;
  EXPECT_EQ(errorOf([&] { bridge().scanText(&table, "T,1,81,1,DESCRIPTION,1,x"); }), pcdError(5));
  EXPECT_EQ(errorOf([&] { bridge().scanText(nullptr, "T,1,80,1,DESCRIPTION,1,x"); }), pcdError(5));
  EXPECT_EQ(errorOf([&] { bridge().scanText(&table, "T,1,80,1,DESCRIPTION"); }), pcdError(5));
  EXPECT_EQ(errorOf([&] { bridge().scanText(&table, "T;1,80,1,DESCRIPTION,1,x"); }), pcdError(5));
  EXPECT_TRUE(table.description.isEmpty());
  bridge().lineNumber = 2147483647;
  EXPECT_EQ(errorOf([&] { bridge().throwPcdError(); }), pcdError(2147483647));
}

TEST_F(LinePrimitives, TextsJoinOnlyUnderTheirExactName) {
  Tbl_colNode column;
  for (const char* name :
       {"COLUMN_COMMENTS", "column_comments", "COLUMN_COMMENTS ", "DESCRIPTION"}) {
    column.setText(name, "Order ");
  }
  column.setText("COLUMN_COMMENTS", "date");
  EXPECT_STREQ(column.comment.c_str(), "Order date");

  TableNode table;
  for (const char* name : {"DESCRIPTION", "COLUMN_COMMENTS", "DESCRIPTIO", "DESCRIPTION"}) {
    table.setText(name, name);
  }
  EXPECT_STREQ(table.description.c_str(), "DESCRIPTIONDESCRIPTION");
}

}  // namespace
