// The explanation of a rejected line names the failing field, what was
// expected and what was found; lines the reader accepts get none.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "pcd/line_explanation.h"
#include "pcd/record_layouts.h"

namespace {

using CaRepositoryDsOdbcImport::AcceptedRecord;
using CaRepositoryDsOdbcImport::explainLine;
using CaRepositoryDsOdbcImport::readRecordIds;
using CaRepositoryDsOdbcImport::readTextAttributes;
namespace layout = CaRepositoryDsOdbcImport::layout;

TEST(LineExplanation, NamesTheFailingField) {
  const long seven = 7;
  const struct {
    const char* line;
    const long* lastRecordId;
    const char* explanation;
  } cases[] = {
      {"E,TABLE,3,1,C6,ORDERS", nullptr, ""},
      {"R,TBL_COL,9,2,3,2,C1,Y,L4", nullptr, ""},
      {"T,0,7,0,Comment,3,abc", &seven, ""},
      {"X,anything", nullptr, ""},  // skipped by the reader
      {"E,TABLE,3,2,C6,ORDERS", nullptr, "attribute count of TABLE: expected 1, found '2'"},
      {"E,TABLE,3,1,S6,ORDERS", nullptr,
       "attribute 1 of 1 of TABLE: expected type letter C, found 'S6'"},
      {"R,TBL_COL,9,2,3,2,C1,Y", nullptr,
       "attribute 2 of 2 of TBL_COL: expected type letter L, found the end of the line"},
      {"E,TABLES,3,1,C6,ORDERS", nullptr, "unknown record name 'TABLES'"},
      {"R,TABLE,3,1,C6,ORDERS", nullptr, "TABLE is an 'E' record, but the line starts with 'R'"},
      {"E;TABLE", nullptr, "expected ',' after 'E'"},
      {"E,SCHEMA,1x,1,C4,SHOP", nullptr,
       "attribute count of SCHEMA: expected 1, found 'x'; the object id is not an integer "
       "(found '1x')"},
      {"T,0,8,0,Comment,3,abc", &seven,
       "text line for object 8: it must follow the record of that object, but the record "
       "before it is object 7"},
      {"T,0,8,0,Comment,3,abc", nullptr, "text line for object 8: no record line comes before it"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(explainLine(c.line, c.lastRecordId), c.explanation) << c.line;
  }
}

TEST(LineExplanation, KnowsEveryRecordNameAndNoOther) {
  for (const layout::Shape& shape : layout::kShapes) {
    const std::string name = shape.name;
    const char other = shape.objectType == 'E' ? 'R' : 'E';
    const std::string wrongLetter = std::string(1, other) + "," + name + ",1";
    EXPECT_EQ(explainLine(wrongLetter.c_str(), nullptr),
              name + " is an '" + shape.objectType + "' record, but the line starts with '" +
                  other + "'");
    for (const std::string& unknown : {name + "X", name.substr(1), "X" + name.substr(1)}) {
      const std::string line = "E," + unknown + ",1";
      EXPECT_EQ(explainLine(line.c_str(), nullptr), "unknown record name '" + unknown + "'");
    }
  }
}

// What a checker takes from the one reading of an accepted line is what the
// separate readers take from it, texts cut by their counts included.
TEST(LineExplanation, AcceptedRecordIsWhatTheReadersTake) {
  const char* const lines[] = {
      "E,TABLE,3,1,C6,ORDERS",
      "R,TBL_COL,9,2,3,2,C1,Y,L4",
      "E,KEY,12,3,C2,PK,C1,P,C0,",
      "E,TABLE,4,1,C9,SHORT",   // the count runs past the line
      "E,TABLE,5,1,C2,ORDERS",  // the count ends inside the field
      "R,SCHEM_AT,2147483648,-4,0,1,C3,abc",
  };
  for (const char* line : lines) {
    AcceptedRecord record;
    record.textKinds = ~0u;
    ASSERT_EQ(explainLine(line, nullptr, nullptr, &record), "") << line;
    const auto ids = readRecordIds(line);
    EXPECT_EQ(layout::kShapes[record.kind].name, ids.name) << line;
    EXPECT_EQ(record.id, ids.id) << line;
    EXPECT_EQ(record.fromId, ids.fromId) << line;
    EXPECT_EQ(record.toId, ids.toId) << line;
    EXPECT_EQ(record.texts, readTextAttributes(line)) << line;

    record.textKinds = 0;
    explainLine(line, nullptr, nullptr, &record);
    EXPECT_TRUE(record.texts.empty()) << line;
  }
  AcceptedRecord record;
  explainLine("E,TABLE,3,1,C6,ORDERS", nullptr, nullptr, &record);
  for (const char* other : {"E,TABLE,3,2,C6,ORDERS", "T,0,3,0,Comment,1,x", "X,anything"}) {
    const long three = 3;
    explainLine(other, &three, nullptr, &record);
    EXPECT_EQ(record.kind, -1) << other;
  }
}

}  // namespace
