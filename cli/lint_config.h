// The configuration of `pcd-import lint`: which rules run, at which
// severity and threshold, and which objects each rule (or every rule)
// leaves out. Read from YAML:
//
//   dialects: [postgresql, mysql]
//   exclude: [TMP_*, AUDIT.*]
//   rules:
//     too-many-columns: {threshold: 60, exclude: [LEGACY_*]}
//     column-without-description: {enabled: false}
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "lint_rules.h"
#include "sql/sql_dialect.h"

namespace pcd::cli {

struct LintRuleSetting {
  bool enabled = true;
  LintSeverity severity = LintSeverity::kWarning;
  long threshold = 0;
  std::vector<std::string> exclude;  // names or patterns
};

struct LintConfig {
  std::vector<LintRuleSetting> rules;                // one per row of lintRules()
  std::vector<std::string> exclude;                  // left out of every rule
  std::vector<const writers::SqlDialect*> dialects;  // what the name rules check against
};

// Every rule enabled with its default severity and threshold; all dialects.
LintConfig defaultLintConfig();

// The file read when `lint` is given no --config and it exists.
constexpr const char* kDefaultLintConfigFile = ".pcd-lint.yaml";

// Reads the YAML file at `path` over the defaults. Returns "" or the error as
// "PATH:LINE: what is wrong" (an unknown rule or key, a value of the wrong
// kind, YAML that does not parse).
std::string loadLintConfig(const std::string& path, LintConfig& config);
// The same for YAML text; `shownName` names it in errors.
std::string parseLintConfig(const std::string& text, const std::string& shownName,
                            LintConfig& config);

// The file `lint --init` writes: every setting and every rule with its
// defaults and rationale, commented out.
std::string lintConfigTemplate();

// A pattern is one or more names joined by '.', each name a glob ('*' any
// run of characters, '?' one character, compared byte for byte). It matches
// an object whose path (catalog, schemas, object, member) holds those names
// one after the other: "TMP_*" leaves out every schema, table, view,
// procedure or column whose name starts with TMP_, "SHOP.*" everything in
// schema SHOP, "ORDERS.NOTE" the column NOTE of ORDERS.
bool matchesPattern(std::string_view pattern, const std::vector<std::string_view>& path);
bool globMatch(std::string_view pattern, std::string_view text);

}  // namespace pcd::cli
