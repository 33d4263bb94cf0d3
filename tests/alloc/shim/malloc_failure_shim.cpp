// Preloaded into pcd-import (LD_PRELOAD) by the whole-program allocation
// test: counts every malloc, calloc, realloc, aligned allocation and
// operator new from the start of main on, and makes one chosen allocation
// fail (null, or std::bad_alloc from operator new). Allocations made while
// a library is loaded (dlopen: the loader and the library's static
// constructors, which have no way to report a failure) are start-up and
// are neither counted nor failed.
//
//   PCD_FAIL_ALLOCATION=N   fail the N-th counted allocation (unset: none)
//   PCD_ALLOCATION_COUNT=F  write the number of counted allocations to F
//                           when main returns
//
// Forked helper processes share the program's count: allocation N is the
// N-th of the whole run, whichever process makes it, and fails once, and
// the count written when main returns includes theirs.
//
// Blocks come from the next allocator in line (the C library's, or the
// address sanitizer's), so the sanitizers still see every block.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

using MallocFn = void* (*)(size_t);
using CallocFn = void* (*)(size_t, size_t);
using ReallocFn = void* (*)(void*, size_t);
using FreeFn = void (*)(void*);
using MemalignFn = int (*)(void**, size_t, size_t);

MallocFn realMalloc;
CallocFn realCalloc;
ReallocFn realRealloc;
FreeFn realFree;
MemalignFn realPosixMemalign;

// dlsym may allocate while the real functions are looked up: those few
// blocks come from here and are never freed.
alignas(16) char bootstrap[1 << 16];
size_t bootstrapUsed;
bool resolving;

bool counting;
long failAt;    // 0: never
long* counted;  // in memory shared with forked processes

void* bootstrapAllocate(size_t size) {
  size = (size + 15) & ~size_t{15};
  if (bootstrapUsed + size > sizeof bootstrap) return nullptr;
  void* block = bootstrap + bootstrapUsed;
  bootstrapUsed += size;
  return block;
}

bool fromBootstrap(const void* block) {
  return block >= bootstrap && block < bootstrap + sizeof bootstrap;
}

bool resolve() {
  if (realMalloc) return true;
  if (resolving) return false;
  resolving = true;
  realMalloc = reinterpret_cast<MallocFn>(dlsym(RTLD_NEXT, "malloc"));
  realCalloc = reinterpret_cast<CallocFn>(dlsym(RTLD_NEXT, "calloc"));
  realRealloc = reinterpret_cast<ReallocFn>(dlsym(RTLD_NEXT, "realloc"));
  realFree = reinterpret_cast<FreeFn>(dlsym(RTLD_NEXT, "free"));
  realPosixMemalign = reinterpret_cast<MemalignFn>(dlsym(RTLD_NEXT, "posix_memalign"));
  resolving = false;
  return true;
}

// Counts one allocation; true when it is the one to fail.
bool failsNow() {
  if (!counting) return false;
  if (__atomic_add_fetch(counted, 1, __ATOMIC_RELAXED) != failAt) return false;
  errno = ENOMEM;
  return true;
}

void writeCount() {
  const char* path = std::getenv("PCD_ALLOCATION_COUNT");
  if (!path) return;
  char text[32];
  const int length =
      std::snprintf(text, sizeof text, "%ld\n", __atomic_load_n(counted, __ATOMIC_RELAXED));
  const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return;
  if (write(fd, text, static_cast<size_t>(length)) != length) std::abort();
  close(fd);
}

int (*realMain)(int, char**, char**);

int countedMain(int argc, char** argv, char** envp) {
  const char* fail = std::getenv("PCD_FAIL_ALLOCATION");
  failAt = fail ? std::atol(fail) : 0;
  void* shared =
      mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) std::abort();
  counted = static_cast<long*>(shared);
  counting = true;
  const int status = realMain(argc, argv, envp);
  counting = false;
  writeCount();
  return status;
}

void* allocateAligned(size_t size, size_t alignment) {
  if (failsNow() || !resolve()) return nullptr;
  void* block = nullptr;
  if (alignment < sizeof(void*)) alignment = sizeof(void*);
  return realPosixMemalign(&block, alignment, size ? size : 1) == 0 ? block : nullptr;
}

}  // namespace

extern "C" {

// Wraps main, so that the allocations of start-up (the loader, static
// constructors) are not counted.
using StartMain = int (*)(int (*)(int, char**, char**), int, char**, void (*)(), void (*)(),
                          void (*)(), void*);
int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(),
                      void (*fini)(), void (*rtldFini)(), void* stackEnd) {
  realMain = main;
  auto next = reinterpret_cast<StartMain>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return next(countedMain, argc, argv, init, fini, rtldFini, stackEnd);
}

using DlopenFn = void* (*)(const char*, int);
void* dlopen(const char* file, int mode) noexcept {
  static auto next = reinterpret_cast<DlopenFn>(dlsym(RTLD_NEXT, "dlopen"));
  const bool wasCounting = counting;
  counting = false;
  void* handle = next(file, mode);
  counting = wasCounting;
  return handle;
}

void* malloc(size_t size) noexcept {
  if (!resolve()) return bootstrapAllocate(size);
  if (failsNow()) return nullptr;
  return realMalloc(size);
}

void* calloc(size_t count, size_t size) noexcept {
  if (!resolve()) {
    void* block = bootstrapAllocate(count * size);
    if (block) std::memset(block, 0, count * size);
    return block;
  }
  if (failsNow()) return nullptr;
  return realCalloc(count, size);
}

void* realloc(void* block, size_t size) noexcept {
  if (fromBootstrap(block)) {
    void* moved = malloc(size);
    if (moved) std::memcpy(moved, block, size);
    return moved;
  }
  if (!resolve()) return bootstrapAllocate(size);
  if (failsNow()) return nullptr;
  return realRealloc(block, size);
}

void free(void* block) noexcept {
  if (block == nullptr || fromBootstrap(block)) return;
  if (resolve()) realFree(block);
}

int posix_memalign(void** block, size_t alignment, size_t size) noexcept {
  void* got = allocateAligned(size, alignment);
  if (!got) return ENOMEM;
  *block = got;
  return 0;
}

void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return allocateAligned(size, alignment);
}

void* memalign(size_t alignment, size_t size) noexcept {
  return allocateAligned(size, alignment);
}

}  // extern "C"

// operator new and delete go through the counted functions above, also where
// a sanitizer would otherwise serve them itself.
void* operator new(size_t size) {
  void* block = malloc(size ? size : 1);
  if (!block) throw std::bad_alloc();
  return block;
}
void* operator new[](size_t size) {
  return operator new(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return malloc(size ? size : 1);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return malloc(size ? size : 1);
}
void* operator new(size_t size, std::align_val_t alignment) {
  void* block = allocateAligned(size, static_cast<size_t>(alignment));
  if (!block) throw std::bad_alloc();
  return block;
}
void* operator new[](size_t size, std::align_val_t alignment) {
  return operator new(size, alignment);
}
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocateAligned(size, static_cast<size_t>(alignment));
}
void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocateAligned(size, static_cast<size_t>(alignment));
}
// One line each: every form frees alike.
// clang-format off
void operator delete(void* block) noexcept { free(block); }
void operator delete[](void* block) noexcept { free(block); }
void operator delete(void* block, size_t) noexcept { free(block); }
void operator delete[](void* block, size_t) noexcept { free(block); }
void operator delete(void* block, std::align_val_t) noexcept { free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { free(block); }
void operator delete(void* block, size_t, std::align_val_t) noexcept { free(block); }
void operator delete[](void* block, size_t, std::align_val_t) noexcept { free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { free(block); }
// clang-format on
