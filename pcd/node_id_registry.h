// The id registry: every record node by its object id, the newest node for
// an id that several records share. (The nodes in file order are those of
// the node arena.)
//
// Ids are small, mostly consecutive integers in practice, so non-negative ids
// up to a bound proportional to the number of records are found by direct
// index (8 bytes per id); any other id goes to a hash table keyed by a keyed
// hash (node_tables.h). No set of ids can make the index outgrow the bound,
// and no set of ids can crowd the hash table.
#pragma once

#include <cstddef>
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
    if (id >= 0 && static_cast<size_t>(id) < direct_.size()) {
      if (void* node = direct_[static_cast<size_t>(id)]) return node;
    }
    return sparseCount_ == 0 ? nullptr : sparse_.find(id);
  }
  // Records registered, those hidden by a later one included.
  long count() const { return static_cast<long>(count_); }
  // Fits the index to the highest id it holds, once every node is added: it
  // grows by doubling, so up to half of it can be unused. Keeps the index as
  // it is when there is no memory for the fitted copy.
  void fit() noexcept;
  // Forgets every node (destroys none) and frees the memory. Allocates nothing.
  void empty() noexcept;

 private:
  // The index covers ids below max(kMinDirect, kDirectPerRecord * records):
  // at least one id in kDirectPerRecord is a record's.
  static constexpr size_t kMinDirect = size_t{1} << 16;
  static constexpr size_t kDirectPerRecord = 4;

  bool growDirectFor(size_t id);

  std::vector<void*> direct_;  // by id; null where no record has that id
  size_t directUsed_ = 0;      // highest id in the index + 1
  ZELLongNodeHashtable sparse_;
  size_t sparseCount_ = 0;
  size_t count_ = 0;
};
