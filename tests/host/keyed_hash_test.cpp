// The keyed hash against SipHash's published vectors, and the hash table's
// equal entries: adding one more costs one compare however many there are,
// and removals in any order uncover the next older one.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "zel_hashtable.h"
#include "zel_keyed_hash.h"

namespace {

// Entries are ints compared by value; every one hashes alike unless `spread`.
class CountingTable : public ZELHashtable {
 public:
  mutable long compares = 0;
  int* find(int key) { return static_cast<int*>(findFirst(&key, nullptr)); }
  int compare2Object(const void* a, const void* b) const override { return compare2Key(a, b); }
  int compare2Key(const void* entry, const void* key) const override {
    ++compares;
    return *static_cast<const int*>(entry) - *static_cast<const int*>(key);
  }
  unsigned long hashObject(const void* entry) const override { return hashKey(entry); }
  unsigned long hashKey(const void* key) const override {
    return static_cast<unsigned long>(*static_cast<const int*>(key));
  }
};

}  // namespace

TEST(KeyedHashTest, MatchesTheReferenceVectorsAndAgreesAcrossForms) {
  // SipHash-2-4, key 00 01 .. 0f, messages 00 01 .. (n-1).
  const zel_hash::SipKey key{0x0706050403020100ull, 0x0f0e0d0c0b0a0908ull};
  char message[16];
  for (int i = 0; i < 16; ++i) message[i] = static_cast<char>(i);
  EXPECT_EQ((zel_hash::sipHash<2, 4>(key, message, 0)), 0x726fdb47dd0e0e31ull);
  EXPECT_EQ((zel_hash::sipHash<2, 4>(key, message, 15)), 0xa129ca6149be45e5ull);

  const uint64_t word = 0x0123456789abcdefull, other = 42;
  char bytes[16];
  std::memcpy(bytes, &word, 8);  // little-endian, as the build asserts
  std::memcpy(bytes + 8, &other, 8);
  EXPECT_EQ(zel_hash::hashWord(word), zel_hash::hashBytes(bytes, 8));
  EXPECT_EQ(zel_hash::hashWords(word, other), zel_hash::hashBytes(bytes, 16));
  EXPECT_NE(zel_hash::hashBytes("a", 1), zel_hash::hashBytes("a\0", 2));
}

// Standard containers keyed by a file's ids or names: ids chosen as
// multiples of the table's bucket count (all in one bucket under the
// standard hash, the id itself) still spread, and the key was drawn.
TEST(KeyedHashTest, StandardContainersSpreadChosenIds) {
  std::string error;
  EXPECT_TRUE(zel_hash::drawProcessKey(error)) << error;
  constexpr long kCount = 20000;
  std::unordered_set<long> plain;
  for (long i = 0; i < kCount; ++i) plain.insert(i);
  const long buckets = static_cast<long>(plain.bucket_count());
  std::unordered_set<long, zel_hash::IdHash> ids;
  std::unordered_set<std::string, zel_hash::TextHash> names;
  for (long i = 1; i <= kCount; ++i) {
    ids.insert(i * buckets);
    names.insert(std::to_string(i * buckets));
  }
  ASSERT_EQ(static_cast<long>(ids.bucket_count()), buckets);
  size_t largest = 0;
  for (size_t b = 0; b < ids.bucket_count(); ++b) largest = std::max(largest, ids.bucket_size(b));
  EXPECT_LT(largest, 16u);
  EXPECT_EQ(names.size(), static_cast<size_t>(kCount));
  EXPECT_NE(zel_hash::IdHash()(buckets), static_cast<size_t>(buckets));
  EXPECT_EQ(zel_hash::TextHash()("name"), zel_hash::hashBytes("name", 4));
}

TEST(KeyedHashTest, EqualEntriesCostOneCompareEachAndUnwindInAnyOrder) {
  const int kCount = 200000;
  std::vector<int> items(kCount, 7);
  CountingTable table;
  for (int& item : items) ASSERT_TRUE(table.add(&item, true, nullptr));
  EXPECT_LE(table.compares, 2L * kCount);  // was one per equal entry per add
  EXPECT_EQ(table.find(7), &items.back());
  EXPECT_EQ(table.count(), kCount);

  int other = 8;
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
