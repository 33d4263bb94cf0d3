// The reports of `pcd-import lint`: text for people and editors, JSON for
// scripts (with documentation coverage), SARIF 2.1.0 for code review.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "lint_findings.h"

namespace pcd::cli {

// One SOURCE as linted.
struct LintedSource {
  std::string source;               // as the user named it
  std::unique_ptr<ZELModel> model;  // what the findings' paths point into
  std::string error;                // why it could not be linted; "" when it was
  LintResult result;                // findings ordered by line where lines are known
};

struct LintTotals {
  long errors = 0;
  long warnings = 0;
  long infos = 0;
  long sourcesFailed = 0;
};
LintTotals countFindings(const std::vector<LintedSource>& sources);

// FILE:LINE: severity: message [rule], one line each, then a summary line.
// A finding without a line gives FILE: severity: ...
bool writeLintText(std::FILE* out, const std::vector<LintedSource>& sources);
// One document: per source its findings and documentation coverage (per
// schema and overall), then the totals and the overall coverage.
bool writeLintJson(std::FILE* out, const std::vector<LintedSource>& sources);
// A SARIF 2.1.0 log with one run: the rule table as the driver's rules,
// each finding a result located on its source's line.
bool writeLintSarif(std::FILE* out, const std::vector<LintedSource>& sources,
                    const std::string& toolVersion);

// "CATALOG.SCHEMA.TABLE.COLUMN" for a finding's object.
std::string qualifiedName(const LintFinding& finding);
const char* objectKindName(LintObjectKind kind);

}  // namespace pcd::cli
