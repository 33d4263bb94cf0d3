#include "heap_setup.h"

#include <cstddef>
#include <cstdlib>

#if defined(__GLIBC__) && defined(__linux__)
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace pcd::cli {

namespace {

constexpr uintmax_t kSmallestFile = uintmax_t{8} << 20;  // below it, no gain worth the reserve
constexpr uintmax_t kLargestReserve = uintmax_t{1} << 30;
constexpr uintptr_t kHugePage = uintptr_t{2} << 20;
// Room for the import's record nodes and id registry and for what a writer
// makes after it (the model's objects live in the object pool's region); the
// reserve is virtual until used.
constexpr uintmax_t kBytesPerFileByte = 8;
// What the import surely uses of the reserve, as a share of the file, is
// mapped at once: one call instead of a fault per page, and with huge pages,
// no attempt to compact memory at each fault. The model's objects live in
// the object pool's own region; the heap holds the record nodes and the id
// registry, about 0.9 times the file on catalogs, and the texts too long for
// the pool. A page mapped here and never used would still count.
constexpr uintmax_t kPrefaultedQuartersPerFileByte = 3;

}  // namespace

void prepareHeapForImport(uintmax_t inputBytes) {
#if defined(__GLIBC__) && defined(__linux__) && defined(MADV_HUGEPAGE)
  if (inputBytes < kSmallestFile) return;
  const uintmax_t wanted = inputBytes * kBytesPerFileByte;
  const size_t reserve = static_cast<size_t>(wanted < kLargestReserve ? wanted : kLargestReserve);
  // Blocks up to 32 MB come from the heap (and so from the reserve). The
  // heap keeps the reserve as its padding: a growth of the heap (the first
  // is forced here) adds it, and giving memory back keeps it.
  const size_t probe = size_t{4} << 20;
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TOP_PAD, static_cast<int>(reserve));
  // One heap for every thread: what the side scan frees (its tables, a few
  // MB) is then reused by the import. A heap of its own would keep those
  // pages to the end, since the padding above stops it from shrinking. The
  // side scan allocates seldom, so the threads hardly wait for each other.
  mallopt(M_ARENA_MAX, 1);
  void* block = std::malloc(probe);
  if (block == nullptr) return;
  const auto start = reinterpret_cast<uintptr_t>(block);
  std::free(block);
  // Only the heap's own memory is advised: a block from elsewhere (another
  // allocator, a sanitizer's) lies outside [start, end) of the heap's growth.
  const auto end = reinterpret_cast<uintptr_t>(sbrk(0));
  if (start >= end || end - start > reserve + 2 * probe) return;
  const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const uintptr_t used = static_cast<uintptr_t>(inputBytes * kPrefaultedQuartersPerFileByte / 4);
  const uintptr_t from = (start + page - 1) & ~(page - 1);
  const uintptr_t to = (end - from > used ? from + used : end) & ~(page - 1);
  // Huge pages only where the import surely writes: beyond, a huge page
  // mapped for the last few bytes used would count whole (about 2 MB more
  // at the peak).
  const uintptr_t first = (start + kHugePage - 1) & ~(kHugePage - 1);
  const uintptr_t last = to & ~(kHugePage - 1);
  if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#if defined(MADV_POPULATE_WRITE)
  // Kernels without the call refuse it; the pages are then mapped as used.
  if (to > from) madvise(reinterpret_cast<void*>(from), to - from, MADV_POPULATE_WRITE);
#endif
#else
  (void)inputBytes;
#endif
}

void releaseFreedHeap() {
#if defined(__GLIBC__) && defined(__linux__)
  malloc_trim(0);
#endif
}

}  // namespace pcd::cli
