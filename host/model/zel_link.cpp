#include "model/zel_link.h"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

#include "model/zel_immortal.h"
#include "model/zel_spin_lock.h"

namespace zel_link {

namespace detail {
std::atomic<uintptr_t> regionStart{0};
std::atomic<uintptr_t> regionBytes{0};
}  // namespace detail

void setRegion(void* start, uintptr_t bytes) noexcept {
  detail::regionStart.store(reinterpret_cast<uintptr_t>(start), std::memory_order_relaxed);
  detail::regionBytes.store(bytes, std::memory_order_release);
}

namespace {

// The far addresses, behind a spin lock: separate models may live on
// separate threads. An address's index is its handle; the addresses by index
// live in blocks that never move, so that decoding takes no lock (a handle is
// only decoded by the thread that owns its model, after it was registered).
class FarTable {
 public:
  Handle handleOf(const void* address) noexcept {
    std::lock_guard<ZELSpinLock> guard(lock_);
    const auto found = byAddress_.find(address);
    // Encoding an address nobody registered is a programming error.
    if (found == byAddress_.end()) std::abort();
    return kFarBit | found->second.index;
  }

  void* addressOf(Handle handle) const noexcept {
    const uint32_t index = handle & ~(kFarBit | kFlagBit);
    return blocks_[index >> kBlockBits].load(std::memory_order_acquire)[index & kBlockMask];
  }

  void add(const void* address) {
    std::lock_guard<ZELSpinLock> guard(lock_);
    const auto found = byAddress_.find(address);
    if (found != byAddress_.end()) {
      ++found->second.count;
      return;
    }
    // Everything that may fail comes before the first change.
    const bool reused = !freeIndexes_.empty();
    const uint32_t index = reused ? freeIndexes_.back() : next_;
    if (!reused) {
      if (index >= kLargestIndex) throw std::bad_alloc();
      // Room for every index in the free list, so that dropping never
      // allocates.
      if (freeIndexes_.capacity() <= index) freeIndexes_.reserve(2 * (size_t{index} + 1));
      if (blocks_[index >> kBlockBits].load(std::memory_order_relaxed) == nullptr) {
        blocks_[index >> kBlockBits].store(new void*[kBlockSlots](), std::memory_order_release);
      }
    }
    byAddress_.emplace(address, Entry{index, 1});
    if (reused) {
      freeIndexes_.pop_back();
    } else {
      ++next_;
    }
    blocks_[index >> kBlockBits].load(std::memory_order_relaxed)[index & kBlockMask] =
        const_cast<void*>(address);
  }

  void drop(const void* address) noexcept {
    std::lock_guard<ZELSpinLock> guard(lock_);
    const auto found = byAddress_.find(address);
    if (found == byAddress_.end()) return;
    if (--found->second.count != 0) return;
    const uint32_t index = found->second.index;
    blocks_[index >> kBlockBits].load(std::memory_order_relaxed)[index & kBlockMask] = nullptr;
    byAddress_.erase(found);
    freeIndexes_.push_back(index);  // within the capacity reserved for it
  }

 private:
  struct Entry {
    uint32_t index;
    uint32_t count;
  };
  static constexpr unsigned kBlockBits = 12;
  static constexpr uint32_t kBlockSlots = uint32_t{1} << kBlockBits;
  static constexpr uint32_t kBlockMask = kBlockSlots - 1;
  // Far things are few but in sanitized builds, which put every object on
  // the heap.
  static constexpr uint32_t kLargestIndex = uint32_t{1} << 26;
  static constexpr uint32_t kBlocks = kLargestIndex >> kBlockBits;

  ZELSpinLock lock_;
  std::unordered_map<const void*, Entry> byAddress_;
  std::vector<uint32_t> freeIndexes_;
  uint32_t next_ = 0;
  std::atomic<void**> blocks_[kBlocks] = {};
};

FarTable& farTable() {
  return zelImmortal<FarTable>();
}

}  // namespace

namespace detail {

Handle farHandle(const void* address) noexcept {
  return farTable().handleOf(address);
}

void* farAddress(Handle handle) noexcept {
  return farTable().addressOf(handle);
}

void addFar(const void* address) {
  farTable().add(address);
}

void dropFar(const void* address) noexcept {
  farTable().drop(address);
}

}  // namespace detail

}  // namespace zel_link
