// The PostgreSQL catalog reader against a throwaway server loaded with the
// hard cases: keys whose order differs from the columns', dropped columns,
// foreign keys to a unique constraint, to a unique index, across schemas and
// to a partitioned table, domains, overloads and OUT arguments, extension
// objects, a 1,600-column table, and what the extract cannot carry.
#include <algorithm>
#include <fstream>
#include <map>

#include <gtest/gtest.h>

#include "catalog_reader.h"
#include "snapshot/live_servers.h"

namespace {

using pcd::cli::CatalogReadError;
using pcd::cli::CatalogReadOptions;
using pcd::cli::LiveCatalog;
using pcd::cli::LiveProcedure;
using pcd::cli::LiveSchema;
using pcd::cli::LiveTable;
using pcd::cli::LiveType;

const char kScript[] = R"sql(
CREATE EXTENSION file_fdw;
CREATE EXTENSION hstore;
CREATE SCHEMA app;
CREATE SCHEMA "ref, ünïcode";
CREATE TYPE app.mood AS ENUM ('calm', 'angry');
CREATE DOMAIN app.short_text AS varchar(20) NOT NULL CHECK (VALUE <> '');
CREATE DOMAIN app.shorter AS app.short_text;
CREATE TABLE app.customer (
  gone integer,
  region varchar(8) NOT NULL,
  id integer NOT NULL,
  name character varying(200) DEFAULT 'x',
  code char(3),
  balance numeric(12,2) CHECK (balance >= 0),
  ratio numeric,
  small numeric(3,-2),
  flags bit(4),
  vflags bit varying(16),
  created timestamp with time zone DEFAULT now(),
  tags varchar(5)[],
  nick app.shorter,
  mood app.mood,
  attrs hstore,
  "a,b ü" text,
  PRIMARY KEY (id, region),
  CONSTRAINT customer_name_key UNIQUE (name, code)
);
ALTER TABLE app.customer DROP COLUMN gone;
CREATE UNIQUE INDEX customer_incl ON app.customer (id) INCLUDE (name, code);
CREATE INDEX customer_created_desc ON app.customer (created DESC, id);
CREATE UNIQUE INDEX customer_lower_name ON app.customer (lower(name));
CREATE INDEX customer_mixed ON app.customer (region, lower(name), id DESC);
CREATE INDEX customer_partial ON app.customer (code) WHERE code IS NOT NULL;
CREATE TABLE "ref, ünïcode"."order" (
  no bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
  cust_region varchar(8),
  cust_id integer,
  cust_name varchar(200),
  cust_code char(3),
  total numeric(10) GENERATED ALWAYS AS (no * 2) STORED,
  serial_no serial,
  FOREIGN KEY (cust_id, cust_region) REFERENCES app.customer (id, region) ON DELETE CASCADE,
  CONSTRAINT "order→name" FOREIGN KEY (cust_code, cust_name) REFERENCES app.customer (code, name),
  CONSTRAINT order_by_id FOREIGN KEY (cust_id) REFERENCES app.customer (id)
);
CREATE TABLE app.tagged (id integer, label text, CONSTRAINT tagged_key UNIQUE (id) INCLUDE (label));
CREATE TABLE app.measure (id integer, at date, PRIMARY KEY (id, at)) PARTITION BY RANGE (at);
CREATE TABLE app.measure_2024 PARTITION OF app.measure
  FOR VALUES FROM ('2024-01-01') TO ('2025-01-01');
CREATE TABLE app.reading (mid integer, mat date, FOREIGN KEY (mid, mat) REFERENCES app.measure);
CREATE TABLE app.booking (room integer, during tsrange, EXCLUDE USING gist (during WITH &&));
CREATE TABLE app."two
lines" (x integer);
CREATE VIEW app.customer_names AS SELECT id, name FROM app.customer;
CREATE RULE customer_names_insert AS ON INSERT TO app.customer_names DO INSTEAD NOTHING;
CREATE MATERIALIZED VIEW app.totals AS SELECT region, count(*) AS n FROM app.customer GROUP BY 1;
CREATE SEQUENCE app.seq;
CREATE FUNCTION app.touch() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN RETURN NEW; END$$;
CREATE TRIGGER customer_touch BEFORE UPDATE ON app.customer
  FOR EACH ROW EXECUTE FUNCTION app.touch();
CREATE SERVER files FOREIGN DATA WRAPPER file_fdw;
CREATE FOREIGN TABLE app.imported (line text NOT NULL) SERVER files OPTIONS (filename '/dev/null');
CREATE FUNCTION app.add(a text, b text) RETURNS text LANGUAGE sql AS 'SELECT a || b';
CREATE FUNCTION app.add(integer, b numeric(10,2)) RETURNS numeric LANGUAGE sql AS 'SELECT $1 + b';
CREATE FUNCTION app.split(IN whole text, OUT head text, OUT rest text)
  LANGUAGE sql AS 'SELECT whole, whole';
CREATE FUNCTION app.rows_of(n integer) RETURNS TABLE (i integer, label text)
  LANGUAGE sql AS 'SELECT 1, ''x''';
CREATE PROCEDURE app.reset(INOUT counter integer, VARIADIC names text[])
  LANGUAGE sql AS 'SELECT 1';
CREATE FUNCTION app.echo(v app.short_text) RETURNS app.short_text LANGUAGE sql AS 'SELECT v';
CREATE AGGREGATE app.total(integer) (SFUNC = int4pl, STYPE = integer);
COMMENT ON FUNCTION app.add(integer, numeric) IS 'adds, "quoted" ''ü''';
COMMENT ON TABLE app.customer IS 'Customers, "quoted", ünïcode
second line';
COMMENT ON COLUMN app.customer."a,b ü" IS 'a, b';
COMMENT ON COLUMN app.customer_names.name IS 'view column';
)sql";

const char kDatabase[] = "snap, ü";
const char kDatabaseInUrl[] = "snap%2C%20%C3%BC";

std::string urlOf(const std::string& databaseInUrl) {
  return "postgresql:///" + databaseInUrl + "?host=" + livePostgres().socketFolder() + "&user=pcd";
}

LiveCatalog readCatalog(const std::vector<std::string>& schemas = {}) {
  CatalogReadOptions options;
  options.schemas = schemas;
  return pcd::cli::readPostgresqlCatalog(pcd::cli::parseDatabaseUrl(urlOf(kDatabaseInUrl)),
                                         options);
}

const LiveSchema* schemaNamed(const LiveCatalog& catalog, const std::string& name) {
  for (const LiveSchema& schema : catalog.schemas) {
    if (schema.name == name) return &schema;
  }
  return nullptr;
}

const LiveTable* tableNamed(const LiveSchema* schema, const std::string& name) {
  if (schema == nullptr) return nullptr;
  for (const LiveTable& table : schema->tables) {
    if (table.name == name) return &table;
  }
  return nullptr;
}

std::vector<std::string> columnNames(const LiveTable& table) {
  std::vector<std::string> names;
  for (const auto& column : table.columns) names.push_back(column.name);
  return names;
}

std::map<std::string, long> countsOf(const LiveCatalog& catalog) {
  return {catalog.notCarried.begin(), catalog.notCarried.end()};
}

::testing::AssertionResult hasType(const LiveType& type, const std::string& name, int length,
                                   int precision = 0, int scale = 0) {
  if (type.name == name && type.length == length && type.precision == precision &&
      type.scale == scale) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << type.name << " (" << type.length << ", " << type.precision << ", " << type.scale << ")";
}

class PostgresqlReader : public ::testing::Test {
 protected:
  // Starts the server, loads the script and reads the whole catalog once.
  static void SetUpTestSuite() {
    setupError_ = livePostgres().error();
    if (!setupError_.empty()) return;
    std::string script = kScript;
    script += "CREATE TABLE app.wide (";
    for (int i = 1; i <= 1600; ++i)
      script += (i > 1 ? ", c" : "c") + std::to_string(i) + " integer";
    script += ");\n";
    const ServerFolder scripts;
    const std::string path = scripts.path() + "/script.sql";
    std::ofstream(path, std::ios::binary) << script;
    setupError_ = livePostgres().loadScript(kDatabase, path);
    if (!setupError_.empty()) return;
    try {
      catalog_ = readCatalog();
    } catch (const std::exception& error) {
      setupError_ = error.what();
    }
  }

  void SetUp() override { ASSERT_EQ(setupError_, "") << "PostgreSQL is needed for these tests"; }

  const LiveSchema* app() const { return schemaNamed(catalog_, "app"); }
  const LiveSchema* ref() const { return schemaNamed(catalog_, "ref, ünïcode"); }

  static inline std::string setupError_;
  static inline LiveCatalog catalog_;
};

TEST_F(PostgresqlReader, NamesTheServerAndKeepsUserSchemasOnly) {
  EXPECT_EQ(catalog_.engine, "POSTGRESQL");
  const auto version = livePostgres().query("postgres", "SHOW server_version");
  ASSERT_EQ(version.size(), 1u);
  const std::string reported = version[0].at(0);
  EXPECT_EQ(catalog_.serverVersion, reported.substr(0, reported.find(' ')));
  EXPECT_EQ(std::to_string(catalog_.majorVersion) + ".", catalog_.serverVersion.substr(0, 3));
  EXPECT_EQ(catalog_.systemName, "localhost");
  EXPECT_EQ(catalog_.databaseName, kDatabase);

  std::vector<std::string> names;
  for (const LiveSchema& schema : catalog_.schemas) names.push_back(schema.name);
  EXPECT_EQ(names, (std::vector<std::string>{"app", "public", "ref, ünïcode"}));
  // hstore and file_fdw put their functions and types in public.
  const LiveSchema* extensionHome = schemaNamed(catalog_, "public");
  ASSERT_NE(extensionHome, nullptr);
  EXPECT_TRUE(extensionHome->tables.empty());
  EXPECT_TRUE(extensionHome->procedures.empty());

  ASSERT_NE(app(), nullptr);
  std::vector<std::string> tables;
  for (const LiveTable& table : app()->tables) {
    tables.push_back(table.name + (table.view ? " (view)" : ""));
  }
  EXPECT_EQ(tables, (std::vector<std::string>{"booking", "customer", "customer_names (view)",
                                              "imported", "measure", "measure_2024", "reading",
                                              "tagged", "totals (view)", "two\nlines", "wide"}));
}

TEST_F(PostgresqlReader, ColumnsComeInOrderWithTypesAsDeclared) {
  const LiveTable* customer = tableNamed(app(), "customer");
  ASSERT_NE(customer, nullptr);
  ASSERT_EQ(columnNames(*customer),
            (std::vector<std::string>{"region", "id", "name", "code", "balance", "ratio", "small",
                                      "flags", "vflags", "created", "tags", "nick", "mood", "attrs",
                                      "a,b ü"}));
  const auto& columns = customer->columns;
  EXPECT_TRUE(hasType(columns[0].type, "character varying", 8));
  EXPECT_FALSE(columns[0].nullable);
  EXPECT_TRUE(hasType(columns[1].type, "integer", 0));
  EXPECT_TRUE(hasType(columns[2].type, "character varying", 200));
  EXPECT_TRUE(columns[2].nullable);
  EXPECT_TRUE(hasType(columns[3].type, "character", 3));
  EXPECT_TRUE(hasType(columns[4].type, "numeric", 0, 12, 2));
  EXPECT_TRUE(hasType(columns[5].type, "numeric", 0));
  EXPECT_TRUE(hasType(columns[6].type, "numeric", 0, 3, -2));
  EXPECT_TRUE(hasType(columns[7].type, "bit", 4));
  EXPECT_TRUE(hasType(columns[8].type, "bit varying", 16));
  EXPECT_TRUE(hasType(columns[9].type, "timestamp with time zone", 0));
  EXPECT_TRUE(hasType(columns[10].type, "character varying[]", 0));
  // A domain over a NOT NULL domain: its own name, the base's length.
  EXPECT_TRUE(hasType(columns[11].type, "app.shorter", 20));
  EXPECT_FALSE(columns[11].nullable);
  EXPECT_TRUE(hasType(columns[12].type, "app.mood", 0));
  EXPECT_TRUE(hasType(columns[13].type, "public.hstore", 0));

  EXPECT_EQ(customer->comment, "Customers, \"quoted\", ünïcode\nsecond line");
  EXPECT_EQ(columns[14].comment, "a, b");
  EXPECT_EQ(columns[2].comment, "");
  const LiveTable* view = tableNamed(app(), "customer_names");
  ASSERT_NE(view, nullptr);
  ASSERT_EQ(columnNames(*view), (std::vector<std::string>{"id", "name"}));
  EXPECT_EQ(view->columns[1].comment, "view column");
  EXPECT_TRUE(hasType(view->columns[1].type, "character varying", 200));

  const LiveTable* imported = tableNamed(app(), "imported");
  ASSERT_NE(imported, nullptr);
  ASSERT_EQ(imported->columns.size(), 1u);
  EXPECT_FALSE(imported->columns[0].nullable);

  const LiveTable* wide = tableNamed(app(), "wide");
  ASSERT_NE(wide, nullptr);
  ASSERT_EQ(wide->columns.size(), 1600u);
  EXPECT_EQ(wide->columns[0].name, "c1");
  EXPECT_EQ(wide->columns[1599].name, "c1600");
}

TEST_F(PostgresqlReader, KeysPointAtColumnsInKeyOrder) {
  const LiveTable* customer = tableNamed(app(), "customer");
  ASSERT_NE(customer, nullptr);
  ASSERT_TRUE(customer->hasPrimaryKey);
  EXPECT_EQ(customer->primaryKey.name, "customer_pkey");
  EXPECT_EQ(customer->primaryKey.columns, (std::vector<int>{1, 0}));  // after a dropped column
  ASSERT_EQ(customer->uniqueKeys.size(), 1u);
  EXPECT_EQ(customer->uniqueKeys[0].name, "customer_name_key");
  EXPECT_EQ(customer->uniqueKeys[0].columns, (std::vector<int>{2, 3}));
  EXPECT_TRUE(customer->foreignKeys.empty());

  const LiveTable* tagged = tableNamed(app(), "tagged");
  ASSERT_NE(tagged, nullptr);
  EXPECT_FALSE(tagged->hasPrimaryKey);
  ASSERT_EQ(tagged->uniqueKeys.size(), 1u);
  EXPECT_EQ(tagged->uniqueKeys[0].columns, (std::vector<int>{0}));

  const LiveTable* order = tableNamed(ref(), "order");
  ASSERT_NE(order, nullptr);
  EXPECT_EQ(order->primaryKey.columns, (std::vector<int>{0}));
  ASSERT_EQ(order->foreignKeys.size(), 3u);
  const auto& byRegion = order->foreignKeys[0];
  EXPECT_EQ(byRegion.name, "order_cust_id_cust_region_fkey");
  EXPECT_EQ(byRegion.columns, (std::vector<int>{2, 1}));
  EXPECT_EQ(byRegion.referencedSchema, "app");
  EXPECT_EQ(byRegion.referencedTable, "customer");
  EXPECT_EQ(byRegion.referencedColumns, (std::vector<std::string>{"id", "region"}));
  // To a unique constraint, in another order than the constraint's.
  const auto& byName = order->foreignKeys[1];
  EXPECT_EQ(byName.name, "order→name");
  EXPECT_EQ(byName.columns, (std::vector<int>{4, 3}));
  EXPECT_EQ(byName.referencedColumns, (std::vector<std::string>{"code", "name"}));
  // To a unique index that is no constraint.
  EXPECT_EQ(order->foreignKeys[2].columns, (std::vector<int>{2}));
  EXPECT_EQ(order->foreignKeys[2].referencedColumns, (std::vector<std::string>{"id"}));

  // A key to a partitioned table, not repeated for its partition.
  const LiveTable* reading = tableNamed(app(), "reading");
  ASSERT_NE(reading, nullptr);
  ASSERT_EQ(reading->foreignKeys.size(), 1u);
  EXPECT_EQ(reading->foreignKeys[0].referencedTable, "measure");
  EXPECT_EQ(reading->foreignKeys[0].referencedColumns, (std::vector<std::string>{"id", "at"}));
  const LiveTable* partition = tableNamed(app(), "measure_2024");
  ASSERT_NE(partition, nullptr);
  EXPECT_EQ(partition->primaryKey.columns, (std::vector<int>{0, 1}));
}

TEST_F(PostgresqlReader, IndexesKeepTheirPlainColumnsOnly) {
  const LiveTable* customer = tableNamed(app(), "customer");
  ASSERT_NE(customer, nullptr);
  std::map<std::string, const pcd::cli::LiveIndex*> indexes;
  for (const auto& index : customer->indexes) indexes[index.name] = &index;
  std::vector<std::string> names;
  for (const auto& [name, index] : indexes) names.push_back(name);
  // No constraint's index, no expression-only index; the unique index a
  // foreign key uses stays.
  ASSERT_EQ(names, (std::vector<std::string>{"customer_created_desc", "customer_incl",
                                             "customer_mixed", "customer_partial"}));
  EXPECT_TRUE(indexes["customer_incl"]->unique);
  EXPECT_EQ(indexes["customer_incl"]->columns, (std::vector<int>{1}));
  EXPECT_FALSE(indexes["customer_created_desc"]->unique);
  EXPECT_EQ(indexes["customer_created_desc"]->columns, (std::vector<int>{9, 1}));
  EXPECT_EQ(indexes["customer_created_desc"]->descending, (std::vector<bool>{true, false}));
  EXPECT_EQ(indexes["customer_mixed"]->columns, (std::vector<int>{0, 1}));
  EXPECT_EQ(indexes["customer_mixed"]->descending, (std::vector<bool>{false, true}));
  EXPECT_EQ(indexes["customer_partial"]->columns, (std::vector<int>{3}));

  for (const char* name : {"booking", "measure", "measure_2024", "tagged"}) {
    const LiveTable* table = tableNamed(app(), name);
    ASSERT_NE(table, nullptr) << name;
    EXPECT_TRUE(table->indexes.empty()) << name;
  }
}

TEST_F(PostgresqlReader, RoutinesCarryTheirArgumentsNotTheirResults) {
  ASSERT_NE(app(), nullptr);
  const auto& procedures = app()->procedures;
  std::vector<std::string> names;
  for (const LiveProcedure& procedure : procedures) names.push_back(procedure.name);
  ASSERT_EQ(names,
            (std::vector<std::string>{"add", "add", "echo", "reset", "rows_of", "split", "touch"}));
  auto arguments = [](const LiveProcedure& procedure) {
    std::vector<std::string> list;
    for (const auto& argument : procedure.arguments) {
      list.push_back(argument.name + " " + argument.type.name);
    }
    return list;
  };
  // Overloads by their argument types: integer before text.
  EXPECT_EQ(arguments(procedures[0]), (std::vector<std::string>{" integer", "b numeric"}));
  EXPECT_EQ(procedures[0].arguments[1].type.precision, 0);  // arguments keep no modifiers
  EXPECT_EQ(procedures[0].comment, "adds, \"quoted\" 'ü'");
  EXPECT_EQ(arguments(procedures[1]), (std::vector<std::string>{"a text", "b text"}));
  EXPECT_EQ(procedures[1].comment, "");
  EXPECT_EQ(arguments(procedures[2]), (std::vector<std::string>{"v app.short_text"}));
  EXPECT_EQ(procedures[2].arguments[0].type.length, 20);
  EXPECT_EQ(arguments(procedures[3]),
            (std::vector<std::string>{"counter integer", "names text[]"}));
  EXPECT_EQ(arguments(procedures[4]), (std::vector<std::string>{"n integer"}));
  EXPECT_EQ(arguments(procedures[5]),
            (std::vector<std::string>{"whole text", "head text", "rest text"}));
  EXPECT_TRUE(procedures[6].arguments.empty());
}

TEST_F(PostgresqlReader, CountsWhatTheExtractCannotCarry) {
  EXPECT_EQ(countsOf(catalog_),
            (std::map<std::string, long>{{"check constraints", 2},  // a column's and a domain's
                                         {"column defaults", 3},    // with serial's nextval
                                         {"enum or set values", 1},
                                         {"exclusion constraints", 1},
                                         {"expression index members", 1},
                                         {"expression indexes", 1},
                                         {"generated columns", 1},
                                         {"identity or auto-increment columns", 1},
                                         {"included index columns", 3},
                                         {"partial indexes", 1},
                                         {"referential actions", 1},
                                         {"rules", 1},
                                         {"sequences", 2},  // not the identity column's
                                         {"triggers", 1},
                                         {"view bodies", 2}}));
}

TEST_F(PostgresqlReader, ReadsOnlyTheNamedSchemas) {
  const LiveCatalog chosen = readCatalog({"ref, ünïcode"});
  ASSERT_EQ(chosen.schemas.size(), 1u);
  EXPECT_EQ(chosen.schemas[0].name, "ref, ünïcode");
  const LiveTable* order = tableNamed(&chosen.schemas[0], "order");
  ASSERT_NE(order, nullptr);
  ASSERT_EQ(order->foreignKeys.size(), 3u);  // to a schema left out: the writer's concern
  EXPECT_EQ(order->foreignKeys[0].referencedSchema, "app");
  EXPECT_EQ(countsOf(chosen),
            (std::map<std::string, long>{{"column defaults", 1},
                                         {"generated columns", 1},
                                         {"identity or auto-increment columns", 1},
                                         {"referential actions", 1},
                                         {"sequences", 1}}));

  try {
    readCatalog({"app", "missing, schema"});
    ADD_FAILURE() << "a schema that does not exist was accepted";
  } catch (const CatalogReadError& error) {
    EXPECT_NE(std::string(error.what()).find("'missing, schema'"), std::string::npos)
        << error.what();
  }
  EXPECT_THROW(readCatalog({"pg_catalog"}), CatalogReadError);
}

TEST_F(PostgresqlReader, FailedConnectionsNameTheServerNotThePassword) {
  struct Case {
    std::string url;
    std::vector<std::string> named;
  };
  const std::string socket = livePostgres().socketFolder();
  const Case cases[] = {
      {"postgresql://pcd:Sekr1t@/shopdb?host=/nonexistent/pcd-socket",
       {"'shopdb'", "/nonexistent/pcd-socket"}},
      {"postgresql://pcd:Sekr1t@/no_such_db?host=" + socket, {"'no_such_db'", socket}},
      {"postgresql:///shopdb?host=/nonexistent/pcd-socket&password=Sekr1t", {"'shopdb'"}},
      // libpq quotes the parts of a URL it cannot read.
      {"postgresql://pcd:Sekr1t%zz@/shopdb?host=/nonexistent", {"postgresql://pcd:***@"}},
  };
  for (const Case& each : cases) {
    try {
      pcd::cli::readPostgresqlCatalog(pcd::cli::parseDatabaseUrl(each.url), {});
      ADD_FAILURE() << each.url << " connected";
    } catch (const CatalogReadError& error) {
      const std::string message = error.what();
      for (const std::string& part : each.named) {
        EXPECT_NE(message.find(part), std::string::npos) << message;
      }
      EXPECT_EQ(message.find("Sekr1t"), std::string::npos) << message;
    }
  }
}

}  // namespace
