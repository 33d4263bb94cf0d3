// Every output tells the catalog as it is: the index the import makes for
// each key (also one a dropped key left behind) is not the catalog's own,
// and a foreign key's columns read from its own table to the referenced one.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "program_runner.h"

namespace {

const std::string kCases = std::string(PCD_SOURCE_DIR) + "/tests/data/catalog_cases.pcd";

size_t countOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

std::string output(const std::vector<std::string>& arguments) {
  ProgramResult result = runProgram({arguments, "", {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return result.out;
}

// The file holds five indexes of its own (one unique on a name, one plain,
// one of two columns, one descending, one unique on a long text) and five
// keys: three primary keys, a foreign key, and a foreign key the import
// drops (W0013) whose index FK_ORDERS_USER_EMAIL_POSITION stays.
TEST(CatalogView, NoOutputShowsAKeysIndexAsTheCatalogsAndPairsReadForward) {
  const std::string summary = output({"-q", "-f", "summary", kCases});
  EXPECT_NE(summary.find("indexes=10 keyIndexes=5 otherIndexes=5"), std::string::npos) << summary;

  // The JSON lists every index: each key names its own, the table lists all
  // five. SQL leaves them out in every dialect (sql_tests), DBML too (the
  // DBML parser's check).
  EXPECT_EQ(countOf(output({"-q", kCases}), "_POSITION\""), 4u + 5u);
  const std::string page = output({"-q", "-f", "html", kCases});
  EXPECT_EQ(page.find("_POSITION"), std::string::npos);
  EXPECT_NE(page.find("<dt>Indexes</dt><dd>5</dd>"), std::string::npos);
  // Column pairs read from the foreign key's own column to the referenced one.
  EXPECT_NE(page.find("\"user_id \xE2\x86\x92 id\""), std::string::npos);
  EXPECT_EQ(page.find("\"id \xE2\x86\x92 user_id\""), std::string::npos);

  TemporaryFolder folder;
  ASSERT_EQ(
      runProgram({{"-q", "-f", "markdown", "-o", folder.file("md"), kCases}, "", {}}).exitCode, 0);
  const std::string readme = readFile(folder.file("md/README.md"));
  EXPECT_NE(readme.find("| Indexes | 5 |"), std::string::npos) << readme;
  const std::string orders = readFile(folder.file("md/public.orders.md"));
  EXPECT_EQ(orders.find("_POSITION"), std::string::npos) << orders;
  EXPECT_NE(orders.find("| UX\\_ORDERS\\_USER\\_EMAIL | user\\_email | unique |"),
            std::string::npos)
      << orders;
  EXPECT_NE(orders.find("| FK\\_ORDERS\\_USERS | user\\_id \xE2\x86\x92 id |"), std::string::npos)
      << orders;
  const std::string users = readFile(folder.file("md/public.users.md"));
  EXPECT_EQ(users.find("_POSITION"), std::string::npos) << users;
  EXPECT_NE(users.find("| IX\\_USERS\\_EMAIL\\_NAME | email, name |  |"), std::string::npos)
      << users;

  // Views, columns and unique indexes in DBML are held against the JSON by
  // the DBML parser's check (diagram_tests); here the grouping by schema.
  EXPECT_NE(output({"-q", "-f", "dbml", kCases})
                .find("TableGroup \"public\" {\n  \"public\".\"users\"\n  \"public\".\"orders\"\n  "
                      "\"public\".\"active_users\"\n}"),
            std::string::npos);

  // --schema counts what it shows the same way.
  EXPECT_NE(
      output({"-q", "-f", "html", "--schema", "jobs", kCases}).find("<dt>Indexes</dt><dd>1</dd>"),
      std::string::npos);
}

// `diff` lists a key's change once, not again as a change of its index,
// and a dropped key's index, gone with the key, is no change at all.
TEST(CatalogView, DiffLeavesKeyIndexesOut) {
  TemporaryFolder folder;
  const std::string cases = readFile(kCases);
  writeFile(folder.file("old.pcd"), cases);
  // The dropped foreign key loses its columns, so its index goes; the other
  // foreign key moves to another column.
  writeFile(folder.file("new.pcd"),
            replacedIn(cases, {{"R,KEY_COL,544,504,404,2,S1,C1,A\n", ""},
                               {"R,KEY_COL,545,504,405,2,S2,C1,A\n", ""},
                               {"R,KEY_COL,543,503,404,", "R,KEY_COL,543,503,405,"}}));
  const ProgramResult result = runProgram({{"diff", "old.pcd", "new.pcd"}, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 1) << result.err;
  EXPECT_EQ(result.out,
            "table appdb.public.orders\n"
            "  ~ foreign key FK_ORDERS_USERS: columns 'user_id' -> 'user_email'\n"
            "0 added, 0 removed, 1 changed\n");
}

}  // namespace
