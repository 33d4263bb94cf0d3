// The id registry against a plain map of the newest node per id, over ids
// in ascending order, on the direct index, off it (negative, far apart) and
// ids that move onto the index after they were first registered off it,
// with nodes side by side and far apart.
#include "pcd/node_id_registry.h"

#include <map>
#include <vector>

#include <gtest/gtest.h>

namespace {

// A stand-in node: its id.
long idOf(const void* node) {
  return *static_cast<const long*>(node);
}

void expectSameAsMap(const std::vector<long>& ids) {
  NodeIdRegistry registry(idOf);
  std::map<long, void*> newest;
  // Nodes mostly side by side, as an arena places them, every third one far
  // from its neighbours (the registry keeps near ones by their distance).
  constexpr size_t kGap = 1 << 16;
  std::vector<long> nodes(2 * ids.size() + kGap);
  for (size_t at = 0; at < ids.size(); ++at) {
    long* node = &nodes[at % 3 == 2 ? ids.size() + kGap + at : at];
    *node = ids[at];
    registry.add(ids[at], node);
    newest[ids[at]] = node;
  }
  for (const auto& [id, node] : newest) {
    EXPECT_EQ(registry.find(id), node) << id;
    for (const long beside : {id - 1, id + 1}) {
      const auto found = newest.find(beside);
      EXPECT_EQ(registry.find(beside), found == newest.end() ? nullptr : found->second) << beside;
    }
  }
  // Look-ups far from the one before, backwards.
  for (auto at = newest.rbegin(); at != newest.rend(); ++at) {
    EXPECT_EQ(registry.find(at->first), at->second) << at->first;
  }
  long near = ids.empty() ? 0 : ids.back() + 1;
  long far = ids.empty() ? 1 : ids.back() + 100000;
  registry.add(near, &near);
  registry.add(far, &far);
  EXPECT_EQ(registry.find(near), &near);
  EXPECT_EQ(registry.find(far), &far);
  EXPECT_EQ(registry.find(123456789), nullptr);
  EXPECT_EQ(registry.find(-5), newest.count(-5) ? newest[-5] : nullptr);
  EXPECT_EQ(registry.count(), static_cast<long>(ids.size()) + 2);
  registry.empty();
  EXPECT_EQ(registry.count(), 0);
  EXPECT_EQ(registry.find(ids.empty() ? 0 : ids[0]), nullptr);
}

TEST(NodeIdRegistryTest, FindsTheNewestNodeOfEveryId) {
  std::vector<long> dense;
  for (long id = 1000; id < 11000; ++id) dense.push_back(id);
  dense.push_back(1500);  // a duplicate on the index
  expectSameAsMap(dense);

  // Ascending throughout: apart, repeated in place, up to the largest
  // 32-bit id; then one beyond it.
  std::vector<long> ascending;
  for (long id = 3; id < 200000; id += 7) {
    ascending.push_back(id);
    if (id % 5 == 0) ascending.push_back(id);
  }
  ascending.push_back(4294967295L);
  expectSameAsMap(ascending);
  ascending.push_back(4294967296L);
  expectSameAsMap(ascending);

  // One id over several runs of 32 records; ids bunched at both ends of a
  // range far wider than the records.
  std::vector<long> bunched;
  for (long id = 0; id < 3000; ++id) bunched.push_back(id);
  for (int copy = 0; copy < 100; ++copy) bunched.push_back(3000);
  for (long id = 4000000000L; id < 4000003000L; ++id) bunched.push_back(id);
  expectSameAsMap(bunched);

  // Off the index first (far beyond the bound), on it once enough records came.
  std::vector<long> moving = {-5, 3000000, 7, -5, 1L << 40};
  for (long id = 0; id < 800000; id += 1) moving.push_back(id % 2 == 0 ? id : 4000000 - id);
  moving.push_back(3000000);
  moving.push_back(-5);
  expectSameAsMap(moving);
}

}  // namespace
