// The arena that holds the reader's nodes and the builder's user data, and
// the pool of table entries built on it.
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "pcd/chunk_arena.h"

namespace cr = CaRepositoryDsOdbcImport;

namespace {

// Counts live records; a constructor may be told to throw.
struct Counted {
  static int live;
  explicit Counted(bool fail = false) {
    if (fail) throw std::runtime_error("refused");
    ++live;
  }
  ~Counted() { --live; }
  long payload[3] = {0, 0, 0};
};
int Counted::live = 0;

TEST(ChunkArena, BlocksAreAlignedAndApartAcrossChunksAndAfterReuse) {
  cr::ChunkArena arena(64, 256);
  for (int pass = 0; pass < 2; ++pass) {  // the second after release()
    // Odd sizes across many chunks, and blocks larger than any chunk.
    std::vector<std::pair<unsigned char*, size_t>> blocks;
    for (int i = 0; i < 100; ++i) {
      const size_t size = i % 25 == 24 ? 1000 : static_cast<size_t>(1 + i % 40);
      auto* block = static_cast<unsigned char*>(arena.allocate(size));
      EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 8, 0u);
      std::memset(block, i, size);
      blocks.emplace_back(block, size);
    }
    for (size_t i = 0; i < blocks.size(); ++i) {
      for (size_t at = 0; at < blocks[i].second; ++at)
        ASSERT_EQ(blocks[i].first[at], static_cast<unsigned char>(i)) << i;
    }

    // Only the newest block goes back; the next allocation reuses it.
    void* last = arena.allocate(24);
    arena.unallocate(blocks[0].first, 1);  // not the last: nothing happens
    arena.unallocate(last, 24);
    EXPECT_EQ(arena.allocate(24), last);
    // A constructor that throws gives its space back.
    void* before = arena.allocate(8);
    EXPECT_THROW(arena.create<Counted>(true), std::runtime_error);
    EXPECT_TRUE(arena.isLast(before, 8));

    arena.release();
    EXPECT_TRUE(arena.isEmpty());
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(ChunkArena, APoolDestroysEveryRecordItMade) {
  {
    cr::RecordPool<Counted> pool;
    std::vector<Counted*> made;
    for (int i = 0; i < 1000; ++i) made.push_back(pool.create());
    pool.discard(made[10]);  // not the newest: stays until the pool is cleared
    EXPECT_EQ(Counted::live, 1000);
    pool.discard(made.back());
    EXPECT_EQ(Counted::live, 999);
    pool.clear();
    EXPECT_EQ(Counted::live, 0);
    for (int i = 0; i < 5; ++i) pool.create();  // usable again; freed by the destructor
  }
  EXPECT_EQ(Counted::live, 0);
}

}  // namespace
