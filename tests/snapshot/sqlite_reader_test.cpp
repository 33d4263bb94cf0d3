// Reads SQLite files made in a temporary folder and checks the catalog the
// reader returns against the script that made them.
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalog_reader.h"
#include "database_url.h"
#include "sql/engine_servers.h"

namespace {

using pcd::cli::CatalogReadError;
using pcd::cli::LiveCatalog;
using pcd::cli::LiveTable;

// Makes `file` in `folder` from a script; returns its path ("" and a test
// failure when the script fails).
std::string makeDatabase(const ServerFolder& folder, const std::string& file,
                         const std::string& script) {
  const std::string path = folder.path() + "/" + file;
  const std::string error = loadSqliteScript(path, script);
  EXPECT_EQ(error, "");
  return error.empty() ? path : std::string();
}

LiveCatalog readFile(const std::string& path, std::vector<std::string> schemas = {}) {
  return pcd::cli::readSqliteCatalog(pcd::cli::parseDatabaseUrl("sqlite:" + path),
                                     pcd::cli::CatalogReadOptions{std::move(schemas)});
}

std::string fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

const char* const kScript = R"sql(
CREATE TABLE customers (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  email VARCHAR(120) NOT NULL CONSTRAINT uq_customer_email -- CONSTRAINT wrong
    UNIQUE,
  "name, full" TEXT DEFAULT 'CHECK (x), CONSTRAINT fake UNIQUE', -- CONSTRAINT no UNIQUE
  "größe" DECIMAL(10, 2) CHECK ("größe" > 0),
  /* CHECK (not one) */ rating unsigned big int,
  note,
  flags BIT(8),
  ratio FLOAT(53),
  odd mytype(-1, 2.5),
  UNIQUE ("name, full", [größe])
);
CREATE TABLE "order line" (
  line_no INT,
  order_id INTEGER NOT NULL,
  customer_email VARCHAR(120) REFERENCES customers (email) ON DELETE CASCADE,
  buyer INT REFERENCES CUSTOMERS,
  dropped TEXT,
  amount NUMERIC(12,2) DEFAULT 0,
  CONSTRAINT pk_lines PRIMARY KEY (order_id, line_no),
  CONSTRAINT `fk, product` FOREIGN KEY (order_id, line_no) REFERENCES products (a, b)
    ON UPDATE SET NULL,
  CHECK (amount >= 0)
) WITHOUT ROWID;
ALTER TABLE "order line" DROP COLUMN dropped;
CREATE INDEX ix_desc ON "order line" (amount DESC, buyer);
CREATE UNIQUE INDEX ix_unique ON "order line" (customer_email);
CREATE INDEX ix_expr ON "order line" (lower(customer_email));
CREATE INDEX ix_mixed ON "order line" (buyer, amount * 2, line_no DESC);
CREATE INDEX ix_partial ON "order line" (amount) WHERE amount > 0;
CREATE TABLE "Zeta, ü" ("line
break" TEXT, "ключ" INT PRIMARY KEY);
CREATE TABLE loose (a INT, b INT REFERENCES loose);
CREATE TABLE gen (a INT CONSTRAINT gen_key PRIMARY KEY, b INT GENERATED ALWAYS AS (a * 2) VIRTUAL,
  c INT AS (a + 1) STORED CONSTRAINT c_set NOT NULL UNIQUE);
CREATE TRIGGER gen_insert AFTER INSERT ON gen BEGIN SELECT 1; END;
CREATE VIRTUAL TABLE docs USING fts5(title, body);
CREATE VIEW "big spenders" AS SELECT c.email, sum(l.amount) AS total
  FROM customers c JOIN "order line" l ON l.customer_email = c.email GROUP BY c.email;
)sql";

class SqliteReader : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new ServerFolder;
    path_ = makeDatabase(*folder_, "shop.v1.sqlite", kScript);
  }
  static void TearDownTestSuite() {
    delete folder_;
    folder_ = nullptr;
  }
  void SetUp() override {
    ASSERT_FALSE(path_.empty());
    before_ = fileBytes(path_);
    catalog_ = readFile(path_);
    ASSERT_EQ(catalog_.schemas.size(), 1u);
  }
  const LiveTable& table(const std::string& name) const {
    for (const LiveTable& candidate : catalog_.schemas[0].tables) {
      if (candidate.name == name) return candidate;
    }
    ADD_FAILURE() << "no table " << name;
    static const LiveTable none;
    return none;
  }
  static std::vector<std::string> columnNames(const LiveTable& table) {
    std::vector<std::string> names;
    for (const auto& column : table.columns) names.push_back(column.name);
    return names;
  }

  static ServerFolder* folder_;
  static std::string path_;
  std::string before_;
  LiveCatalog catalog_;
};

ServerFolder* SqliteReader::folder_ = nullptr;
std::string SqliteReader::path_;

TEST_F(SqliteReader, NamesTheFileAndLeavesItUntouched) {
  EXPECT_EQ(catalog_.engine, "SQLITE");
  EXPECT_EQ(catalog_.serverVersion, sqlite3_libversion());
  EXPECT_EQ(catalog_.majorVersion, 3);
  EXPECT_EQ(catalog_.systemName, "shop.v1.sqlite");
  EXPECT_EQ(catalog_.databaseName, "shop.v1");
  EXPECT_EQ(catalog_.schemas[0].name, "main");
  EXPECT_EQ(fileBytes(path_), before_);
  EXPECT_FALSE(std::filesystem::exists(path_ + "-journal"));
  EXPECT_FALSE(std::filesystem::exists(path_ + "-wal"));
}

TEST_F(SqliteReader, ListsTablesAndViewsSortedWithoutInternalOnes) {
  std::vector<std::string> names;
  for (const auto& candidate : catalog_.schemas[0].tables) names.push_back(candidate.name);
  // sqlite_sequence and the full-text index's own tables are not the user's.
  EXPECT_EQ(names, (std::vector<std::string>{"Zeta, ü", "big spenders", "customers", "docs", "gen",
                                             "loose", "order line"}));
  EXPECT_TRUE(table("big spenders").view);
  EXPECT_EQ(columnNames(table("big spenders")), (std::vector<std::string>{"email", "total"}));
  EXPECT_FALSE(table("docs").view);
  EXPECT_EQ(columnNames(table("docs")), (std::vector<std::string>{"title", "body"}));
  EXPECT_EQ(columnNames(table("gen")), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(columnNames(table("Zeta, ü")), (std::vector<std::string>{"line\nbreak", "ключ"}));
  EXPECT_EQ(columnNames(table("order line")),
            (std::vector<std::string>{"line_no", "order_id", "customer_email", "buyer", "amount"}));
}

TEST_F(SqliteReader, SplitsDeclaredTypesAndReportsNullability) {
  struct Expected {
    const char* name;
    int length, precision, scale;
    bool nullable;
  };
  const std::vector<Expected> expected{
      {"INTEGER", 0, 0, 0, false},  // the rowid alias
      {"VARCHAR", 120, 0, 0, false},       {"TEXT", 0, 0, 0, true},  {"DECIMAL", 0, 10, 2, true},
      {"unsigned big int", 0, 0, 0, true}, {"", 0, 0, 0, true},      {"BIT", 8, 0, 0, true},
      {"FLOAT", 0, 53, 0, true},           {"mytype", 0, 0, 0, true}};
  const LiveTable& customers = table("customers");
  ASSERT_EQ(customers.columns.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    const auto& column = customers.columns[i];
    EXPECT_EQ(column.type.name, expected[i].name) << column.name;
    EXPECT_EQ(column.type.length, expected[i].length) << column.name;
    EXPECT_EQ(column.type.precision, expected[i].precision) << column.name;
    EXPECT_EQ(column.type.scale, expected[i].scale) << column.name;
    EXPECT_EQ(column.nullable, expected[i].nullable) << column.name;
  }
  // A primary key that is not the rowid may hold NULL in SQLite; one of a
  // table without rowid may not.
  EXPECT_TRUE(table("Zeta, ü").columns[1].nullable);
  EXPECT_FALSE(table("order line").columns[0].nullable);
  EXPECT_EQ(table("big spenders").columns[0].type.length, 120);
}

TEST_F(SqliteReader, NamesKeysFromTheTextOrMakesNamesUp) {
  const LiveTable& customers = table("customers");
  ASSERT_TRUE(customers.hasPrimaryKey);
  EXPECT_EQ(customers.primaryKey.name, "pk_customers");
  EXPECT_EQ(customers.primaryKey.columns, std::vector<int>{0});
  ASSERT_EQ(customers.uniqueKeys.size(), 2u);
  EXPECT_EQ(customers.uniqueKeys[0].name, "uq_customer_email");
  EXPECT_EQ(customers.uniqueKeys[0].columns, std::vector<int>{1});
  EXPECT_EQ(customers.uniqueKeys[1].name, "uq_customers_2");
  EXPECT_EQ(customers.uniqueKeys[1].columns, (std::vector<int>{2, 3}));

  const LiveTable& lines = table("order line");
  EXPECT_EQ(lines.primaryKey.name, "pk_lines");
  EXPECT_EQ(lines.primaryKey.columns, (std::vector<int>{1, 0}));  // key order
  EXPECT_TRUE(lines.uniqueKeys.empty());
  EXPECT_EQ(table("gen").primaryKey.name, "gen_key");
  ASSERT_EQ(table("gen").uniqueKeys.size(), 1u);
  EXPECT_EQ(table("gen").uniqueKeys[0].name, "uq_gen_1");  // c_set names NOT NULL
  EXPECT_EQ(table("Zeta, ü").primaryKey.name, "pk_Zeta, ü");
  EXPECT_FALSE(table("loose").hasPrimaryKey);
  EXPECT_FALSE(table("big spenders").hasPrimaryKey);
}

TEST_F(SqliteReader, PairsForeignKeyColumnsInDeclarationOrder) {
  const LiveTable& lines = table("order line");
  ASSERT_EQ(lines.foreignKeys.size(), 3u);
  const auto& toUnique = lines.foreignKeys[0];
  EXPECT_EQ(toUnique.name, "fk_order line_1");
  EXPECT_EQ(toUnique.columns, std::vector<int>{2});
  EXPECT_EQ(toUnique.referencedSchema, "main");
  EXPECT_EQ(toUnique.referencedTable, "customers");
  EXPECT_EQ(toUnique.referencedColumns, std::vector<std::string>{"email"});
  // No columns named: the parent's primary key, the parent as it is spelled.
  const auto& toPrimary = lines.foreignKeys[1];
  EXPECT_EQ(toPrimary.name, "fk_order line_2");
  EXPECT_EQ(toPrimary.columns, std::vector<int>{3});
  EXPECT_EQ(toPrimary.referencedTable, "customers");
  EXPECT_EQ(toPrimary.referencedColumns, std::vector<std::string>{"id"});
  // A parent outside the file keeps the names the text gives.
  const auto& outside = lines.foreignKeys[2];
  EXPECT_EQ(outside.name, "fk, product");
  EXPECT_EQ(outside.columns, (std::vector<int>{1, 0}));
  EXPECT_EQ(outside.referencedTable, "products");
  EXPECT_EQ(outside.referencedColumns, (std::vector<std::string>{"a", "b"}));
  // A parent without a primary key: nothing to point at.
  EXPECT_TRUE(table("loose").foreignKeys.empty());
}

TEST_F(SqliteReader, KeepsPlainIndexColumnsOnly) {
  const auto& indexes = table("order line").indexes;
  ASSERT_EQ(indexes.size(), 4u);  // ix_expr has no plain column
  EXPECT_EQ(indexes[0].name, "ix_desc");
  EXPECT_FALSE(indexes[0].unique);
  EXPECT_EQ(indexes[0].columns, (std::vector<int>{4, 3}));
  EXPECT_EQ(indexes[0].descending, (std::vector<bool>{true, false}));
  EXPECT_EQ(indexes[1].name, "ix_mixed");
  EXPECT_EQ(indexes[1].columns, (std::vector<int>{3, 0}));
  EXPECT_EQ(indexes[1].descending, (std::vector<bool>{false, true}));
  EXPECT_EQ(indexes[2].name, "ix_partial");
  EXPECT_EQ(indexes[2].columns, std::vector<int>{4});
  EXPECT_EQ(indexes[3].name, "ix_unique");
  EXPECT_TRUE(indexes[3].unique);
  EXPECT_EQ(indexes[3].columns, std::vector<int>{2});
  // Constraint indexes are keys, not indexes.
  EXPECT_TRUE(table("customers").indexes.empty());
}

TEST_F(SqliteReader, CountsWhatItCannotCarry) {
  const std::map<std::string, long> counted(catalog_.notCarried.begin(), catalog_.notCarried.end());
  // Words in strings and comments are not constraints.
  const std::map<std::string, long> expected{{"column defaults", 2},
                                             {"check constraints", 2},
                                             {"identity or auto-increment columns", 1},
                                             {"generated columns", 2},
                                             {"triggers", 1},
                                             {"referential actions", 2},
                                             {"view bodies", 1},
                                             {"expression indexes", 1},
                                             {"expression index members", 1},
                                             {"partial indexes", 1},
                                             {"foreign keys without a parent key", 1}};
  EXPECT_EQ(counted, expected);
}

TEST_F(SqliteReader, ChoosesTheOneSchema) {
  EXPECT_EQ(readFile(path_, {"main"}).schemas.size(), 1u);
  try {
    readFile(path_, {"main", "archive"});
    FAIL() << "no error";
  } catch (const CatalogReadError& error) {
    EXPECT_NE(std::string(error.what()).find("'archive'"), std::string::npos) << error.what();
  }
}

// The message of the error reading `path` ("" when none).
std::string readError(const std::string& path) {
  try {
    readFile(path);
  } catch (const CatalogReadError& error) {
    return error.what();
  }
  return "";
}

TEST(SqliteReaderErrors, NameTheFileAndTheReason) {
  ServerFolder folder;
  const std::string missing = folder.path() + "/missing.db";
  EXPECT_NE(readError(missing).find(missing), std::string::npos) << readError(missing);
  EXPECT_FALSE(std::filesystem::exists(missing));
  EXPECT_NE(readError(folder.path()).find("folder"), std::string::npos) << readError(folder.path());

  const std::string text = folder.path() + "/notes.db";
  std::ofstream(text) << std::string(2000, 'x');
  const std::string notDatabase = readError(text);
  EXPECT_NE(notDatabase.find(text), std::string::npos) << notDatabase;
  EXPECT_NE(notDatabase.find("not a database"), std::string::npos) << notDatabase;

  // A view whose table is gone cannot be read; the error says which.
  const std::string broken =
      makeDatabase(folder, "broken.db",
                   "CREATE TABLE t (a INT); CREATE VIEW stale AS SELECT a FROM t; DROP TABLE t;");
  const std::string stale = readError(broken);
  EXPECT_NE(stale.find("view 'stale'"), std::string::npos) << stale;
  EXPECT_NE(stale.find("no such table"), std::string::npos) << stale;
}

}  // namespace
