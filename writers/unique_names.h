// Names made usable and unique within one scope (a table's columns, a
// schema's tables) for the languages that refuse empty or repeated names:
// an empty name becomes "unnamed", a name already given gets "_2", "_3", ...
// (the first free one), so that no object is dropped.
#pragma once

#include <string>
#include <unordered_set>

class UniqueNames {
 public:
  std::string take(const std::string& name) {
    const std::string base = name.empty() ? std::string("unnamed") : name;
    std::string candidate = base;
    for (int counter = 2; !given_.insert(candidate).second; ++counter) {
      candidate = base + "_" + std::to_string(counter);
    }
    return candidate;
  }

 private:
  std::unordered_set<std::string> given_;
};
