// Column names kept once: equal texts share a buffer, up to the table's bound.
#include "pcd/shared_texts.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using CaRepositoryDsOdbcImport::SharedTexts;

ZELString take(SharedTexts& texts, const std::string& bytes) {
  ZELString text;
  texts.assign(text, bytes.data(), bytes.size());
  EXPECT_TRUE(text.equals(bytes.data(), bytes.size())) << bytes;
  return text;
}

TEST(SharedTexts, EqualTextsShareOneBufferUpToTheBound) {
  SharedTexts texts;
  const ZELString first = take(texts, "CUSTOMER_ID");
  EXPECT_EQ(take(texts, "CUSTOMER_ID").c_str(), first.c_str());
  EXPECT_NE(take(texts, "CUSTOMER_IE").c_str(), first.c_str());
  const std::string withNul("ORDER\0DATE", 10);
  EXPECT_EQ(take(texts, withNul).c_str(), take(texts, withNul).c_str());
  // Past the bound, texts met before are still shared; new ones are not kept.
  std::vector<ZELString> many;
  for (int i = 0; i < 70000; ++i) many.push_back(take(texts, "COLUMN_" + std::to_string(i)));
  EXPECT_EQ(take(texts, "COLUMN_5").c_str(), many[5].c_str());
  EXPECT_EQ(take(texts, "CUSTOMER_ID").c_str(), first.c_str());
  EXPECT_NE(take(texts, "COLUMN_69999").c_str(), many[69999].c_str());
  texts.clear();
  EXPECT_STREQ(take(texts, "CUSTOMER_ID").c_str(), "CUSTOMER_ID");
}

}  // namespace
