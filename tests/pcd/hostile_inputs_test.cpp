// Hostile input files: huge lines, huge numbers of lines, NUL bytes, odd
// line ends, truncated records, binary garbage, paths that are not readable
// files, integers beyond 32 bits. Each import must end in a catalogued error
// or a valid model; the sanitizer build checks that none crashes or leaks.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "builder/model_queries.h"
#include "pcd/reader_harness.h"
#include "support/pcd_fixture.h"
#include "zel_text_io.h"

namespace {

using namespace std::string_literals;

// A system, a database and a schema S (id 4) to place tables in; five lines
// after the header, so the first line after it is line 7.
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
  return importFile(PcdFile::raw(bytes).path());
}

// The one class of schema S, or null.
ZELClass* onlyTable(const ImportResult& result) {
  const ZELDatabaseSchema* schema = schemaOf(*result.model, "DB", "S");
  if (schema == nullptr) return nullptr;
  const std::vector<ZELClass*> tables = tablesOf(*schema);
  return tables.size() == 1 ? tables[0] : nullptr;
}

// The file's bytes and what the import must give: the error, or the name and
// description of the one table in S ("-": no table is looked for).
struct HostileFile {
  const char* what;
  std::string bytes;
  std::string error;
  std::string name = "-";
  std::string description = "";
};

// The bytes with every "\n" replaced by `lineEnd`.
std::string withLineEnds(const std::string& bytes, const std::string& lineEnd) {
  std::string out;
  for (char c : bytes) {
    if (c == '\n') {
      out += lineEnd;
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace

TEST(HostileInputs, EndInTheExpectedModelOrError) {
  const size_t hugeSize = 100u << 20;
  std::string hugeName(hugeSize, 'N');
  hugeName[hugeSize / 2] = ',';  // a counted string may hold commas
  std::string millionLines = kCatalog + placedTable("10", "C1,T");
  std::string millionAbs;
  for (long i = 0; i < 1000000; ++i) {
    millionLines += "T,1,10,1,DESCRIPTION,3,ab,\n";
    millionAbs += "ab,";
  }
  const std::string table = "R,TABLE_AT,900,10,4,2,C0,C0,\n";

  const HostileFile files[] = {
      {"100 MB counted string",
       kCatalog + placedTable("10", "C" + std::to_string(hugeSize) + "," + hugeName), "", hugeName},
      {"a million text lines", millionLines, "", "T", millionAbs},
      // A line ends at its first NUL byte, as the scanners see it.
      {"NUL in a counted string", kCatalog + placedTable("10", "C5,AB\0DE"s), "", "AB"},
      {"NUL in text", kCatalog + placedTable("10", "C1,T") + "T,1,10,1,DESCRIPTION,5,ab\0de\n"s, "",
       "T", "ab"},
      {"NUL before the name's comma", kCatalog + "E,TAB\0LE,10,1,C1,T\n"s, pcdError(7)},
      {"NUL before a due attribute", kCatalog + "R,TABLE_AT,9,10,4,2,C0,\0C0,\n"s, pcdError(7)},
      {"NUL starting a line", kCatalog + "\0E,garbage\n"s, ""},
      // Only "\n" ends a line; one "\r" before it is dropped, any other is data.
      {"CRLF line ends",
       withLineEnds(kCatalog + placedTable("10", "C6,ORDERS") + "T,1,10,1,DESCRIPTION,3,abc\n",
                    "\r\n"),
       "", "ORDERS", "abc"},
      {"CR inside records",
       kCatalog + placedTable("10", "C5,AB\rCD") + "T,1,10,1,DESCRIPTION,5,a\rbc\r\r\n", "",
       "AB\rCD", "a\rbc\r"},
      {"CR-only file is its first line", "header\rE,TABLE,1,1,C1,T\rE,TABLE,2,2,C1,T\r", ""},
      {"CR does not split lines", kCatalog + "x\rE,FOO,1\ny\nE,FOO,3\n", pcdError(9)},
      // At the end of the file the last attribute takes what is left of it.
      {"file ends in the last string", kCatalog + table + "E,TABLE,10,1,C50,ORD", "", "ORD"},
      {"file ends before a due attribute", kCatalog + "R,TABLE_AT,900,10,4,2,C50,ORD", pcdError(7)},
      {"file ends inside a count", kCatalog + "R,TABLE_AT,900,10,4,2,C", pcdError(7)},
      // Integers saturate at the 32-bit limits, so both spellings name one record...
      {"id above 32 bits",
       kCatalog + "E,TABLE,99999999999999999999999,1,C1,T\n" +
           "R,TABLE_AT,900,2147483647,4,2,C0,C0,\n",
       "", "T"},
      {"id below 32 bits",
       kCatalog + "E,TABLE,-99999999999,1,C1,T\n" + "R,TABLE_AT,900,-2147483648,4,2,C0,C0,\n", "",
       "T"},
      // ...and 2^32 + 7 does not wrap round to 7, as an id, a count or a length.
      {"id 2^32+7", kCatalog + "E,TABLE,4294967303,1,C1,T\n" + "R,TABLE_AT,900,7,4,2,C0,C0,\n",
       "[TAV_CARDS_F0009] Missing Object (7)"},
      {"attribute count 2^32+1", kCatalog + "E,TABLE,10,4294967297,C1,T\n", pcdError(7)},
      {"string length 2^32+1", kCatalog + placedTable("10", "C4294967297,TABLE,X"), "", "TABLE,X"},
  };
  for (const HostileFile& file : files) {
    SCOPED_TRACE(file.what);
    const ImportResult result = importBytes(file.bytes);
    EXPECT_EQ(result.error, file.error);
    if (file.name == "-" || !result.error.empty()) continue;
    const ZELClass* found = onlyTable(result);
    ASSERT_NE(found, nullptr);
    // Compared as booleans: a 100 MB mismatch is not worth printing.
    EXPECT_TRUE(found->getName() == ZELString(file.name.data(), file.name.size()))
        << found->getName().length();
    EXPECT_TRUE(found->getDescription() == file.description.c_str())
        << found->getDescription().length();
  }
}

TEST(HostileInputs, LinesAboveTheLimitAreFormatErrorsOfTheirLine) {
  // The limit counts the line without its terminator (a "\r\n" included).
  setMaxLineBytes(40);
  const ImportResult fits =
      importBytes(withLineEnds(kCatalog, "\r\n") + std::string(40, 'x') + "\r\n");
  const ImportResult header = importBytes(std::string(1000, 'h') + "\n");
  const ImportResult tooLong = importBytes(kCatalog + "\n" + std::string(41, 'T') + "\n");
  const ImportResult unterminated = importBytes(kCatalog + std::string(41, 'T'));
  setMaxLineBytes(0);
  EXPECT_EQ(fits.error, "");
  EXPECT_EQ(header.error, pcdError(1));
  EXPECT_EQ(tooLong.error, pcdError(8));
  EXPECT_EQ(unterminated.error, pcdError(7));
  EXPECT_EQ(maxLineBytes(), kDefaultMaxLineBytes);
}

TEST(HostileInputs, BinaryGarbageEndsInACataloguedErrorOrAModel) {
  std::mt19937 random(20240611);
  // Plain noise, and noise made mostly of the format's own bytes, which gets
  // further into the scanners.
  const std::string formatBytes = "ERTCSL,,,,0123456789-\n\r\0"s;
  for (int round = 0; round < 40; ++round) {
    std::string bytes(4096 + random() % 60000, '\0');
    for (char& c : bytes) {
      c = round % 2 == 0 ? static_cast<char>(random() & 0xFF)
                         : formatBytes[random() % formatBytes.size()];
    }
    const std::string error = importBytes(bytes).error;
    EXPECT_TRUE(error.empty() || isCataloguedError(error)) << "round " << round << ": " << error;
  }
}

TEST(HostileInputs, PathsThatAreNotReadableFiles) {
  const PcdFile plain({"header", "E,TABLE,1,1,C1,T"});
  const std::pair<std::string, const char*> paths[] = {
      {std::filesystem::temp_directory_path().string(), "Is a directory"},
      // A path through a plain file cannot be opened, even by root.
      {plain.path() + "/inside.pcd", "Not a directory"},
      // Root reads a file without read permission all the same.
      {geteuid() == 0 ? "" : plain.path(), "Permission denied"},
      // Opens, but fails with an I/O error at offset 0: reading ends with the
      // system's text instead of looping.
      {std::ifstream("/proc/self/mem").is_open() ? "/proc/self/mem" : "", "Input/output error"},
  };
  ASSERT_EQ(chmod(plain.path().c_str(), 0), 0);
  for (const auto& [path, reason] : paths) {
    if (path.empty()) continue;
    const ImportResult result = importFile(path);
    EXPECT_EQ(result.error,
              "[TAV_CARDS_F0002] Unable to open '" + path + "'. The error is: " + reason);
    // Nothing is logged before the file is open.
    EXPECT_EQ(result.log.size(), path == "/proc/self/mem" ? 1u : 0u) << path;
  }
}
