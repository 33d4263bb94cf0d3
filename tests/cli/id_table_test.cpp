// The table of facts by id that `check` and the side scan keep, against a
// plain map: ids in ascending order (kept in order), then one below the last
// (hashed from then on), with look-ups of ids present and absent.
#include "cli/id_table.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace {

void expectSameAsMap(const std::vector<long>& ids, size_t reserved) {
  pcd::cli::IdTable<long> table;
  table.reserve(reserved);
  std::map<long, long> expected;
  for (size_t at = 0; at < ids.size(); ++at) {
    const auto [value, added] = table.insert(ids[at], -1);
    EXPECT_EQ(added, expected.count(ids[at]) == 0) << ids[at];
    if (added) *value = static_cast<long>(at);
    expected.emplace(ids[at], static_cast<long>(at));
  }
  EXPECT_EQ(table.size(), expected.size());
  for (const auto& [id, first] : expected) {
    for (const long sought : {id - 1, id, id + 1}) {
      const long* value = table.find(sought);
      const auto found = expected.find(sought);
      if (found == expected.end()) {
        EXPECT_EQ(value, nullptr) << sought;
      } else {
        ASSERT_NE(value, nullptr) << sought;
        EXPECT_EQ(*value, found->second) << sought;
      }
    }
  }
}

TEST(IdTable, FindsWhatWasInsertedInOrderAndOutOfOrder) {
  std::vector<long> ids;
  for (long id = -300; id < 30000; id += 3) {
    ids.push_back(id);
    if (id % 7 == 0) ids.push_back(id);  // again, in place
  }
  for (const size_t reserved : {size_t{0}, size_t{5000}}) {
    expectSameAsMap(ids, reserved);
    std::vector<long> later = ids;
    later.push_back(ids[ids.size() / 2]);  // present: stays in order
    later.push_back(1);                    // absent and below the last: hashed
    for (long id = 40000; id > 20000; id -= 11) later.push_back(id);
    expectSameAsMap(later, reserved);
  }
}

}  // namespace
