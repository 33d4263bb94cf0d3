// The pool that model objects and reference-list entries live in.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "model/zel_model.h"
#include "model/zel_object_pool.h"

namespace {

// Blocks of every pooled size and beyond, freed in a mixed order and taken
// again: each is aligned, and none overlaps another (every block keeps the
// bytes written into it until it is given back).
TEST(ObjectPool, BlocksOfEverySizeStayApartAndAreReused) {
  struct Block {
    unsigned char* bytes;
    size_t size;
  };
  std::vector<Block> blocks;
  auto take = [&](size_t size) {
    auto* bytes = static_cast<unsigned char*>(zel_pool::allocate(size));
    ASSERT_EQ(reinterpret_cast<uintptr_t>(bytes) % 8, 0u) << size;
    std::memset(bytes, static_cast<int>(blocks.size() & 0xFF), size);
    blocks.push_back({bytes, size});
  };
  auto intact = [&](size_t index) {
    const Block& block = blocks[index];
    for (size_t at = 0; at < block.size; ++at) {
      if (block.bytes[at] != (index & 0xFF)) return false;
    }
    return true;
  };
  for (int round = 0; round < 3; ++round) {
    for (size_t size = 1; size <= 600; size += 7) take(size);
  }
  for (size_t index = 0; index < blocks.size(); ++index) ASSERT_TRUE(intact(index)) << index;
  // Give back every other block, then take blocks of the same sizes again.
  std::vector<Block> kept;
  for (size_t index = 0; index < blocks.size(); ++index) {
    if (index % 2 == 0) {
      zel_pool::release(blocks[index].bytes, blocks[index].size);
    } else {
      kept.push_back(blocks[index]);
    }
  }
  blocks = kept;
  for (size_t index = 0; index < blocks.size(); ++index) {
    std::memset(blocks[index].bytes, static_cast<int>(index & 0xFF), blocks[index].size);
  }
  for (size_t size = 1; size <= 600; size += 7) take(size);
  for (size_t index = 0; index < blocks.size(); ++index) ASSERT_TRUE(intact(index)) << index;
  for (const Block& block : blocks) zel_pool::release(block.bytes, block.size);
}

// Models built and deleted on two threads at once share the pool.
TEST(ObjectPool, ModelsOnSeveralThreads) {
  auto build = [] {
    for (int round = 0; round < 20; ++round) {
      ZELModel model;
      for (int i = 0; i < 500; ++i) {
        auto* type = new ZELBaseType;
        type->setName("t");
        model.addType(type);
      }
      ASSERT_EQ(model.types().count(), 500);
    }
  };
  std::thread other(build);
  build();
  other.join();
}

}  // namespace
