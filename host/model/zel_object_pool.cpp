#include "model/zel_object_pool.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <new>

#include "model/zel_immortal.h"
#include "model/zel_link.h"
#include "model/zel_spin_lock.h"

#if defined(__linux__)
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPooled = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kPooled = false;
#else
constexpr bool kPooled = true;
#endif
#else
constexpr bool kPooled = true;
#endif

constexpr size_t kGranule = 8;
constexpr size_t kLargestPooled = 512;  // larger blocks come from the heap
constexpr size_t kClasses = kLargestPooled / kGranule;
constexpr size_t kChunkBytes = size_t{256} << 10;

struct FreeBlock {
  FreeBlock* next;
};

struct alignas(16) Chunk {
  Chunk* next;
};

class Pool {
 public:
  void* allocate(size_t size) {
    const size_t index = (size + kGranule - 1) / kGranule - 1;
    std::lock_guard<ZELSpinLock> guard(lock_);
    if (FreeBlock* block = free_[index]) {
      free_[index] = block->next;
      ++live_;
      return block;
    }
    const size_t bytes = (index + 1) * kGranule;
    if (static_cast<size_t>(end_ - cursor_) < bytes) addChunk();
    void* block = cursor_;
    cursor_ += bytes;
    ++live_;
    return block;
  }

  void release(void* block, size_t size) noexcept {
    const size_t index = (size + kGranule - 1) / kGranule - 1;
    std::lock_guard<ZELSpinLock> guard(lock_);
    auto* freed = static_cast<FreeBlock*>(block);
    freed->next = free_[index];
    free_[index] = freed;
    if (--live_ == 0) releaseChunks();
  }

 private:
  // A new chunk becomes the stretch blocks are cut from; what was left of
  // the previous one stays unused until every block is freed. Chunks come
  // from the region while it lasts (objects there take 32-bit links), then
  // from the heap.
  void addChunk() {
    if (!regionTried_) reserveRegion();
    if (zel_link::regionBytes() - regionUsed_ >= kChunkBytes) {
      char* chunk = zel_link::regionStart() + regionUsed_;
      regionUsed_ += kChunkBytes;
      prefault(chunk);
      cursor_ = chunk;
      end_ = chunk + kChunkBytes;
      return;
    }
    auto* chunk = static_cast<Chunk*>(::operator new(kChunkBytes));
    prefault(chunk);
    chunk->next = chunks_;
    chunks_ = chunk;
    cursor_ = reinterpret_cast<char*>(chunk + 1);
    end_ = reinterpret_cast<char*>(chunk) + kChunkBytes;
  }

  // Reserves the region: address space only, as much as links can reach
  // (8 GB), a quarter of the address space a limit leaves the process, or
  // less where the system refuses more. Pages are taken as chunks are cut.
  // Huge pages are asked for: the model is most of a large import's memory.
  void reserveRegion() noexcept {
    regionTried_ = true;
#if defined(__linux__)
    uintptr_t bytes = zel_link::kLargestRegion & ~(uintptr_t{kChunkBytes} - 1);
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
      bytes = std::min<uintptr_t>(bytes, (limit.rlim_cur / 4) & ~(uintptr_t{kChunkBytes} - 1));
    }
    for (; bytes >= kSmallestRegion; bytes /= 2) {
      void* start = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
      if (start == MAP_FAILED) continue;
#if defined(MADV_HUGEPAGE)
      madvise(start, bytes, MADV_HUGEPAGE);
#endif
      zel_link::setRegion(start, bytes);
      return;
    }
#endif
  }

  // Every page of a chunk is written soon: one call maps them all, where
  // writing each one first would trap into the kernel once per page (a
  // third of the import's system time). Kernels without the call refuse it
  // and the pages are mapped as they are written.
  static void prefault(void* chunk) noexcept {
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
    static const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto start = reinterpret_cast<uintptr_t>(chunk);
    const uintptr_t first = (start + page - 1) & ~(page - 1);
    const uintptr_t end = (start + kChunkBytes) & ~(page - 1);
    if (end > first) madvise(reinterpret_cast<void*>(first), end - first, MADV_POPULATE_WRITE);
#else
    (void)chunk;
#endif
  }

  void releaseChunks() noexcept {
#if defined(__linux__)
    // The region's pages go back to the system; its addresses stay reserved.
    if (regionUsed_ != 0) madvise(zel_link::regionStart(), regionUsed_, MADV_DONTNEED);
#endif
    regionUsed_ = 0;
    while (chunks_ != nullptr) {
      Chunk* chunk = chunks_;
      chunks_ = chunk->next;
      ::operator delete(chunk);
    }
    for (FreeBlock*& list : free_) list = nullptr;
    cursor_ = end_ = nullptr;
  }

  ZELSpinLock lock_;
  FreeBlock* free_[kClasses] = {};
  Chunk* chunks_ = nullptr;  // those from the heap
  static constexpr uintptr_t kSmallestRegion = uintptr_t{64} << 20;
  bool regionTried_ = false;
  uintptr_t regionUsed_ = 0;
  char* cursor_ = nullptr;
  char* end_ = nullptr;
  size_t live_ = 0;  // blocks handed out and not yet given back
};

Pool& pool() {
  return zelImmortal<Pool>();
}

}  // namespace

namespace zel_pool {

void* allocate(size_t size) {
  if (!kPooled || size > kLargestPooled || size == 0) return ::operator new(size);
  return pool().allocate(size);
}

void release(void* block, size_t size) noexcept {
  if (block == nullptr) return;
  if (!kPooled || size > kLargestPooled || size == 0) {
    ::operator delete(block);
    return;
  }
  pool().release(block, size);
}

}  // namespace zel_pool
