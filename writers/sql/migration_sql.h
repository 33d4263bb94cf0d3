// A migration plan as a SQL script for one dialect: the statements that turn
// a database made from the old model's script into one the new model's
// script would make. Steps that may lose data are written between
// "-- MAY LOSE DATA" and "-- END MAY LOSE DATA" comments, or, with `safe`,
// left out and listed in the header.
#pragma once

#include <string>
#include <vector>

#include "migration_plan.h"
#include "sql_dialect.h"

class ZELModel;

namespace pcd::writers {

struct MigrationScriptOptions {
  std::string toolVersion;
  std::string oldSource;  // what the header names as OLD and NEW
  std::string newSource;
  bool safe = false;
};

// The header lines both migration writers begin with: who wrote it (`kind`,
// e.g. "SQL migration"), from what, to what, in which dialect.
std::vector<std::string> migrationHeaderOpening(const std::string& kind,
                                                const MigrationScriptOptions& options,
                                                const SqlDialect& dialect);
// The lines they end with: the plan's notes and, with --safe, what it left
// out.
std::vector<std::string> migrationHeaderClosing(const MigrationPlan& plan,
                                                const MigrationScriptOptions& options,
                                                const std::vector<std::string>& leftOut);

// The script into `script`. Returns "" or, when a name cannot be written in
// the dialect, why (then `script` is empty).
std::string writeMigrationScript(const ZELModel& before, const ZELModel& after,
                                 const MigrationPlan& plan, const SqlDialect& dialect,
                                 const MigrationScriptOptions& options, std::string& script);

}  // namespace pcd::writers
