// The PostgreSQL catalog reader against a throwaway server loaded with the
// hard cases: keys whose order differs from the columns', dropped columns,
// foreign keys to a unique constraint, to a unique index, across schemas and
// to a partitioned table, domains, overloads and OUT arguments, extension
// objects, a 1,600-column table, and what the extract cannot carry.
#include <algorithm>
#include <fstream>

#include <gtest/gtest.h>

#include "catalog_reader.h"
#include "snapshot/catalog_text.h"
#include "snapshot/live_servers.h"

namespace {

using namespace catalog_text;
using pcd::cli::CatalogReadError;
using pcd::cli::CatalogReadOptions;

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

LiveCatalog readCatalog(const std::vector<std::string>& schemas = {}) {
  CatalogReadOptions options;
  options.schemas = schemas;
  return pcd::cli::readPostgresqlCatalog(pcd::cli::parseDatabaseUrl(postgresUrl(kDatabaseInUrl)),
                                         options);
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

  static const LiveTable& app(const std::string& table) {
    return tableNamed(schemaNamed(catalog_, "app"), table);
  }

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

  EXPECT_EQ(namesOf(catalog_.schemas), (Lines{"app", "public", "ref, ünïcode"}));
  // hstore and file_fdw put their functions and types in public.
  const LiveSchema& extensionHome = schemaNamed(catalog_, "public");
  EXPECT_TRUE(extensionHome.tables.empty());
  EXPECT_TRUE(extensionHome.procedures.empty());

  Lines tables;
  for (const LiveTable& table : schemaNamed(catalog_, "app").tables) {
    tables.push_back(table.name + (table.view ? " (view)" : ""));
  }
  EXPECT_EQ(tables,
            (Lines{"booking", "customer", "customer_names (view)", "imported", "measure",
                   "measure_2024", "reading", "tagged", "totals (view)", "two\nlines", "wide"}));
}

TEST_F(PostgresqlReader, ColumnsComeInOrderWithTypesAsDeclared) {
  // After a dropped column; a domain over a NOT NULL domain has its own
  // name and the base's length.
  const LiveTable& customer = app("customer");
  EXPECT_EQ(columnLines(customer),
            (Lines{"region character varying length 8 not null", "id integer not null",
                   "name character varying length 200", "code character length 3",
                   "balance numeric precision 12,2", "ratio numeric",
                   "small numeric precision 3,-2", "flags bit length 4",
                   "vflags bit varying length 16", "created timestamp with time zone",
                   "tags character varying[]", "nick app.shorter length 20 not null",
                   "mood app.mood", "attrs public.hstore", "a,b ü text"}));
  EXPECT_EQ(customer.comment, "Customers, \"quoted\", ünïcode\nsecond line");
  EXPECT_EQ(customer.columns[14].comment, "a, b");
  EXPECT_EQ(customer.columns[2].comment, "");
  const LiveTable& view = app("customer_names");
  EXPECT_EQ(columnLines(view), (Lines{"id integer", "name character varying length 200"}));
  EXPECT_EQ(view.columns[1].comment, "view column");
  EXPECT_EQ(columnLines(app("imported")), (Lines{"line text not null"}));

  const LiveTable& wide = app("wide");
  ASSERT_EQ(wide.columns.size(), 1600u);
  EXPECT_EQ(wide.columns[0].name, "c1");
  EXPECT_EQ(wide.columns[1599].name, "c1600");
}

// Foreign keys in the referencing table's column order: to a primary key,
// to a unique constraint in another order than the constraint's, to a
// unique index that is no constraint, across schemas, and to a partitioned
// table (not repeated for its partition).
TEST_F(PostgresqlReader, KeysPointAtColumnsInKeyOrder) {
  EXPECT_EQ(keyLines(app("customer")),
            (Lines{"primary customer_pkey (id, region)", "unique customer_name_key (name, code)"}));
  EXPECT_EQ(keyLines(app("tagged")), (Lines{"unique tagged_key (id)"}));
  EXPECT_EQ(keyLines(tableNamed(schemaNamed(catalog_, "ref, ünïcode"), "order")),
            (Lines{"primary order_pkey (no)",
                   "foreign order_cust_id_cust_region_fkey (cust_id, cust_region) -> app.customer "
                   "(id, region)",
                   "foreign order→name (cust_code, cust_name) -> app.customer (code, name)",
                   "foreign order_by_id (cust_id) -> app.customer (id)"}));
  EXPECT_EQ(keyLines(app("reading")),
            (Lines{"foreign reading_mid_mat_fkey (mid, mat) -> app.measure (id, at)"}));
  EXPECT_EQ(keyLines(app("measure_2024")), (Lines{"primary measure_2024_pkey (id, at)"}));
}

TEST_F(PostgresqlReader, IndexesKeepTheirPlainColumnsOnly) {
  // No constraint's index, no expression-only index; the unique index a
  // foreign key uses stays.
  Lines indexes = indexLines(app("customer"));
  std::sort(indexes.begin(), indexes.end());
  EXPECT_EQ(indexes, (Lines{"index customer_created_desc (created desc, id)",
                            "index customer_mixed (region, id desc)",
                            "index customer_partial (code)", "unique index customer_incl (id)"}));
  for (const char* name : {"booking", "measure", "measure_2024", "tagged"}) {
    EXPECT_TRUE(app(name).indexes.empty()) << name;
  }
}

TEST_F(PostgresqlReader, RoutinesCarryTheirArgumentsNotTheirResults) {
  // Overloads by their argument types, integer before text; arguments keep
  // no modifiers, but a domain's length.
  const LiveSchema& schema = schemaNamed(catalog_, "app");
  EXPECT_EQ(procedureLines(schema),
            (Lines{"add(integer, b numeric)", "add(a text, b text)",
                   "echo(v app.short_text length 20)", "reset(counter integer, names text[])",
                   "rows_of(n integer)", "split(whole text, head text, rest text)", "touch()"}));
  ASSERT_EQ(schema.procedures.size(), 7u);
  EXPECT_EQ(schema.procedures[0].comment, "adds, \"quoted\" 'ü'");
  EXPECT_EQ(schema.procedures[1].comment, "");
}

TEST_F(PostgresqlReader, CountsWhatTheExtractCannotCarry) {
  EXPECT_EQ(notCarried(catalog_),
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
  // Keys to a schema left out stay: the writer's concern.
  EXPECT_EQ(tableNamed(chosen.schemas[0], "order").foreignKeys.size(), 3u);
  EXPECT_EQ(notCarried(chosen),
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
