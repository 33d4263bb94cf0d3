#include "pcd/node_id_registry.h"

bool NodeIdRegistry::growDirectFor(size_t id) {
  const size_t bound =
      count_ * kDirectPerRecord > kMinDirect ? count_ * kDirectPerRecord : kMinDirect;
  if (id >= bound) return false;
  // Doubling keeps the cost of growth linear; the bound holds it to a few
  // words per record whatever the ids.
  size_t size = direct_.empty() ? size_t{1024} : direct_.size();
  while (size <= id) size *= 2;
  direct_.resize(size, nullptr);
  return true;
}

void NodeIdRegistry::add(long id, void* node) {
  const bool direct = id >= 0 && (static_cast<size_t>(id) < direct_.size() ||
                                  growDirectFor(static_cast<size_t>(id)));
  if (direct) {
    direct_[static_cast<size_t>(id)] = node;
    if (static_cast<size_t>(id) >= directUsed_) directUsed_ = static_cast<size_t>(id) + 1;
  } else {
    sparse_.add(id, node);
    ++sparseCount_;
  }
  ++count_;
}

void NodeIdRegistry::fit() noexcept {
  if (direct_.size() - directUsed_ < direct_.size() / 8) return;  // not worth a copy
  try {
    std::vector<void*>(direct_.begin(), direct_.begin() + static_cast<long>(directUsed_))
        .swap(direct_);
  } catch (...) {
    // The index stays as it is.
  }
}

void NodeIdRegistry::empty() noexcept {
  std::vector<void*>().swap(direct_);
  directUsed_ = 0;
  sparse_.empty();
  sparseCount_ = 0;
  count_ = 0;
}
