// Writes a live catalog as a PCD extract: the records the import reads, with
// ids handed out in one fixed order (schemas, tables and procedures sorted
// by name), so that the same catalog always gives the same bytes.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "live_catalog.h"

namespace pcd::cli {

struct ExtractReport {
  // What the file could not carry as it stands: a name or text with a line
  // break (written with a blank in its place), a foreign key to a table
  // outside the snapshot (left out); one line each, naming the object.
  std::vector<std::string> warnings;
  // The reader's counts of what the format cannot carry, plus the writer's.
  NotCarriedCounts notCarried;
};

// Writes `catalog` to `out`; the first line says where it came from and what
// was not carried. Returns what the caller should tell the user.
ExtractReport writeExtract(const LiveCatalog& catalog, const std::string& source,
                           std::ostream& out);

}  // namespace pcd::cli
