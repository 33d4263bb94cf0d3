// The rules of `pcd-import lint`: one table, from which the documentation,
// `lint --init` and the SARIF rule metadata all come.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pcd::cli {

enum class LintSeverity { kError, kWarning, kInfo };

// "error", "warning", "info".
const char* severityName(LintSeverity severity);
bool parseSeverity(std::string_view text, LintSeverity& severity);

struct LintRule {
  const char* id;         // "table-without-primary-key"
  const char* category;   // "keys and indexes", "shape", "documentation", "names", "relations"
  LintSeverity severity;  // by default
  const char* summary;    // one line: what the rule reports
  const char* rationale;  // why it matters
  long threshold;         // default threshold; 0: the rule takes none
  const char* thresholdMeaning;  // what the threshold counts, or ""
  bool enabledByDefault = true;
};

// Every rule, in the order the documentation lists them.
const std::vector<LintRule>& lintRules();
// The rules as a Markdown table, as docs/lint.md lists them.
std::string lintRulesMarkdown();
// The rule's index in lintRules(), or -1.
int findLintRule(std::string_view id);

// Rule indexes, named once so that the checks read as the table.
namespace rule {
enum : int {
  kTableWithoutPrimaryKey,
  kTableWithoutUniqueKey,
  kForeignKeyWithoutIndex,
  kRedundantIndex,
  kDuplicateIndex,
  kNullableKeyColumn,
  kForeignKeyTypeMismatch,
  kForeignKeyWithoutKey,
  kSelfReferencingForeignKey,
  kForeignKeyCycle,
  kSingleColumnTable,
  kTooManyColumns,
  kTooManyLargeObjects,
  kIncrementingColumnNames,
  kTableWithoutDescription,
  kColumnWithoutDescription,
  kViewWithoutDescription,
  kProcedureWithoutDescription,
  kNameNeedsQuoting,
  kNameTooLong,
  kNamesDifferOnlyByCase,
  kImpliedForeignKey,
  kCount
};
}  // namespace rule

}  // namespace pcd::cli
