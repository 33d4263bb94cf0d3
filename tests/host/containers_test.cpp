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
  Item* find(long id) { return static_cast<Item*>(findFirst(&id, nullptr)); }
  int compare2Object(const void* a, const void* b) const override {
    return compare2Key(a, &static_cast<const Item*>(b)->id);
  }
  int compare2Key(const void* entry, const void* key) const override {
    return static_cast<const Item*>(entry)->id == *static_cast<const long*>(key) ? 0 : 1;
  }
  unsigned long hashObject(const void* entry) const override {
    return hashKey(&static_cast<const Item*>(entry)->id);
  }
  unsigned long hashKey(const void* key) const override {
    return colliding_ ? 42 : static_cast<unsigned long>(*static_cast<const long*>(key));
  }
  std::vector<int> serialsInOrder() {
    std::vector<int> serials;
    Iterator* iterator = newIterator(true);
    for (void* entry = iterator->get(); entry; entry = iterator->next()) {
      serials.push_back(static_cast<Item*>(entry)->serial);
    }
    deleteIterator(iterator);
    return serials;
  }

 private:
  bool colliding_;
};

}  // namespace

TEST(ZELHashtableTest, GrowsAndFindsEveryKey) {
  const long count = 1000000;
  std::vector<Item> items(count);
  IdTable table(false, 4);
  for (long i = 0; i < count; ++i) {
    // Ids that differ in high bits only still spread over the slots.
    items[i] = {i << 20, static_cast<int>(i)};
    ASSERT_TRUE(table.add(&items[i], false, nullptr));
  }
  EXPECT_EQ(table.count(), count);
  for (long i = 0; i < count; ++i) ASSERT_EQ(table.find(i << 20), &items[i]);
  EXPECT_EQ(table.find(1), nullptr);

  table.empty();
  EXPECT_EQ(table.find(0), nullptr);
  EXPECT_TRUE(table.add(&items[0], false, nullptr));
  EXPECT_EQ(table.find(0), &items[0]);
}

TEST(ZELHashtableTest, FindsTheNewestOfEqualEntries) {
  Item first{7, 1}, second{7, 2}, third{7, 3}, other{8, 4};
  for (bool colliding : {false, true}) {
    IdTable table(colliding);
    for (Item* item : {&first, &other, &second}) EXPECT_TRUE(table.add(item, true, nullptr));
    EXPECT_FALSE(table.add(&third, false, nullptr));  // refused without the flag
    EXPECT_TRUE(table.add(&third, true, nullptr));
    EXPECT_EQ(table.find(7), &third);
    // Removing the newest uncovers the next newest.
    EXPECT_TRUE(table.remove(&third));
    EXPECT_EQ(table.find(7), &second);
    EXPECT_TRUE(table.remove(&second));
    EXPECT_EQ(table.find(7), &first);
    EXPECT_EQ(table.find(8), &other);
    EXPECT_FALSE(table.remove(&second));
    EXPECT_EQ(table.serialsInOrder(), (std::vector<int>{1, 4}));
  }
}

TEST(ZELHashtableTest, IteratesInInsertionOrderAcrossRemovals) {
  std::vector<Item> items(100);
  for (bool colliding : {false, true}) {
    IdTable table(colliding);
    for (int i = 0; i < 100; ++i) {
      items[i] = {1000 - i, i};
      table.add(&items[i], false, nullptr);
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
    EXPECT_EQ(table.serialsInOrder(), expected);
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(table.find(1000 - i), i % 3 == 0 && i != 0 ? &items[i] : nullptr) << i;
    }
  }
}

// The object name table (the bridge's base types by name) is checked through
// whole imports, by the builder's tests.
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
  EXPECT_EQ(vector.count(), 3);
  EXPECT_EQ(vector.findFirst("beta", nullptr), texts[1]);  // the first, not the newest
  EXPECT_EQ(vector.findFirst("gamma", nullptr), nullptr);

  ZELVector plain(0);  // compares the pointers themselves
  EXPECT_TRUE(plain.add(texts[0], false, nullptr));
  EXPECT_FALSE(plain.add(texts[0], false, nullptr));
  EXPECT_EQ(plain.findFirst(copy, nullptr), nullptr);
}
