// ZELString: copy-on-write buffers, short texts held inside the object, and
// the buffer reuse the line reader relies on.
#include <climits>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "zel_string.h"

namespace {

// True when the text is held inside the string object itself.
bool heldInPlace(const ZELString& text) {
  const char* bytes = text.c_str();
  const char* object = reinterpret_cast<const char*>(&text);
  return bytes >= object && bytes < object + sizeof text;
}

TEST(ZELStringTest, ShortTextsStayInPlaceAndLongerOnesShareABuffer) {
  const ZELString six("abcdef");
  const ZELString seven("abcdefg");
  EXPECT_TRUE(heldInPlace(six));
  EXPECT_FALSE(heldInPlace(seven));
  EXPECT_EQ(ZELString(seven).c_str(), seven.c_str());  // one buffer

  // Writing to a copy, in either form, leaves the original alone.
  for (const ZELString& original : {six, seven}) {
    const std::string before = original.c_str();
    ZELString appended = original, cut = original, assigned = original;
    appended.append('!');
    cut.truncate(1);
    assigned.assign("xy", 2);
    EXPECT_EQ(original, before.c_str());
    EXPECT_EQ(appended, (before + "!").c_str());
    EXPECT_EQ(cut, "a");
    EXPECT_EQ(assigned, "xy");
  }

  // A moved text leaves an empty string behind.
  ZELString source("a text with a buffer");
  const ZELString moved(std::move(source));
  EXPECT_TRUE(source.isEmpty());  // NOLINT(bugprone-use-after-move): moved-from state is defined
  EXPECT_EQ(moved, "a text with a buffer");

  // Growing across the limit, and appending or assigning its own bytes.
  ZELString twice("abc");
  twice += twice;
  EXPECT_EQ(twice, "abcabc");
  EXPECT_TRUE(heldInPlace(twice));
  twice += twice;
  EXPECT_EQ(twice, "abcabcabcabc");
  twice.append(twice.c_str() + 3, 3);
  EXPECT_EQ(twice, "abcabcabcabcabc");
  ZELString part("abcdef");
  part.assign(part.c_str() + 2, 3);
  EXPECT_EQ(part, "cde");
}

TEST(ZELStringTest, TheTwoFormsOfOneTextAreEqualAndHashAlike) {
  ZELString buffered("abc and more");
  buffered.truncate(3);  // an unshared buffer is kept
  const ZELString inPlace("abc");
  ASSERT_FALSE(heldInPlace(buffered));
  ASSERT_TRUE(heldInPlace(inPlace));
  EXPECT_EQ(buffered, inPlace);
  EXPECT_EQ(buffered.compare(inPlace), 0);
  EXPECT_EQ(buffered.hashCode(), inPlace.hashCode());
  ZELString emptied("x");
  emptied.truncate(0);
  EXPECT_EQ(emptied, ZELString());
  EXPECT_EQ(emptied.hashCode(), ZELString().hashCode());

  // Built byte by byte or made at once: one hash, that of stringHashCode.
  for (const char* sample : {"", "a", "abcdef", "abcdefg", "TABLE_AT", "TBL_COL"}) {
    ZELString built;
    for (const char* at = sample; *at; ++at) built.append(*at);
    EXPECT_EQ(built.hashCode(), ZELString(sample).hashCode()) << sample;
    EXPECT_EQ(built.hashCode(), stringHashCode(sample)) << sample;
  }
  EXPECT_NE(stringHashCode("abcdefgh"), stringHashCode("abcdefgi"));
  EXPECT_EQ(stringHashCode(nullptr), stringHashCode(""));
  EXPECT_LT(ZELString("ab"), ZELString("abc"));

  // Embedded NUL bytes are part of the text, in place too.
  const ZELString withNul("a\0b", 3);
  EXPECT_TRUE(heldInPlace(withNul));
  EXPECT_EQ(withNul.length(), 3u);
  EXPECT_NE(withNul, "a");
  EXPECT_NE(withNul, ZELString("a"));
  EXPECT_NE(withNul.hashCode(), ZELString("a").hashCode());
  EXPECT_EQ(withNul.indexOf('b'), 2);
  std::ostringstream out;
  out << withNul;
  EXPECT_EQ(out.str(), std::string("a\0b", 3));
}

TEST(ZELStringTest, ClipsPositionsAndCounts) {
  const ZELString text("hello");
  EXPECT_EQ(text.mid(1, 3), "ell");
  EXPECT_EQ(text.mid(3, 100), "lo");
  EXPECT_EQ(text.mid(5, 1), "");
  EXPECT_EQ(text.mid(100, 1), "");
  EXPECT_EQ(text.left(2), "he");
  EXPECT_EQ(text.left(100), "hello");
  EXPECT_EQ(text[5], '\0');
  EXPECT_EQ(text[1000], '\0');
  ZELString cut("hello");
  cut.truncate(100);
  EXPECT_EQ(cut, "hello");
  EXPECT_EQ(ZELString().mid(0, 5), "");
  EXPECT_EQ(ZELString(static_cast<const char*>(nullptr)), "");
}

TEST(ZELStringTest, WritesDecimalText) {
  EXPECT_EQ(ZELString(0L), "0");
  EXPECT_EQ(ZELString(-12345L), "-12345");
  EXPECT_EQ(ZELString(1234567L), "1234567");
  EXPECT_EQ(ZELString(LONG_MAX), std::to_string(LONG_MAX).c_str());
  EXPECT_EQ(ZELString(LONG_MIN), std::to_string(LONG_MIN).c_str());
}

// Filling the buffer in place and moving it out as it grows are checked
// by the line reader's tests.
TEST(ZELStringTest, AssigningAShorterTextKeepsAnUnsharedBuffer) {
  // Even from its own bytes.
  ZELString text("a fairly long first value");
  const char* first = text.c_str();
  text.assign("short", 5);
  text.assign(text.c_str() + 1, 3);
  EXPECT_EQ(text, "hor");
  EXPECT_EQ(text.c_str(), first);
  text.assign("", 0);
  EXPECT_STREQ(text.c_str(), "");
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

}  // namespace
