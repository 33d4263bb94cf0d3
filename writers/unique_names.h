// Names made usable and unique within one scope (a table's columns, a
// schema's tables) for the languages that refuse empty or repeated names:
// an empty name becomes "unnamed", a name already given gets "_2", "_3", ...
// (the first free one), so that no object is dropped.
//
// SuffixCounters is what every writer's uniquifying shares: it remembers,
// per stem, how far the suffixes are known to be taken, so that a name
// repeated n times costs O(n) in all instead of trying "_2", "_3", ... from
// the start each time. The result is the same first free suffix.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "name_set.h"
#include "zel_keyed_hash.h"

namespace pcd::writers {

class SuffixCounters {
 public:
  // The first counter in [first, last) for which `isFree(counter)` holds,
  // those already found taken for `stem` skipped; `last` when none is free.
  // `stem` names one sequence of candidate names (equal stems, equal
  // candidates for equal counters) and `first` is the same on every call
  // for it. The caller takes the returned counter's name, and names are
  // only ever added to the scope: a name once taken stays taken, so the
  // next call for the stem starts after it.
  // Counters below `from` are known to be taken by other means.
  template <class IsFree>
  uint64_t firstFree(const std::string& stem, uint64_t first, uint64_t last, const IsFree& isFree,
                     uint64_t from = 0) {
    uint64_t& next = next_.try_emplace(stem, first).first->second;
    uint64_t counter = next > from ? next : from;
    while (counter < last && !isFree(counter)) ++counter;
    next = counter < last ? counter + 1 : last;
    return counter;
  }
  // The first counter, from those already skipped for `stem`, whose name
  // is not taken (`isTaken(counter)` false), without claiming it: for a
  // name that must be free in several scopes, each of which counts its own.
  template <class IsTaken>
  uint64_t firstNotTaken(const std::string& stem, uint64_t first, uint64_t last,
                         const IsTaken& isTaken) {
    uint64_t& next = next_.try_emplace(stem, first).first->second;
    while (next < last && isTaken(next)) ++next;
    return next;
  }

 private:
  std::unordered_map<std::string, uint64_t, zel_hash::TextHash> next_;
};

class UniqueNames {
 public:
  UniqueNames() : names_(arena_, false) {}
  // Names that end in `ending` (".md": the suffix goes before it) and are
  // told apart without regard to ASCII case; `reserved` are given already.
  UniqueNames(std::string ending, std::initializer_list<std::string> reserved)
      : ending_(std::move(ending)), names_(arena_, true) {
    for (const std::string& name : reserved) names_.add(name);
  }

  std::string take(std::string_view name) {
    const std::string_view base = name.empty() ? std::string_view("unnamed") : name;
    std::string candidate;
    candidate.reserve(base.size() + ending_.size());
    candidate.append(base).append(ending_);
    if (names_.add(candidate)) return candidate;
    suffixes_.firstFree(std::string(base), 2, UINT64_MAX, [&](uint64_t counter) {
      candidate.assign(base).append("_").append(std::to_string(counter)).append(ending_);
      return names_.add(candidate);
    });
    return candidate;
  }

 private:
  std::string ending_;
  NameArena arena_;  // before names_, which keeps its names there
  NameSet names_;
  SuffixCounters suffixes_;
};

}  // namespace pcd::writers
