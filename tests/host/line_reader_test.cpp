#include <clocale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zel_fault_injection.h"
#include "zel_text_io.h"

namespace {

using Lines = std::vector<std::string>;

// Reads like the stream driver: a line, then a test for the end of input. A
// line read when the input ended is kept even when the call returned false.
// `eofAfter` gets, per line, whether the end of input was set with it.
Lines readAll(const std::string& bytes, std::vector<bool>* eofAfter = nullptr) {
  std::istringstream in(bytes);
  Lines lines;
  ZELString line;
  for (int guard = 0; guard < 10000; ++guard) {
    const bool got = getFullLine(in, line, 32);
    if (got || !line.isEmpty()) {
      lines.emplace_back(line.c_str(), line.length());
      if (eofAfter) eofAfter->push_back(in.eof());
    }
    if (in.eof() || !got) break;
  }
  return lines;
}

}  // namespace

TEST(GetFullLineTest, EndsLinesAtLineFeedsDroppingOneCarriageReturn) {
  EXPECT_EQ(readAll("a\nb\r\nc\n"), (Lines{"a", "b", "c"}));
  EXPECT_EQ(readAll("a\n\n\r\n\nb\n"), (Lines{"a", "", "", "", "b"}));
  // Any other carriage return is data.
  EXPECT_EQ(readAll("a\rb\r\nc\r\rd\n"), (Lines{"a\rb", "c\r\rd"}));
  EXPECT_EQ(readAll("a\r\r\n\r"), (Lines{"a\r", "\r"}));
  EXPECT_EQ(readAll(""), Lines{});
}

TEST(GetFullLineTest, SetsEndOfInputWithTheLastLine) {
  // An unterminated last line is delivered with eof set by the same call.
  std::vector<bool> eof;
  EXPECT_EQ(readAll("first\nlast", &eof), (Lines{"first", "last"}));
  EXPECT_EQ(eof, (std::vector<bool>{false, true}));

  // After a terminated last line, one more call finds nothing and sets eof.
  std::istringstream in("only\n");
  ZELString line;
  EXPECT_TRUE(getFullLine(in, line, 32) && !in.eof());
  EXPECT_FALSE(getFullLine(in, line, 32));
  EXPECT_TRUE(in.eof() && line.isEmpty());
}

TEST(GetFullLineTest, RefusesLinesAboveTheLimitWhileReading) {
  setMaxLineBytes(100);
  const std::string atLimit(100, 'a');
  EXPECT_EQ(readAll(atLimit + "\r\n" + atLimit + "\n" + atLimit),
            (Lines{atLimit, atLimit, atLimit}));
  for (const std::string& tooLong :
       {atLimit + "b\n", atLimit + "\r\r\n", atLimit + "b", std::string(5000, 'c')}) {
    std::istringstream in("ok\n" + tooLong + "ok\n");
    ZELString line;
    ASSERT_TRUE(getFullLine(in, line, 32));
    EXPECT_THROW(getFullLine(in, line, 32), ZELLineTooLong);
    EXPECT_LE(line.capacity(), 101u);  // never buffered beyond the limit
  }
  setMaxLineBytes(0);
  EXPECT_EQ(maxLineBytes(), kDefaultMaxLineBytes);
}

TEST(GetFullLineTest, DeliversLongLinesWhole) {
  for (bool terminated : {true, false}) {
    for (size_t length : {31, 32, 33, 64, 65, 1000}) {
      const std::string body(length, 'q');
      EXPECT_EQ(readAll(body + "\r\n" + body + (terminated ? "\n" : "")), (Lines{body, body}))
          << length << terminated;
    }
  }
  const std::string huge(5u << 20, 'h');
  const std::string withNul("a\0b", 3);
  EXPECT_EQ(readAll(huge + "\nshort\n" + withNul + "\r\n" + withNul),
            (Lines{huge, "short", withNul, withNul}));
}

TEST(GetFullLineTest, StopsOnAFailedStreamAndKeepsCopiesApart) {
  std::istringstream in("one\ntwo\n");
  ZELString line;
  ASSERT_TRUE(getFullLine(in, line, 32));
  const ZELString kept = line;  // keeps its text when the next line is read
  ASSERT_TRUE(getFullLine(in, line, 32));
  EXPECT_EQ(kept, "one");
  EXPECT_EQ(line, "two");

  std::istringstream failed("never read\n");
  failed.setstate(std::ios_base::failbit);
  EXPECT_FALSE(getFullLine(failed, line, 32));
  EXPECT_TRUE(failed.eof());  // loops that test eof end
  EXPECT_TRUE(line.isEmpty());

  std::istringstream armed("x\n");
  zel_testing::armFault(1);
  EXPECT_THROW(getFullLine(armed, line, 32), std::runtime_error);
  EXPECT_TRUE(getFullLine(armed, line, 32));  // disarmed after firing
  EXPECT_EQ(line, "x");
}

TEST(Utf8ToLocaleTest, ConvertsOrKeepsTheBytes) {
  EXPECT_EQ(utf8ToLocale(nullptr), "");
  // The test program runs in the "C" locale, which cannot hold "é": kept.
  EXPECT_EQ(utf8ToLocale("caf\xC3\xA9.pcd"), "caf\xC3\xA9.pcd");
  EXPECT_EQ(utf8ToLocale("bad \xC3"), "bad \xC3");
  if (std::setlocale(LC_CTYPE, "C.UTF-8")) {
    EXPECT_EQ(utf8ToLocale("caf\xC3\xA9.pcd"), "caf\xC3\xA9.pcd");
    std::setlocale(LC_CTYPE, "C");
  }
}
