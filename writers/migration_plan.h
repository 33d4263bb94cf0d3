// The steps that turn one model's catalog into another's, in an order a
// database can take them: what depends on an object is dropped before it and
// made after it. Objects are matched by name (schema path, table, column,
// key, index) as `diff` matches them; a table or column whose name changed
// is renamed only when the match is certain. The plan names model objects
// only; writers render it (SQL per dialect).
#pragma once

#include <string>
#include <utility>
#include <vector>

class ZELClass;
class ZELModel;
class ZELObject;

namespace pcd::writers {

struct MigrationStep {
  enum class Kind {
    kDropForeignKey,  // before: the foreign key
    kDropView,        // before: the view
    kDropIndex,       // before: the index, or a candidate key that is not unique
    kDropKey,         // before: the primary or unique key
    kDropTable,       // before: the table
    kRenameTable,     // before, after: the table
    kRenameColumn,    // before, after: the column
    kDropColumn,      // before: the column
    kCreateSchema,    // after: the schema
    kCreateTable,     // after: the table, with its keys and indexes, without foreign keys
    kAddColumn,       // after: the column, without NOT NULL (kSetNotNull follows)
    kAlterColumn,     // before, after: the column; its type, nullability or description
    kSetNotNull,      // before, after: a column that becomes NOT NULL
    kAddKey,          // after: the primary or unique key
    kAddIndex,        // after: the index, or a candidate key that is not unique
    kAddForeignKey,   // after: the foreign key
    kSetDescription,  // before, after: the table whose description changed
    kNoView,          // after: a view the extract holds no definition of
    kDropSchema,      // before: the schema
  };
  Kind kind;
  const ZELObject* before = nullptr;  // in the old model
  const ZELObject* after = nullptr;   // in the new model
  // The step may lose rows or values (a dropped table or column, a narrowed
  // type, NOT NULL on a column that may hold nulls): why, else "".
  std::string losesData;
  // kAlterColumn: what differs.
  bool typeChanged = false;
  bool nullabilityChanged = false;
  bool descriptionChanged = false;
};

struct MigrationPlan {
  std::vector<MigrationStep> steps;  // in the order they must run
  // Tables of the new model that keep a table of the old one (renamed or
  // not), each with its old table: what a rebuild copies rows from.
  std::vector<std::pair<const ZELObject*, const ZELObject*>> keptTables;  // (after, before)
  // What the plan could not match with certainty, for the reader: a table
  // dropped and another created where a rename was not certain.
  std::vector<std::string> notes;
};

// The table a step's object belongs to (the object itself for a table).
const ZELClass* tableOf(const ZELObject* object);

// The plan from `before` to `after` (no step when their catalogs are equal).
MigrationPlan planMigration(const ZELModel& before, const ZELModel& after);

}  // namespace pcd::writers
