// The explanation of a rejected line names the failing field, what was
// expected and what was found; lines the reader accepts get none.
#include <string>

#include <gtest/gtest.h>

#include "pcd/line_explanation.h"

namespace {

using CaRepositoryDsOdbcImport::explainLine;

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

}  // namespace
