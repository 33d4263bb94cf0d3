#include "model/zel_general_pointers.h"

#include <atomic>
#include <mutex>
#include <new>
#include <unordered_map>

#include "model/zel_immortal.h"
#include "model/zel_spin_lock.h"

namespace {

// One table per process behind a spin lock: separate models may live on
// separate threads. The count lets the common case, no pointer anywhere,
// skip the lock (each thread sees its own objects' entries counted).
class Table {
 public:
  void* get(const ZELObject* object) noexcept {
    if (count_.load(std::memory_order_acquire) == 0) return nullptr;
    std::lock_guard<ZELSpinLock> guard(lock_);
    const auto found = pointers_.find(object);
    return found == pointers_.end() ? nullptr : found->second;
  }

  void set(const ZELObject* object, void* pointer) {
    if (pointer == nullptr) {
      forget(object);
      return;
    }
    std::lock_guard<ZELSpinLock> guard(lock_);
    const auto placed = pointers_.insert_or_assign(object, pointer);
    if (placed.second) count_.fetch_add(1, std::memory_order_release);
  }

  void forget(const ZELObject* object) noexcept {
    if (count_.load(std::memory_order_acquire) == 0) return;
    std::lock_guard<ZELSpinLock> guard(lock_);
    if (pointers_.erase(object) != 0) count_.fetch_sub(1, std::memory_order_release);
  }

 private:
  ZELSpinLock lock_;
  std::atomic<size_t> count_{0};
  std::unordered_map<const ZELObject*, void*> pointers_;
};

Table& table() {
  return zelImmortal<Table>();
}

}  // namespace

namespace zel_general_pointers {

void* get(const ZELObject* object) noexcept {
  return table().get(object);
}

void set(const ZELObject* object, void* pointer) {
  table().set(object, pointer);
}

void forget(const ZELObject* object) noexcept {
  table().forget(object);
}

}  // namespace zel_general_pointers
