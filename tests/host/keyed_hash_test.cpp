// The keyed hash against SipHash's published vectors, and the standard
// containers keyed with it.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_set>

#include <gtest/gtest.h>

#include "zel_keyed_hash.h"

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
