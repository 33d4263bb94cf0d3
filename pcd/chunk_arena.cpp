#include "pcd/chunk_arena.h"

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

void ChunkArena::release() noexcept {
  while (first_ != nullptr) {
    Chunk* chunk = first_;
    first_ = chunk->next;
    ::operator delete(chunk);
  }
  current_ = nullptr;
}

}  // namespace CaRepositoryDsOdbcImport
