#include <climits>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "zel_string.h"

TEST(ZELStringTest, CopiesShareUntilWritten) {
  ZELString original("abc");
  ZELString copy = original;
  // A text this short is held in place; a longer one has a buffer to share.
  const ZELString longer("a text with a buffer");
  const ZELString longerCopy = longer;
  EXPECT_EQ(longerCopy.c_str(), longer.c_str());  // one buffer

  copy.append('d');
  EXPECT_EQ(original, "abc");
  EXPECT_EQ(copy, "abcd");

  ZELString truncated = original;
  truncated.truncate(1);
  EXPECT_EQ(original, "abc");
  EXPECT_EQ(truncated, "a");

  ZELString assigned = original;
  assigned.assign("xy", 2);
  EXPECT_EQ(original, "abc");
  EXPECT_EQ(assigned, "xy");

  // Appending a string to itself, shared and unshared.
  ZELString twice = original;
  twice += twice;
  EXPECT_EQ(twice, "abcabc");
  twice += twice;
  EXPECT_EQ(twice, "abcabcabcabc");
  EXPECT_EQ(original, "abc");
}

TEST(ZELStringTest, AssignReusesAnUnsharedBuffer) {
  ZELString text("a fairly long first value");
  const char* buffer = text.c_str();
  text.assign("short", 5);
  EXPECT_EQ(text.c_str(), buffer);
  EXPECT_EQ(text, "short");
  text.assign(text.c_str() + 1, 3);  // from its own bytes
  EXPECT_EQ(text, "hor");
  EXPECT_EQ(text.c_str(), buffer);
  text.assign("", 0);
  EXPECT_TRUE(text.isEmpty());
  EXPECT_STREQ(text.c_str(), "");
}

TEST(ZELStringTest, ClipsPositionsAndCounts) {
  const ZELString text("hello");
  EXPECT_EQ(text.mid(1, 3), "ell");
  EXPECT_EQ(text.mid(3, 100), "lo");
  EXPECT_EQ(text.mid(5, 1), "");
  EXPECT_EQ(text.mid(100, 1), "");
  EXPECT_EQ(text.mid(0, 0), "");
  EXPECT_EQ(text.left(2), "he");
  EXPECT_EQ(text.left(100), "hello");
  EXPECT_EQ(text[4], 'o');
  EXPECT_EQ(text[5], '\0');
  EXPECT_EQ(text[1000], '\0');

  ZELString cut("hello");
  cut.truncate(100);
  EXPECT_EQ(cut, "hello");
  cut.truncate(0);
  EXPECT_TRUE(cut.isEmpty());
  EXPECT_EQ(ZELString().mid(0, 5), "");
  EXPECT_EQ(ZELString(static_cast<const char*>(nullptr)), "");
}

TEST(ZELStringTest, KeepsEmbeddedNulBytes) {
  const ZELString withNul("a\0b", 3);
  EXPECT_EQ(withNul.length(), 3u);
  EXPECT_NE(withNul, "a");
  EXPECT_NE(withNul, ZELString("a"));
  EXPECT_EQ(withNul.indexOf('b'), 2);
  EXPECT_EQ(withNul.indexOf('z'), -1);
  EXPECT_NE(withNul.hashCode(), ZELString("a").hashCode());
  std::ostringstream out;
  out << withNul;
  EXPECT_EQ(out.str(), std::string("a\0b", 3));
}

TEST(ZELStringTest, HashesAndOrdersByBytes) {
  const char* samples[] = {"", "a", "b", "abcdefgh", "abcdefghi", "TABLE_AT", "TBL_COL"};
  for (const char* sample : samples) {
    ZELString built;
    for (const char* at = sample; *at; ++at) built.append(*at);
    EXPECT_EQ(built.hashCode(), ZELString(sample).hashCode()) << sample;
    EXPECT_EQ(built.hashCode(), stringHashCode(sample)) << sample;
  }
  EXPECT_NE(stringHashCode("a"), stringHashCode("b"));
  EXPECT_NE(stringHashCode("abcdefgh"), stringHashCode("abcdefgi"));
  EXPECT_EQ(stringHashCode(nullptr), stringHashCode(""));

  EXPECT_LT(ZELString("ab"), ZELString("abc"));
  EXPECT_LT(ZELString("abc"), ZELString("abd"));
  EXPECT_LT(ZELString(""), ZELString("a"));
  EXPECT_EQ(ZELString("abc").compare(ZELString("abc")), 0);
  EXPECT_EQ(ZELString("x") + "y" + ZELString("z"), "xyz");
  EXPECT_EQ("w" + ZELString("x"), "wx");
}

TEST(ZELStringTest, WritesDecimalText) {
  EXPECT_EQ(ZELString(0L), "0");
  EXPECT_EQ(ZELString(-12L), "-12");
  EXPECT_EQ(ZELString(7L), "7");
  EXPECT_EQ(ZELString(LONG_MAX), std::to_string(LONG_MAX).c_str());
  EXPECT_EQ(ZELString(LONG_MIN), std::to_string(LONG_MIN).c_str());
}

TEST(ZELStringTest, RefusesTextBeyondTheMaximumLength) {
  const char byte = 'x';
  // The lengths are checked before any byte is read or allocated.
  EXPECT_THROW(ZELString(&byte, ZELString::kMaxLength + 1), std::length_error);
  ZELString text("abc");
  EXPECT_THROW(text.append(&byte, ZELString::kMaxLength - 2), std::length_error);
  EXPECT_EQ(text, "abc");
  EXPECT_THROW(text.reserve(size_t{ZELString::kMaxLength} + 1), std::length_error);
}
