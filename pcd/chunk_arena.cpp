#include "pcd/chunk_arena.h"

#include <cstdint>

namespace CaRepositoryDsOdbcImport {

void ChunkArena::addChunk(size_t atLeast) {
  const size_t capacity = atLeast > nextChunkSize_ ? atLeast : nextChunkSize_;
  auto* chunk = static_cast<Chunk*>(::operator new(sizeof(Chunk) + capacity));
  chunk->next = nullptr;
  chunk->capacity = capacity;
  chunk->used = 0;
  if (current_ != nullptr) {
    current_->next = chunk;
  } else {
    first_ = chunk;
  }
  current_ = chunk;
  if (nextChunkSize_ < largestChunk_) nextChunkSize_ *= 2;
}

bool ChunkArena::owns(const void* block) const noexcept {
  const auto address = reinterpret_cast<uintptr_t>(block);
  auto inside = [address](const Chunk* chunk) {
    const auto start = reinterpret_cast<uintptr_t>(chunk->bytes());
    return address >= start && address - start < chunk->used;
  };
  // Blocks are usually asked for in the order they were handed out: the
  // chunk of the previous answer, or the one after it, holds the next.
  if (lastFound_ != nullptr) {
    if (inside(lastFound_)) return true;
    if (lastFound_->next != nullptr && inside(lastFound_->next)) {
      lastFound_ = lastFound_->next;
      return true;
    }
  }
  for (const Chunk* chunk = first_; chunk != nullptr; chunk = chunk->next) {
    if (inside(chunk)) {
      lastFound_ = chunk;
      return true;
    }
  }
  return false;
}

void ChunkArena::release() noexcept {
  while (first_ != nullptr) {
    Chunk* chunk = first_;
    first_ = chunk->next;
    ::operator delete(chunk);
  }
  current_ = nullptr;
  lastFound_ = nullptr;
}

}  // namespace CaRepositoryDsOdbcImport
