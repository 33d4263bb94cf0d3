// What `pcd-import lint` finds in a model, before it is located in the
// extract and reported.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "lint_config.h"
#include "lint_rules.h"
#include "model/zel_model.h"

namespace pcd::cli {

// The kind of object a finding is about; with its names it is what the
// extract's lines are looked up by.
enum class LintObjectKind { kTable, kView, kProcedure, kSchema, kColumn, kKey, kIndex };

struct LintFinding {
  int rule = 0;  // index into lintRules()
  LintSeverity severity = LintSeverity::kWarning;
  std::string message;
  LintObjectKind kind = LintObjectKind::kTable;
  // The catalog, the schemas (the innermost few when nested deeply), then
  // the table, view or procedure, then the column, key or index. A schema
  // finding ends with its schema. The names are the model's own bytes: the
  // model outlives its findings, and a long name is held once however many
  // findings name it.
  std::vector<std::string_view> path;
  size_t schemaNames = 0;  // how many of `path` after the catalog are schemas
  long line = 0;           // in the extract; 0: not known
};

struct CoverageCount {
  long documented = 0;
  long total = 0;
};

// Descriptions in one schema: tables, their columns, views, procedures.
struct SchemaCoverage {
  std::string catalog;
  std::string schema;  // PARENT/CHILD when nested
  CoverageCount tables, columns, views, procedures;
};

struct LintResult {
  std::vector<LintFinding> findings;  // in model order
  std::vector<SchemaCoverage> coverage;
};

// Runs every enabled rule of `config` over the model; leaves out what the
// configuration excludes.
LintResult lintModel(const ZELModel& model, const LintConfig& config);

// Percent of `documented` over `total` (100 when there is nothing).
double coveragePercent(const CoverageCount& count);
CoverageCount coverageSum(const SchemaCoverage& schema);

}  // namespace pcd::cli
