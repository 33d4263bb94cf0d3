// Replaces every form of the global operator new and delete, so that no form
// bypasses the count. The blocks come from malloc, so the sanitizers still
// see every allocation and leak.
#include "alloc/allocation_hook.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace alloc_hook {

Counters counters;

namespace {

void* allocate(std::size_t size, std::size_t alignment) {
  if (counters.counting && ++counters.counted == counters.failAt) return nullptr;
  void* block = nullptr;
  if (alignment <= alignof(std::max_align_t)) {
    block = std::malloc(size == 0 ? 1 : size);
  } else if (posix_memalign(&block, alignment, size == 0 ? 1 : size) != 0) {
    block = nullptr;
  }
  if (block != nullptr) ++counters.live;
  return block;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
  void* block = allocate(size, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void release(void* block) noexcept {
  if (block == nullptr) return;
  --counters.live;
  std::free(block);
}

}  // namespace
}  // namespace alloc_hook

using alloc_hook::allocate;
using alloc_hook::allocateOrThrow;
using alloc_hook::release;
constexpr std::size_t kPlain = alignof(std::max_align_t);

// The single and array forms of one signature of operator new, and of
// operator delete; the parameter lists name `size`, `a` and `block`.
#define PCD_HOOK_NEW(EXCEPT, ALLOCATE, ALIGNMENT, ...) \
  void* operator new(__VA_ARGS__) EXCEPT {             \
    return ALLOCATE(size, ALIGNMENT);                  \
  }                                                    \
  void* operator new[](__VA_ARGS__) EXCEPT {           \
    return ALLOCATE(size, ALIGNMENT);                  \
  }
#define PCD_HOOK_DELETE(...)                     \
  void operator delete(__VA_ARGS__) noexcept {   \
    release(block);                              \
  }                                              \
  void operator delete[](__VA_ARGS__) noexcept { \
    release(block);                              \
  }

PCD_HOOK_NEW(, allocateOrThrow, kPlain, std::size_t size)
PCD_HOOK_NEW(, allocateOrThrow, static_cast<std::size_t>(a), std::size_t size, std::align_val_t a)
PCD_HOOK_NEW(noexcept, allocate, kPlain, std::size_t size, const std::nothrow_t&)
PCD_HOOK_NEW(noexcept, allocate, static_cast<std::size_t>(a), std::size_t size, std::align_val_t a,
             const std::nothrow_t&)
PCD_HOOK_DELETE(void* block)
PCD_HOOK_DELETE(void* block, std::size_t)
PCD_HOOK_DELETE(void* block, std::align_val_t)
PCD_HOOK_DELETE(void* block, std::size_t, std::align_val_t)
PCD_HOOK_DELETE(void* block, const std::nothrow_t&)
PCD_HOOK_DELETE(void* block, std::align_val_t, const std::nothrow_t&)
