#include "diff_command.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "database_url.h"
#include "error_context.h"
#include "import_run.h"
#include "input_file.h"
#include "json_writer.h"
#include "liquibase_migration.h"
#include "migration_plan.h"
#include "model/zel_model.h"
#include "model_diff.h"
#include "plugin_loader.h"
#include "program_log.h"
#include "snapshot.h"
#include "sql/migration_sql.h"
#include "sql/sql_dialect.h"
#include "subcommand_arguments.h"
#include "text_encoding.h"
#include "zel_log.h"

namespace pcd::cli {

namespace {

constexpr int kExitEqual = 0;
constexpr int kExitDifferent = 1;
constexpr int kExitTrouble = 2;

// The usage text; the dialects come from their one list.
std::string diffUsage() {
  return std::string(
             "Usage: pcd-import diff [--format text|json|sql|liquibase] [--dialect NAME]\n"
             "                       [--safe] [--input-encoding NAME] [--plugin PATH]\n"
             "                       [--ignore-catalog-names] [--ignore WHAT]... OLD NEW\n"
             "Imports both sides and lists what changed between their models, grouped by\n"
             "table: catalogs, schemas, tables, views, columns, keys, foreign keys, indexes,\n"
             "procedures and arguments, matched by name (not by the files' ids).\n"
             "OLD and NEW are PCD files (either may be - for standard input) or database URLs\n"
             "(postgresql://, mysql://, mariadb://, sqlite:), read as 'pcd-import snapshot'\n"
             "reads them: 'diff extract.pcd postgresql:///prod' shows how a database drifted.\n"
             "  --ignore-catalog-names  match schemas by name whichever catalog holds them\n"
             "                        (a database named differently, or catalogs that an\n"
             "                        engine holds as one database); catalogs show as '*'\n"
             "  --ignore WHAT         leave aside what a move between engines changes:\n"
             "                        types (column and argument types, lengths, scales),\n"
             "                        descriptions, index-names (indexes matched by their\n"
             "                        columns), key-names (keys and foreign keys matched by\n"
             "                        their columns), schemas (tables matched by name whichever\n"
             "                        schema holds them, as for SQLite's one schema), server\n"
             "                        (the catalogs' server type); repeatable\n"
             "  --format sql          a migration script that turns OLD's catalog into NEW's\n"
             "  --format liquibase    the same as a Liquibase changelog (not for sqlite)\n"
             "  --dialect NAME        their SQL dialect: ") +
         writers::sqlDialectNameList() + " (the first is the default)\n" +
         std::string(
             "  --safe                leave out the changes that may lose data\n"
             "Exit status: 0 equal, 1 different, 2 error.\n");
}

struct DiffOptions {
  std::vector<std::string> files;
  bool json = false;
  const writers::SqlDialect* sql = nullptr;  // --format sql or liquibase: the dialect
  bool liquibase = false;
  std::string dialect;
  bool safe = false;
  CompareOptions compare;
  std::string inputEncoding;
  std::string pluginPath;
};

int trouble(const std::string& message) {
  std::fprintf(stderr, "pcd-import diff: %s\n", message.c_str());
  return kExitTrouble;
}

int parse(int argc, const char* const* argv, DiffOptions& options) {
  SubcommandArguments arguments(argc, argv);
  while (arguments.next()) {
    const std::string& argument = arguments.current();
    std::string text;
    if (arguments.isOperand()) {
      options.files.push_back(argument);
    } else if (argument == "-h" || argument == "--help") {
      std::fputs(diffUsage().c_str(), stdout);
      return std::fflush(stdout) == 0 ? kExitEqual : kExitTrouble;
    } else if (arguments.takeValue("--format", text) || arguments.takeValue("-f", text)) {
      if (text != "text" && text != "json" && text != "sql" && text != "liquibase")
        return trouble("unknown format '" + text + "'; use text, json, sql or liquibase");
      options.json = text == "json";
      options.liquibase = text == "liquibase";
      options.sql = text == "sql" || options.liquibase ? writers::sqlDialects().front() : nullptr;
    } else if (arguments.takeValue("--dialect", text)) {
      if (writers::findSqlDialect(text) == nullptr) {
        return trouble("unknown dialect '" + text +
                       "'; use one of: " + writers::sqlDialectNameList());
      }
      options.dialect = text;
    } else if (argument == "--safe") {
      options.safe = true;
    } else if (arguments.takeValue("--input-encoding", text)) {
      if (!isKnownEncoding(text)) return trouble("unknown input encoding '" + text + "'");
      options.inputEncoding = text;
    } else if (arguments.takeValue("--plugin", text)) {
      options.pluginPath = text;
    } else if (argument == "--ignore-catalog-names") {
      options.compare.ignoreCatalogNames = true;
    } else if (arguments.takeValue("--ignore", text)) {
      if (text == "types") {
        options.compare.ignoreTypes = true;
      } else if (text == "descriptions") {
        options.compare.ignoreDescriptions = true;
      } else if (text == "index-names") {
        options.compare.ignoreIndexNames = true;
      } else if (text == "server") {
        options.compare.ignoreServer = true;
      } else if (text == "key-names") {
        options.compare.ignoreKeyNames = true;
      } else if (text == "schemas") {
        options.compare.ignoreSchemas = true;
      } else {
        return trouble(
            "--ignore takes types, descriptions, index-names, key-names, schemas or server, "
            "not '" +
            text + "'");
      }
    } else {
      return trouble("unknown option '" + argument + "'; try 'pcd-import diff --help'");
    }
  }
  if (options.files.size() != 2) return trouble("give two PCD files or database URLs, OLD and NEW");
  if (options.sql == nullptr && (!options.dialect.empty() || options.safe))
    return trouble("--dialect and --safe go with --format sql or liquibase");
  if (options.sql != nullptr && !options.dialect.empty())
    options.sql = writers::findSqlDialect(options.dialect);
  return -1;
}

// Imports `file` into `model`; "" or why it failed.
std::string importFile(BridgePlugin& plugin, const std::string& file, const DiffOptions& options,
                       ZELModel& model) {
  ZELMemoryLog log;  // the imports' warnings are not the comparison's business
  std::string failure = runImport(plugin.bridge(), "CaRepositoryDsOdbcImport", file, model, log);
  if (!failure.empty()) return failure;
  if (!options.inputEncoding.empty() && !isUtf8Name(options.inputEncoding)) {
    convertModelToUtf8(model, options.inputEncoding, failure);
  }
  return failure;
}

// A failed import, told as the import tells it: the catalogued text, then
// the line and what is wrong in it, or the records that name a missing id.
int importFailure(const InputFile& input, const std::string& failure) {
  ProgramLog log(stderr, LogFormat::kText, ZEL_SEVERITY_FATAL, false);
  log.failure("pcd-import diff: " + input.shownName() + ": " + failure,
              explainFailure(failure, input));
  return kExitTrouble;
}

const char* marker(ModelChange::Kind kind) {
  return kind == ModelChange::Kind::kAdded ? "+" : kind == ModelChange::Kind::kRemoved ? "-" : "~";
}

const char* kindWord(ModelChange::Kind kind) {
  return kind == ModelChange::Kind::kAdded     ? "added"
         : kind == ModelChange::Kind::kRemoved ? "removed"
                                               : "changed";
}

std::string quoted(const std::string& value) {
  return "'" + value + "'";
}

void printText(const std::vector<ModelChange>& changes) {
  std::string group;
  long counts[3] = {0, 0, 0};
  for (const ModelChange& change : changes) {
    ++counts[static_cast<int>(change.kind)];
    if (change.group != group) {
      group = change.group;
      std::printf("%s\n", group.c_str());
    }
    std::string details;
    for (const PropertyChange& property : change.properties) {
      details += details.empty() ? ": " : "; ";
      if (change.kind == ModelChange::Kind::kAdded) {
        details += property.name + " " + quoted(property.newValue);
      } else {
        details +=
            property.name + " " + quoted(property.oldValue) + " -> " + quoted(property.newValue);
      }
    }
    std::printf("  %s %s%s\n", marker(change.kind), change.object.c_str(), details.c_str());
  }
  if (!changes.empty()) {
    std::printf("%ld added, %ld removed, %ld changed\n", counts[0], counts[1], counts[2]);
  }
}

bool printJson(const std::vector<ModelChange>& changes) {
  writers::JsonWriter json(stdout);
  json.beginObject();
  json.key("equal");
  json.boolean(changes.empty());
  json.key("changes");
  json.beginArray();
  for (const ModelChange& change : changes) {
    json.beginObject();
    json.key("group");
    json.string(change.group);
    json.key("object");
    json.string(change.object);
    json.key("change");
    json.string(kindWord(change.kind));
    json.key("properties");
    json.beginArray();
    for (const PropertyChange& property : change.properties) {
      json.beginObject();
      json.key("name");
      json.string(property.name);
      if (change.kind != ModelChange::Kind::kAdded) {
        json.key("old");
        json.string(property.oldValue);
      }
      json.key("new");
      json.string(property.newValue);
      json.endObject();
    }
    json.endArray();
    json.endObject();
  }
  json.endArray();
  json.endObject();
  return json.finish();
}

}  // namespace

int runDiffCommand(int argc, const char* const* argv) {
  DiffOptions options;
  const int parsed = parse(argc, argv, options);
  if (parsed >= 0) return parsed;
  BridgePlugin plugin;
  std::string error;
  if (!plugin.load(choosePluginPath(options.pluginPath), error)) return trouble(error);
  if (options.files[0] == "-" && options.files[1] == "-")
    return trouble("standard input can be OLD or NEW, not both");
  ZELModel before;
  ZELModel after;
  InputFile inputs[2];
  std::unique_ptr<pcd::cli::UnlinkedFile> snapshots[2];
  ZELModel* models[2] = {&before, &after};
  for (int i = 0; i < 2; ++i) {
    // A database is read into an extract first, as the snapshot writes it.
    const std::string& argument = options.files[i];
    std::string file = argument;
    std::string failure;
    if (pcd::cli::isDatabaseUrl(argument)) {
      std::vector<std::string> warnings;
      try {
        snapshots[i] = pcd::cli::snapshotFile(argument, warnings);
      } catch (const std::exception& unreadable) {
        return trouble(unreadable.what());
      }
      for (const std::string& warning : warnings)
        std::fprintf(stderr, "pcd-import diff: warning: %s\n", warning.c_str());
      file = snapshots[i]->path();
    }
    if (!inputs[i].identify(file, failure) || !inputs[i].prepare(failure))
      return trouble(argument + ": " + failure);
    failure = importFile(plugin, inputs[i].path(), options, *models[i]);
    if (!failure.empty()) {
      if (file != argument) return trouble(argument + ": " + failure);
      return importFailure(inputs[i], failure);
    }
  }
  const std::vector<ModelChange> changes = diffModels(before, after, options.compare);
  if (options.sql != nullptr) {
    writers::MigrationScriptOptions script{PCD_IMPORT_VERSION, options.files[0], options.files[1],
                                           options.safe};
    std::string text;
    const writers::MigrationPlan plan = writers::planMigration(before, after);
    const std::string failure =
        options.liquibase
            ? writers::writeMigrationChangelog(before, after, plan, *options.sql, script, text)
            : writers::writeMigrationScript(before, after, plan, *options.sql, script, text);
    if (!failure.empty()) return trouble(failure);
    std::fwrite(text.data(), 1, text.size(), stdout);
  } else if (options.json) {
    if (!printJson(changes)) return trouble("cannot write to standard output");
  } else {
    printText(changes);
  }
  if (std::fflush(stdout) != 0) return trouble("cannot write to standard output");
  return changes.empty() ? kExitEqual : kExitDifferent;
}

}  // namespace pcd::cli
