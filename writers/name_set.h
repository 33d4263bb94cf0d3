// The names a scope has given (a table's columns, a schema's tables, a
// folder's files), for the writers that make names unique: each name kept
// once in an arena the scopes of a run may share, up to 16 compared one by
// one and more found through a flat table, without an allocation per name.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zel_flat_map.h"
#include "zel_keyed_hash.h"

namespace pcd::writers {

// The bytes of names, in blocks that never move: one allocation per block
// rather than one per name. Blocks grow from 512 bytes to 64 KB, so that a
// scope of a few names costs little and a run of many few allocations.
class NameArena {
 public:
  std::string_view keep(std::string_view text);

 private:
  static constexpr size_t kFirstBlockBytes = 512;
  static constexpr size_t kBlockBytes = 64 * 1024;
  std::vector<std::unique_ptr<char[]>> blocks_;
  std::deque<std::string> long_;  // names above a quarter of the largest block, each its own
  char* at_ = nullptr;
  size_t left_ = 0;
  size_t nextBlockBytes_ = kFirstBlockBytes;
};

// Names given in one scope, compared byte for byte or, where the scope
// tells names apart without regard to case, with ASCII letters folded.
class NameSet {
 public:
  // `arena` keeps the names and outlives the set.
  NameSet(NameArena& arena, bool ignoreCase) : arena_(arena), ignoreCase_(ignoreCase) {}
  NameSet(const NameSet&) = delete;
  NameSet& operator=(const NameSet&) = delete;

  bool holds(std::string_view name) const { return holdsKey(folded(name)); }
  // Adds a name known not to be held.
  void addNew(std::string_view name) { keepKey(folded(name)); }
  // Adds `name`; false when it was held already.
  bool add(std::string_view name) {
    const std::string_view key = folded(name);
    if (holdsKey(key)) return false;
    keepKey(key);
    return true;
  }

 private:
  static constexpr size_t kFew = 16;
  static constexpr char kHeld = 0;  // the value of every entry: the table is a set

  bool holdsKey(std::string_view key) const;
  void keepKey(std::string_view key);
  // The name as compared; valid until the next call.
  std::string_view folded(std::string_view name) const;

  NameArena& arena_;
  bool ignoreCase_;
  std::string_view few_[kFew];  // while there are few
  size_t fewCount_ = 0;
  bool hashed_ = false;  // past the few: the table holds every name
  ZELFlatMap<std::string_view, const char, zel_hash::TextHash> many_;
  mutable std::string folded_;
};

}  // namespace pcd::writers
