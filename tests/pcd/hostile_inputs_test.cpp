// Hostile input files: huge lines, huge numbers of lines, NUL bytes, odd
// line ends, truncated records, binary garbage, paths that are not readable
// files, integers beyond 32 bits. Each import must end in a catalogued error
// or a valid model; the sanitizer build checks that none crashes or leaks.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "builder/model_queries.h"
#include "support/pcd_fixture.h"

namespace {

// A system, a database and a schema S (id 4) to place tables in.
const std::string kCatalog =
    "PCD hostile input\n"
    "E,REL_SYS,1,2,C3,SYS,C0,\n"
    "E,DATABASE,2,1,C2,DB\n"
    "R,DB_AT,3,2,1,2,C0,C0,\n"
    "E,SCHEMA,4,1,C1,S\n"
    "R,SCHEM_AT,5,4,2,1,C0,\n";

// A table with the given id and name field ("C<n>,<bytes>"), placed in
// schema S; the table record comes last, so text lines may follow it.
std::string placedTable(const std::string& id, const std::string& nameField) {
  return "R,TABLE_AT,900," + id + ",4,2,C0,C0,\nE,TABLE," + id + ",1," + nameField + "\n";
}

ImportResult importBytes(const std::string& bytes) {
  const PcdFile file = PcdFile::raw(bytes);
  return importFile(file.path());
}

// The one class of schema S, or null.
ZELClass* onlyTable(const ImportResult& result) {
  const ZELDatabaseSchema* schema = schemaOf(*result.model, "DB", "S");
  if (schema == nullptr) return nullptr;
  const std::vector<ZELClass*> tables = tablesOf(*schema);
  return tables.size() == 1 ? tables[0] : nullptr;
}

bool isCataloguedError(const std::string& text) {
  static const std::regex fatal(
      R"(\[TAV_CARDS_F0002\] Unable to open '.*'\. The error is: .*)"
      R"(|\[TAV_CARDS_F0008\] Error in input PCD file, line \(\d+\))"
      R"(|\[TAV_CARDS_F0009\] Missing Object \(-?\d+\))"
      R"(|\[TAV_CARDS_F0010\] Bad Object Type for \(-?\d+\) \(got \(.*\), expected \(.*\)\))");
  return std::regex_match(text, fatal);
}

std::string pcdError(long line) {
  return "[TAV_CARDS_F0008] Error in input PCD file, line (" + std::to_string(line) + ")";
}

}  // namespace

TEST(HostileInputs, HundredMegabyteCountedStringIsReadWhole) {
  const size_t size = 100u << 20;
  std::string name(size, 'N');
  name[size / 2] = ',';  // a counted string may hold commas
  const ImportResult result =
      importBytes(kCatalog + placedTable("10", "C" + std::to_string(size) + "," + name));
  ASSERT_EQ(result.error, "");
  const ZELClass* table = onlyTable(result);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->getName().length(), size);
  EXPECT_TRUE(table->getName() == ZELString(name.data(), name.size()));
}

TEST(HostileInputs, MillionTextLinesOnOneRecordAreJoined) {
  const long lines = 1000000;
  std::string bytes = kCatalog + placedTable("10", "C1,T");
  bytes.reserve(bytes.size() + 32 * lines);
  for (long i = 0; i < lines; ++i) bytes += "T,1,10,1,DESCRIPTION,3,ab,\n";
  const ImportResult result = importBytes(bytes);
  ASSERT_EQ(result.error, "");
  const ZELClass* table = onlyTable(result);
  ASSERT_NE(table, nullptr);
  const ZELString& description = table->getDescription();
  ASSERT_EQ(description.length(), 3u * lines);
  EXPECT_EQ(std::string(description.c_str(), 6), "ab,ab,");
}

// A line ends at its first NUL byte, as the scanners see it.
TEST(HostileInputs, NulBytesEndTheLineWhereTheyStand) {
  using namespace std::string_literals;
  {
    // Inside a counted string: the string stops at the NUL.
    const ImportResult result = importBytes(kCatalog + placedTable("10", "C5,AB\0DE"s));
    ASSERT_EQ(result.error, "");
    ASSERT_NE(onlyTable(result), nullptr);
    EXPECT_STREQ(onlyTable(result)->getName().c_str(), "AB");
  }
  {
    // Inside text: the text stops at the NUL.
    const ImportResult result =
        importBytes(kCatalog + placedTable("10", "C1,T") + "T,1,10,1,DESCRIPTION,5,ab\0de\n"s);
    ASSERT_EQ(result.error, "");
    ASSERT_NE(onlyTable(result), nullptr);
    EXPECT_STREQ(onlyTable(result)->getDescription().c_str(), "ab");
  }
  // Before the record name's comma: the name has no comma.
  EXPECT_EQ(importBytes(kCatalog + "E,TAB\0LE,10,1,C1,T\n"s).error, pcdError(7));
  // Before an attribute that is due: the attribute is missing.
  EXPECT_EQ(importBytes(kCatalog + "R,TABLE_AT,9,10,4,2,C0,\0C0,\n"s).error, pcdError(7));
  // At the start of a line: an empty line, skipped.
  EXPECT_EQ(importBytes(kCatalog + "\0E,garbage\n"s).error, "");
}

TEST(HostileInputs, CarriageReturnAloneEndsLines) {
  std::string bytes = kCatalog + placedTable("10", "C6,ORDERS") + "T,1,10,1,DESCRIPTION,3,abc\n";
  for (char& c : bytes) {
    if (c == '\n') c = '\r';
  }
  const ImportResult result = importBytes(bytes);
  ASSERT_EQ(result.error, "");
  ASSERT_NE(onlyTable(result), nullptr);
  EXPECT_STREQ(onlyTable(result)->getName().c_str(), "ORDERS");
  EXPECT_STREQ(onlyTable(result)->getDescription().c_str(), "abc");
  // Line numbers count CR-ended lines too.
  EXPECT_EQ(importBytes("header\rE,TABLE,1,1,C1,T\rE,TABLE,2,2,C1,T\r").error, pcdError(3));
}

TEST(HostileInputs, FileEndingInsideACountedString) {
  // The last attribute takes what is left of the file.
  const ImportResult cut =
      importBytes(kCatalog + "R,TABLE_AT,900,10,4,2,C0,C0,\nE,TABLE,10,1,C50,ORD");
  ASSERT_EQ(cut.error, "");
  ASSERT_NE(onlyTable(cut), nullptr);
  EXPECT_STREQ(onlyTable(cut)->getName().c_str(), "ORD");
  // An attribute still due after it is missing.
  EXPECT_EQ(importBytes(kCatalog + "R,TABLE_AT,900,10,4,2,C50,ORD").error, pcdError(7));
  // So is one cut inside its count.
  EXPECT_EQ(importBytes(kCatalog + "R,TABLE_AT,900,10,4,2,C").error, pcdError(7));
}

TEST(HostileInputs, BinaryGarbageEndsInACataloguedErrorOrAModel) {
  std::mt19937 random(20240611);
  // Plain noise, and noise made mostly of the format's own bytes, which gets
  // further into the scanners.
  const std::string formatBytes = "ERTCSL,,,,0123456789-\n\r\0";
  for (int round = 0; round < 40; ++round) {
    std::string bytes(4096 + random() % 60000, '\0');
    for (char& c : bytes) {
      c = round % 2 == 0 ? static_cast<char>(random() & 0xFF)
                         : formatBytes[random() % formatBytes.size()];
    }
    const ImportResult result = importBytes(bytes);
    SCOPED_TRACE("round " + std::to_string(round));
    EXPECT_TRUE(result.error.empty() || isCataloguedError(result.error)) << result.error;
  }
}

TEST(HostileInputs, PathsThatAreNotReadableFiles) {
  const std::string directory = std::filesystem::temp_directory_path().string();
  EXPECT_EQ(importError(directory),
            "[TAV_CARDS_F0002] Unable to open '" + directory + "'. The error is: Is a directory");

  // A path through a plain file cannot be opened, even by root.
  const PcdFile file({"header"});
  const std::string throughFile = file.path() + "/inside.pcd";
  EXPECT_EQ(importError(throughFile), "[TAV_CARDS_F0002] Unable to open '" + throughFile +
                                          "'. The error is: Not a directory");

  if (geteuid() == 0) {
    std::printf("  running as root: a file without read permission would still be read; skipped\n");
    return;
  }
  const PcdFile locked({"header", "E,TABLE,1,1,C1,T"});
  ASSERT_EQ(chmod(locked.path().c_str(), 0), 0);
  EXPECT_EQ(importError(locked.path()), "[TAV_CARDS_F0002] Unable to open '" + locked.path() +
                                            "'. The error is: Permission denied");
}

TEST(HostileInputs, IntegersBeyond32BitsSaturate) {
  // Ids saturate at the 32-bit limits: both spellings name the same record.
  const ImportResult saturated = importBytes(kCatalog + "E,TABLE,99999999999999999999999,1,C1,T\n" +
                                             "R,TABLE_AT,900,2147483647,4,2,C0,C0,\n");
  ASSERT_EQ(saturated.error, "");
  EXPECT_NE(onlyTable(saturated), nullptr);
  EXPECT_EQ(importBytes(kCatalog + "E,TABLE,-99999999999,1,C1,T\n" +
                        "R,TABLE_AT,900,-2147483648,4,2,C0,C0,\n")
                .error,
            "");

  // 2^32 + 7 must not wrap round to 7, neither as an id...
  EXPECT_EQ(
      importBytes(kCatalog + "E,TABLE,4294967303,1,C1,T\n" + "R,TABLE_AT,900,7,4,2,C0,C0,\n").error,
      "[TAV_CARDS_F0009] Missing Object (7)");
  // ...nor as an attribute count...
  EXPECT_EQ(importBytes(kCatalog + "E,TABLE,10,4294967297,C1,T\n").error, pcdError(7));
  // ...nor as a string length: the string takes the rest of the line.
  const ImportResult longString = importBytes(kCatalog + placedTable("10", "C4294967297,TABLE,X"));
  ASSERT_EQ(longString.error, "");
  ASSERT_NE(onlyTable(longString), nullptr);
  EXPECT_STREQ(onlyTable(longString)->getName().c_str(), "TABLE,X");

  // A position beyond 16 bits keeps its low 16 bits; beyond 32 it saturates first.
  const ImportResult positions = importBytes(
      kCatalog + placedTable("10", "C1,T") + "E,REL_DT,20,5,C4,CHAR,S0,C0,C0,C0,\n" +
      "R,REL_COL,21,0,20,7,C1,A,S0,L1,L0,S0,C0,C0,\n" + "R,TBL_COL,22,10,21,2,C1,N,L65537\n" +
      "R,REL_COL,23,0,20,7,C1,B,S0,L1,L0,S0,C0,C0,\n" + "R,TBL_COL,24,10,23,2,C1,N,L99999999999\n");
  ASSERT_EQ(positions.error, "");
  const ZELClass* table = onlyTable(positions);
  ASSERT_NE(table, nullptr);
  ASSERT_NE(columnOf(table, "A"), nullptr);
  ASSERT_NE(columnOf(table, "B"), nullptr);
  EXPECT_EQ(columnOf(table, "A")->getPosition(), 1);
  EXPECT_EQ(columnOf(table, "B")->getPosition(), -1);  // low 16 bits of 0x7FFFFFFF
}
