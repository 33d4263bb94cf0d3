// The arena that holds the reader's nodes and the builder's user data, the
// pool of table entries built on it, and the nodes the reader places there.
#include <cstdint>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "pcd/chunk_arena.h"
#include "pcd/node_tables.h"
#include "pcd/reader_harness.h"
#include "support/pcd_fixture.h"

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

TEST(ChunkArena, HandsOutAlignedBlocksAndTakesBackOnlyTheLast) {
  cr::ChunkArena arena(64, 256);
  EXPECT_TRUE(arena.isEmpty());
  std::vector<void*> blocks;
  for (int i = 0; i < 100; ++i) {
    void* block = arena.allocate(static_cast<size_t>(1 + i % 40));  // across many chunks
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 8, 0u);
    blocks.push_back(block);
  }
  EXPECT_FALSE(arena.isEmpty());
  for (void* block : blocks) EXPECT_TRUE(arena.owns(block));
  long onTheStack = 0;
  EXPECT_FALSE(arena.owns(&onTheStack));

  // Only the newest block goes back; the next allocation reuses it.
  void* last = arena.allocate(24);
  EXPECT_FALSE(arena.isLast(blocks[0], 1));
  arena.unallocate(blocks[0], 1);  // not the last: nothing happens
  EXPECT_TRUE(arena.isLast(last, 24));
  arena.unallocate(last, 24);
  EXPECT_EQ(arena.allocate(24), last);

  // A constructor that throws gives its space back.
  void* before = arena.allocate(8);
  EXPECT_THROW(arena.create<Counted>(true), std::runtime_error);
  EXPECT_TRUE(arena.isLast(before, 8));
  EXPECT_EQ(Counted::live, 0);

  arena.release();
  EXPECT_TRUE(arena.isEmpty());
  EXPECT_FALSE(arena.owns(blocks[5]));
}

TEST(ChunkArena, APoolDestroysEveryRecordItMade) {
  {
    cr::RecordPool<Counted> pool;
    std::vector<Counted*> made;
    for (int i = 0; i < 1000; ++i) made.push_back(pool.create());
    EXPECT_EQ(Counted::live, 1000);
    pool.discard(made[10]);  // not the newest: stays until the pool is cleared
    EXPECT_EQ(Counted::live, 1000);
    pool.discard(made.back());
    EXPECT_EQ(Counted::live, 999);
    pool.clear();
    EXPECT_EQ(Counted::live, 0);
    for (int i = 0; i < 5; ++i) pool.create();  // usable again; freed by the destructor
  }
  EXPECT_EQ(Counted::live, 0);

  // The node tables keep their entries in such pools.
  ZELStringNodeHashtable names(2);
  for (int i = 0; i < 100; ++i) names.add(ZELString(static_cast<long>(i % 10)), &names);
  EXPECT_EQ(names.count(), 100);
  EXPECT_EQ(names.find("7"), &names);
  EXPECT_TRUE(names.empty());
  EXPECT_EQ(names.find("7"), nullptr);
  names.add("again", nullptr);  // freed by the table's destructor
}

TEST(ChunkArena, TheReaderPlacesNodesInTheArenaAndTheCleanUpFreesThemAll) {
  const PcdFile file({"header", "E,TABLE,700,1,C6,ORDERS", "T,1,700,1,DESCRIPTION,4,Text",
                      "E,TABLE,700,1,C5,OTHER", "R,TBL_COL,701,700,702,2,C1,N,L1",
                      "E,SCHEMA,703,1,C21,a name of some length"});
  ReaderHarness harness;
  harness.bridge.fileName = file.path().c_str();
  harness.bridge.processStream();
  // Both records of id 700 are registered; the newer one is found.
  EXPECT_EQ(harness.bridge.idRegistry.count(), 4);
  auto* table = harness.node<cr::TableNode>(700);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->name, "OTHER");
  EXPECT_TRUE(harness.bridge.nodeArena.owns(table));
  EXPECT_EQ(harness.node<cr::SchemaNode>(703)->name, "a name of some length");

  // A node registered by other means is deleted, not destroyed in place.
  harness.bridge.idRegistry.add(9000, new cr::TableNode());
  harness.bridge.cleanup(false);
  EXPECT_EQ(harness.bridge.idRegistry.count(), 0);
  EXPECT_TRUE(harness.bridge.nodeArena.isEmpty());
}

}  // namespace
