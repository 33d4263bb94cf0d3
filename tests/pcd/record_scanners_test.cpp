// Every record scanner against its record layout.
#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <string>
#include <type_traits>

#include "pcd/record_layouts.h"
#include "reader_harness.h"

namespace cr = CaRepositoryDsOdbcImport;
using Bridge = ZELCaRepositoryDsOdbcImportBridge;
using cr::layout::Shape;

namespace {

class RecordScanners : public ::testing::Test {
 protected:
  RecordScanners() { harness.bridge.lineNumber = 7; }
  std::unique_ptr<cr::Node> scan(Bridge::Scanner scanner, const std::string& line) {
    return std::unique_ptr<cr::Node>(scanner(&harness.bridge, line.c_str()));
  }
  std::string errorOfLine(Bridge::Scanner scanner, const std::string& line) {
    return errorOf([&] { scan(scanner, line); });
  }

  ReaderHarness harness;
};

// Each scanner reads a well-formed line of its record (text behind the last
// attribute ignored) and rejects a wrong object type letter, a wrong count
// and each attribute with a wrong type letter.
TEST_F(RecordScanners, EveryScannerChecksItsWholeLayout) {
  for (int i = 0; i < cr::layout::kRecordCount; ++i) {
    const Shape& shape = cr::layout::kShapes[i];
    const Bridge::Scanner scanner = Bridge::scanTable[i];
    SCOPED_TRACE(shape.name);
    ASSERT_NE(scanner, nullptr);
    const std::string line = recordLine(shape);
    const std::unique_ptr<cr::Node> node = scan(scanner, line + ",EXTRA,C9");
    EXPECT_STREQ(node->type.c_str(), shape.name);
    EXPECT_EQ(node->id, 101);
    auto* relationship = dynamic_cast<cr::RelationshipNode*>(node.get());
    EXPECT_EQ(relationship != nullptr, shape.objectType == 'R');
    EXPECT_TRUE(relationship == nullptr || relationship->toId == 303);

    std::string wrongType = line;
    wrongType[0] = shape.objectType == 'E' ? 'R' : 'E';
    EXPECT_EQ(errorOfLine(scanner, wrongType), pcdError(7));
    EXPECT_EQ(errorOfLine(scanner, recordLine(shape, shape.letters, shape.attributeCount + 1)),
              pcdError(7));
    // Type letters are exact: "S" and "L" carry the same kind of value but
    // are not interchangeable, and case counts.
    for (int a = 0; a < shape.attributeCount; ++a) {
      const char letter = shape.letters[a];
      for (char other : {letter == 'L' ? 'S' : 'L', static_cast<char>(std::tolower(letter))}) {
        std::string letters = shape.letters;
        letters[a] = other;
        EXPECT_EQ(errorOfLine(scanner, recordLine(shape, letters, shape.attributeCount)),
                  pcdError(7))
            << "attribute " << a + 1 << " as " << other;
      }
    }
  }
}

// Record classes declare their fields in attribute order, so each layout
// must name fields at increasing addresses: a field named out of place, or
// twice, breaks the order.
template <const auto&... Rs>
void expectFieldsInDeclarationOrder() {
  auto check = [](const auto& record) {
    typename std::decay_t<decltype(record)>::NodeType node;
    const char* previous = nullptr;
    for (const auto& attribute : record.attributes) {
      const char* field = attribute.text ? reinterpret_cast<const char*>(&(node.*attribute.text))
                                         : reinterpret_cast<const char*>(&(node.*attribute.number));
      EXPECT_LT(previous, field) << record.name;
      previous = field;
    }
  };
  (check(Rs), ...);
}

TEST_F(RecordScanners, FieldsAreFilledInLayoutOrder) {
  using namespace cr::layout;
  expectFieldsInDeclarationOrder<SCHEM_AT, REL_DT, INDEX_AT, SCHEMA, TBL_COL, SUPTS_DT, TABLE,
                                 VW_CL_AT, TABLE_AT, REL_COL, KEY_COL, PARM, DATABASE, VIEW_COL,
                                 TB_CL_AT, FGN_KEY, REL_SYS, UDEF_DT, OBJ_AT, DBPROC, VIEW,
                                 SERVTYPE, KEY, DB_AT, SERVINST, PRIM_KEY, FK_TB_AT, ELEMENT>();
}

TEST_F(RecordScanners, CountedStringsInRecords) {
  // A string takes exactly its count of bytes, commas included; an empty or
  // negative count takes none, so the next attribute follows at once.
  for (const char* first : {"C11,Order, date,", "C0,", "C-3,"}) {
    const std::string line = std::string("E,REL_SYS,10,2,") + first + "C2,AB";
    const std::unique_ptr<cr::Node> node = scan(Bridge::scanREL_SYS, line);
    auto* system = dynamic_cast<cr::Rel_sysNode*>(node.get());
    ASSERT_NE(system, nullptr);
    EXPECT_STREQ(system->name.c_str(), first[1] == '1' ? "Order, date" : "") << line;
    EXPECT_STREQ(system->attr2C.c_str(), "AB") << line;
  }
}

}  // namespace
