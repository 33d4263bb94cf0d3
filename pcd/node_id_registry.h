// The id registry: every record node by its object id, the newest node for
// an id that several records share. (The nodes in file order are those of
// the node arena.)
//
// Files list their records by ascending id. While every id is at least the
// one before it (and fits in 32 bits), the registry keeps the ids and nodes
// in file order, about 4 bytes per record, and every kRunIds-th id: a look-up
// searches those, then the run of kRunIds ids that holds the id, whose last
// node is the newest. Adding is an append. The first id out of order moves
// every node to the structures below, as if they had held them throughout.
//
// Otherwise ids are small, mostly consecutive integers in practice, so non-negative ids
// up to a bound proportional to the number of records are found by direct
// index (8 bytes per id); any other id goes to an open-addressing table of
// node pointers, placed by a keyed hash of the id (zel_keyed_hash.h) in lines
// of eight consecutive ids. No set
// of ids can make the index outgrow the bound, and no set of ids can crowd
// the table. The table keeps no entries of its own: a slot is the node's
// address, the node knows its id (`IdOf`), and a 32-bit tag of the hash
// beside each slot keeps probes off the nodes whose ids differ. That is
// 12 bytes per slot, 14 to 28 bytes per id, where a general hash table of
// (id, node) entries took about 40.
//
// The index is kept in pages of kPageIds ids, made when a first id falls in
// them: it grows without copying, and each of its bytes is written once (an
// index that doubled and was fitted at the end wrote three times its final
// size, in fresh memory, which is the dear part on large files).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class NodeIdRegistry {
 public:
  // The id a registered node holds; the registry reads it to tell the nodes
  // that share a slot's probe run apart.
  using IdOf = long (*)(const void* node);
  explicit NodeIdRegistry(IdOf idOf) noexcept : idOf_(idOf) {}
  NodeIdRegistry(const NodeIdRegistry&) = delete;
  NodeIdRegistry& operator=(const NodeIdRegistry&) = delete;

  // Registers `node`, whose id is `id` (idOf(node) == id); a later node with
  // the same id hides the earlier one from find(). On failure (out of memory)
  // nothing is registered.
  void add(long id, void* node);
  // The newest node registered under `id`, or null.
  void* find(long id) {
    if (ascending_) return findInOrder(id);
    if (id >= 0) {
      const size_t page = static_cast<size_t>(id) >> kPageBits;
      if (page < pages_.size() && pages_[page] != nullptr) {
        if (void* node = pages_[page][static_cast<size_t>(id) & kPageMask]) return node;
      }
    }
    return sparseCount_ == 0 ? nullptr : findSparse(id);
  }
  // True while every id came in ascending order: the nodes in the order
  // they were added are then in ascending id, those of one id neighbours.
  bool holdsIdsInOrder() const { return ascending_; }
  // The node of the `record`-th record added (from 0), while ids are held in
  // order.
  void* orderedNode(size_t record) const noexcept;
  // Records registered, those hidden by a later one included.
  long count() const { return static_cast<long>(count_); }
  // Forgets every node (destroys none) and frees the memory. Allocates nothing.
  void empty() noexcept;

 private:
  // Ids and nodes in file order, while they ascend, by runs of kRunIds
  // records. An id is kept as its distance from the first id of its run
  // (runFirstIds_): ids of neighbouring records are close. A run with an id
  // too far for 16 bits is wide: its ids are kept whole in wideRuns_. A node
  // is kept as its distance in bytes from the first node of its run: nodes
  // made one after another lie close together. A node too far for that is
  // kFarNode, and its address is in farNodes_.
  static constexpr size_t kRunIds = 32;
  static constexpr size_t kChunkRecords = size_t{1} << 13;
  static constexpr size_t kChunkRuns = kChunkRecords / kRunIds;
  static_assert(kChunkRuns % 64 == 0, "the wide runs' bits fill whole words");
  static constexpr int16_t kFarNode = INT16_MIN;
  struct OrderedChunk {
    uint16_t idSteps[kChunkRecords];  // from the first id of the run
    int16_t offsets[kChunkRecords];
    const char* runNodes[kChunkRuns];    // the first node of each run
    uint64_t wideRuns[kChunkRuns / 64];  // a bit per run
    bool isWide(size_t run) const noexcept { return (wideRuns[run / 64] >> (run % 64) & 1) != 0; }
  };
  bool addInOrder(long id, void* node);
  void* findInOrder(long id) noexcept;
  // The id of the `record`-th record held in order.
  uint32_t orderedId(size_t record) const noexcept;
  // The nodes too far from the first of their run, by record, ascending.
  struct FarNode {
    size_t record;
    void* node;
  };
  std::vector<FarNode> farNodes_;
  // The ids of the wide runs, by run, ascending.
  struct WideRun {
    size_t run;
    uint32_t ids[kRunIds];
  };
  std::vector<WideRun> wideRuns_;
  const WideRun& wideRun(size_t run) const noexcept;
  uint32_t lastId_ = 0;  // of the newest record held in order
  // Moves every node held in order to the index and the table; on failure
  // (out of memory) the registry is as it was.
  void leaveOrder();
  void addOffOrder(long id, void* node);
  // Frees the index and the table.
  void forgetOffOrder() noexcept;
  bool ascending_ = true;
  std::vector<std::unique_ptr<OrderedChunk>> ordered_;
  std::vector<uint32_t> runFirstIds_;  // the id of every kRunIds-th record
  size_t lastRun_ = 0;                 // where the last look-up found its run
  // Which runs each range of ids falls in, made once the runs stop growing
  // (look-ups mostly follow the last record): bucket b holds the ids from
  // runFirstIds_[0] + (b << bucketShift_) on, bucketRuns_[b] is the run that
  // holds its first id, and there are no more buckets than runs. A look-up
  // then searches the runs of one bucket, mostly one or two, wherever the
  // last one was; without it, it gallops out from that one.
  std::vector<uint32_t> bucketRuns_;
  unsigned bucketShift_ = 0;
  size_t bucketedRuns_ = 0;  // the runs bucketRuns_ was made for
  size_t staleLookUps_ = 0;  // look-ups since the runs last grew past it
  // Makes bucketRuns_ for the runs there are; keeps galloping when memory
  // runs out.
  void bucketRuns() noexcept;

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

  // The table of ids off the index: a power-of-two number of slots, linear
  // probing, at most seven eighths full (the tags keep long probes cheap); a
  // null slot is free. Nodes of one id share one slot (the newest), so ids,
  // not records, fill it.
  static constexpr size_t kFirstSlots = 64;
  struct Place {
    size_t home;
    uint32_t tag;
  };
  Place placeOf(long id) const noexcept;
  size_t homeOf(uint32_t tag) const noexcept;
  void* findSparse(long id) const noexcept;
  // The slot that holds `id`, or the free slot where it goes.
  size_t slotFor(long id, const Place& place) const noexcept;
  void addSparse(long id, void* node);
  void growSparse();
  IdOf idOf_;
  std::unique_ptr<void*[]> slots_;
  std::unique_ptr<uint32_t[]> tags_;
  size_t slotMask_ = 0;     // slots - 1; 0 while there are none
  unsigned lineBits_ = 0;   // log2 of the lines of eight slots
  size_t sparseIds_ = 0;    // slots in use
  size_t sparseCount_ = 0;  // records registered off the index
  size_t count_ = 0;
};
