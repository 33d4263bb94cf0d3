// The names `check` shows of tables, views and keys, and whether a key is
// primary, kept by record rather than by id: each record of those kinds
// that names itself gets an entry, in file order (8 bytes, the name in a
// block of texts after its length), so no table keyed by ids is needed.
// The answer for an id is that of the last record defining it, which takes
// on what earlier records of its id set and it does not set itself.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <utility>

#include "record_facts.h"

namespace pcd::cli {

class RecordNames {
 public:
  using Index = RecordFacts::Index;

  // For `record`, added after every record before it: its name, then (for
  // a key) its kind letter. Throws std::bad_alloc when memory runs out.
  void setName(Index record, const std::string& name);
  void setKeyKind(Index record, const std::string& kind);

  // Once every record has been named: `later` defines the id of `earlier`
  // again, and takes on the name and key kind it does not set itself.
  // Called in the later records' order.
  void carryOver(Index earlier, Index later);

  // The name of `record` (the last defining its id; kNone: none), or
  // "(id N)".
  std::string nameOf(long id, Index record) const;
  bool isPrimaryKey(Index record) const;

 private:
  // An entry: where the name starts in texts_ (kNoName: none), and the two
  // top bits the key's kind (none, "P", another).
  static constexpr uint32_t kKindBit = uint32_t{1} << 30;
  static constexpr uint32_t kPrimary = uint32_t{2} << 30;
  static constexpr uint32_t kKindBits = uint32_t{3} << 30;
  static constexpr uint32_t kNoName = kKindBit - 1;
  static constexpr uint32_t kNoEntry = kNoName;  // no name, no kind

  using Entries = std::deque<std::pair<Index, uint32_t>>;  // by record, never copied to grow
  static uint32_t entryIn(const Entries& entries, Index record);
  uint32_t entryOf(Index record) const;

  Entries own_;             // what records set themselves
  Entries carried_;         // merged with what earlier records of their id set
  std::deque<char> texts_;  // grows without moving what it holds
};

}  // namespace pcd::cli
