// The id registry: every record node by its object id, the newest node for
// an id that several records share. (The nodes in file order are those of
// the node arena.)
//
// Ids are small, mostly consecutive integers in practice, so non-negative ids
// up to a bound proportional to the number of records are found by direct
// index (8 bytes per id); any other id goes to a hash table keyed by a keyed
// hash (node_tables.h). No set of ids can make the index outgrow the bound,
// and no set of ids can crowd the hash table.
//
// The index is kept in pages of kPageIds ids, made when a first id falls in
// them: it grows without copying, and each of its bytes is written once (an
// index that doubled and was fitted at the end wrote three times its final
// size, in fresh memory, which is the dear part on large files).
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "pcd/node_tables.h"

class NodeIdRegistry {
 public:
  // `sparseSize`: the starting size of the table of ids off the index.
  explicit NodeIdRegistry(int sparseSize) : sparse_(sparseSize) {}
  NodeIdRegistry(const NodeIdRegistry&) = delete;
  NodeIdRegistry& operator=(const NodeIdRegistry&) = delete;

  // Registers `node` under `id`; a later node with the same id hides the
  // earlier one from find(). On failure (out of memory) nothing is registered.
  void add(long id, void* node);
  // The newest node registered under `id`, or null.
  void* find(long id) {
    if (id >= 0) {
      const size_t page = static_cast<size_t>(id) >> kPageBits;
      if (page < pages_.size() && pages_[page] != nullptr) {
        if (void* node = pages_[page][static_cast<size_t>(id) & kPageMask]) return node;
      }
    }
    return sparseCount_ == 0 ? nullptr : sparse_.find(id);
  }
  // Records registered, those hidden by a later one included.
  long count() const { return static_cast<long>(count_); }
  // Forgets every node (destroys none) and frees the memory. Allocates nothing.
  void empty() noexcept;

 private:
  // The index covers ids below max(kMinDirect, kDirectPerRecord * records):
  // at least one id in kDirectPerRecord is a record's.
  static constexpr size_t kMinDirect = size_t{1} << 16;
  static constexpr size_t kDirectPerRecord = 4;
  // 32 KB pages: small enough for a small file, few enough (one per 4096
  // ids) for the page table to stay in cache.
  static constexpr size_t kPageBits = 12;
  static constexpr size_t kPageIds = size_t{1} << kPageBits;
  static constexpr size_t kPageMask = kPageIds - 1;

  // The index entry of `id`, its page made if the id is within the bound;
  // null for an id off the index.
  void** directEntry(long id);

  // The index by page; a null page holds no id yet. An id whose page exists
  // stays on the index, so all the nodes of one id are found in one place
  // (or, when the first ones went to the hash table, the newest here).
  std::vector<std::unique_ptr<void*[]>> pages_;
  ZELLongNodeHashtable sparse_;
  size_t sparseCount_ = 0;
  size_t count_ = 0;
};
