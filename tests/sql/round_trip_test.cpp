// Loads the SQL scripts of real files into PostgreSQL, MariaDB and SQLite and
// compares what each engine's catalog then holds with the model: tables,
// columns in order with their nullability, primary keys, unique
// constraints, foreign keys with their column pairs, and indexes.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <gtest/gtest.h>

#include "catalog_facts.h"
#include "engine_servers.h"
#include "model_writer.h"
#include "sql/model_sql.h"
#include "sql/sql_names.h"
#include "support/pcd_fixture.h"

using namespace pcd::writers;

namespace {

PostgresServer* gPostgres = nullptr;
MariaDbServer* gMariaDb = nullptr;

// One server of each kind for the whole program.
class EngineEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    postgres_ = std::make_unique<PostgresServer>();
    mariaDb_ = std::make_unique<MariaDbServer>();
    gPostgres = postgres_.get();
    gMariaDb = mariaDb_.get();
  }
  void TearDown() override {
    gPostgres = nullptr;
    gMariaDb = nullptr;
    mariaDb_.reset();
    postgres_.reset();
  }

 private:
  std::unique_ptr<PostgresServer> postgres_;
  std::unique_ptr<MariaDbServer> mariaDb_;
};

::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new EngineEnvironment);

std::string writeTemporary(const ServerFolder& folder, const std::string& name,
                           const std::string& bytes) {
  const std::string path = folder.path() + "/" + name;
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

// The differences of two sorted fact lists, at most `limit` of each side.
std::string differences(const Facts& expected, const Facts& actual, size_t limit = 12) {
  Facts missing, extra;
  std::set_difference(expected.begin(), expected.end(), actual.begin(), actual.end(),
                      std::back_inserter(missing));
  std::set_difference(actual.begin(), actual.end(), expected.begin(), expected.end(),
                      std::back_inserter(extra));
  std::string text;
  for (size_t i = 0; i < missing.size() && i < limit; ++i) text += "\n  missing: " + missing[i];
  for (size_t i = 0; i < extra.size() && i < limit; ++i) text += "\n  extra:   " + extra[i];
  return text;
}

size_t countOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

const SqlDialect& kPostgreSql = *findSqlDialect("postgresql");
const SqlDialect& kMySql = *findSqlDialect("mysql");
const SqlDialect& kSqlite = *findSqlDialect("sqlite");

// The script as the program writes it, through the format's writer; "" with
// `error` set when the model cannot be written.
std::string sqlScript(const ModelSource& source, const SqlDialect& dialect,
                      const std::string& toolVersion, std::string& error) {
  WriterOptions options;
  options.dialect = std::string(dialect.name());
  options.toolVersion = toolVersion;
  char* bytes = nullptr;
  size_t size = 0;
  std::FILE* memory = open_memstream(&bytes, &size);
  StreamSink sink(memory);
  error = findOutputFormat("sql")->make(options)->write(source, sink);
  std::fclose(memory);
  std::string script = error.empty() ? std::string(bytes, size) : std::string();
  std::free(bytes);
  return script;
}

std::string scriptFor(const ImportResult& import, const std::string& file,
                      const SqlDialect& dialect) {
  std::string error;
  const std::string script = sqlScript({*import.model, import.log, file}, dialect, "test", error);
  EXPECT_EQ(error, "");
  return script;
}

struct RoundTrip {
  Facts expected, actual;
  std::string loadErrors;
  std::string script;
};

// Loads the file's script for `dialect` and reads the engine's catalog.
RoundTrip roundTrip(const std::string& file, const SqlDialect& dialect) {
  static int databases = 0;
  RoundTrip result;
  const ImportResult import = importFile(file);
  EXPECT_EQ(import.error, "") << file;
  if (!import.model) return result;
  result.script = scriptFor(import, file, dialect);
  result.expected = expectedFacts(*import.model, dialect, result.script);
  ServerFolder scratch;
  const std::string scriptFile = writeTemporary(scratch, "script.sql", result.script);
  if (&dialect == &kPostgreSql) {
    const std::string database = "round_trip_" + std::to_string(++databases);
    result.loadErrors = gPostgres->loadScript(database, scriptFile);
    result.actual = postgresFacts(*gPostgres, database);
  } else if (&dialect == &kMySql) {
    result.loadErrors = gMariaDb->loadScript(scriptFile);
    result.actual = mariaDbFacts(*gMariaDb);
  } else {
    const std::string databaseFile = scratch.path() + "/round_trip.db";
    result.loadErrors = loadSqliteScript(databaseFile, result.script);
    result.actual = sqliteFacts(databaseFile);
  }
  return result;
}

class SqlRoundTrip : public ::testing::TestWithParam<const SqlDialect*> {
 protected:
  void SetUp() override {
    ASSERT_NE(gPostgres, nullptr);
    ASSERT_EQ(gPostgres->error(), "") << "PostgreSQL is needed for these tests";
    ASSERT_EQ(gMariaDb->error(), "") << "MariaDB is needed for these tests";
  }

  // Loads the file and compares; returns the script.
  std::string check(const std::string& file) {
    const RoundTrip result = roundTrip(file, *GetParam());
    EXPECT_EQ(result.loadErrors, "") << file;
    EXPECT_FALSE(result.expected.empty()) << file;
    EXPECT_TRUE(result.expected == result.actual) << file << " in " << GetParam()->name() << ":"
                                                  << differences(result.expected, result.actual);
    return result.script;
  }
};

TEST_P(SqlRoundTrip, SampleLoadsWhole) {
  const std::string script = check(std::string(PCD_SOURCE_DIR) + "/examples/sample.pcd");
  EXPECT_EQ(countOf(script, kNotWrittenMark), 0u) << script;
}

// Reserved words, quotes, blanks, long, duplicate, empty, non-ASCII and
// non-UTF-8 names, and foreign keys pairing columns of unlike types.
TEST_P(SqlRoundTrip, HostileNamesLoad) {
  const std::string script = check(std::string(PCD_SOURCE_DIR) + "/tests/data/hostile_names.pcd");
  // A text column paired with an integer one: refused by PostgreSQL and
  // MariaDB, which also refuses an integer paired with a bigint.
  const size_t refused = GetParam() == &kPostgreSql ? 1 : GetParam() == &kMySql ? 2 : 0;
  EXPECT_EQ(countOf(script, "-- NOT WRITTEN: foreign key"), refused) << script;
}

// A schema named like the one every PostgreSQL database has, a foreign key
// the import dropped (its key's index left on the table), unique and plain
// indexes on columns MySQL writes as TEXT, and views.
TEST_P(SqlRoundTrip, CatalogCasesLoad) {
  const std::string script = check(std::string(PCD_SOURCE_DIR) + "/tests/data/catalog_cases.pcd");
  EXPECT_EQ(script.find("_POSITION"), std::string::npos) << script;
  EXPECT_EQ(script.rfind("-- SQL DDL written by pcd-import test\n", 0), 0u) << script;
  if (GetParam() == &kPostgreSql) {
    // "public" is the database's own schema, used under its name.
    EXPECT_NE(
        script.find(
            "CREATE SCHEMA IF NOT EXISTS \"public\";\nRESET client_min_messages;\n\nCREATE TABLE "
            "\"public\".\"users\""),
        std::string::npos)
        << script;
    EXPECT_NE(script.find("CREATE SCHEMA \"jobs\";"), std::string::npos) << script;
    EXPECT_NE(script.find("-- Procedure \"public\".\"add_user\""), std::string::npos);
    EXPECT_EQ(script.find("public_2"), std::string::npos) << script;
    EXPECT_EQ(countOf(script, kNotWrittenMark), 0u) << script;
  } else if (GetParam() == &kMySql) {
    // varchar(2048) is TEXT: plain indexes take a prefix within 3072
    // bytes (4 per character), a unique one cannot.
    EXPECT_NE(script.find("CREATE INDEX `IX_USERS_EMAIL` ON `public`.`users` (`email`(768));"),
              std::string::npos)
        << script;
    EXPECT_NE(script.find("CREATE INDEX `IX_USERS_EMAIL_NAME` ON `public`.`users` "
                          "(`email`(668), `name`);"),
              std::string::npos)
        << script;
    EXPECT_EQ(countOf(script, kNotWrittenMark), 1u) << script;
    EXPECT_NE(script.find("-- NOT WRITTEN: index `UX_ORDERS_USER_EMAIL` of `public`.`orders`: "
                          "column `user_email` is of type TEXT, which mysql cannot index but by "
                          "a prefix"),
              std::string::npos)
        << script;
  } else {
    EXPECT_EQ(countOf(script, kNotWrittenMark), 0u) << script;
  }
}

// Names an engine keeps for itself follow one rule, which the script's
// header and the SQL page of the documentation state alike.
TEST(SqlScript, ReservedNamesFollowTheRuleTheHeaderAndTheDocsState) {
  const std::string file = std::string(PCD_SOURCE_DIR) + "/tests/data/catalog_cases.pcd";
  std::string pcd;
  {
    std::ifstream in(file, std::ios::binary);
    pcd.assign(std::istreambuf_iterator<char>(in), {});
  }
  // The SQL page's text with its line breaks as blanks.
  const std::string docs = [] {
    std::ifstream in(std::string(PCD_SOURCE_DIR) + "/docs/sql.md", std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(in), {});
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
  }();
  // The schema "jobs" renamed to each reserved name in turn.
  const struct {
    const SqlDialect& dialect;
    std::string schema, written;
  } cases[] = {{kPostgreSql, "information_schema", "\"xinformation_schema\""},
               {kPostgreSql, "pg_temp", "\"xpg_temp\""},
               {kPostgreSql, "PUBLIC", "\"PUBLIC\""},
               {kMySql, "MySQL", "`xMySQL`"},
               {kMySql, "sys", "`xsys`"},
               {kPostgreSql, "public", "\"public_2\""}};
  ServerFolder folder;
  for (const auto& c : cases) {
    std::string renamed = pcd;
    const std::string from = "E,SCHEMA,61,1,C4,jobs";
    renamed.replace(renamed.find(from), from.size(),
                    "E,SCHEMA,61,1,C" + std::to_string(c.schema.size()) + "," + c.schema);
    const std::string path = writeTemporary(folder, "reserved.pcd", renamed);
    const ImportResult import = importFile(path);
    ASSERT_EQ(import.error, "");
    const std::string script = scriptFor(import, path, c.dialect);
    EXPECT_NE(script.find("CREATE " + std::string(&c.dialect == &kMySql ? "DATABASE " : "SCHEMA ") +
                          c.written),
              std::string::npos)
        << c.schema << "\n"
        << script;
  }
  for (const SqlDialect* dialect : sqlDialects()) {
    const ImportResult import = importFile(file);
    const std::string script = scriptFor(import, file, *dialect);
    const std::string rule = "gets an x in front (";
    const size_t at = script.find(rule);
    ASSERT_NE(at, std::string::npos) << script;
    const std::string names =
        script.substr(at + rule.size(), script.find(')', at) - at - rule.size());
    EXPECT_NE(docs.find(std::string(dialect->name()) + ": " + names), std::string::npos)
        << "docs/sql.md does not state the rule for " << dialect->name() << ": " << names;
  }
}

TEST_P(SqlRoundTrip, GeneratedFileLoads) {
  ServerFolder folder;
  const std::string file = folder.path() + "/generated.pcd";
  const CommandResult generated = runCommand({PCD_GENERATOR, "2000", "7"}, "");
  ASSERT_EQ(generated.exitCode, 0) << generated.err;
  writeTemporary(folder, "generated.pcd", generated.out);
  const std::string script = check(file);
  // The generator pairs foreign-key columns of any two types, as real
  // extracts do, and puts keys on long text columns, which MySQL cannot
  // index: only such keys may be left out, and SQLite takes them all.
  size_t explained = 0;
  for (const char* reason : {"cannot reference column", "cannot index", "-byte limit of an index",
                             "is not in the script"}) {
    explained += countOf(script, reason);
  }
  EXPECT_EQ(countOf(script, kNotWrittenMark), explained);
  if (GetParam() != &kMySql) {
    EXPECT_EQ(countOf(script, "cannot index"), 0u);
  }
  if (GetParam() == &kSqlite) {
    EXPECT_EQ(explained, 0u);
  }
}

INSTANTIATE_TEST_SUITE_P(Dialects, SqlRoundTrip, ::testing::ValuesIn(sqlDialects()),
                         [](const ::testing::TestParamInfo<const SqlDialect*>& dialect) {
                           return std::string(dialect.param->name());
                         });

// The program's side: the dialect's name is checked, and the script is
// the same bytes on every run.
TEST(SqlProgram, ChecksTheDialectAndWritesTheSameBytes) {
  const std::string program = std::string(PCD_BIN_DIR) + "/pcd-import";
  const std::string sample = std::string(PCD_SOURCE_DIR) + "/examples/sample.pcd";
  CommandResult result = runCommand({program, "-f", "sql", "--dialect", "oracle", sample});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.err.find("postgresql, mysql, sqlite"), std::string::npos) << result.err;

  // The same model gives the same bytes.
  const CommandResult first = runCommand({program, "-q", "-f", "sql", sample});
  EXPECT_EQ(first.exitCode, 0);
  // The header names the program once, with its version.
  const std::string heading = first.out.substr(0, first.out.find('\n'));
  EXPECT_EQ(heading.rfind("-- SQL DDL written by pcd-import ", 0), 0u) << heading;
  EXPECT_EQ(countOf(heading, "pcd-import"), 1u) << heading;
  EXPECT_EQ(first.out, runCommand({program, "-q", "-f", "sql", sample}).out);
}

// A NUL byte cannot be read from a file, but a model built otherwise may
// hold one: no dialect can quote it, and nothing is written.
TEST(SqlScript, RefusesANameNoQuotingCarries) {
  ZELModel model;
  auto* catalog = new ZELDatabaseCatalog;
  model.addChildPackage(catalog);
  auto* schema = new ZELDatabaseSchema;
  catalog->addChildPackage(schema);
  auto* table = new ZELClass;
  table->setName(ZELString("A\0B", 3));
  schema->addModelObject(table);
  const std::vector<ZELLogEvent> log;
  for (const SqlDialect* dialect : sqlDialects()) {
    std::string error;
    EXPECT_EQ(sqlScript({model, log, "x.pcd"}, *dialect, "", error), "");
    EXPECT_NE(error.find("table \"A"), std::string::npos) << error;
    EXPECT_NE(error.find("NUL byte"), std::string::npos) << error;
  }
}

// Repeated names get the first free suffix: past a plain name that looks
// generated, across the digit counts where a long name is cut shorter, and
// in MySQL's per-database scope of foreign keys seen from each table.
TEST(SqlNames, RepeatsTakeTheFirstFreeSuffix) {
  ZELModel model;
  auto* catalog = new ZELDatabaseCatalog;
  model.addChildPackage(catalog);
  auto* schema = new ZELDatabaseSchema;
  schema->setName("S");
  catalog->addChildPackage(schema);
  auto* table = new ZELClass;
  table->setName("T");
  schema->addModelObject(table);
  const std::string longName(70, 'L');
  std::vector<const ZELAttribute*> plain, cut;
  const auto addColumn = [&](const std::string& name, std::vector<const ZELAttribute*>& into) {
    auto* column = new ZELAttribute;
    column->setName(ZELString(name.data(), name.size()));
    table->addFeature(column);
    into.push_back(column);
  };
  addColumn("C_10", plain);
  for (int i = 0; i < 11; ++i) addColumn("C", plain);
  for (int i = 0; i < 11; ++i) addColumn(longName, cut);
  std::vector<const ZELKey*> foreignKeys;
  for (int t = 0; t < 3; ++t) {
    auto* child = new ZELClass;
    child->setName(ZELString(("U" + std::to_string(t)).c_str()));
    schema->addModelObject(child);
    auto* key = new ZELForeignKey;
    key->setName("FK");
    key->addAssociatedClass(child);
    foreignKeys.push_back(key);
  }

  SqlNames names;
  ASSERT_EQ(names.assign(model, kPostgreSql), "");
  std::vector<std::string> plainNames;
  for (const ZELAttribute* column : plain) plainNames.emplace_back(names.of(column));
  EXPECT_EQ(plainNames, (std::vector<std::string>{"C_10", "C", "C_2", "C_3", "C_4", "C_5", "C_6",
                                                  "C_7", "C_8", "C_9", "C_11", "C_12"}));
  // Cut to 63 bytes with a hash of the whole name, then the counter.
  const std::string first(names.of(cut[0]));
  ASSERT_EQ(first.size(), 63u);
  const std::string hash = first.substr(54);  // "_" and 8 hex digits
  EXPECT_EQ(first, std::string(54, 'L') + hash);
  EXPECT_EQ(names.of(cut[1]), std::string(52, 'L') + hash + "_2");
  EXPECT_EQ(names.of(cut[8]), std::string(52, 'L') + hash + "_9");
  EXPECT_EQ(names.of(cut[9]), std::string(51, 'L') + hash + "_10");
  EXPECT_EQ(names.of(cut[10]), std::string(51, 'L') + hash + "_11");

  ASSERT_EQ(names.assign(model, kMySql), "");
  EXPECT_EQ(names.of(foreignKeys[0]), "FK");
  EXPECT_EQ(names.of(foreignKeys[1]), "FK_2");
  EXPECT_EQ(names.of(foreignKeys[2]), "FK_3");
}

}  // namespace
