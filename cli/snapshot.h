// A live database's catalog as the text of an extract, for the snapshot
// subcommand and for every command that takes a database URL as its input.
#pragma once

#include <string>
#include <vector>

#include "extract_writer.h"

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

// An unlinked temporary file holding some bytes, reached by name through
// /proc while it is open, so that no path of the program leaves it behind.
class UnlinkedFile {
 public:
  UnlinkedFile() = default;
  UnlinkedFile(const UnlinkedFile&) = delete;
  UnlinkedFile& operator=(const UnlinkedFile&) = delete;
  ~UnlinkedFile();
  // False with `error` set when the file cannot be made or written.
  bool write(const std::string& bytes, std::string& error);
  const std::string& path() const { return path_; }

 private:
  int descriptor_ = -1;
  std::string path_;
};

}  // namespace pcd::cli
