// Migration scripts through real engines: a database made from OLD's script,
// with rows in its tables, migrated by `diff --format sql OLD NEW`, holds what
// NEW's script makes (compared by snapshot), and every row; run again, the
// script fails without changing anything or does nothing. OLD is the corpus
// of real schemas and a generated catalog; NEW is OLD with edits of every
// kind the script carries (on the corpus, those that lose data too, on
// empty tables), made on the catalog and written as extracts.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "catalog_reader.h"
#include "extract_writer.h"
#include "snapshot/live_servers.h"

namespace fs = std::filesystem;
using namespace pcd::cli;

namespace {

const std::string kProgram = PCD_BIN_DIR "/pcd-import";

// splitmix64, so that the same seed gives the same pairs everywhere.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  int below(int count) {
    if (count <= 0) return 0;
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<int>((z ^ (z >> 31)) % static_cast<uint64_t>(count));
  }

 private:
  uint64_t state_;
};

LiveColumn column(const std::string& name, const std::string& type, int length, bool nullable,
                  int precision = 0, int scale = 0) {
  return {name, {type, length, precision, scale}, nullable, ""};
}

bool uses(const std::vector<int>& columns, int at) {
  return std::find(columns.begin(), columns.end(), at) != columns.end();
}

// True when a key, index or foreign key of the catalog uses the column.
bool isUsed(const LiveCatalog& catalog, const LiveTable& table, int at) {
  if (table.hasPrimaryKey && uses(table.primaryKey.columns, at)) return true;
  for (const LiveKey& key : table.uniqueKeys)
    if (uses(key.columns, at)) return true;
  for (const LiveIndex& index : table.indexes)
    if (uses(index.columns, at)) return true;
  for (const LiveForeignKey& key : table.foreignKeys)
    if (uses(key.columns, at)) return true;
  for (const LiveSchema& schema : catalog.schemas)
    for (const LiveTable& other : schema.tables)
      for (const LiveForeignKey& key : other.foreignKeys)
        if (key.referencedTable == table.name &&
            std::count(key.referencedColumns.begin(), key.referencedColumns.end(),
                       table.columns[at].name))
          return true;
  return false;
}

// A column of the table no key, index or foreign key uses; -1 if none.
int freeColumn(const LiveCatalog& catalog, const LiveTable& table, Random& random) {
  const int count = static_cast<int>(table.columns.size());
  const int start = random.below(count);
  for (int i = 0; i < count; ++i) {
    const int at = (start + i) % count;
    if (!isUsed(catalog, table, at)) return at;
  }
  return -1;
}

// A new table of the generated kind: an id key, a few columns, a foreign
// key to `parent` when there is one.
LiveTable newTable(const std::string& name, const LiveTable* parent, Random& random) {
  LiveTable table;
  table.name = name;
  table.comment = random.below(2) ? "" : "Table " + name;
  table.columns = {column("id", "integer", 0, false),
                   column("label", "character varying", 20 + random.below(40), random.below(2)),
                   column("amount", "numeric", 0, true, 10, 2), column("day", "date", 0, true)};
  table.hasPrimaryKey = true;
  table.primaryKey = {"pk_" + name, {0}, {}};
  if (random.below(2)) table.indexes.push_back({"ix_" + name + "_day", false, {3}, {false}});
  if (parent != nullptr) {
    table.columns.push_back(column("parent_id", "integer", 0, true));
    table.foreignKeys.push_back({"fk_" + name, {4}, "", parent->name, {"id"}});
  }
  return table;
}

void referToSchema(LiveSchema& schema) {
  for (LiveTable& table : schema.tables)
    for (LiveForeignKey& key : table.foreignKeys) key.referencedSchema = schema.name;
}

// The edits: each keeps the catalog one a script can make. `lossy` allows
// those that may lose data.
void editTable(LiveCatalog& catalog, LiveTable& table, Random& random, bool lossy, int serial) {
  if (table.columns.empty()) return;
  const std::string suffix = std::to_string(serial);
  switch (random.below(lossy ? 15 : 10)) {
    case 0:
      table.columns.push_back(column("added_" + suffix, "character varying", 30, true));
      break;
    case 1:
      for (LiveColumn& c : table.columns)
        if (c.type.name == "character varying" && c.type.length > 0) c.type.length += 10;
      break;
    case 2: {
      const int at = freeColumn(catalog, table, random);
      if (at >= 0) table.columns[at].nullable = true;
      break;
    }
    case 3: {  // a rename: a column no other table refers to
      const int at = freeColumn(catalog, table, random);
      if (at >= 0) table.columns[at].name += "_r" + suffix;
      break;
    }
    case 4: {
      const int at = freeColumn(catalog, table, random);
      if (at >= 0) table.indexes.push_back({"ix_added_" + suffix, false, {at}, {false}});
      break;
    }
    case 5:
      if (!table.indexes.empty()) table.indexes.pop_back();
      break;
    case 6:
      if (!table.foreignKeys.empty()) table.foreignKeys.pop_back();
      break;
    case 7:
      table.comment = "Changed " + suffix;
      table.columns[0].comment = "Column changed " + suffix;
      break;
    case 8:
      for (LiveColumn& c : table.columns)
        if (c.type.name == "integer" && c.nullable) c.type.name = "bigint";
      break;
    case 9: {  // a unique key beside the primary key's columns
      if (!table.hasPrimaryKey) break;
      std::vector<int> columns = table.primaryKey.columns;
      for (int at = 0; at < static_cast<int>(table.columns.size()); ++at) {
        if (!uses(columns, at)) {
          columns.push_back(at);
          table.uniqueKeys.push_back({"uk_" + suffix, columns, {}});
          break;
        }
      }
      break;
    }
    // What may lose data, or fail on rows.
    case 10: {
      const int at = freeColumn(catalog, table, random);
      if (at >= 0 && table.columns.size() > 1) {
        table.columns.erase(table.columns.begin() + at);
        for (LiveKey* key : {&table.primaryKey})
          for (int& c : key->columns) c -= c > at;
        for (LiveKey& key : table.uniqueKeys)
          for (int& c : key.columns) c -= c > at;
        for (LiveIndex& index : table.indexes)
          for (int& c : index.columns) c -= c > at;
        for (LiveForeignKey& key : table.foreignKeys)
          for (int& c : key.columns) c -= c > at;
      }
      break;
    }
    case 11:
      table.columns.push_back(column("required_" + suffix, "integer", 0, false));
      break;
    case 12: {
      const int at = freeColumn(catalog, table, random);
      if (at >= 0) table.columns[at].nullable = false;
      break;
    }
    case 13:
      for (LiveColumn& c : table.columns)
        if (c.type.name == "character varying" && c.type.length > 2) c.type.length -= 1;
      break;
    case 14:  // the primary key under another name
      if (table.hasPrimaryKey) table.primaryKey.name += "_" + suffix;
      break;
  }
}

// Edits a schema's tables, and at most one change of its table list (a
// rename is certain only as the one table gone and the one come).
void editSchema(LiveCatalog& catalog, LiveSchema& schema, Random& random, bool lossy, int& serial,
                std::map<std::string, std::string>& renamed) {
  std::vector<size_t> untouched;  // a rename is certain only for a table of the same shape
  for (size_t i = 0; i < schema.tables.size(); ++i) {
    if (schema.tables[i].view) continue;
    if (random.below(2)) {
      editTable(catalog, schema.tables[i], random, lossy, ++serial);
    } else {
      untouched.push_back(i);
    }
  }
  const std::string suffix = std::to_string(++serial);
  const int choice = random.below(lossy ? 4 : 3);
  if (schema.tables.empty() && choice != 0) return;
  switch (choice) {
    case 0: {
      const LiveTable* parent = schema.tables.empty() ? nullptr : &schema.tables.front();
      schema.tables.push_back(newTable(schema.name + "_new_" + suffix, parent, random));
      referToSchema(schema);
      break;
    }
    case 1: {
      if (untouched.empty()) break;
      LiveTable& table = schema.tables[untouched[random.below(static_cast<int>(untouched.size()))]];
      const std::string name = table.name + "_r" + suffix;
      for (LiveSchema& other : catalog.schemas)
        for (LiveTable& t : other.tables)
          for (LiveForeignKey& key : t.foreignKeys)
            if (key.referencedSchema == schema.name && key.referencedTable == table.name)
              key.referencedTable = name;
      renamed[table.name] = name;
      table.name = name;
      break;
    }
    case 3: {  // dropped, with the foreign keys that refer to it
      const size_t at = random.below(static_cast<int>(schema.tables.size()));
      const std::string name = schema.tables[at].name;
      schema.tables.erase(schema.tables.begin() + static_cast<long>(at));
      for (LiveSchema& other : catalog.schemas)
        for (LiveTable& t : other.tables)
          t.foreignKeys.erase(std::remove_if(t.foreignKeys.begin(), t.foreignKeys.end(),
                                             [&](const LiveForeignKey& key) {
                                               return key.referencedSchema == schema.name &&
                                                      key.referencedTable == name;
                                             }),
                              t.foreignKeys.end());
      break;
    }
    default:
      break;
  }
}

std::string writeFile(const LiveCatalog& catalog, const std::string& path) {
  std::ofstream out(path, std::ios::binary);
  writeExtract(catalog, "test", out);
  return path;
}

std::string sqlScript(const std::string& dialect, const std::string& extract,
                      const std::string& script) {
  const CommandResult written =
      runCommand({kProgram, "-q", "-f", "sql", "--dialect", dialect, "-o", script, extract});
  EXPECT_EQ(written.exitCode, 0) << written.err;
  return script;
}

// The corpus read back from PostgreSQL as catalogs (so that they can be
// edited), each schema and table named after its file: the engines without
// schemas keep every table in one database.
void addCorpus(LiveCatalog& catalog, const ServerFolder& folder) {
  // One file per package: its PostgreSQL schema where there is one.
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(PCD_SOURCE_DIR "/tests/data/corpus")) {
    const std::string name = entry.path().filename().string();
    const std::string package = name.substr(0, name.find('.'));
    const fs::path postgresql = entry.path().parent_path() / (package + ".postgresql.pcd");
    if (entry.path() == postgresql ||
        (!fs::exists(postgresql) && name == package + ".mariadb.pcd")) {
      files.push_back(entry.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  int number = 0;
  for (const std::string& file : files) {
    if (::testing::Test::HasFatalFailure()) return;
    const std::string prefix = "c" + std::to_string(++number) + "_";
    const std::string database = "corpus_" + std::to_string(number);
    ASSERT_EQ(livePostgres().loadScript(
                  database, sqlScript("postgresql", file, folder.path() + "/corpus.sql")),
              "");
    LiveCatalog read = readPostgresqlCatalog(parseDatabaseUrl(postgresUrl(database)), {});
    for (LiveSchema& schema : read.schemas) {
      schema.name = prefix + schema.name;
      schema.procedures.clear();
      for (LiveTable& table : schema.tables) {
        table.name = prefix + table.name;
        for (LiveForeignKey& key : table.foreignKeys) {
          key.referencedSchema = prefix + key.referencedSchema;
          key.referencedTable = prefix + key.referencedTable;
        }
      }
      catalog.schemas.push_back(std::move(schema));
    }
  }
}

struct Pairs {
  std::string oldFile, newFile;
  std::vector<std::pair<std::string, std::string>> filled;  // (schema, table) with rows
  std::map<std::string, std::string> renamed;               // table: old name -> new
  int schemas = 0;
};

// Each a pair of its own: OLD's schema and NEW's. A sanitized program is
// slow: fewer there.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kGeneratedSchemas = 10;
#else
constexpr int kGeneratedSchemas = 30;
#endif
constexpr int kRows = 3;

Pairs makePairs(const ServerFolder& folder) {
  LiveCatalog before;
  before.engine = "POSTGRESQL";
  before.serverVersion = "15";
  before.majorVersion = 15;
  before.systemName = "test";
  before.databaseName = "migration";
  addCorpus(before, folder);
  if (::testing::Test::HasFatalFailure()) return {};
  const size_t corpusSchemas = before.schemas.size();
  Random random(28);
  for (int i = 0; i < kGeneratedSchemas; ++i) {
    LiveSchema schema;
    schema.name = "g" + std::to_string(i);
    const int tables = 2 + random.below(3);
    for (int t = 0; t < tables; ++t) {
      const LiveTable* parent = schema.tables.empty() ? nullptr : &schema.tables.front();
      schema.tables.push_back(newTable(schema.name + "_t" + std::to_string(t), parent, random));
    }
    referToSchema(schema);
    before.schemas.push_back(std::move(schema));
  }
  Pairs pairs;
  pairs.schemas = static_cast<int>(before.schemas.size());
  // The generated schemas get rows: their edits lose none.
  for (size_t s = corpusSchemas; s < before.schemas.size(); ++s)
    for (const LiveTable& table : before.schemas[s].tables)
      pairs.filled.emplace_back(before.schemas[s].name, table.name);
  LiveCatalog after = before;
  int serial = 0;
  for (size_t s = 0; s < after.schemas.size(); ++s) {
    editSchema(after, after.schemas[s], random, s < corpusSchemas, serial, pairs.renamed);
  }
  // A schema gone (with its tables) and one new.
  after.schemas.erase(after.schemas.begin() + static_cast<long>(corpusSchemas) - 1);
  LiveSchema added;
  added.name = "added_schema";
  added.tables.push_back(newTable("added_t0", nullptr, random));
  after.schemas.push_back(added);
  pairs.oldFile = writeFile(before, folder.path() + "/old.pcd");
  pairs.newFile = writeFile(after, folder.path() + "/new.pcd");
  return pairs;
}

// A database of the engine; its URL. MariaDB holds one catalog at a time.
class Engine {
 public:
  Engine(std::string dialect, const ServerFolder& folder)
      : dialect_(std::move(dialect)), folder_(folder) {}

  std::string load(const std::string& script) {
    const std::string name = "migration_" + std::to_string(++count_);
    if (dialect_ == "postgresql") {
      EXPECT_EQ(livePostgres().loadScript(name, script), "");
      database_ = name;
      return postgresUrl(name);
    }
    if (dialect_ == "mysql") {
      const std::string messages = liveMariaDb().loadScript(script);
      EXPECT_EQ(messages.find("ERROR"), std::string::npos) << messages;
      return mariaDbUrl("mysql");
    }
    database_ = folder_.path() + "/" + name + ".sqlite";
    EXPECT_EQ(loadSqliteScript(database_, fileBytes(script)), "");
    return "sqlite:" + database_;
  }

  // Runs a script in the last database; the engine's errors.
  std::string run(const std::string& script) {
    if (dialect_ == "postgresql") return livePostgres().runScript(database_, script);
    if (dialect_ == "mysql") {
      const std::string messages = liveMariaDb().runScript(script);
      return messages.find("ERROR") == std::string::npos ? "" : messages;
    }
    return loadSqliteScript(database_, fileBytes(script));
  }

  // Runs one statement (rows, counts) in the last database: one field.
  std::string value(const std::string& sql) {
    if (dialect_ == "postgresql") return livePostgres().query(database_, sql).at(0).at(0);
    if (dialect_ == "mysql") return liveMariaDb().query(sql).at(0).at(0);
    sqlite3* db = nullptr;
    sqlite3_stmt* statement = nullptr;
    std::string value;
    if (sqlite3_open(database_.c_str(), &db) == SQLITE_OK &&
        sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
      value = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return value;
  }

  std::string table(const std::string& schema, const std::string& name) const {
    const char quote = dialect_ == "mysql" ? '`' : '"';
    const std::string table = quote + name + quote;
    return dialect_ == "sqlite" ? table : quote + schema + quote + "." + table;
  }

 private:
  std::string dialect_;
  const ServerFolder& folder_;
  std::string database_;
  int count_ = 0;
};

// The rows every generated table gets: ids, labels, amounts, days.
std::string insertRows(const Engine& engine, const Pairs& pairs) {
  std::string sql;
  for (const auto& [schema, name] : pairs.filled) {
    for (int row = 1; row <= kRows; ++row) {
      sql += "INSERT INTO " + engine.table(schema, name) + " (id, label, amount, day) VALUES (" +
             std::to_string(row) + ", 'row " + std::to_string(row) + "', 1.50, '2020-01-0" +
             std::to_string(row) + "');\n";
    }
  }
  return sql;
}

std::string countRows(const Engine& engine, const Pairs& pairs) {
  std::string sql = "SELECT 0";
  for (const auto& [schema, name] : pairs.filled) {
    const auto renamed = pairs.renamed.find(name);
    const std::string now = renamed == pairs.renamed.end() ? name : renamed->second;
    sql += " + (SELECT COUNT(*) FROM " + engine.table(schema, now) + ")";
  }
  return sql;
}

// The pairs, made once for every engine (the corpus is read through
// PostgreSQL).
const Pairs& sharedPairs() {
  static ServerFolder folder;
  static const Pairs pairs = makePairs(folder);
  return pairs;
}

class MigrationRoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(MigrationRoundTrip, MigratedDatabaseIsNewsAndKeepsItsRows) {
  const std::string dialect = GetParam();
  ServerFolder folder;
  const Pairs& pairs = sharedPairs();
  ASSERT_FALSE(HasFatalFailure());
  ASSERT_FALSE(pairs.oldFile.empty());
  Engine engine(dialect, folder);
  const std::string path = folder.path() + "/";

  // What NEW's own script makes, as the engine reports it.
  const std::string expected = path + "expected.pcd";
  const std::string newUrl = engine.load(sqlScript(dialect, pairs.newFile, path + "new.sql"));
  ASSERT_EQ(runCommand({kProgram, "snapshot", "-o", expected, newUrl}).exitCode, 0);

  const std::string url = engine.load(sqlScript(dialect, pairs.oldFile, path + "old.sql"));
  std::ofstream(path + "rows.sql") << insertRows(engine, pairs);
  ASSERT_EQ(engine.run(path + "rows.sql"), "");
  const CommandResult migration = runCommand(
      {kProgram, "diff", "--format", "sql", "--dialect", dialect, pairs.oldFile, pairs.newFile});
  ASSERT_EQ(migration.exitCode, 1) << migration.err;
  std::ofstream(path + "migration.sql", std::ios::binary) << migration.out;
  ASSERT_EQ(engine.run(path + "migration.sql"), "");

  const auto sameAsNew = [&] {
    // SQLite makes up key names, and names an index in its one namespace
    // after the tables before it.
    std::vector<std::string> command = {kProgram, "diff", "--ignore-catalog-names", expected, url};
    if (dialect == "sqlite") {
      command.insert(command.begin() + 3, {"--ignore", "key-names", "--ignore", "index-names"});
    }
    const CommandResult diff = runCommand(command);
    EXPECT_EQ(diff.exitCode, 0) << diff.out.substr(0, 3000) << diff.err;
  };
  sameAsNew();
  const std::string count = countRows(engine, pairs);
  const std::string rows = std::to_string(pairs.filled.size() * kRows);
  ASSERT_FALSE(pairs.filled.empty());
  EXPECT_EQ(engine.value(count), rows);

  // Again: the engine refuses it, and the database stays as it was.
  EXPECT_NE(engine.run(path + "migration.sql"), "");
  sameAsNew();
  std::printf("  migration %s: %d schemas (%d generated pairs), %zu tables with rows\n",
              dialect.c_str(), pairs.schemas, kGeneratedSchemas, pairs.filled.size());
}

INSTANTIATE_TEST_SUITE_P(Engines, MigrationRoundTrip,
                         ::testing::Values("postgresql", "mysql", "sqlite"));

}  // namespace
