#include "snapshot_command.h"

#include <cstdio>
#include <stdexcept>
#include <string>

#include "catalog_reader.h"
#include "output_target.h"
#include "snapshot.h"
#include "subcommand_arguments.h"

namespace pcd::cli {

namespace {

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

const char kSnapshotUsage[] =
    "Usage: pcd-import snapshot [-o FILE.pcd] [--schema NAME]... [--system NAME] [-v] URL\n"
    "Reads the catalog of a live database (read-only, in one transaction) and writes\n"
    "it as a PCD extract: every user schema (or those named with --schema), its\n"
    "tables, views, columns, keys, foreign keys, indexes, procedures and comments.\n"
    "URL: postgresql://[user[:password]@][host][:port]/dbname[?host=/socket/dir&...]\n"
    "     mysql://[user[:password]@][host][:port][/dbname][?socket=/path] (or mariadb://)\n"
    "     sqlite:PATH (opened read-only)\n"
    "What the format cannot carry (defaults, sequences, checks, triggers, referential\n"
    "actions, view bodies, ...) is counted on the file's first line; -v lists it on\n"
    "standard error.\n"
    "  -o, --output FILE  write to FILE (default: standard output); replaced only\n"
    "                     when the whole snapshot was written\n"
    "  --schema NAME      only this schema (repeatable)\n"
    "  --system NAME      the system's name (default: the host's, or the file's)\n"
    "  -v, --verbose      list what was not carried\n"
    "Exit status: 0 written, 1 the database could not be read, 2 usage error.\n";

struct SnapshotArguments {
  std::string url;
  std::string output;
  bool verbose = false;
  pcd::cli::SnapshotOptions options;
};

int usage(const std::string& message) {
  std::fprintf(stderr, "pcd-import snapshot: %s\nTry 'pcd-import snapshot --help'.\n",
               message.c_str());
  return kExitUsage;
}

int failure(const std::string& message) {
  std::fprintf(stderr, "pcd-import snapshot: %s\n", message.c_str());
  return kExitFailure;
}

// -1 when the run goes on.
int parse(int argc, const char* const* argv, SnapshotArguments& arguments) {
  SubcommandArguments walk(argc, argv);
  std::string value;
  while (walk.next()) {
    const std::string& argument = walk.current();
    if (walk.isOperand()) {
      if (!arguments.url.empty()) return usage("give one database URL");
      arguments.url = argument;
    } else if (argument == "-h" || argument == "--help") {
      std::fputs(kSnapshotUsage, stdout);
      return std::fflush(stdout) == 0 ? kExitSuccess : kExitFailure;
    } else if (argument == "-v" || argument == "--verbose") {
      arguments.verbose = true;
    } else if (walk.takeValue("--output", value) || walk.takeValue("-o", value)) {
      arguments.output = value;
    } else if (walk.takeValue("--schema", value)) {
      arguments.options.schemas.push_back(value);
    } else if (walk.takeValue("--system", value)) {
      if (value.empty()) return usage("--system needs a name");
      arguments.options.systemName = value;
    } else {
      return usage("unknown option '" + argument + "'");
    }
  }
  if (arguments.url.empty())
    return usage("name the database: a postgresql://, mysql:// or sqlite: URL");
  if (!pcd::cli::isDatabaseUrl(arguments.url))
    return usage("'" + arguments.url +
                 "' is not a database URL (postgresql://, mysql://, mariadb://, sqlite:)");
  return -1;
}

}  // namespace

int runSnapshotCommand(int argc, const char* const* argv) {
  SnapshotArguments arguments;
  if (const int parsed = parse(argc, argv, arguments); parsed >= 0) return parsed;
  // Opened first: a place that cannot take the file is reported before the
  // database is read.
  OutputTarget output;
  std::string error;
  if (!output.open(arguments.output, error)) return failure(error);
  pcd::cli::Snapshot snapshot;
  try {
    snapshot = pcd::cli::takeSnapshot(arguments.url, arguments.options);
  } catch (const std::invalid_argument& bad) {
    return usage(bad.what());
  } catch (const pcd::cli::CatalogReadError& unreadable) {
    return failure(unreadable.what());
  }
  for (const std::string& warning : snapshot.report.warnings)
    std::fprintf(stderr, "pcd-import snapshot: warning: %s\n", warning.c_str());
  if (snapshot.empty) {
    std::fprintf(stderr,
                 "pcd-import snapshot: warning: %s holds no user schema; the extract is empty\n",
                 snapshot.shownUrl.c_str());
  }
  if (arguments.verbose) {
    for (const auto& [what, count] : snapshot.report.notCarried)
      std::fprintf(stderr, "pcd-import snapshot: not carried: %s: %ld\n", what.c_str(), count);
  }
  if (std::fwrite(snapshot.text.data(), 1, snapshot.text.size(), output.stream()) !=
      snapshot.text.size()) {
    return failure("cannot write the extract");
  }
  if (!output.commit(error)) return failure(error);
  return kExitSuccess;
}

}  // namespace pcd::cli
