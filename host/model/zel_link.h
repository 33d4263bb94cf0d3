// 32-bit links between model objects.
//
// A model is millions of objects linked to each other: owners, siblings,
// references and their referrers. As 32-bit handles rather than pointers
// the links take half the room, and a model about 30% less memory.
//
// The object pool takes its memory from one reserved region (up to 8 GB), so
// an object there is addressed by its offset in 8-byte granules: decoding is
// a shift and an add. Whatever a link points at is aligned to 8 bytes.
// Anything outside the region (an object made on the stack or by the heap, a
// member of one, everything in a sanitized build, a model larger than the
// region) is "far": it registers its address when it is constructed (which
// may throw std::bad_alloc) and is addressed by its index in a table of such
// addresses. Registering is counted, so that two things at one address (a
// list entry and the reference that opens it) may both register it.
#pragma once

#include <atomic>
#include <cstdint>

namespace zel_link {

using Handle = uint32_t;
constexpr Handle kNull = 0;
// Marks a far handle; the bit below it is left free for a flag of the holder
// (see ZELReference), so neither kind of handle reaches it.
constexpr Handle kFarBit = Handle{1} << 31;
constexpr Handle kFlagBit = Handle{1} << 30;

namespace detail {
// The region; 0 bytes: none (yet). Its first granule has handle 1, so that
// no address in it encodes as kNull.
extern std::atomic<uintptr_t> regionStart;
extern std::atomic<uintptr_t> regionBytes;
Handle farHandle(const void* address) noexcept;
void* farAddress(Handle handle) noexcept;
void addFar(const void* address);
void dropFar(const void* address) noexcept;
}  // namespace detail

inline bool inRegion(const void* address) noexcept {
  return reinterpret_cast<uintptr_t>(address) -
             detail::regionStart.load(std::memory_order_relaxed) <
         detail::regionBytes.load(std::memory_order_relaxed);
}

// The handle of `address`: null, a place in the region, or a far address
// that was registered (anything else is a programming error).
inline Handle encode(const void* address) noexcept {
  if (address == nullptr) return kNull;
  const uintptr_t offset =
      reinterpret_cast<uintptr_t>(address) - detail::regionStart.load(std::memory_order_relaxed);
  if (offset < detail::regionBytes.load(std::memory_order_relaxed)) {
    return static_cast<Handle>(offset >> 3) + 1;
  }
  return detail::farHandle(address);
}

inline void* decode(Handle handle) noexcept {
  if (handle >= kFarBit) return detail::farAddress(handle);
  if (handle == kNull) return nullptr;
  return reinterpret_cast<void*>(detail::regionStart.load(std::memory_order_relaxed) +
                                 (uintptr_t{handle - 1} << 3));
}

// Makes `address` encodable when it lies outside the region; each call is
// matched by one forget(address) before the memory goes.
inline void adopt(const void* address) {
  if (!inRegion(address)) detail::addFar(address);
}
inline void forget(const void* address) noexcept {
  if (!inRegion(address)) detail::dropFar(address);
}

// Hands the pool its region: [start, start + bytes). Called once, before any
// object lives there.
void setRegion(void* start, uintptr_t bytes) noexcept;
// The region's first byte and size (0: none).
inline char* regionStart() noexcept {
  return reinterpret_cast<char*>(detail::regionStart.load(std::memory_order_relaxed));
}
inline uintptr_t regionBytes() noexcept {
  return detail::regionBytes.load(std::memory_order_relaxed);
}
// The most bytes a region may have: its last granule's handle stays below
// kFlagBit.
constexpr uintptr_t kLargestRegion = (uintptr_t{kFlagBit} - 2) << 3;

}  // namespace zel_link

// A link to a T as a 32-bit handle, used like a pointer.
template <class T>
class ZELLink {
 public:
  ZELLink() noexcept = default;
  // The target must be null, in the region or adopted.
  explicit ZELLink(T* target) noexcept : handle_(zel_link::encode(target)) {}
  ZELLink(const ZELLink&) noexcept = default;
  ZELLink& operator=(const ZELLink&) noexcept = default;
  // The target must be null, in the region or adopted.
  ZELLink& operator=(T* target) noexcept {
    handle_ = zel_link::encode(target);
    return *this;
  }
  T* get() const noexcept { return static_cast<T*>(zel_link::decode(handle_)); }
  operator T*() const noexcept { return get(); }  // NOLINT(google-explicit-constructor)
  T* operator->() const noexcept { return get(); }
  bool isNull() const noexcept { return handle_ == zel_link::kNull; }

 private:
  zel_link::Handle handle_ = zel_link::kNull;
};
