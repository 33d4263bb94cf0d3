// Short texts held inside the string object: the limit, the moves between
// the in-place form and a buffer, and that both forms behave as one string.
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

TEST(SmallStrings, ShortTextsNeedNoBufferAndLongerOnesShareOne) {
  static_assert(sizeof(ZELString) == 8, "one pointer wide");
  const ZELString six("abcdef");
  const ZELString seven("abcdefg");
  EXPECT_TRUE(heldInPlace(six));
  EXPECT_FALSE(heldInPlace(seven));
  EXPECT_EQ(six.length(), 6u);
  EXPECT_STREQ(six.c_str(), "abcdef");
  EXPECT_EQ(six.capacity(), ZELString::kSmallCapacity);

  // Copies of a short text are independent; copies of a long one share.
  ZELString copy = six;
  copy.append('!');
  EXPECT_EQ(six, "abcdef");
  EXPECT_EQ(copy, "abcdef!");
  const ZELString sharing = seven;
  EXPECT_EQ(sharing.c_str(), seven.c_str());

  // A moved short text leaves an empty string behind.
  ZELString moved(std::move(copy));
  EXPECT_TRUE(copy.isEmpty());  // NOLINT(bugprone-use-after-move): moved-from state is specified
  EXPECT_STREQ(copy.c_str(), "");
  EXPECT_EQ(moved, "abcdef!");

  // Embedded NUL bytes stay, in place too.
  const ZELString withNul("a\0b", 3);
  EXPECT_TRUE(heldInPlace(withNul));
  EXPECT_EQ(withNul.length(), 3u);
  EXPECT_NE(withNul, ZELString("a"));
}

TEST(SmallStrings, GrowAndShrinkAcrossTheLimit) {
  ZELString text;
  for (char c : std::string("abcdefghij")) text.append(c);
  EXPECT_EQ(text, "abcdefghij");
  EXPECT_FALSE(heldInPlace(text));
  text.truncate(2);  // an unshared buffer is kept
  EXPECT_EQ(text, "ab");
  EXPECT_EQ(text.length(), 2u);

  // Appending a string to itself, in place and across the limit.
  ZELString twice("abc");
  twice += twice;
  EXPECT_EQ(twice, "abcabc");
  EXPECT_TRUE(heldInPlace(twice));
  twice += twice;
  EXPECT_EQ(twice, "abcabcabcabc");
  twice.append(twice.c_str() + 3, 3);  // part of its own (buffered) text
  EXPECT_EQ(twice, "abcabcabcabcabc");

  // Assigning part of itself, and a long text to a short one.
  ZELString part("abcdef");
  part.assign(part.c_str() + 2, 3);
  EXPECT_EQ(part, "cde");
  part = "a text of some length";
  EXPECT_EQ(part, "a text of some length");
  part.assign("xy", 2);
  EXPECT_EQ(part, "xy");

  EXPECT_EQ(ZELString("ab") + "cd" + ZELString("ef"), "abcdef");
  EXPECT_EQ(ZELString("abcd") + "efgh", "abcdefgh");
  EXPECT_EQ(ZELString(-12345L), "-12345");
  EXPECT_EQ(ZELString(1234567L), "1234567");
}

TEST(SmallStrings, TheTwoFormsOfOneTextAreEqualAndHashAlike) {
  // "abc" from a truncated buffer is held in a buffer; "abc" made directly is
  // held in place. They are one text to every operation.
  ZELString buffered("abc and more");
  buffered.truncate(3);
  const ZELString inPlace("abc");
  ASSERT_FALSE(heldInPlace(buffered));
  ASSERT_TRUE(heldInPlace(inPlace));
  EXPECT_EQ(buffered, inPlace);
  EXPECT_EQ(inPlace, buffered);
  EXPECT_EQ(buffered.compare(inPlace), 0);
  EXPECT_EQ(buffered.hashCode(), inPlace.hashCode());
  EXPECT_EQ(inPlace.hashCode(), stringHashCode("abc"));
  EXPECT_NE(ZELString("abd"), inPlace);
  EXPECT_LT(inPlace, ZELString("abd"));

  // The empty string in every form.
  ZELString emptied("x");
  emptied.truncate(0);
  EXPECT_EQ(emptied, ZELString());
  EXPECT_EQ(emptied.hashCode(), ZELString().hashCode());
  EXPECT_EQ(emptied.mid(0, 1), "");
}

TEST(SmallStrings, ReadersFillShortTextsInPlace) {
  ZELString line;
  char* buffer = line.writableBuffer(4);
  buffer[0] = 'r';
  buffer[1] = 'o';
  buffer[2] = 'w';
  line.setLength(3);
  EXPECT_EQ(line, "row");
  EXPECT_EQ(line.c_str()[3], '\0');
  EXPECT_TRUE(heldInPlace(line));

  // Asking for more room moves the text into a buffer, keeping it.
  buffer = line.writableBuffer(64);
  EXPECT_EQ(line, "row");
  EXPECT_GE(line.capacity(), 64u);
  buffer[3] = 's';
  line.setLength(4);
  EXPECT_EQ(line, "rows");
  EXPECT_EQ(line.indexOf('s'), 3);
}

}  // namespace
