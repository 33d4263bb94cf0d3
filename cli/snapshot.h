// A live database's catalog as the text of an extract, for the snapshot
// subcommand and for every command that takes a database URL as its input.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "extract_writer.h"
#include "unlinked_file.h"

namespace pcd::cli {

struct SnapshotOptions {
  std::vector<std::string> schemas;  // only these (empty: every user schema)
  std::string systemName;            // the REL_SYS name; empty: the host's or file's
};

struct Snapshot {
  std::string text;  // the extract
  ExtractReport report;
  bool empty = false;  // no user schema
  std::string shownUrl;
};

// Reads the catalog at `url` and writes it as an extract. Throws
// std::invalid_argument for a URL that is not usable (a usage error) and
// CatalogReadError when the database cannot be read.
Snapshot takeSnapshot(const std::string& url, const SnapshotOptions& options);

// The catalog at `url` as an extract in an unlinked file, for the commands
// that import a database as they import a file. Throws as takeSnapshot does,
// and CatalogReadError when the file cannot be written; the writer's
// warnings go to `warnings`.
std::unique_ptr<UnlinkedFile> snapshotFile(const std::string& url,
                                           std::vector<std::string>& warnings);

}  // namespace pcd::cli
