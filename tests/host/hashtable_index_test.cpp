// The hash table's index as it grows: tags that re-place entries without
// hashing them again, lines of consecutive ids, and the newest-first order of
// equal entries kept through every growth and removal.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zel_hashtable.h"

namespace {

struct Item {
  long id;
  int serial;
};

// Items by id, each id hashed to itself; counts hashObject calls.
class CountingTable : public ZELHashtable {
 public:
  CountingTable() : ZELHashtable(4) {}
  Item* find(long id) { return static_cast<Item*>(findFirst(&id, nullptr)); }
  int compare2Object(const void* a, const void* b) const override {
    return idOf(a) == idOf(b) ? 0 : 1;
  }
  int compare2Key(const void* entry, const void* key) const override {
    return idOf(entry) == *static_cast<const long*>(key) ? 0 : 1;
  }
  unsigned long hashObject(const void* entry) const override {
    ++objectHashes;
    return static_cast<unsigned long>(idOf(entry));
  }
  unsigned long hashKey(const void* key) const override {
    return static_cast<unsigned long>(*static_cast<const long*>(key));
  }
  mutable long objectHashes = 0;

 private:
  static long idOf(const void* entry) { return static_cast<const Item*>(entry)->id; }
};

std::vector<int> serialsInOrder(ZELHashtable& table) {
  std::vector<int> serials;
  table.forEachEntry(
      [&serials](void* entry) { serials.push_back(static_cast<Item*>(entry)->serial); });
  return serials;
}

TEST(HashtableIndex, GrowthHashesNoEntryAgainAndKeepsEqualEntriesNewestFirst) {
  // Consecutive ids (whole lines of slots), ids far apart, and three
  // generations of every tenth id, added in turn while the index doubles
  // from 16 slots to over a hundred thousand.
  const long kIds = 20000;
  std::vector<Item> items;
  items.reserve(3 * kIds);
  CountingTable table;
  int serial = 0;
  for (long id = 0; id < kIds; ++id) {
    items.push_back({id % 2 == 0 ? id : id << 33, serial++});
    ASSERT_TRUE(table.add(&items.back(), true, nullptr));
    if (id % 10 == 0) {
      for (int generation = 0; generation < 2; ++generation) {
        items.push_back({items.back().id, serial++});
        ASSERT_TRUE(table.add(&items.back(), true, nullptr));
      }
    }
  }
  // One hash per add; none for the growths.
  EXPECT_EQ(table.objectHashes, static_cast<long>(items.size()));
  EXPECT_EQ(table.count(), static_cast<long>(items.size()));

  for (long id = 0; id < kIds; ++id) {
    const long key = id % 2 == 0 ? id : id << 33;
    Item* found = table.find(key);
    ASSERT_NE(found, nullptr) << id;
    EXPECT_EQ(found->id, key);
    if (id % 10 == 0) {
      // The newest generation first; removing it uncovers the one before.
      const int newest = found->serial;
      EXPECT_TRUE(table.remove(found));
      EXPECT_EQ(table.find(key)->serial, newest - 1);
      EXPECT_TRUE(table.remove(table.find(key)));
      EXPECT_EQ(table.find(key)->serial, newest - 2);
    }
  }
  EXPECT_EQ(table.find(1), nullptr);
  EXPECT_EQ(table.find(kIds << 33), nullptr);
  EXPECT_EQ(table.count(), kIds);

  // Insertion order survives growth and removals.
  const std::vector<int> serials = serialsInOrder(table);
  ASSERT_EQ(serials.size(), static_cast<size_t>(kIds));
  for (size_t i = 1; i < serials.size(); ++i) ASSERT_LT(serials[i - 1], serials[i]);
}

TEST(HashtableIndex, RemovalsInsideFullLinesLeaveEveryOtherIdFindable) {
  // Runs of consecutive ids fill lines of slots and spill into the next
  // ones; removing from the middle of such runs must not cut a probe run.
  std::vector<Item> items(4096);
  CountingTable table;
  for (int i = 0; i < 4096; ++i) {
    items[i] = {static_cast<long>(i < 2048 ? i : 1000000 + i), i};
    ASSERT_TRUE(table.add(&items[i], false, nullptr));
  }
  EXPECT_FALSE(table.add(&items[7], false, nullptr));  // refused: the id is held
  for (int i = 0; i < 4096; i += 3) ASSERT_TRUE(table.remove(&items[i]));
  for (int i = 0; i < 4096; ++i) {
    EXPECT_EQ(table.find(items[i].id), i % 3 == 0 ? nullptr : &items[i]) << i;
  }
  table.empty();
  EXPECT_EQ(table.count(), 0);
  EXPECT_EQ(table.find(items[1].id), nullptr);
  EXPECT_TRUE(table.add(&items[1], false, nullptr));
  EXPECT_EQ(table.find(items[1].id), &items[1]);
}

}  // namespace
