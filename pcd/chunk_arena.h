// ChunkArena: memory for the many small records of one import (record nodes,
// table entries), handed out one after another from large chunks and freed
// all at once. One allocation serves thousands of records, records read
// together lie together, and freeing costs one call per chunk. The arena runs
// no destructors: its owner destroys the records it placed before release().
#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace CaRepositoryDsOdbcImport {

class ChunkArena {
 public:
  // Chunks start at `firstChunk` bytes and double up to `largestChunk`, so a
  // small import stays small and a large one needs few chunks.
  explicit ChunkArena(size_t firstChunk = 4096, size_t largestChunk = size_t{1} << 20) noexcept
      : nextChunkSize_(firstChunk), largestChunk_(largestChunk) {}
  ~ChunkArena() { release(); }
  ChunkArena(const ChunkArena&) = delete;
  ChunkArena& operator=(const ChunkArena&) = delete;

  // `size` bytes aligned for any record of pointers and integers.
  void* allocate(size_t size) {
    size = roundUp(size);
    if (current_ == nullptr || current_->capacity - current_->used < size) addChunk(size);
    void* block = current_->bytes() + current_->used;
    current_->used += size;
    return block;
  }
  // Whether `block` of `size` bytes is the last one handed out.
  bool isLast(const void* block, size_t size) const noexcept {
    return current_ != nullptr && current_->used >= roundUp(size) &&
           current_->bytes() + (current_->used - roundUp(size)) == block;
  }
  // Gives back `block` of `size` bytes when it is the last one handed out
  // (a record whose construction or registration failed); else does nothing.
  void unallocate(const void* block, size_t size) noexcept {
    if (isLast(block, size)) current_->used -= roundUp(size);
  }
  // A new T in the arena; the arena space is given back if the constructor
  // throws.
  template <class T, class... Args>
  T* create(Args&&... args) {
    void* block = allocate(sizeof(T));
    try {
      return new (block) T(std::forward<Args>(args)...);
    } catch (...) {
      unallocate(block, sizeof(T));
      throw;
    }
  }
  // Whether nothing has been handed out since the arena was made or released.
  bool isEmpty() const noexcept { return first_ == nullptr; }
  // Calls visit(start, usedBytes) for every chunk, oldest first.
  template <class Visit>
  void forEachChunk(Visit visit) const {
    for (const Chunk* chunk = first_; chunk != nullptr; chunk = chunk->next) {
      visit(chunk->bytes(), chunk->used);
    }
  }
  // Frees every chunk. Allocates nothing.
  void release() noexcept;

 private:
  struct alignas(16) Chunk {
    Chunk* next;
    size_t capacity;  // bytes for records
    size_t used;
    unsigned char* bytes() { return reinterpret_cast<unsigned char*>(this + 1); }
    const unsigned char* bytes() const { return reinterpret_cast<const unsigned char*>(this + 1); }
  };
  static size_t roundUp(size_t size) { return (size + 7) & ~size_t{7}; }
  void addChunk(size_t atLeast);

  Chunk* first_ = nullptr;
  Chunk* current_ = nullptr;  // the newest chunk, where records are placed
  size_t nextChunkSize_;
  size_t largestChunk_;
};

// Fixed-size records of type T in a ChunkArena. The pool destroys every
// record it made, removed from a table or not, when it is cleared.
template <class T>
class RecordPool {
  static_assert(sizeof(T) % 8 == 0, "records lie back to back");

 public:
  RecordPool() noexcept : arena_(64 * sizeof(T), 4096 * sizeof(T)) {}
  ~RecordPool() { clear(); }

  template <class... Args>
  T* create(Args&&... args) {
    return arena_.create<T>(std::forward<Args>(args)...);
  }
  // Takes back the newest record after its table refused or failed to take
  // it. Any other record stays until clear().
  void discard(T* record) noexcept {
    if (!arena_.isLast(record, sizeof(T))) return;
    record->~T();
    arena_.unallocate(record, sizeof(T));
  }
  // Destroys every record and frees the memory. Allocates nothing.
  void clear() noexcept {
    arena_.forEachChunk([](const unsigned char* start, size_t used) {
      for (size_t at = 0; at < used; at += sizeof(T)) {
        reinterpret_cast<T*>(const_cast<unsigned char*>(start + at))->~T();
      }
    });
    arena_.release();
  }

 private:
  ChunkArena arena_;
};

}  // namespace CaRepositoryDsOdbcImport
