// Replaces every form of the global operator new and delete. The blocks come
// from malloc, so the sanitizers still see every allocation and leak.
#include "alloc/allocation_hook.h"

#include <cstdlib>
#include <new>

namespace alloc_hook {
namespace {

// Single-threaded test program: plain counters are enough.
long failAt = kNever;
long counted = 0;
bool hasFailed = false;
bool counting = false;
long live = 0;

// True when this allocation is the one to fail.
bool takeTurn() {
  if (!counting) return false;
  ++counted;
  if (failAt != kNever && counted == failAt) {
    hasFailed = true;
    return true;
  }
  return false;
}

void* allocate(std::size_t size, std::size_t alignment) {
  if (takeTurn()) return nullptr;
  if (size == 0) size = 1;
  void* block = nullptr;
  if (alignment <= alignof(std::max_align_t)) {
    block = std::malloc(size);
  } else if (posix_memalign(&block, alignment, size) != 0) {
    block = nullptr;
  }
  if (block != nullptr) ++live;
  return block;
}

void release(void* block) noexcept {
  if (block == nullptr) return;
  --live;
  std::free(block);
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
  void* block = allocate(size, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void arm(long n) {
  failAt = n;
  counted = 0;
  hasFailed = false;
  counting = true;
}
void disarm() {
  failAt = kNever;
  counting = false;
}
long allocationsSinceArm() {
  return counted;
}
bool failed() {
  return hasFailed;
}
long liveBlocks() {
  return live;
}

}  // namespace alloc_hook

using alloc_hook::allocate;
using alloc_hook::allocateOrThrow;
using alloc_hook::release;
constexpr std::size_t kPlain = alignof(std::max_align_t);
inline std::size_t value(std::align_val_t alignment) {
  return static_cast<std::size_t>(alignment);
}

void* operator new(std::size_t size) {
  return allocateOrThrow(size, kPlain);
}
void* operator new[](std::size_t size) {
  return allocateOrThrow(size, kPlain);
}
void* operator new(std::size_t size, std::align_val_t a) {
  return allocateOrThrow(size, value(a));
}
void* operator new[](std::size_t size, std::align_val_t a) {
  return allocateOrThrow(size, value(a));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size, kPlain);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size, kPlain);
}
void* operator new(std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate(size, value(a));
}
void* operator new[](std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate(size, value(a));
}

void operator delete(void* block) noexcept {
  release(block);
}
void operator delete[](void* block) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
  release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  release(block);
}
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  release(block);
}
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  release(block);
}
