// Every record scanner against its record layout.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

#include "pcd/record_layouts.h"
#include "reader_harness.h"

namespace cr = CaRepositoryDsOdbcImport;
using Bridge = ZELCaRepositoryDsOdbcImportBridge;
using cr::layout::kRecordCount;
using cr::layout::kShapes;
using cr::layout::Shape;

namespace {

// The record layouts, written out a second time from the format's table:
// object type letter, name, attribute type letters in file order.
struct ExpectedLayout {
  const char* objectType;
  const char* name;
  const char* letters;
};
const ExpectedLayout kExpected[kRecordCount] = {
    {"R", "SCHEM_AT", "C"},     {"E", "REL_DT", "CSCCC"},
    {"R", "INDEX_AT", "CCLSC"}, {"E", "SCHEMA", "C"},
    {"R", "TBL_COL", "CL"},     {"R", "SUPTS_DT", ""},
    {"E", "TABLE", "C"},        {"R", "VW_CL_AT", "S"},
    {"R", "TABLE_AT", "CC"},    {"R", "REL_COL", "CSLLSCC"},
    {"R", "KEY_COL", "SC"},     {"R", "PARM", "L"},
    {"E", "DATABASE", "C"},     {"R", "VIEW_COL", "L"},
    {"R", "TB_CL_AT", "S"},     {"R", "FGN_KEY", "CC"},
    {"E", "REL_SYS", "CC"},     {"R", "UDEF_DT", "LSS"},
    {"R", "OBJ_AT", ""},        {"E", "DBPROC", "C"},
    {"E", "VIEW", "CC"},        {"E", "SERVTYPE", "CCCSSSSSSSSSS"},
    {"E", "KEY", "CCC"},        {"R", "DB_AT", "CC"},
    {"R", "SERVINST", ""},      {"R", "PRIM_KEY", "L"},
    {"R", "FK_TB_AT", ""},      {"E", "ELEMENT", "CLSCC"},
};

// A well-formed line of a record: ids 101 (and 202, 303), every "C" the
// 2-byte string "vN", every "S"/"L" the value N, N being the attribute's
// position. `letters` replaces the layout's type letters when given.
std::string lineOf(const Shape& shape, const std::string& letters, long count) {
  std::string line = std::string(1, shape.objectType) + "," + shape.name + ",101,";
  if (shape.objectType == 'R') line += "202,303,";
  line += std::to_string(count);
  for (size_t i = 0; i < letters.size(); ++i) {
    const std::string n = std::to_string(i + 1);
    line += "," + std::string(1, letters[i]);
    line += letters[i] == 'C' ? std::to_string(1 + n.size()) + ",v" + n : n;
  }
  return line;
}
std::string lineOf(const Shape& shape) {
  return lineOf(shape, shape.letters, shape.attributeCount);
}

class RecordScanners : public ::testing::Test {
 protected:
  RecordScanners() { harness.bridge.lineNumber = 7; }

  template <class T>
  std::unique_ptr<T> scan(Bridge::Scanner scanner, const std::string& line) {
    std::unique_ptr<cr::Node> node(scanner(&harness.bridge, line.c_str()));
    T* typed = dynamic_cast<T*>(node.get());
    EXPECT_NE(typed, nullptr) << line;
    if (typed == nullptr) return nullptr;
    node.release();
    return std::unique_ptr<T>(typed);
  }
  std::string errorOfLine(Bridge::Scanner scanner, const std::string& line) {
    return errorOf([&] { delete scanner(&harness.bridge, line.c_str()); });
  }

  ReaderHarness harness;
};

TEST_F(RecordScanners, LayoutsAreThoseOfTheFormat) {
  for (int i = 0; i < kRecordCount; ++i) {
    EXPECT_EQ(std::string(1, kShapes[i].objectType), kExpected[i].objectType) << i;
    EXPECT_STREQ(kShapes[i].name, kExpected[i].name) << i;
    EXPECT_STREQ(kShapes[i].letters, kExpected[i].letters) << kExpected[i].name;
  }
  EXPECT_EQ(Bridge::scanTable[kRecordCount], nullptr);
}

// For each index: the scanner of that index reads a well-formed line of its
// record into a node of its record name, and rejects every malformed variant.
TEST_F(RecordScanners, EveryScannerChecksItsWholeLayout) {
  for (int i = 0; i < kRecordCount; ++i) {
    const Shape& shape = kShapes[i];
    const Bridge::Scanner scanner = Bridge::scanTable[i];
    ASSERT_NE(scanner, nullptr) << i;
    SCOPED_TRACE(shape.name);

    std::unique_ptr<cr::Node> node(scanner(&harness.bridge, lineOf(shape).c_str()));
    EXPECT_STREQ(node->type.c_str(), shape.name);
    EXPECT_EQ(node->id, 101);
    EXPECT_EQ(node->modelObject, nullptr);
    auto* relationship = dynamic_cast<cr::RelationshipNode*>(node.get());
    EXPECT_EQ(relationship != nullptr, shape.objectType == 'R');
    EXPECT_EQ(dynamic_cast<cr::EntityNode*>(node.get()) != nullptr, shape.objectType == 'E');
    if (relationship) {
      EXPECT_EQ(relationship->fromId, 202);
      EXPECT_EQ(relationship->toId, 303);
    }
    // Text behind the last attribute is ignored.
    delete scanner(&harness.bridge, (lineOf(shape) + ",EXTRA,C9").c_str());

    // Wrong object type letter, misspelt name, wrong count.
    std::string wrongType = lineOf(shape);
    wrongType[0] = shape.objectType == 'E' ? 'R' : 'E';
    EXPECT_EQ(errorOfLine(scanner, wrongType), pcdError(7));
    std::string renamed = lineOf(shape);
    renamed.insert(2 + std::string(shape.name).size(), "X");
    EXPECT_EQ(errorOfLine(scanner, renamed), pcdError(7));
    EXPECT_EQ(errorOfLine(scanner, lineOf(shape, shape.letters, shape.attributeCount + 1)),
              pcdError(7));
    if (shape.attributeCount > 0) {
      EXPECT_EQ(errorOfLine(scanner, lineOf(shape, shape.letters, shape.attributeCount - 1)),
                pcdError(7));
      // The last attribute missing.
      const std::string fewer(shape.letters, shape.attributeCount - 1);
      EXPECT_EQ(errorOfLine(scanner, lineOf(shape, fewer, shape.attributeCount)), pcdError(7));
    }
    // Each attribute with each other type letter.
    for (int a = 0; a < shape.attributeCount; ++a) {
      for (char other : {'C', 'S', 'L', 'X'}) {
        if (other == shape.letters[a]) continue;
        std::string letters = shape.letters;
        letters[a] = other;
        EXPECT_EQ(errorOfLine(scanner, lineOf(shape, letters, shape.attributeCount)), pcdError(7))
            << "attribute " << a + 1 << " as " << other;
      }
    }
  }
}

// Record classes declare their fields in attribute order, so each layout
// must name fields at increasing addresses: a field named out of place, or
// twice, breaks the order.
template <const auto& R>
void expectFieldsInDeclarationOrder() {
  using N = typename std::remove_reference_t<decltype(R)>::NodeType;
  N node;
  const char* previous = nullptr;
  for (const auto& attribute : R.attributes) {
    const char* field = attribute.text ? reinterpret_cast<const char*>(&(node.*attribute.text))
                                       : reinterpret_cast<const char*>(&(node.*attribute.number));
    EXPECT_LT(previous, field) << R.name;
    previous = field;
  }
}
template <const auto&... Rs>
void expectAllFieldsInDeclarationOrder() {
  (expectFieldsInDeclarationOrder<Rs>(), ...);
}

TEST_F(RecordScanners, FieldsAreFilledInLayoutOrder) {
  using namespace cr::layout;
  expectAllFieldsInDeclarationOrder<SCHEM_AT, REL_DT, INDEX_AT, SCHEMA, TBL_COL, SUPTS_DT, TABLE,
                                    VW_CL_AT, TABLE_AT, REL_COL, KEY_COL, PARM, DATABASE, VIEW_COL,
                                    TB_CL_AT, FGN_KEY, REL_SYS, UDEF_DT, OBJ_AT, DBPROC, VIEW,
                                    SERVTYPE, KEY, DB_AT, SERVINST, PRIM_KEY, FK_TB_AT, ELEMENT>();

  auto relColumn = scan<cr::Rel_colNode>(Bridge::scanREL_COL,
                                         "R,REL_COL,110,0,100,7,C4,NAME,S1,L30,L4,S2,C1,x,C2,yz");
  EXPECT_STREQ(relColumn->name.c_str(), "NAME");
  EXPECT_EQ(relColumn->attr2S, 1);
  EXPECT_EQ(relColumn->length, 30);
  EXPECT_EQ(relColumn->attr4L, 4);
  EXPECT_EQ(relColumn->scale, 2);
  EXPECT_STREQ(relColumn->attr6C.c_str(), "x");
  EXPECT_STREQ(relColumn->attr7C.c_str(), "yz");

  auto column = scan<cr::Tbl_colNode>(Bridge::scanTBL_COL, "R,TBL_COL,3007,700,2210,2,C1,N,L3");
  EXPECT_EQ(column->id, 3007);
  EXPECT_EQ(column->fromId, 700);
  EXPECT_EQ(column->toId, 2210);
  EXPECT_STREQ(column->nullable.c_str(), "N");
  EXPECT_EQ(column->position, 3);
  EXPECT_EQ(errorOfLine(Bridge::scanTBL_COL, "R,TBL_COL,3007,700,2210,2,C1,N,S3"), pcdError(7));
}

TEST_F(RecordScanners, CountedStringsAndIdsInRecords) {
  const std::pair<const char*, const char*> names[] = {
      {"C6,ORDERS", "ORDERS"},
      {"C0,", ""},
      {"C3,ABCDEF", "ABC"},
      {"C9,ORD", "ORD"},
      {"C11,Order, date", "Order, date"},
      {"C-3,X", ""},
  };
  for (const auto& [attribute, name] : names) {
    auto table = scan<cr::TableNode>(Bridge::scanTABLE, std::string("E,TABLE,,1,") + attribute);
    EXPECT_STREQ(table->name.c_str(), name) << attribute;
    EXPECT_EQ(table->id, 0);
    EXPECT_TRUE(table->description.isEmpty());
  }
  // An empty or negative count takes no bytes: the next attribute follows.
  auto system = scan<cr::Rel_sysNode>(Bridge::scanREL_SYS, "E,REL_SYS,10,2,C-3,C2,AB");
  EXPECT_TRUE(system->name.isEmpty());
  EXPECT_STREQ(system->attr2C.c_str(), "AB");
  // A string running past the line leaves nothing for the next attribute.
  EXPECT_EQ(errorOfLine(Bridge::scanREL_SYS, "E,REL_SYS,10,2,C50,PRODSYS,C0,"), pcdError(7));
}

TEST_F(RecordScanners, ScannerZeroRejectsEveryOtherRecord) {
  auto placement = scan<cr::Schem_atNode>(Bridge::scanTable[0], "R,SCHEM_AT,15,1201,99,1,C0,");
  EXPECT_EQ(placement->fromId, 1201);
  EXPECT_EQ(placement->toId, 99);
  for (const char* line : {"R,UNKNOWN,15,1,2,0", "E,SCHEM_AT,15,1,C0,", "R,SCHEM_AT;15"}) {
    EXPECT_EQ(errorOfLine(Bridge::scanTable[0], line), pcdError(7)) << line;
  }
}

}  // namespace
