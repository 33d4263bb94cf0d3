#include <clocale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zel_fault_injection.h"
#include "zel_text_io.h"

namespace {

struct ReadLine {
  std::string text;
  bool eofAfter;
};

// Reads like the stream driver: a line, then a test for the end of input.
// A line read when the input ended is kept even when the call returned false.
std::vector<ReadLine> readAll(const std::string& bytes) {
  std::istringstream in(bytes);
  std::vector<ReadLine> lines;
  ZELString line;
  for (int guard = 0; guard < 10000; ++guard) {
    const bool got = getFullLine(in, line, 32);
    if (got || !line.isEmpty()) {
      lines.push_back({std::string(line.c_str(), line.length()), in.eof()});
    }
    if (in.eof() || !got) break;
  }
  return lines;
}

std::vector<std::string> textsOf(const std::vector<ReadLine>& lines) {
  std::vector<std::string> texts;
  for (const ReadLine& line : lines) texts.push_back(line.text);
  return texts;
}

using Lines = std::vector<std::string>;

}  // namespace

TEST(GetFullLineTest, SplitsAtEveryKindOfTerminator) {
  EXPECT_EQ(textsOf(readAll("a\nb\r\nc\n")), (Lines{"a", "b", "c"}));
  EXPECT_EQ(textsOf(readAll("a\n\n\r\n\nb\n")), (Lines{"a", "", "", "", "b"}));
  EXPECT_EQ(textsOf(readAll("a\rb\r\nc\r\rd\n")), (Lines{"a", "b", "c", "", "d"}));
  EXPECT_EQ(textsOf(readAll("a\r\r\n")), (Lines{"a", ""}));
  EXPECT_EQ(textsOf(readAll("a\nb\r")), (Lines{"a", "b"}));  // CR as last byte
  EXPECT_EQ(textsOf(readAll("")), Lines{});
}

TEST(GetFullLineTest, SetsEndOfInputWithTheLastLine) {
  // Unterminated last line: delivered, with eof set by the same call.
  std::vector<ReadLine> lines = readAll("first\nlast");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_FALSE(lines[0].eofAfter);
  EXPECT_EQ(lines[1].text, "last");
  EXPECT_TRUE(lines[1].eofAfter);

  // A file of CR-terminated lines only: eof stays clear until the last one.
  lines = readAll("x\ry\rz\r");
  ASSERT_EQ(textsOf(lines), (Lines{"x", "y", "z"}));
  EXPECT_FALSE(lines[0].eofAfter);
  EXPECT_FALSE(lines[1].eofAfter);
  EXPECT_TRUE(lines[2].eofAfter);

  // After a terminated last line, one more call finds nothing and sets eof.
  std::istringstream in("only\n");
  ZELString line;
  EXPECT_TRUE(getFullLine(in, line, 32));
  EXPECT_FALSE(in.eof());
  EXPECT_FALSE(getFullLine(in, line, 32));
  EXPECT_TRUE(in.eof());
  EXPECT_TRUE(line.isEmpty());
  EXPECT_FALSE(getFullLine(in, line, 32));
}

TEST(GetFullLineTest, DeliversLinesAroundTheBufferSizeWhole) {
  for (bool terminated : {true, false}) {
    for (size_t length : {31, 32, 33, 63, 64, 65, 96, 97, 1000}) {
      const std::string body(length, 'q');
      const std::string input = body + "\r\n" + body + (terminated ? "\n" : "");
      EXPECT_EQ(textsOf(readAll(input)), (Lines{body, body})) << length << terminated;
    }
  }
}

TEST(GetFullLineTest, ReadsHugeLinesAndNulBytes) {
  const std::string huge(5u << 20, 'h');
  const std::string withNul("a\0b", 3);
  EXPECT_EQ(textsOf(readAll(huge + "\nshort\n" + withNul + "\r\n" + withNul)),
            (Lines{huge, "short", withNul, withNul}));
}

TEST(GetFullLineTest, ReusesTheLineBuffer) {
  std::istringstream in("a long first line to size the buffer\nshort\n\nmid-sized\n");
  ZELString line;
  ASSERT_TRUE(getFullLine(in, line, 32));
  const char* buffer = line.c_str();
  for (const char* expected : {"short", "", "mid-sized"}) {
    ASSERT_TRUE(getFullLine(in, line, 32));
    EXPECT_EQ(line, expected);
    EXPECT_EQ(line.c_str(), buffer);
  }

  // A copy of the line keeps its text when the next line is read.
  std::istringstream again("one\ntwo\n");
  ASSERT_TRUE(getFullLine(again, line, 32));
  const ZELString kept = line;
  ASSERT_TRUE(getFullLine(again, line, 32));
  EXPECT_EQ(kept, "one");
  EXPECT_EQ(line, "two");
}

TEST(GetFullLineTest, StopsOnAFailedStream) {
  std::istringstream in("never read\n");
  in.setstate(std::ios_base::failbit);
  ZELString line("stale");
  EXPECT_FALSE(getFullLine(in, line, 32));
  EXPECT_TRUE(in.eof());  // loops that test eof end
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
  EXPECT_EQ(utf8ToLocale("plain/path.pcd"), "plain/path.pcd");
  EXPECT_EQ(utf8ToLocale("caf\xC3\xA9.pcd"), "caf\xC3\xA9.pcd");
  EXPECT_EQ(utf8ToLocale("bad \xC3"), "bad \xC3");
  if (std::setlocale(LC_CTYPE, "C.UTF-8")) {
    EXPECT_EQ(utf8ToLocale("caf\xC3\xA9.pcd"), "caf\xC3\xA9.pcd");
    std::setlocale(LC_CTYPE, "C");
  }
}
