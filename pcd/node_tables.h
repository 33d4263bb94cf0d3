// The reader's table of opaque pointers over the host hashtable, keyed by
// text (record name to scanner index).
// Each entry is a small record that the table owns; the values are never
// owned. The owner calls empty() before destroying a table.
#pragma once

#include "pcd/chunk_arena.h"
#include "zel_hashtable.h"
#include "zel_string.h"

class ZELStringNodeHashtable : public ZELHashtable {
 public:
  explicit ZELStringNodeHashtable(int initialSize) : ZELHashtable(initialSize) {}
  ~ZELStringNodeHashtable() override = default;

  // Adds a copy of `key` with `value`; equal keys are allowed (the newest is found).
  bool add(ZELString key, void* value);
  // The value of the newest entry with that key, or null.
  void* find(ZELString key);
  // Frees every entry, then empties the table.
  bool empty() override;

  int compare2Object(const void* entryA, const void* entryB) const override;
  int compare2Key(const void* entry, const void* key) const override;
  unsigned long hashObject(const void* entry) const override;
  unsigned long hashKey(const void* key) const override;

  struct Entry {
    ZELString key;
    void* value;
  };

 private:
  // Entries come from a pool: no allocation per entry, freed all at once.
  CaRepositoryDsOdbcImport::RecordPool<Entry> entryPool_;
};
