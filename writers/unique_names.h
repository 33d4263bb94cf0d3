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

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

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
  UniqueNames() = default;
  // Names that end in `ending` (".md": the suffix goes before it) and are
  // told apart without regard to ASCII case; `reserved` are given already.
  UniqueNames(std::string ending, std::initializer_list<std::string> reserved)
      : ending_(std::move(ending)), ignoreCase_(true) {
    for (const std::string& name : reserved) give(name);
  }

  std::string take(std::string_view name) {
    const std::string_view base = name.empty() ? std::string_view("unnamed") : name;
    std::string candidate;
    candidate.reserve(base.size() + ending_.size());
    candidate.append(base).append(ending_);
    if (give(candidate)) return candidate;
    suffixes_.firstFree(std::string(base), 2, UINT64_MAX, [&](uint64_t counter) {
      candidate.assign(base).append("_").append(std::to_string(counter)).append(ending_);
      return give(candidate);
    });
    return candidate;
  }

 private:
  // Up to this many names (a table's columns, mostly) are compared one by
  // one; more are found through a table of hashes.
  static constexpr size_t kFew = 16;
  static constexpr size_t kFree = SIZE_MAX;

  // A given name: its bytes in text_ (folded when case does not count).
  struct Given {
    size_t offset, length;
    uint64_t hash;  // 0 while the names are few
  };

  std::string_view keyOf(const Given& given) const {
    return std::string_view(text_).substr(given.offset, given.length);
  }

  // Gives `name`; false when it was given already. The name's key goes to
  // the end of text_ first and is compared there, and stays only when new:
  // no allocation per name beyond the growth of text_ and the tables.
  bool give(std::string_view name) {
    const size_t start = text_.size();
    text_.append(name);
    if (ignoreCase_) {
      for (size_t i = start; i < text_.size(); ++i)
        text_[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(text_[i])));
    }
    const std::string_view key = std::string_view(text_).substr(start);
    if (slots_.empty()) {
      for (const Given& given : given_) {
        if (keyOf(given) == key) {
          text_.resize(start);
          return false;
        }
      }
      given_.push_back({start, key.size(), 0});
      if (given_.size() > kFew) {
        for (Given& each : given_)
          each.hash = zel_hash::hashBytes(text_.data() + each.offset, each.length);
        rehash(64);
      }
      return true;
    }
    const uint64_t hash = zel_hash::hashBytes(key.data(), key.size());
    size_t at = slotOf(hash);
    for (; slots_[at] != kFree; at = (at + 1) & (slots_.size() - 1)) {
      const Given& given = given_[slots_[at]];
      if (given.hash == hash && keyOf(given) == key) {
        text_.resize(start);
        return false;
      }
    }
    slots_[at] = given_.size();
    given_.push_back({start, key.size(), hash});
    if (2 * given_.size() > slots_.size()) rehash(2 * slots_.size());
    return true;
  }

  size_t slotOf(uint64_t hash) const { return static_cast<size_t>(hash) & (slots_.size() - 1); }

  // Places every given name in a table of `size` slots (a power of two).
  void rehash(size_t size) {
    slots_.assign(size, kFree);
    for (size_t i = 0; i < given_.size(); ++i) {
      size_t at = slotOf(given_[i].hash);
      while (slots_[at] != kFree) at = (at + 1) & (size - 1);
      slots_[at] = i;
    }
  }

  std::string ending_;
  bool ignoreCase_ = false;
  std::string text_;           // the keys of the given names, one after the other
  std::vector<Given> given_;   // in the order given
  std::vector<size_t> slots_;  // indexes into given_, at most half full; none while few
  SuffixCounters suffixes_;
};

}  // namespace pcd::writers
