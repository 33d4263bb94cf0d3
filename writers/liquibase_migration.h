// A migration plan as a Liquibase changelog (YAML) for one dialect: the
// changesets that turn a database made from the old model's changelog into
// one the new model's changelog would make, one per step, in the plan's
// order. Ids name the step and its objects, so they stay the same from run
// to run. A changeset that may lose data follows a "# MAY LOSE DATA"
// comment, or, with `safe`, is left out and listed in the header.
#pragma once

#include <string>

#include "migration_plan.h"
#include "sql/migration_sql.h"
#include "sql/sql_dialect.h"

class ZELModel;

namespace pcd::writers {

// The changelog into `changelog`. Returns "" or why it cannot be written
// (a name Liquibase would change; a dialect whose tables Liquibase cannot
// change in place); then `changelog` is empty.
std::string writeMigrationChangelog(const ZELModel& before, const ZELModel& after,
                                    const MigrationPlan& plan, const SqlDialect& dialect,
                                    const MigrationScriptOptions& options, std::string& changelog);

}  // namespace pcd::writers
