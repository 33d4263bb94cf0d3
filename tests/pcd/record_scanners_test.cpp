// Every record scanner against its record layout.
#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <type_traits>

#include "pcd/record_layouts.h"
#include "reader_harness.h"

namespace cr = CaRepositoryDsOdbcImport;
using cr::layout::Shape;

namespace {

// Whether the kind's node class is a relationship node.
bool isRelationship(cr::RecordKind kind) {
  using namespace cr;
  static const bool relationship[] = {
#define PCD_RECORD(NAME, NODE, ...) std::is_base_of<RelationshipNode, NODE>::value,
#include "pcd/record_kinds.def"
#undef PCD_RECORD
  };
  return relationship[static_cast<int>(kind)];
}

// Each record line reaches the scanner of its record name, which reads a
// well-formed line (text behind the last attribute ignored) and rejects a
// wrong object type letter, a wrong count and each attribute with a wrong
// type letter.
TEST(RecordScanners, EveryScannerChecksItsWholeLayout) {
  for (const Shape& shape : cr::layout::kShapes) {
    SCOPED_TRACE(shape.name);
    ReaderHarness harness;
    const std::string line = recordLine(shape);
    ASSERT_EQ(harness.read(line + ",EXTRA,C9"), "");
    cr::Node* node = harness.node<cr::Node>(101);
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->type().c_str(), shape.name);
    ASSERT_EQ(isRelationship(node->kind), shape.objectType == 'R');
    if (shape.objectType == 'R') {
      EXPECT_EQ(static_cast<cr::RelationshipNode*>(node)->toId, 303);
    }

    std::string wrongType = line;
    wrongType[0] = shape.objectType == 'E' ? 'R' : 'E';
    EXPECT_EQ(harness.read(wrongType), pcdError(7));
    EXPECT_EQ(harness.read(recordLine(shape, shape.letters, shape.attributeCount + 1)),
              pcdError(7));
    // Type letters are exact: "S" and "L" carry the same kind of value but
    // are not interchangeable, and case counts.
    for (int a = 0; a < shape.attributeCount; ++a) {
      const char letter = shape.letters[a];
      for (char other : {letter == 'L' ? 'S' : 'L', static_cast<char>(std::tolower(letter))}) {
        std::string letters = shape.letters;
        letters[a] = other;
        EXPECT_EQ(harness.read(recordLine(shape, letters, shape.attributeCount)), pcdError(7))
            << "attribute " << a + 1 << " as " << other;
      }
    }
  }
}

// Record classes declare their fields in attribute order, so each layout
// must name fields at increasing addresses: a field named out of place, or
// twice, breaks the order. Attributes that are not kept name no field; one
// that stands in for the attribute before it names that one's field again.
template <const auto&... Rs>
void expectFieldsInDeclarationOrder() {
  auto check = [](const auto& record) {
    typename std::decay_t<decltype(record)>::NodeType node;
    const char* previous = nullptr;
    for (const auto& attribute : record.attributes) {
      if (!attribute.text && !attribute.number && !attribute.flag) continue;
      if (attribute.ifZero) {
        EXPECT_EQ(reinterpret_cast<const char*>(&(node.*attribute.number)), previous);
        continue;
      }
      const char* field = attribute.text ? reinterpret_cast<const char*>(&(node.*attribute.text))
                          : attribute.number
                              ? reinterpret_cast<const char*>(&(node.*attribute.number))
                              : reinterpret_cast<const char*>(&(node.*attribute.flag));
      EXPECT_LT(previous, field) << record.name;
      previous = field;
    }
  };
  (check(Rs), ...);
}

TEST(RecordScanners, FieldsAreFilledInLayoutOrder) {
  using namespace cr::layout;
  expectFieldsInDeclarationOrder<SCHEM_AT, REL_DT, INDEX_AT, SCHEMA, TBL_COL, SUPTS_DT, TABLE,
                                 VW_CL_AT, TABLE_AT, REL_COL, KEY_COL, PARM, DATABASE, VIEW_COL,
                                 TB_CL_AT, FGN_KEY, REL_SYS, UDEF_DT, OBJ_AT, DBPROC, VIEW,
                                 SERVTYPE, KEY, DB_AT, SERVINST, PRIM_KEY, FK_TB_AT, ELEMENT>();
}

TEST(RecordScanners, CountedStringsInRecords) {
  // A string takes exactly its count of bytes, commas included; an empty or
  // negative count takes none, so the next attribute follows at once. A
  // string that is not kept is stepped over the same way.
  for (const char* first : {"C11,Order, date,", "C0,", "C-3,"}) {
    ReaderHarness harness;
    const std::string line = std::string("E,KEY,10,3,") + first + "C2,AB," + first + "C1";
    ASSERT_EQ(harness.read(line), "") << line;
    auto* key = harness.node<cr::KeyNode>(10);
    ASSERT_NE(key, nullptr);
    EXPECT_STREQ(key->name.c_str(), first[1] == '1' ? "Order, date" : "") << line;
    EXPECT_STREQ(key->keyType.c_str(), "AB") << line;
  }
  ReaderHarness harness;
  ASSERT_EQ(harness.read("E,SERVTYPE,13,13,C3,a,b,C2,OR,C1,8,S31,S0,S0,S0,S0,S0,S0,S0,S0,S0"), "");
  auto* serverType = harness.node<cr::ServtypeNode>(13);
  ASSERT_NE(serverType, nullptr);
  EXPECT_STREQ(serverType->attr2C.c_str(), "OR");
  EXPECT_EQ(serverType->attr4S, 31);
}

// Of an attribute compared with one text, only whether it reads that text
// is kept: exactly those bytes, whatever its counted length takes.
TEST(RecordScanners, FlagsKeepWhetherTheirTextIsRead) {
  const struct {
    const char* attribute;
    bool descending;
  } cases[] = {{"C1,D", true},  {"C1,d", false}, {"C2,DD", false}, {"C0,", false},
               {"C-1,", false}, {"C5,D", true}};  // the last runs to the end of the line
  for (const auto& c : cases) {
    ReaderHarness harness;
    const std::string line = std::string("R,KEY_COL,10,1,2,2,S3,") + c.attribute;
    ASSERT_EQ(harness.read(line), "") << line;
    auto* column = harness.node<cr::Key_colNode>(10);
    ASSERT_NE(column, nullptr);
    EXPECT_EQ(column->descending, c.descending) << line;
    EXPECT_EQ(column->position, 3) << line;
  }
  // A flag in the middle of a record steps over its bytes like any string.
  ReaderHarness harness;
  ASSERT_EQ(harness.read("R,INDEX_AT,11,1,2,5,C1,Y,C3,a,b,L7,S8,C1,Y"), "");
  auto* index = harness.node<cr::Index_atNode>(11);
  ASSERT_NE(index, nullptr);
  EXPECT_TRUE(index->attr1Y);
  EXPECT_TRUE(index->attr5Y);
}

// A column's second length stands in for the first when that one is 0.
TEST(RecordScanners, ColumnLengthFallsBackToTheSecondLength) {
  const struct {
    const char* lengths;
    int expected;
  } cases[] = {{"L5,L12", 5}, {"L0,L12", 12}, {"L0,L0", 0}, {"L-1,L12", -1}};
  for (const auto& c : cases) {
    ReaderHarness harness;
    const std::string line =
        std::string("R,REL_COL,10,1,2,7,C4,NAME,S0,") + c.lengths + ",S2,C0,C0";
    ASSERT_EQ(harness.read(line), "") << line;
    auto* column = harness.node<cr::Rel_colNode>(10);
    ASSERT_NE(column, nullptr);
    EXPECT_EQ(column->length, c.expected) << line;
    EXPECT_EQ(column->scale, 2) << line;
  }
}

}  // namespace
