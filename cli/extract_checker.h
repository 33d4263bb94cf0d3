// Every problem of one PCD extract, found in one streaming pass: the lines
// the import would reject (explained with the reader's own line checks),
// ids that relationships name and no record defines or that name a record
// of the wrong kind, duplicate ids, records the import skips without a
// message (tables placed at neither a schema nor a catalog among them),
// foreign keys it drops, and counted strings whose count ends inside their
// field. Keeps a few numbers per record (and the names of tables, views and
// keys), never the records themselves.
#pragma once

#include <istream>
#include <string>
#include <vector>

namespace pcd::cli {

struct CheckFinding {
  long line = 0;
  bool error = false;  // false: a warning
  std::string message;
};

struct CheckReport {
  std::vector<CheckFinding> findings;  // ordered by line
  long lines = 0;
  long records = 0;
  long errors() const;
  long warnings() const;
};

// Reads `in` (the extract's bytes) to its end. (Schema design rules are
// `pcd-import lint`'s, on the imported model.)
CheckReport checkExtract(std::istream& in);

}  // namespace pcd::cli
