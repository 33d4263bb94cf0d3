#include <cstdio>

#include "json_writer.h"
#include "lint_report.h"

namespace pcd::cli {

namespace {

void percent(writers::JsonWriter& json, const CoverageCount& count) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", coveragePercent(count));
  json.raw(text);
}

void countObject(writers::JsonWriter& json, const char* name, const CoverageCount& count) {
  json.key(name);
  json.beginObject();
  json.key("documented");
  json.integer(count.documented);
  json.key("total");
  json.integer(count.total);
  json.endObject();
}

void add(CoverageCount& sum, const CoverageCount& part) {
  sum.documented += part.documented;
  sum.total += part.total;
}

void add(SchemaCoverage& sum, const SchemaCoverage& part) {
  add(sum.tables, part.tables);
  add(sum.columns, part.columns);
  add(sum.views, part.views);
  add(sum.procedures, part.procedures);
}

// The counts by kind and the percent of all of them together.
void coverageFields(writers::JsonWriter& json, const SchemaCoverage& coverage) {
  countObject(json, "tables", coverage.tables);
  countObject(json, "columns", coverage.columns);
  countObject(json, "views", coverage.views);
  countObject(json, "procedures", coverage.procedures);
  json.key("percent");
  percent(json, coverageSum(coverage));
}

}  // namespace

bool writeLintJson(std::FILE* out, const std::vector<LintedSource>& sources) {
  writers::JsonWriter json(out);
  SchemaCoverage overall;
  json.beginObject();
  json.key("sources");
  json.beginArray();
  for (const LintedSource& source : sources) {
    json.beginObject();
    json.key("source");
    json.string(source.source);
    if (!source.error.empty()) {
      json.key("error");
      json.string(source.error);
      json.endObject();
      continue;
    }
    json.key("findings");
    json.beginArray();
    for (const LintFinding& finding : source.result.findings) {
      json.beginObject();
      json.key("rule");
      json.string(lintRules()[static_cast<size_t>(finding.rule)].id);
      json.key("severity");
      json.string(severityName(finding.severity));
      json.key("line");
      if (finding.line > 0) {
        json.integer(finding.line);
      } else {
        json.null();
      }
      json.key("kind");
      json.string(objectKindName(finding.kind));
      json.key("object");
      json.beginArray();
      for (const std::string_view name : finding.path) json.string(name);
      json.endArray();
      json.key("message");
      json.string(finding.message);
      json.endObject();
    }
    json.endArray();
    SchemaCoverage total;
    json.key("coverage");
    json.beginObject();
    json.key("schemas");
    json.beginArray();
    for (const SchemaCoverage& schema : source.result.coverage) {
      add(total, schema);
      json.beginObject();
      json.key("catalog");
      json.string(schema.catalog);
      json.key("schema");
      json.string(schema.schema);
      coverageFields(json, schema);
      json.endObject();
    }
    json.endArray();
    json.key("overall");
    json.beginObject();
    coverageFields(json, total);
    json.endObject();
    json.endObject();
    add(overall, total);
    json.endObject();
  }
  json.endArray();
  const LintTotals totals = countFindings(sources);
  json.key("errors");
  json.integer(totals.errors);
  json.key("warnings");
  json.integer(totals.warnings);
  json.key("infos");
  json.integer(totals.infos);
  json.key("coverage");
  json.beginObject();
  coverageFields(json, overall);
  json.endObject();
  json.endObject();
  return json.finish();
}

}  // namespace pcd::cli
