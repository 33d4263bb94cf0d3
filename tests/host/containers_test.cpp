#include <cstring>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "model/zel_object.h"
#include "zel_hashtable.h"
#include "zel_object_name_hashtable.h"
#include "zel_vector.h"

namespace {

struct Item {
  long id;
  int serial;
};

// Items by id, each id hashed to itself (as the reader's id registry does).
class IdTable : public ZELHashtable {
 public:
  explicit IdTable(int initialSize = 16) : ZELHashtable(initialSize) {}
  Item* find(long id) { return static_cast<Item*>(findFirst(&id, nullptr)); }
  int compare2Object(const void* a, const void* b) const override {
    return idOf(a) == idOf(b) ? 0 : 1;
  }
  int compare2Key(const void* entry, const void* key) const override {
    return idOf(entry) == *static_cast<const long*>(key) ? 0 : 1;
  }
  unsigned long hashObject(const void* entry) const override {
    return static_cast<unsigned long>(idOf(entry));
  }
  unsigned long hashKey(const void* key) const override {
    return static_cast<unsigned long>(*static_cast<const long*>(key));
  }

 private:
  static long idOf(const void* entry) { return static_cast<const Item*>(entry)->id; }
};

// Every entry in one probe run: exercises probing and deletion shifts.
class CollidingTable : public IdTable {
 public:
  unsigned long hashObject(const void*) const override { return 42; }
  unsigned long hashKey(const void*) const override { return 42; }
};

std::vector<int> serialsInOrder(ZELHashtable& table) {
  std::vector<int> serials;
  ZELContainer::Iterator* iterator = table.newIterator(true);
  for (void* entry = iterator->get(); entry; entry = iterator->next()) {
    serials.push_back(static_cast<Item*>(entry)->serial);
  }
  table.deleteIterator(iterator);
  return serials;
}

}  // namespace

TEST(ZELHashtableTest, GrowsAndFindsEveryKey) {
  const long count = 1000000;
  std::vector<Item> items(count);
  IdTable table(4);
  for (long i = 0; i < count; ++i) {
    // Ids that differ in high bits only still spread over the slots.
    items[i] = {i << 20, static_cast<int>(i)};
    ASSERT_TRUE(table.add(&items[i], false, nullptr));
  }
  EXPECT_EQ(table.count(), count);
  for (long i = 0; i < count; ++i) ASSERT_EQ(table.find(i << 20), &items[i]);
  EXPECT_EQ(table.find(-1), nullptr);
  EXPECT_EQ(table.find(1), nullptr);

  table.empty();
  EXPECT_EQ(table.count(), 0);
  EXPECT_EQ(table.find(0), nullptr);
  EXPECT_TRUE(table.add(&items[0], false, nullptr));
  EXPECT_EQ(table.find(0), &items[0]);
}

TEST(ZELHashtableTest, FindsTheNewestOfEqualEntries) {
  Item first{7, 1}, second{7, 2}, third{7, 3}, other{8, 4};
  for (bool colliding : {false, true}) {
    std::unique_ptr<IdTable> table(colliding ? new CollidingTable() : new IdTable());
    EXPECT_TRUE(table->add(&first, true, nullptr));
    EXPECT_TRUE(table->add(&other, true, nullptr));
    EXPECT_TRUE(table->add(&second, true, nullptr));
    EXPECT_FALSE(table->add(&third, false, nullptr));  // refused without the flag
    EXPECT_TRUE(table->add(&third, true, nullptr));
    EXPECT_EQ(table->count(), 4);
    EXPECT_EQ(table->find(7), &third);
    // Removing the newest uncovers the next newest.
    EXPECT_TRUE(table->remove(&third));
    EXPECT_EQ(table->find(7), &second);
    EXPECT_TRUE(table->remove(&second));
    EXPECT_EQ(table->find(7), &first);
    EXPECT_EQ(table->find(8), &other);
    EXPECT_FALSE(table->remove(&second));
    EXPECT_EQ(serialsInOrder(*table), (std::vector<int>{1, 4}));
  }
}

TEST(ZELHashtableTest, IteratesInInsertionOrderAcrossRemovals) {
  std::vector<Item> items(100);
  for (bool colliding : {false, true}) {
    std::unique_ptr<IdTable> table(colliding ? new CollidingTable() : new IdTable());
    for (int i = 0; i < 100; ++i) {
      items[i] = {1000 - i, i};
      table->add(&items[i], false, nullptr);
    }
    // Remove while iterating: the iterator goes on past the removed entry.
    ZELContainer::Iterator* iterator = table->newIterator(true);
    std::vector<int> expected;
    for (void* entry = iterator->get(); entry; entry = iterator->next()) {
      const Item* item = static_cast<Item*>(entry);
      if (item->serial % 3 != 0) {
        EXPECT_TRUE(table->remove(item));
      } else {
        expected.push_back(item->serial);
      }
    }
    table->deleteIterator(iterator);
    EXPECT_EQ(serialsInOrder(*table), expected);
    // More than half removed: later removals compact; order and finds hold.
    EXPECT_TRUE(table->remove(&items[0]));
    expected.erase(expected.begin());
    EXPECT_EQ(serialsInOrder(*table), expected);
    EXPECT_EQ(table->count(), static_cast<long>(expected.size()));
    for (int i = 0; i < 100; ++i) {
      const bool kept = i % 3 == 0 && i != 0;
      EXPECT_EQ(table->find(1000 - i), kept ? &items[i] : nullptr) << i;
    }
  }
}

TEST(ZELHashtableTest, IteratorsStepBothWaysAndFollowLookups) {
  Item a{1, 1}, b{2, 2}, c{3, 3};
  IdTable table;
  table.add(&a, false, nullptr);
  table.add(&b, false, nullptr);
  ZELContainer::Iterator* iterator = table.newIterator(false);
  EXPECT_EQ(iterator->get(), nullptr);
  EXPECT_EQ(iterator->next(-1), &b);
  EXPECT_EQ(iterator->next(-1), &a);
  EXPECT_EQ(iterator->next(-1), nullptr);
  table.add(&c, false, iterator);
  EXPECT_EQ(iterator->get(), &c);
  long key = 1;
  EXPECT_EQ(table.findFirst(&key, iterator), &a);
  EXPECT_EQ(iterator->next(2), &c);
  key = 9;
  EXPECT_EQ(table.findFirst(&key, iterator), nullptr);
  EXPECT_EQ(iterator->get(), nullptr);
  table.deleteIterator(iterator);
}

namespace {
// Elements are C strings, found by text.
class TextVector : public ZELVector {
 public:
  int compare2Key(const void* element, const void* key) const override {
    return std::strcmp(static_cast<const char*>(element), static_cast<const char*>(key));
  }
};
}  // namespace

TEST(ZELVectorTest, FindsAddsAndRemovesInOrder) {
  TextVector vector;
  const char* texts[] = {"alpha", "beta", "gamma", "delta"};
  for (const char* text : texts) EXPECT_TRUE(vector.add(text, false, nullptr));
  char copy[] = "beta";
  EXPECT_EQ(vector.findFirst(copy, nullptr), texts[1]);
  EXPECT_FALSE(vector.add(copy, false, nullptr));
  EXPECT_TRUE(vector.add(copy, true, nullptr));
  EXPECT_EQ(vector.findFirst("beta", nullptr), texts[1]);  // the first, not the newest
  EXPECT_EQ(vector.findFirst("omega", nullptr), nullptr);

  vector.removeAt(1);
  vector.removeAt(99);
  vector.removeAt(-1);
  ASSERT_EQ(vector.count(), 4);
  EXPECT_EQ(vector[0], texts[0]);
  EXPECT_EQ(vector[1], texts[2]);
  EXPECT_EQ(vector[3], copy);
  EXPECT_EQ(vector[4], nullptr);
  EXPECT_EQ(vector.findFirst("beta", nullptr), copy);

  ZELContainer::Iterator* iterator = vector.newIterator(true);
  EXPECT_EQ(iterator->next(2), texts[3]);
  EXPECT_EQ(iterator->next(5), nullptr);
  EXPECT_EQ(iterator->next(-1), copy);
  vector.deleteIterator(iterator);

  ZELVector plain(0);  // compares the pointers themselves
  EXPECT_TRUE(plain.add(texts[0], false, nullptr));
  EXPECT_FALSE(plain.add(texts[0], false, nullptr));
  EXPECT_EQ(plain.findFirst(copy, nullptr), nullptr);
}

TEST(ZELObjectNameHashtableTest, FindsObjectsByName) {
  ZELObject table1, table2, column;
  table1.setName("T");
  table2.setName("T");
  column.setName("C");
  ZELObjectNameHashtable names;
  EXPECT_TRUE(names.add(&table1, false, nullptr));
  EXPECT_TRUE(names.add(&column, false, nullptr));
  EXPECT_FALSE(names.add(&table2, false, nullptr));
  EXPECT_TRUE(names.add(&table2, true, nullptr));
  EXPECT_EQ(names.find("T"), &table2);
  EXPECT_EQ(names.find("C"), &column);
  EXPECT_EQ(names.find("c"), nullptr);
  EXPECT_EQ(names.find(""), nullptr);
  EXPECT_TRUE(names.remove(&table2));
  EXPECT_EQ(names.find("T"), &table1);
}
