#include <cstdio>
#include <string>

#include "json_writer.h"
#include "lint_report.h"

namespace pcd::cli {

namespace {

const char* sarifLevel(LintSeverity severity) {
  return severity == LintSeverity::kError     ? "error"
         : severity == LintSeverity::kWarning ? "warning"
                                              : "note";
}

// A file name as a URI reference: every byte but the unreserved ones and
// '/' percent-encoded; an absolute path becomes a file: URI.
std::string fileUri(const std::string& path) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string uri = !path.empty() && path[0] == '/' ? "file://" : "";
  for (unsigned char c : path) {
    const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '.' || c == '_' || c == '~' || c == '/';
    if (plain) {
      uri += static_cast<char>(c);
    } else {
      uri += '%';
      uri += kHex[c >> 4];
      uri += kHex[c & 15];
    }
  }
  return uri;
}

// "table-without-primary-key" -> "TableWithoutPrimaryKey".
std::string pascalName(const char* id) {
  std::string name;
  bool upper = true;
  for (const char* c = id; *c != '\0'; ++c) {
    if (*c == '-') {
      upper = true;
      continue;
    }
    name += upper && *c >= 'a' && *c <= 'z' ? static_cast<char>(*c - 'a' + 'A') : *c;
    upper = false;
  }
  return name;
}

void text(writers::JsonWriter& json, const char* key, const std::string& value) {
  json.key(key);
  json.beginObject();
  json.key("text");
  json.string(value);
  json.endObject();
}

void writeRules(writers::JsonWriter& json) {
  json.key("rules");
  json.beginArray();
  for (const LintRule& rule : lintRules()) {
    json.beginObject();
    json.key("id");
    json.string(rule.id);
    json.key("name");
    json.string(pascalName(rule.id));
    text(json, "shortDescription", rule.summary);
    text(json, "fullDescription", std::string(rule.summary) + " " + rule.rationale);
    text(json, "help", rule.rationale);
    json.key("defaultConfiguration");
    json.beginObject();
    json.key("enabled");
    json.boolean(rule.enabledByDefault);
    json.key("level");
    json.string(sarifLevel(rule.severity));
    json.endObject();
    json.key("properties");
    json.beginObject();
    json.key("category");
    json.string(rule.category);
    if (rule.threshold != 0) {
      json.key("threshold");
      json.integer(rule.threshold);
    }
    json.endObject();
    json.endObject();
  }
  json.endArray();
}

void writeResult(writers::JsonWriter& json, const LintedSource& source,
                 const LintFinding& finding) {
  json.beginObject();
  json.key("ruleId");
  json.string(lintRules()[static_cast<size_t>(finding.rule)].id);
  json.key("ruleIndex");
  json.integer(finding.rule);
  json.key("level");
  json.string(sarifLevel(finding.severity));
  text(json, "message", finding.message);
  json.key("locations");
  json.beginArray();
  json.beginObject();
  // A finding without a line is located by its object's name alone.
  if (finding.line > 0) {
    json.key("physicalLocation");
    json.beginObject();
    json.key("artifactLocation");
    json.beginObject();
    json.key("uri");
    json.string(fileUri(source.source));
    json.endObject();
    json.key("region");
    json.beginObject();
    json.key("startLine");
    json.integer(finding.line);
    json.endObject();
    json.endObject();
  }
  json.key("logicalLocations");
  json.beginArray();
  json.beginObject();
  json.key("fullyQualifiedName");
  json.string(qualifiedName(finding));
  json.key("kind");
  json.string(objectKindName(finding.kind));
  json.endObject();
  json.endArray();
  json.endObject();
  json.endArray();
  json.endObject();
}

}  // namespace

bool writeLintSarif(std::FILE* out, const std::vector<LintedSource>& sources,
                    const std::string& toolVersion) {
  writers::JsonWriter json(out);
  json.beginObject();
  json.key("$schema");
  json.string("https://json.schemastore.org/sarif-2.1.0.json");
  json.key("version");
  json.string("2.1.0");
  json.key("runs");
  json.beginArray();
  json.beginObject();
  json.key("tool");
  json.beginObject();
  json.key("driver");
  json.beginObject();
  json.key("name");
  json.string("pcd-import lint");
  json.key("version");
  json.string(toolVersion);
  writeRules(json);
  json.endObject();
  json.endObject();
  // Sources that could not be linted are notifications of the run.
  json.key("invocations");
  json.beginArray();
  json.beginObject();
  const LintTotals totals = countFindings(sources);
  json.key("executionSuccessful");
  json.boolean(totals.sourcesFailed == 0);
  if (totals.sourcesFailed > 0) {
    json.key("toolExecutionNotifications");
    json.beginArray();
    for (const LintedSource& source : sources) {
      if (source.error.empty()) continue;
      json.beginObject();
      json.key("level");
      json.string("error");
      text(json, "message", source.source + ": " + source.error);
      json.endObject();
    }
    json.endArray();
  }
  json.endObject();
  json.endArray();
  json.key("results");
  json.beginArray();
  for (size_t i = 0; i < sources.size(); ++i) {
    for (const LintFinding& finding : sources[i].result.findings) {
      writeResult(json, sources[i], finding);
    }
  }
  json.endArray();
  json.endObject();
  json.endArray();
  json.endObject();
  return json.finish();
}

}  // namespace pcd::cli
