#include "lint_config.h"

#include <yaml-cpp/yaml.h>

#include <fstream>
#include <sstream>

namespace pcd::cli {

namespace {

// An error found at a node: "NAME:LINE: what".
struct ConfigError {
  std::string message;
};

std::string lineOf(const std::string& shownName, const YAML::Mark& mark) {
  return shownName + ":" + std::to_string(mark.line + 1);
}

[[noreturn]] void fail(const std::string& shownName, const YAML::Node& node,
                       const std::string& what) {
  throw ConfigError{lineOf(shownName, node.Mark()) + ": " + what};
}

std::string scalar(const std::string& shownName, const YAML::Node& node, const std::string& key) {
  if (!node.IsScalar()) fail(shownName, node, key + " takes a single value");
  return node.Scalar();
}

bool boolean(const std::string& shownName, const YAML::Node& node, const std::string& key) {
  const std::string text = scalar(shownName, node, key);
  if (text == "true" || text == "yes" || text == "on") return true;
  if (text == "false" || text == "no" || text == "off") return false;
  fail(shownName, node, key + " takes true or false, not '" + text + "'");
}

long threshold(const std::string& shownName, const YAML::Node& node) {
  const std::string text = scalar(shownName, node, "threshold");
  long value = 0;
  bool digits = !text.empty() && text.size() < 10;
  for (char c : text) {
    digits = digits && c >= '0' && c <= '9';
    if (digits) value = value * 10 + (c - '0');
  }
  if (!digits || value == 0) fail(shownName, node, "threshold takes a positive whole number");
  return value;
}

std::vector<std::string> names(const std::string& shownName, const YAML::Node& node,
                               const std::string& key) {
  std::vector<std::string> list;
  if (node.IsNull()) return list;
  if (node.IsScalar()) return {node.Scalar()};
  if (!node.IsSequence()) fail(shownName, node, key + " takes a list of names or patterns");
  for (const YAML::Node& item : node) {
    if (!item.IsScalar() || item.Scalar().empty()) {
      fail(shownName, item, key + " takes names or patterns, one per item");
    }
    list.push_back(item.Scalar());
  }
  return list;
}

void readRule(const std::string& shownName, const YAML::Node& body, const LintRule& rule,
              LintRuleSetting& setting) {
  if (body.IsNull()) return;
  if (!body.IsMap()) {
    fail(shownName, body,
         std::string("rule ") + rule.id + " takes a map of enabled, severity, threshold, exclude");
  }
  for (const auto& entry : body) {
    const std::string key = entry.first.as<std::string>();
    if (key == "enabled") {
      setting.enabled = boolean(shownName, entry.second, key);
    } else if (key == "severity") {
      const std::string text = scalar(shownName, entry.second, key);
      if (!parseSeverity(text, setting.severity)) {
        fail(shownName, entry.second, "severity takes error, warning or info, not '" + text + "'");
      }
    } else if (key == "threshold") {
      if (rule.threshold == 0) {
        fail(shownName, entry.first, std::string("rule ") + rule.id + " takes no threshold");
      }
      setting.threshold = threshold(shownName, entry.second);
    } else if (key == "exclude") {
      setting.exclude = names(shownName, entry.second, key);
    } else {
      fail(shownName, entry.first,
           "unknown key '" + key + "' in rule " + rule.id +
               " (known: enabled, severity, threshold, exclude)");
    }
  }
}

void readDialects(const std::string& shownName, const YAML::Node& node, LintConfig& config) {
  config.dialects.clear();
  for (const std::string& name : names(shownName, node, "dialects")) {
    const writers::SqlDialect* dialect = writers::findSqlDialect(name);
    if (dialect == nullptr) {
      fail(shownName, node,
           "unknown dialect '" + name + "' (known: " + writers::sqlDialectNameList() + ")");
    }
    config.dialects.push_back(dialect);
  }
}

void readConfig(const std::string& shownName, const YAML::Node& root, LintConfig& config) {
  if (root.IsNull()) return;  // an empty file: the defaults
  if (!root.IsMap())
    fail(shownName, root, "the configuration is a map of rules, exclude, dialects");
  for (const auto& entry : root) {
    const std::string key = entry.first.as<std::string>();
    if (key == "rules") {
      if (entry.second.IsNull()) continue;
      if (!entry.second.IsMap()) fail(shownName, entry.second, "rules takes a map of rule ids");
      for (const auto& ruleEntry : entry.second) {
        const std::string id = ruleEntry.first.as<std::string>();
        const int index = findLintRule(id);
        if (index < 0) fail(shownName, ruleEntry.first, "unknown rule '" + id + "'");
        readRule(shownName, ruleEntry.second, lintRules()[static_cast<size_t>(index)],
                 config.rules[static_cast<size_t>(index)]);
      }
    } else if (key == "exclude") {
      config.exclude = names(shownName, entry.second, key);
    } else if (key == "dialects") {
      readDialects(shownName, entry.second, config);
    } else {
      fail(shownName, entry.first, "unknown key '" + key + "' (known: rules, exclude, dialects)");
    }
  }
}

bool globAt(std::string_view pattern, std::string_view text) {
  // Iterative, with one backtrack point: linear in practice, never
  // exponential.
  size_t p = 0, t = 0, starP = std::string_view::npos, starT = 0;
  while (t < text.size()) {
    if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
      ++p;
      ++t;
    } else if (p < pattern.size() && pattern[p] == '*') {
      starP = p++;
      starT = t;
    } else if (starP != std::string_view::npos) {
      p = starP + 1;
      t = ++starT;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

// `text` as "  # " comment lines of at most 78 characters, broken at blanks.
std::string commentLines(const std::string& text) {
  constexpr size_t kWidth = 78 - 4;
  std::string lines, line;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(' ', start);
    if (end == std::string::npos) end = text.size();
    const std::string word = text.substr(start, end - start);
    if (!line.empty() && line.size() + 1 + word.size() > kWidth) {
      lines += "  # " + line + "\n";
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
    start = end + 1;
  }
  if (!line.empty()) lines += "  # " + line + "\n";
  return lines;
}

}  // namespace

LintConfig defaultLintConfig() {
  LintConfig config;
  for (const LintRule& rule : lintRules()) {
    LintRuleSetting setting;
    setting.enabled = rule.enabledByDefault;
    setting.severity = rule.severity;
    setting.threshold = rule.threshold;
    config.rules.push_back(setting);
  }
  config.dialects = writers::sqlDialects();
  return config;
}

std::string parseLintConfig(const std::string& text, const std::string& shownName,
                            LintConfig& config) {
  try {
    readConfig(shownName, YAML::Load(text), config);
  } catch (const ConfigError& error) {
    return error.message;
  } catch (const YAML::Exception& error) {
    return lineOf(shownName, error.mark) + ": " + error.msg;
  }
  return "";
}

std::string loadLintConfig(const std::string& path, LintConfig& config) {
  std::ifstream in(path, std::ios::in | std::ios::binary);
  if (!in) return path + ": cannot read the configuration file";
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) return path + ": cannot read the configuration file";
  return parseLintConfig(text.str(), path, config);
}

std::string lintConfigTemplate() {
  std::string text =
      "# pcd-import lint configuration. Every setting is shown with its default,\n"
      "# commented out: uncomment what you change.\n"
      "#\n"
      "# Patterns: names joined by '.', each a glob (* any characters, ? one),\n"
      "# matched against the object's path (catalog, schemas, table, column):\n"
      "# TMP_* leaves out every object or column named TMP_..., SHOP.* all of\n"
      "# schema SHOP, ORDERS.NOTE the column NOTE of ORDERS.\n"
      "\n"
      "# The SQL dialects the name rules check against.\n"
      "# dialects: [" +
      writers::sqlDialectNameList() +
      "]\n"
      "\n"
      "# Left out of every rule.\n"
      "# exclude: []\n"
      "\n"
      "rules:\n";
  for (const LintRule& rule : lintRules()) {
    text += "\n" + commentLines(rule.summary) + commentLines(rule.rationale);
    text += std::string("  # ") + rule.id + ":\n";
    text += std::string("  #   enabled: ") + (rule.enabledByDefault ? "true" : "false") + "\n";
    text += std::string("  #   severity: ") + severityName(rule.severity) + "\n";
    if (rule.threshold != 0) {
      text += "  #   threshold: " + std::to_string(rule.threshold) + "  # " +
              rule.thresholdMeaning + "\n";
    }
    text += "  #   exclude: []\n";
  }
  return text;
}

bool globMatch(std::string_view pattern, std::string_view text) {
  return globAt(pattern, text);
}

bool matchesPattern(std::string_view pattern, const std::vector<std::string_view>& path) {
  std::vector<std::string_view> parts;
  for (size_t start = 0;;) {
    const size_t dot = pattern.find('.', start);
    parts.push_back(pattern.substr(start, dot == std::string_view::npos ? dot : dot - start));
    if (dot == std::string_view::npos) break;
    start = dot + 1;
  }
  if (parts.size() > path.size()) return false;
  for (size_t first = 0; first + parts.size() <= path.size(); ++first) {
    bool all = true;
    for (size_t i = 0; i < parts.size() && all; ++i) all = globMatch(parts[i], path[first + i]);
    if (all) return true;
  }
  return false;
}

}  // namespace pcd::cli
