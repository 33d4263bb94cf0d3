#include <string>

#include "lint_report.h"
#include "sql/sql_text.h"

namespace pcd::cli {

namespace {

std::string plural(long count, const char* word) {
  return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

}  // namespace

LintTotals countFindings(const std::vector<LintedSource>& sources) {
  LintTotals totals;
  for (const LintedSource& source : sources) {
    if (!source.error.empty()) ++totals.sourcesFailed;
    for (const LintFinding& finding : source.result.findings) {
      long& count = finding.severity == LintSeverity::kError     ? totals.errors
                    : finding.severity == LintSeverity::kWarning ? totals.warnings
                                                                 : totals.infos;
      ++count;
    }
  }
  return totals;
}

std::string qualifiedName(const LintFinding& finding) {
  std::string name;
  for (const std::string_view part : finding.path) {
    if (!name.empty()) name += '.';
    name += part;
  }
  return name;
}

const char* objectKindName(LintObjectKind kind) {
  switch (kind) {
    case LintObjectKind::kTable:
      return "table";
    case LintObjectKind::kView:
      return "view";
    case LintObjectKind::kProcedure:
      return "procedure";
    case LintObjectKind::kSchema:
      return "schema";
    case LintObjectKind::kColumn:
      return "column";
    case LintObjectKind::kKey:
      return "key";
    case LintObjectKind::kIndex:
      break;
  }
  return "index";
}

bool writeLintText(std::FILE* out, const std::vector<LintedSource>& sources) {
  for (const LintedSource& source : sources) {
    if (!source.error.empty()) {
      std::fprintf(out, "%s: error: %s\n", source.source.c_str(), source.error.c_str());
      continue;
    }
    for (const LintFinding& finding : source.result.findings) {
      if (finding.line > 0) {
        std::fprintf(out, "%s:%ld: ", source.source.c_str(), finding.line);
      } else {
        std::fprintf(out, "%s: ", source.source.c_str());
      }
      // One line each: names in the message may hold line breaks or bytes
      // that are not UTF-8.
      std::string made;
      const std::string_view message = writers::commentTextView(finding.message, made);
      std::fprintf(out, "%s: ", severityName(finding.severity));
      std::fwrite(message.data(), 1, message.size(), out);
      std::fprintf(out, " [%s]\n", lintRules()[static_cast<size_t>(finding.rule)].id);
    }
  }
  const LintTotals totals = countFindings(sources);
  std::fprintf(out, "%s, %s, %s in %s\n", plural(totals.errors, "error").c_str(),
               plural(totals.warnings, "warning").c_str(), plural(totals.infos, "info").c_str(),
               plural(static_cast<long>(sources.size()), "source").c_str());
  return std::ferror(out) == 0;
}

}  // namespace pcd::cli
