// Runs `pcd-import lint` on a PcdWriter's file and reads its JSON report.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "builder/pcd_writer.h"
#include "cli/program_runner.h"

// The findings of one source, looked up by rule and object
// ("CATALOG.SCHEMA.TABLE[.MEMBER]").
class Findings {
 public:
  explicit Findings(const nlohmann::json& report) {
    if (report.contains("sources") && !report["sources"].empty()) {
      findings_ = report["sources"][0].value("findings", nlohmann::json::array());
    }
  }
  bool has(const std::string& rule, const std::string& object = "") const {
    return find(rule, object) != nullptr;
  }
  long count(const std::string& rule) const {
    long n = 0;
    for (const auto& finding : findings_) n += finding["rule"] == rule ? 1 : 0;
    return n;
  }
  std::string message(const std::string& rule, const std::string& object = "") const {
    const nlohmann::json* finding = find(rule, object);
    return finding == nullptr ? "" : (*finding)["message"].get<std::string>();
  }
  long line(const std::string& rule, const std::string& object) const {
    const nlohmann::json* finding = find(rule, object);
    return finding == nullptr || (*finding)["line"].is_null() ? 0 : (*finding)["line"].get<long>();
  }

 private:
  const nlohmann::json* find(const std::string& rule, const std::string& object) const {
    for (const auto& finding : findings_) {
      if (finding["rule"] != rule) continue;
      std::string name;
      for (const auto& part : finding["object"]) {
        name += (name.empty() ? "" : ".") + part.get<std::string>();
      }
      if (object.empty() || name == object) return &finding;
    }
    return nullptr;
  }
  nlohmann::json findings_ = nlohmann::json::array();
};

// The JSON report of `pcd`, linted with the YAML `config` (none when empty).
inline nlohmann::json lintJson(const PcdWriter& pcd, const std::string& config = "") {
  TemporaryFolder folder;
  const std::string file = folder.file("lint.pcd");
  std::string text;
  for (const std::string& line : pcd.lines()) text += line + "\n";
  writeFile(file, text);
  std::vector<std::string> arguments{"lint", "--format", "json", "--fail-on", "never"};
  if (!config.empty()) {
    writeFile(folder.file("lint.yaml"), config);
    arguments.insert(arguments.end(), {"--config", folder.file("lint.yaml")});
  }
  arguments.push_back(file);
  const ProgramResult result = runProgram({arguments, folder.path(), {}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return nlohmann::json::parse(result.out, nullptr, false);
}

inline Findings lintFindings(const PcdWriter& pcd, const std::string& config = "") {
  return Findings(lintJson(pcd, config));
}
