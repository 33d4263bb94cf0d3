// The round trip through real engines: an extract written as SQL for an
// engine, loaded into it, snapshotted and compared with the extract by
// `pcd-import diff` gives no difference beyond what the SQL script says it
// does not carry. And drift: what is changed in a live database is exactly
// what `diff` reports against the snapshot taken before.

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "model/zel_model.h"
#include "snapshot/live_servers.h"
#include "support/pcd_fixture.h"

namespace fs = std::filesystem;

namespace {

const std::string kProgram = PCD_BIN_DIR "/pcd-import";

// Loads `script` into a new database of `dialect`'s engine; its URL.
std::string load(const std::string& dialect, const std::string& script, const ServerFolder& folder,
                 const std::string& stem) {
  static int count = 0;
  const std::string name = stem + "_" + std::to_string(++count);
  if (dialect == "postgresql") {
    EXPECT_EQ(livePostgres().loadScript(name, script), "");
    return postgresUrl(name);
  }
  if (dialect == "mysql") {
    const std::string messages = liveMariaDb().loadScript(script);
    EXPECT_EQ(messages.find("ERROR"), std::string::npos) << messages;
    return mariaDbUrl("mysql");
  }
  const std::string file = folder.path() + "/" + name + ".sqlite";
  EXPECT_EQ(loadSqliteScript(file, fileBytes(script)), "");
  return "sqlite:" + file;
}

nlohmann::json diffJson(const std::vector<std::string>& extra, const std::string& oldSide,
                        const std::string& newSide, int* exitCode = nullptr) {
  std::vector<std::string> command = {kProgram, "diff", "--format", "json"};
  command.insert(command.end(), extra.begin(), extra.end());
  command.push_back(oldSide);
  command.push_back(newSide);
  const CommandResult result = runCommand(command);
  if (exitCode != nullptr) *exitCode = result.exitCode;
  EXPECT_TRUE(result.exitCode == 0 || result.exitCode == 1) << result.err;
  return result.exitCode <= 1 ? nlohmann::json::parse(result.out) : nlohmann::json::object();
}

struct KeyFacts {
  std::set<std::string> primaryKeyColumns;  // "TABLE.COLUMN"
  std::set<std::string> uniqueKeys;         // "TABLE(A, B)"
};

// What an extract's keys hold.
KeyFacts keyFacts(const std::string& file) {
  KeyFacts facts;
  ImportResult imported = importFile(file);
  if (!imported.error.empty()) return facts;
  std::vector<const ZELPackage*> pending;
  for (const ZELPackage* catalog : imported.model->childPackages())
    for (const ZELPackage* schema : catalog->childPackages()) pending.push_back(schema);
  while (!pending.empty()) {
    const ZELPackage* schema = pending.back();
    pending.pop_back();
    for (const ZELPackage* child : schema->childPackages()) pending.push_back(child);
    if (!schema->isInstanceOf(ZEL_ET_DATA_PACKAGE)) continue;
    for (const ZELModelObject* object :
         static_cast<const ZELDataPackage*>(schema)->modelObjects()) {
      if (object->getElementType() != ZEL_ET_CLASS) continue;
      const std::string table = object->getName().c_str();
      for (const ZELKey* key : static_cast<const ZELClass*>(object)->keys()) {
        if (!key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) continue;
        std::string columns;
        for (const ZELAttribute* column : key->attributes())
          columns += (columns.empty() ? "" : ", ") + std::string(column->getName().c_str());
        facts.uniqueKeys.insert(table + "(" + columns + ")");
      }
      const ZELKey* key = static_cast<const ZELClass*>(object)->getPrimaryKey();
      if (key == nullptr) continue;
      for (const ZELAttribute* column : key->attributes())
        facts.primaryKeyColumns.insert(table + "." + column->getName().c_str());
    }
  }
  return facts;
}

std::string afterLastDot(const std::string& text) {
  const size_t dot = text.rfind('.');
  return dot == std::string::npos ? text : text.substr(dot + 1);
}

std::string withoutDesc(std::string columns) {
  for (size_t at; (at = columns.find(" desc")) != std::string::npos;) columns.erase(at, 5);
  return columns;
}

// What the script marks NOT WRITTEN (a key on a type the engine cannot
// index, a foreign key between columns of types it cannot pair), counted
// per table and kind: "TABLE\x1f" + "foreign key", "key" or "index".
std::map<std::string, int> notWritten(const std::string& script) {
  std::map<std::string, int> counts;
  std::istringstream lines(fileBytes(script));
  const std::string marker = "-- NOT WRITTEN: ";
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(marker, 0) != 0) continue;
    const std::string rest = line.substr(marker.size());
    const size_t quote = rest.find_first_of("\"`");
    const size_t colon = rest.find(": ", quote);
    if (quote == std::string::npos || colon == std::string::npos) continue;
    std::string kind = rest.substr(0, quote - 1);
    if (kind != "foreign key" && kind != "index") kind = "key";
    const std::string where = rest.substr(0, colon);  // ... of "S"."T"
    const char q = where.back();
    const size_t open = where.rfind(q, where.size() - 2);
    ++counts[where.substr(open + 1, where.size() - open - 2) + '\x1f' + kind];
  }
  return counts;
}

// The differences the round trip may show because the SQL script says it
// does not carry them, or the engine cannot keep them: views and procedures
// are written as comments only; what the script marks NOT WRITTEN; a
// nullable primary-key column becomes NOT NULL; on MySQL a unique index is a
// unique key, without sort order.
std::vector<std::string> unexplained(const nlohmann::json& diff, const std::string& dialect,
                                     const KeyFacts& keys, std::map<std::string, int> skipped,
                                     std::map<std::string, long>& explained) {
  const nlohmann::json changes = diff.value("changes", nlohmann::json::array());
  // (group, columns) of the keys added and the indexes removed.
  std::set<std::pair<std::string, std::string>> addedKeys, removedIndexes;
  for (const nlohmann::json& change : changes) {
    const std::string object = change["object"];
    if (change["change"] == "added" && object.rfind("key (", 0) == 0)
      addedKeys.emplace(change["group"], object.substr(4));
    if (change["change"] == "removed" && object.rfind("index on (", 0) == 0)
      removedIndexes.emplace(change["group"], withoutDesc(object.substr(9)));
  }
  std::vector<std::string> lines;
  for (const nlohmann::json& change : changes) {
    const std::string object = change["object"];
    const std::string kind = change["change"];
    const std::string group = change["group"];
    const std::string table = afterLastDot(group);
    const bool viewOrProcedure = object.rfind("view ", 0) == 0 ||
                                 object.rfind("procedure ", 0) == 0 ||
                                 group.rfind("view ", 0) == 0 || group.rfind("procedure ", 0) == 0;
    if (kind == "removed" && viewOrProcedure) {
      ++explained["views and procedures"];
      continue;
    }
    const char* const kinds[] = {"foreign key ", "key ", "index "};
    bool written = true;
    for (const char* prefix : kinds) {
      const std::string word(prefix, std::strlen(prefix) - 1);
      int& count = skipped[table + '\x1f' + word];
      if (kind == "removed" && object.rfind(prefix, 0) == 0 && count > 0) {
        --count;
        written = false;
      }
    }
    if (!written) {
      ++explained["marked NOT WRITTEN"];
      continue;
    }
    if (kind == "changed" && object.rfind("table ", 0) == 0 && change["properties"].size() == 1 &&
        change["properties"][0]["name"] == "primaryKey" &&
        change["properties"][0]["new"] == "(none)" && skipped.count(table + "\x1fkey") > 0) {
      ++explained["marked NOT WRITTEN"];
      continue;
    }
    if (kind == "changed" && object.rfind("column ", 0) == 0 &&
        keys.primaryKeyColumns.count(table + "." + object.substr(7)) > 0 &&
        change["properties"].size() == 1 && change["properties"][0]["name"] == "optional") {
      ++explained["primary-key columns made NOT NULL"];
      continue;
    }
    if (dialect == "mysql" && object.rfind("index on (", 0) == 0) {
      const std::string columns = withoutDesc(object.substr(9));
      if (kind == "removed" &&
          (addedKeys.count({group, columns}) > 0 || keys.uniqueKeys.count(table + columns) > 0)) {
        ++explained["unique indexes held as unique keys"];
        continue;
      }
    }
    if (dialect == "mysql" && kind == "added" && object.rfind("key (", 0) == 0 &&
        removedIndexes.count({group, object.substr(4)}) > 0) {
      ++explained["unique indexes held as unique keys"];
      continue;
    }
    lines.push_back(change.dump());
  }
  return lines;
}

std::vector<std::string> roundTripInputs() {
  std::vector<std::string> inputs = {PCD_SOURCE_DIR "/examples/sample.pcd"};
  std::vector<std::string> corpus;
  for (const auto& entry : fs::directory_iterator(PCD_SOURCE_DIR "/tests/data/corpus"))
    if (entry.path().extension() == ".pcd") corpus.push_back(entry.path().string());
  std::sort(corpus.begin(), corpus.end());
  for (size_t i = 0; i < corpus.size(); ++i) {
#if defined(__SANITIZE_ADDRESS__)
    if (i % 2 != 0) continue;  // a sanitized program is slow: every other catalog
#endif
    inputs.push_back(corpus[i]);
  }
  return inputs;
}

class SnapshotRoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(SnapshotRoundTrip, SqlLoadedAndSnapshottedIsTheExtract) {
  const std::string dialect = GetParam();
  ServerFolder folder;
  std::vector<std::string> inputs = roundTripInputs();
#if defined(__SANITIZE_ADDRESS__)
  const CommandResult generated = runCommand({PCD_GENERATOR, "500", "11"});
#else
  const CommandResult generated = runCommand({PCD_GENERATOR, "2000", "11"});
#endif
  ASSERT_EQ(generated.exitCode, 0);
  std::ofstream(folder.path() + "/generated.pcd", std::ios::binary) << generated.out;
  inputs.push_back(folder.path() + "/generated.pcd");
  std::map<std::string, long> explained;  // differences by what explains them
  long tables = 0;
  long others = 0;
  for (const std::string& input : inputs) {
    SCOPED_TRACE(input);
    const std::string script = folder.path() + "/script.sql";
    const CommandResult written =
        runCommand({kProgram, "-q", "-f", "sql", "--dialect", dialect, "-o", script, input});
    ASSERT_EQ(written.exitCode, 0) << written.err;
    const std::string url = load(dialect, script, folder, "roundtrip");
    // Names the engines make unique or up (key and index names), types in
    // the engine's own spelling; SQLite keeps neither schemas nor comments.
    std::vector<std::string> ignored = {"--ignore-catalog-names",
                                        "--ignore",
                                        "server",
                                        "--ignore",
                                        "types",
                                        "--ignore",
                                        "key-names",
                                        "--ignore",
                                        "index-names"};
    if (dialect == "sqlite") {
      ignored.insert(ignored.end(), {"--ignore", "schemas", "--ignore", "descriptions"});
    }
    const nlohmann::json diff = diffJson(ignored, input, url);
    const std::vector<std::string> left =
        unexplained(diff, dialect, keyFacts(input), notWritten(script), explained);
    const CommandResult summary = runCommand({kProgram, "-q", "-f", "summary", input});
    const size_t at = summary.out.find("tables=");
    tables += at == std::string::npos ? 0 : std::atol(summary.out.c_str() + at + 7);
    others += static_cast<long>(left.size());
    EXPECT_TRUE(left.empty()) << left.size() << " differences:\n"
                              << (left.empty() ? "" : left[0]) << "\n"
                              << (left.size() > 1 ? left[1] : "") << "\n"
                              << (left.size() > 2 ? left[2] : "");
  }
  std::printf("  round trip %s: %zu files, %ld tables;", dialect.c_str(), inputs.size(), tables);
  for (const auto& [what, count] : explained) std::printf(" %s %ld;", what.c_str(), count);
  std::printf(" other differences %ld\n", others);
}

// The "liquibase" format run by Liquibase (tests/js, on Java) builds the
// database that the "sql" format's script of the same dialect builds (which
// the test above holds against the extract): a snapshot of each compares
// equal, names, columns, keys, indexes, foreign keys and descriptions alike.
// MariaDB's and SQLite's drivers reach the throwaway servers (a Unix socket,
// a file); PostgreSQL's cannot use a Unix socket, so Liquibase writes the
// SQL it would run (offline mode) and psql loads it. One Liquibase run per
// file: Java starts slowly. A migration too: the sample's changelog, then
// `diff --format liquibase` to an edited sample, builds what the edited
// sample's script builds.
TEST_P(SnapshotRoundTrip, LiquibaseChangelogBuildsWhatTheScriptBuilds) {
  const std::string dialect = GetParam();
  // Liquibase's jars, with what its drivers need and the package lacks
  // (Debian's): the SQLite driver's logging API, and JNA, through which
  // MariaDB's reaches a Unix socket. The package's launcher cannot add them
  // where the drivers see them.
  const std::string jars =
      PCD_SOURCE_DIR "/tests/js/node_modules/liquibase/dist/liquibase/internal/lib";
  const std::string logging = "/usr/share/java/slf4j-api.jar";
  const std::string jna = "/usr/share/java/jna.jar";
  ASSERT_TRUE(fs::exists(jars + "/liquibase-core.jar") && fs::exists(logging) && fs::exists(jna) &&
              runCommand({"java", "-version"}).exitCode == 0)
      << "Liquibase, Java, libslf4j-java or libjna-java is missing: run scripts/setup.sh";
  ServerFolder folder;
  const std::string engineCorpus = std::string(PCD_SOURCE_DIR "/tests/data/corpus/bacula.") +
                                   (dialect == "mysql" ? "mariadb" : dialect) + ".pcd";
  // The sample with a column widened, one added, one dropped, an index
  // dropped and a table added with a foreign key.
  const std::string sample = PCD_SOURCE_DIR "/examples/sample.pcd";
  const std::string migrated = folder.path() + "/migrated.pcd";
  std::string edited = fileBytes(sample);
  for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
           {"C4,NAME,S0,L60,", "C4,NAME,S0,L80,"},
           {"R,TBL_COL,413,103,313,2,C1,Y,L4\n", ""},
           {"E,KEY,507,3,C14,IX_ORDERS_DATE,C1,I,C0\n", ""},
           {"R,KEY_COL,549,507,405,2,S1,C1,D\nR,KEY_COL,550,507,406,2,S2,C1,A\n", ""},
           {"R,INDEX_AT,560,507,101,5,C1,Y,C0,L0,S0,C1,Y\n", ""}}) {
    ASSERT_NE(edited.find(from), std::string::npos) << from;
    edited.replace(edited.find(from), from.size(), to);
  }
  std::ofstream(migrated) << edited
                          << "R,REL_COL,800,0,201,7,C5,EMAIL,S0,L120,L0,S0,C0,C0\n"
                             "R,TBL_COL,801,100,800,2,C1,Y,L4\n"
                             "E,TABLE,105,1,C7,RETURNS\nR,TABLE_AT,127,105,60,2,C7,RETURNS,C0\n"
                             "R,REL_COL,330,0,200,7,C9,RETURN_ID,S0,L0,L0,S0,C0,C0\n"
                             "R,REL_COL,331,0,200,7,C8,ORDER_ID,S0,L0,L0,S0,C0,C0\n"
                             "R,TBL_COL,430,105,330,2,C1,N,L1\nR,TBL_COL,431,105,331,2,C1,N,L2\n"
                             "E,KEY,510,3,C10,PK_RETURNS,C1,P,C0\n"
                             "E,KEY,511,3,C17,FK_RETURNS_ORDERS,C1,F,C0\n"
                             "R,KEY_COL,553,510,430,2,S1,C1,A\nR,KEY_COL,554,511,431,2,S1,C1,A\n"
                             "R,FGN_KEY,523,105,511,2,C1,N,C1,N\nR,FK_TB_AT,533,523,121,0\n";
  for (const std::string& input :
       {sample, std::string(PCD_SOURCE_DIR "/tests/data/hostile_names.pcd"), engineCorpus,
        migrated}) {
    SCOPED_TRACE(input);
    const std::string script = folder.path() + "/script.sql";
    const std::string scripted = folder.path() + "/scripted.pcd";
    const std::string changelog = folder.path() + "/changelog.yaml";
    if (input == migrated && dialect == "sqlite") {
      // Liquibase cannot alter SQLite's tables in place: refused.
      const CommandResult refused =
          runCommand({kProgram, "diff", "-f", "liquibase", "--dialect", dialect, sample, input});
      EXPECT_EQ(refused.exitCode, 2);
      EXPECT_NE(refused.err.find("--format sql"), std::string::npos) << refused.err;
      EXPECT_EQ(refused.out, "");
      continue;
    }
    if (dialect == "mysql" && input.find("hostile") != std::string::npos) {
      // Liquibase would write a ` in a MySQL name as "": refused, naming it.
      const CommandResult refused =
          runCommand({kProgram, "-q", "-f", "liquibase", "--dialect", dialect, input});
      EXPECT_EQ(refused.exitCode, 1);
      EXPECT_NE(refused.err.find("Liquibase cannot write the name `we\"ird ``sch'ema\\`"),
                std::string::npos)
          << refused.err;
      EXPECT_EQ(refused.out, "");
      continue;
    }
    for (const auto& [format, output] : {std::pair{"sql", script}, {"liquibase", changelog}}) {
      const CommandResult written = runCommand({kProgram, "-q", "-f", format, "--dialect", dialect,
                                                "-o", output, input == migrated ? sample : input});
      ASSERT_EQ(written.exitCode, 0) << written.err;
    }
    if (input == migrated) {
      // The sample's changelog, then the migration's, in one Liquibase run.
      const CommandResult migration =
          runCommand({kProgram, "diff", "-f", "liquibase", "--dialect", dialect, sample, migrated});
      ASSERT_EQ(migration.exitCode, 1) << migration.err;
      std::ofstream(folder.path() + "/migration.yaml") << migration.out;
      fs::rename(changelog, folder.path() + "/sample.yaml");
      std::ofstream(changelog)
          << "databaseChangeLog:\n"
             "- include: {file: sample.yaml, relativeToChangelogFile: true}\n"
             "- include: {file: migration.yaml, relativeToChangelogFile: true}\n";
      ASSERT_EQ(runCommand({kProgram, "-q", "-f", "sql", "--dialect", dialect, "-o", script, input})
                    .exitCode,
                0);
    }
#ifdef PCD_TESTS_NO_JAVA  // see tests/CMakeLists.txt
    continue;
#endif
    const CommandResult snapshot =
        runCommand({kProgram, "snapshot", "-o", scripted, load(dialect, script, folder, "script")});
    ASSERT_EQ(snapshot.exitCode, 0) << snapshot.err;

    std::vector<std::string> run = {"java",
                                    "-cp",
                                    jars + "/*:" + logging + ":" + jna,
                                    "liquibase.integration.commandline.LiquibaseCommandLine",
                                    "--changelog-file=changelog.yaml",
                                    "--search-path=" + folder.path(),
                                    "--log-level=severe"};
    std::string url;
    if (dialect == "postgresql") {
      const std::string sql = folder.path() + "/liquibase.sql";
      // Offline, Liquibase keeps the changesets it wrote in a file of its own.
      run.insert(run.end(), {"--url=offline:postgresql?outputLiquibaseSql=none&changeLogFile=" +
                                 folder.path() + "/" + fs::path(input).stem().string() + ".csv",
                             "--output-file=" + sql, "update-sql"});
      const CommandResult updated = runCommand(run);
      ASSERT_EQ(updated.exitCode, 0) << updated.out << updated.err;
      url = load(dialect, sql, folder, "liquibase");
    } else if (dialect == "mysql") {
      // Liquibase keeps its history in a database of its own, dropped after;
      // loading its creation drops the script's databases first.
      const std::string history = folder.path() + "/history.sql";
      std::ofstream(history) << "CREATE DATABASE liquibase_history;\n";
      url = load(dialect, history, folder, "liquibase");
      run.insert(run.end(), {"--url=jdbc:mariadb://localhost/liquibase_history?localSocket=" +
                                 liveMariaDb().socketPath(),
                             "--username=root", "update"});
      const CommandResult updated = runCommand(run);
      ASSERT_EQ(updated.exitCode, 0) << updated.out << updated.err;
      liveMariaDb().query("DROP DATABASE liquibase_history");
    } else {
      const std::string file =
          folder.path() + "/" + fs::path(input).stem().string() + ".liquibase.sqlite";
      run.insert(run.end(), {"--url=jdbc:sqlite:" + file, "update"});
      const CommandResult updated = runCommand(run);
      ASSERT_EQ(updated.exitCode, 0) << updated.out << updated.err;
      EXPECT_EQ(loadSqliteScript(file,
                                 "DROP TABLE DATABASECHANGELOG; "
                                 "DROP TABLE DATABASECHANGELOGLOCK;"),
                "");
      url = "sqlite:" + file;
    }
    // Each key the changelog leaves out for Liquibase's sake (SQLite) is
    // one removed key, with the table's primary key gone when it was that;
    // the only other differences are the SQLite types Liquibase rewrites.
    size_t omitted = 0, removed = 0, rewritten = 0;
    std::istringstream lines(fileBytes(changelog));
    for (std::string line; std::getline(lines, line);) {
      omitted +=
          line.rfind("# NOT WRITTEN: ", 0) == 0 && line.find("Liquibase") != std::string::npos;
    }
    const std::set<std::pair<std::string, std::string>> rewrites = {
        {"TIMESTAMP", "TEXT"}, {"NUMERIC", "NUMBER"}, {"DATE", "date"}};
    std::vector<std::string> others;
    for (const nlohmann::json& change : diffJson({"--ignore-catalog-names"}, scripted, url)
                                            .value("changes", nlohmann::json::array())) {
      const std::string object = change["object"];
      const nlohmann::json& properties = change["properties"];
      if (change["change"] == "removed" &&
          (object.rfind("key ", 0) == 0 || object.rfind("foreign key ", 0) == 0)) {
        ++removed;
      } else if (change["change"] == "changed" && properties.size() == 1 &&
                 object.rfind("table ", 0) == 0 && properties[0]["name"] == "primaryKey" &&
                 properties[0]["new"] == "(none)") {
      } else if (dialect == "sqlite" && change["change"] == "changed" && properties.size() == 1 &&
                 properties[0]["name"] == "type" &&
                 rewrites.count({properties[0]["old"], properties[0]["new"]}) > 0) {
        ++rewritten;
      } else {
        others.push_back(change.dump());
      }
    }
    EXPECT_EQ(removed, omitted);
    EXPECT_TRUE(others.empty()) << others.size() << " differences:\n"
                                << (others.empty() ? "" : others[0]) << "\n"
                                << (others.size() > 1 ? others[1] : "");
    std::printf("  liquibase %s %s: %zu keys left out, %zu types rewritten\n", dialect.c_str(),
                fs::path(input).filename().c_str(), omitted, rewritten);
  }
}

#if defined(__SANITIZE_ADDRESS__)
// Under the sanitizers the server engines' round trips would mostly check
// the servers: each dialect's script of every catalog is written there by
// SnapshotCorpus, each reader reads a live server in its own tests, and
// SQLite's round trip, which needs no server, stays.
INSTANTIATE_TEST_SUITE_P(Engines, SnapshotRoundTrip, ::testing::Values("sqlite"));
#else
INSTANTIATE_TEST_SUITE_P(Engines, SnapshotRoundTrip,
                         ::testing::Values("postgresql", "mysql", "sqlite"));
#endif

}  // namespace

namespace {

// Snapshots the sample loaded into an engine, changes the live database,
// and compares the snapshot with the database.
std::string driftAfter(const std::string& dialect, const std::vector<std::string>& changes) {
  ServerFolder folder;
  const std::string script = folder.path() + "/sample.sql";
  const CommandResult written = runCommand({kProgram, "-q", "-f", "sql", "--dialect", dialect, "-o",
                                            script, PCD_SOURCE_DIR "/examples/sample.pcd"});
  EXPECT_EQ(written.exitCode, 0) << written.err;
  const std::string url = load(dialect, script, folder, "drift");
  const std::string before = folder.path() + "/before.pcd";
  const CommandResult snapshot = runCommand({kProgram, "snapshot", "-o", before, url});
  EXPECT_EQ(snapshot.exitCode, 0) << snapshot.err;
  for (const std::string& change : changes) {
    if (dialect == "postgresql") {
      const std::string database = url.substr(14, url.find('?') - 14);
      livePostgres().query(database, change);
    } else {
      liveMariaDb().query(change);
    }
  }
  const CommandResult diff = runCommand({kProgram, "diff", "--ignore-catalog-names", before, url});
  EXPECT_EQ(diff.exitCode, 1) << diff.err;
  return diff.out;
}

// A column added, a foreign key dropped, a type widened and a table renamed
// (which a comparison by name sees as one table gone and one new).
std::string expectedDrift(const std::string& intType, const std::string& numericType,
                          const std::string& varcharType, const std::string& primaryKey) {
  return "table *.BILLING.BILLS\n"
         "  + table BILLS: description 'Invoices sent to customers'; primaryKey '" +
         primaryKey +
         "'\n"
         "  + column INVOICE_NO: position '1'; type '" +
         intType +
         "'; length '0'; scale '0'; optional 'no'; description 'Invoice number'\n"
         "  + column LINE_NO: position '3'; type '" +
         intType +
         "'; length '0'; scale '0'; optional 'yes'; description 'Invoiced line; empty when the "
         "whole order is invoiced'\n"
         "  + column ORDER_ID: position '2'; type '" +
         intType +
         "'; length '0'; scale '0'; optional 'no'; description 'Invoiced order'\n"
         "  + column TOTAL: position '4'; type '" +
         numericType +
         "'; length '10'; scale '2'; optional 'yes'; description ''\n"
         "  + foreign key FK_INVOICES_LINES: columns 'ORDER_ID, LINE_NO'; references "
         "'*.SHOP.ORDER_LINES " +
         (primaryKey == "PRIMARY" ? "PRIMARY" : "PK_ORDER_LINES") +
         "'\n"
         "  + key " +
         primaryKey +
         ": columns 'INVOICE_NO'; unique 'yes'\n"
         "table *.BILLING.INVOICES\n"
         "  - table INVOICES\n"
         "  - column INVOICE_NO\n"
         "  - column LINE_NO\n"
         "  - column ORDER_ID\n"
         "  - column TOTAL\n"
         "  - foreign key FK_INVOICES_LINES\n"
         "  - key " +
         primaryKey +
         "\n"
         "table *.SHOP.CUSTOMERS\n"
         "  ~ column NAME: length '60' -> '80'\n"
         "table *.SHOP.ORDERS\n"
         "  + column NOTE: position '5'; type '" +
         varcharType +
         "'; length '20'; scale '0'; optional 'yes'; description ''\n"
         "table *.SHOP.ORDER_LINES\n"
         "  - foreign key FK_ORDER_LINES_ORDERS\n"
         "8 added, 8 removed, 1 changed\n";
}

TEST(SnapshotDrift, ChangesInTheLiveDatabaseAreWhatDiffReports) {
  EXPECT_EQ(driftAfter("postgresql",
                       {"ALTER TABLE \"SHOP\".\"ORDERS\" ADD COLUMN \"NOTE\" varchar(20)",
                        "ALTER TABLE \"SHOP\".\"ORDER_LINES\" DROP CONSTRAINT "
                        "\"FK_ORDER_LINES_ORDERS\"",
                        "ALTER TABLE \"SHOP\".\"CUSTOMERS\" ALTER COLUMN \"NAME\" TYPE varchar(80)",
                        "ALTER TABLE \"BILLING\".\"INVOICES\" RENAME TO \"BILLS\""}),
            expectedDrift("integer", "numeric", "character varying", "PK_INVOICES"));
  EXPECT_EQ(
      driftAfter("mysql", {"ALTER TABLE `SHOP`.`ORDERS` ADD COLUMN `NOTE` varchar(20)",
                           "ALTER TABLE `SHOP`.`ORDER_LINES` DROP FOREIGN KEY "
                           "`FK_ORDER_LINES_ORDERS`",
                           "ALTER TABLE `SHOP`.`CUSTOMERS` MODIFY `NAME` varchar(80) NOT NULL "
                           "COMMENT 'Customer name'",
                           "RENAME TABLE `BILLING`.`INVOICES` TO `BILLING`.`BILLS`"}),
      expectedDrift("int", "decimal", "varchar", "PRIMARY"));
}

}  // namespace
