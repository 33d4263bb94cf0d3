// Reads SQLite files made in a temporary folder and checks the catalog the
// reader returns against the script that made them.
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalog_reader.h"
#include "database_url.h"
#include "snapshot/catalog_text.h"
#include "sql/engine_servers.h"

namespace {

using namespace catalog_text;
using pcd::cli::CatalogReadError;

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
    return tableNamed(catalog_.schemas[0], name);
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

// Declared types split into name, length, precision and scale; a primary
// key that is not the rowid may hold NULL in SQLite, one of a table without
// rowid may not.
TEST_F(SqliteReader, ListsTablesAndViewsWithTheirColumnsAndTypes) {
  // sqlite_sequence and the full-text index's own tables are not the user's.
  EXPECT_EQ(namesOf(catalog_.schemas[0].tables),
            (Lines{"Zeta, ü", "big spenders", "customers", "docs", "gen", "loose", "order line"}));
  EXPECT_TRUE(table("big spenders").view);
  EXPECT_FALSE(table("docs").view);
  EXPECT_EQ(columnLines(table("customers")),
            (Lines{"id INTEGER not null", "email VARCHAR length 120 not null", "name, full TEXT",
                   "größe DECIMAL precision 10,2", "rating unsigned big int", "note",
                   "flags BIT length 8", "ratio FLOAT precision 53,0", "odd mytype"}));
  EXPECT_EQ(
      columnLines(table("order line")),
      (Lines{"line_no INT not null", "order_id INTEGER not null",
             "customer_email VARCHAR length 120", "buyer INT", "amount NUMERIC precision 12,2"}));
  EXPECT_EQ(columnLines(table("Zeta, ü")), (Lines{"line\nbreak TEXT", "ключ INT"}));
  EXPECT_EQ(columnLines(table("gen")), (Lines{"a INT", "b INT", "c INT not null"}));
  EXPECT_EQ(columnLines(table("docs")), (Lines{"title", "body"}));
  EXPECT_EQ(columnLines(table("big spenders")), (Lines{"email VARCHAR length 120", "total"}));
}

// Keys named from the text or made up; foreign keys pair their columns in
// declaration order, with no columns named the parent's primary key (the
// parent as it is spelled), to a parent outside the file as the text names
// it, and to a parent without a primary key not at all.
TEST_F(SqliteReader, NamesKeysFromTheTextOrMakesNamesUp) {
  EXPECT_EQ(keyLines(table("customers")),
            (Lines{"primary pk_customers (id)", "unique uq_customer_email (email)",
                   "unique uq_customers_2 (name, full, größe)"}));
  EXPECT_EQ(keyLines(table("order line")),
            (Lines{"primary pk_lines (order_id, line_no)",
                   "foreign fk_order line_1 (customer_email) -> main.customers (email)",
                   "foreign fk_order line_2 (buyer) -> main.customers (id)",
                   "foreign fk, product (order_id, line_no) -> main.products (a, b)"}));
  // c_set names NOT NULL, not the unique key.
  EXPECT_EQ(keyLines(table("gen")), (Lines{"primary gen_key (a)", "unique uq_gen_1 (c)"}));
  EXPECT_EQ(keyLines(table("Zeta, ü")), (Lines{"primary pk_Zeta, ü (ключ)"}));
  EXPECT_TRUE(keyLines(table("loose")).empty());
  EXPECT_TRUE(keyLines(table("big spenders")).empty());
}

TEST_F(SqliteReader, KeepsPlainIndexColumnsOnly) {
  // ix_expr has no plain column; constraint indexes are keys, not indexes.
  EXPECT_EQ(indexLines(table("order line")),
            (Lines{"index ix_desc (amount desc, buyer)", "index ix_mixed (buyer, line_no desc)",
                   "index ix_partial (amount)", "unique index ix_unique (customer_email)"}));
  EXPECT_TRUE(table("customers").indexes.empty());
}

TEST_F(SqliteReader, CountsWhatItCannotCarry) {
  // Words in strings and comments are not constraints.
  EXPECT_EQ(notCarried(catalog_),
            (std::map<std::string, long>{{"column defaults", 2},
                                         {"check constraints", 2},
                                         {"identity or auto-increment columns", 1},
                                         {"generated columns", 2},
                                         {"triggers", 1},
                                         {"referential actions", 2},
                                         {"view bodies", 1},
                                         {"expression indexes", 1},
                                         {"expression index members", 1},
                                         {"partial indexes", 1},
                                         {"foreign keys without a parent key", 1}}));
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
