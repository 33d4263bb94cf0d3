#include "pcd/node_id_registry.h"

#include <utility>

void** NodeIdRegistry::directEntry(long id) {
  if (id < 0) return nullptr;
  const auto at = static_cast<size_t>(id);
  const size_t page = at >> kPageBits;
  if (page >= pages_.size() || pages_[page] == nullptr) {
    const size_t bound =
        count_ * kDirectPerRecord > kMinDirect ? count_ * kDirectPerRecord : kMinDirect;
    if (at >= bound) return nullptr;
    // Both allocations come before any change, so that a failure changes nothing.
    std::unique_ptr<void*[]> made(new void*[kPageIds]());
    if (page >= pages_.size()) pages_.resize(page + 1);
    pages_[page] = std::move(made);
  }
  return &pages_[page][at & kPageMask];
}

void NodeIdRegistry::add(long id, void* node) {
  if (void** entry = directEntry(id)) {
    *entry = node;
  } else {
    sparse_.add(id, node);
    ++sparseCount_;
  }
  ++count_;
}

void NodeIdRegistry::empty() noexcept {
  std::vector<std::unique_ptr<void*[]>>().swap(pages_);
  sparse_.empty();
  sparseCount_ = 0;
  count_ = 0;
}
