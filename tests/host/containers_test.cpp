// The hash table's index as it grows and shrinks (lines of consecutive ids,
// ids that differ only in high bits, entries of one hash), iteration across
// removals, equal entries, and the vector.
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "zel_hashtable.h"
#include "zel_vector.h"

namespace {

struct Item {
  long id;
  int serial;
};

// Items by id, each id hashed to itself (as the reader's id registry does),
// or, when `colliding`, every one to 42: one probe run for all, which
// exercises probing and the shifts on removal.
class IdTable : public ZELHashtable {
 public:
  explicit IdTable(bool colliding = false, int initialSize = 16)
      : ZELHashtable(initialSize), colliding_(colliding) {}
  mutable long compares = 0;
  Item* find(long id) { return static_cast<Item*>(findFirst(&id, nullptr)); }
  int compare2Object(const void* a, const void* b) const override {
    return compare2Key(a, &static_cast<const Item*>(b)->id);
  }
  int compare2Key(const void* entry, const void* key) const override {
    ++compares;
    return static_cast<const Item*>(entry)->id == *static_cast<const long*>(key) ? 0 : 1;
  }
  unsigned long hashObject(const void* entry) const override {
    return hashKey(&static_cast<const Item*>(entry)->id);
  }
  unsigned long hashKey(const void* key) const override {
    return colliding_ ? 42 : static_cast<unsigned long>(*static_cast<const long*>(key));
  }

 private:
  bool colliding_;
};

// The serials of the entries, in the order forEachEntry visits them.
std::vector<int> serialsOf(const ZELHashtable& table) {
  std::vector<int> serials;
  table.forEachEntry(
      [&serials](void* entry) { serials.push_back(static_cast<Item*>(entry)->serial); });
  return serials;
}

}  // namespace

TEST(ZELHashtableTest, GrowsToAMillionKeysKeepingInsertionOrder) {
  // Consecutive ids (whole lines of slots) and ids that differ only above
  // bit 32, added while the index doubles from 4 slots.
  const long kIds = 1000000;
  auto idOf = [](long i) { return i % 2 == 0 ? i : i << 33; };
  std::vector<Item> items(kIds);
  IdTable table(false, 4);
  for (long i = 0; i < kIds; ++i) {
    items[i] = {idOf(i), static_cast<int>(i)};
    ASSERT_TRUE(table.add(&items[i], false, nullptr));
  }
  for (long i = 0; i < kIds; ++i) ASSERT_EQ(table.find(idOf(i)), &items[i]) << i;
  EXPECT_EQ(table.find(1), nullptr);
  EXPECT_EQ(table.find(kIds << 33), nullptr);
  EXPECT_EQ(table.count(), kIds);

  const std::vector<int> serials = serialsOf(table);
  ASSERT_EQ(serials.size(), static_cast<size_t>(kIds));
  for (size_t i = 1; i < serials.size(); ++i) ASSERT_LT(serials[i - 1], serials[i]);
}

TEST(ZELHashtableTest, RemovalsKeepProbeRunsIterationOrderAndFinds) {
  for (bool colliding : {false, true}) {
    // Runs of consecutive ids fill lines of slots and spill into the next
    // ones; removals from inside such runs must not cut a probe run.
    const int count = colliding ? 300 : 4096;
    std::vector<Item> items(count);
    IdTable table(colliding, 4);
    for (int i = 0; i < count; ++i) {
      items[i] = {i < count / 2 ? i : 1000000L + i, i};
      ASSERT_TRUE(table.add(&items[i], false, nullptr));
    }
    // Remove while iterating: the iterator goes on past the removed entry.
    ZELContainer::Iterator* iterator = table.newIterator(true);
    std::vector<int> expected;
    for (void* entry = iterator->get(); entry; entry = iterator->next()) {
      const Item* item = static_cast<Item*>(entry);
      if (item->serial % 3 != 0) {
        EXPECT_TRUE(table.remove(item));
      } else {
        expected.push_back(item->serial);
      }
    }
    table.deleteIterator(iterator);
    // More than half removed: later removals compact; order and finds hold.
    EXPECT_TRUE(table.remove(&items[0]));
    expected.erase(expected.begin());
    EXPECT_EQ(serialsOf(table), expected);
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(table.find(items[i].id), i % 3 == 0 && i != 0 ? &items[i] : nullptr) << i;
    }
    table.empty();
    EXPECT_EQ(table.count(), 0);
    EXPECT_EQ(table.find(items[3].id), nullptr);
    EXPECT_TRUE(table.add(&items[3], false, nullptr));
    EXPECT_EQ(table.find(items[3].id), &items[3]);
  }
}

TEST(ZELHashtableTest, EqualEntriesCostOneCompareEachAndUnwindInAnyOrder) {
  const int kCount = 200000;
  std::vector<Item> items(kCount, Item{7, 0});
  IdTable table;
  for (Item& item : items) ASSERT_TRUE(table.add(&item, true, nullptr));
  EXPECT_LE(table.compares, 2L * kCount);  // was one per equal entry per add
  EXPECT_EQ(table.find(7), &items.back());
  EXPECT_EQ(table.count(), kCount);

  Item other{8, 0};
  ASSERT_TRUE(table.add(&other, false, nullptr));
  EXPECT_FALSE(table.add(&items[5], false, nullptr));
  // An older one from the middle, the newest, then the oldest.
  EXPECT_TRUE(table.remove(&items[kCount / 2]));
  EXPECT_FALSE(table.remove(&items[kCount / 2]));
  EXPECT_TRUE(table.remove(&items.back()));
  EXPECT_EQ(table.find(7), &items[kCount - 2]);
  EXPECT_TRUE(table.remove(&items.front()));
  // Removing the rest newest first compacts the table on the way (an older
  // one's removal walks its chain, so they go from the indexed end).
  for (int i = kCount - 2; i > 0; --i) {
    if (i == kCount / 2) continue;
    ASSERT_EQ(table.find(7), &items[i]) << i;
    ASSERT_TRUE(table.remove(&items[i])) << i;
  }
  EXPECT_EQ(table.find(7), nullptr);
  EXPECT_EQ(table.find(8), &other);
  EXPECT_EQ(table.count(), 1);
}

TEST(ZELVectorTest, FindsTheFirstOfEqualElements) {
  // Elements are C strings, found by text.
  struct TextVector : ZELVector {
    int compare2Key(const void* element, const void* key) const override {
      return std::strcmp(static_cast<const char*>(element), static_cast<const char*>(key));
    }
  } vector;
  const char* texts[] = {"alpha", "beta"};
  for (const char* text : texts) EXPECT_TRUE(vector.add(text, false, nullptr));
  char copy[] = "beta";
  EXPECT_FALSE(vector.add(copy, false, nullptr));
  EXPECT_TRUE(vector.add(copy, true, nullptr));
  EXPECT_EQ(vector.findFirst("beta", nullptr), texts[1]);  // the first, not the newest
  EXPECT_EQ(vector.findFirst("gamma", nullptr), nullptr);

  ZELVector plain(0);  // compares the pointers themselves
  EXPECT_TRUE(plain.add(texts[0], false, nullptr));
  EXPECT_FALSE(plain.add(texts[0], false, nullptr));
  EXPECT_EQ(plain.findFirst(copy, nullptr), nullptr);
}
