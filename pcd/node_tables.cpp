// The reader's string-keyed table of opaque pointers.
#include "pcd/node_tables.h"

#include <cstring>
#include <utility>

namespace {

// Hands a new pooled entry to the host table; the entry goes back to the
// pool if the table does not take it (or fails while taking it).
template <class Entry>
bool addEntry(ZELHashtable& table, CaRepositoryDsOdbcImport::RecordPool<Entry>& pool,
              Entry* entry) {
  bool added = false;
  try {
    added = table.add(entry, true, nullptr);
  } catch (...) {
    pool.discard(entry);
    throw;
  }
  if (!added) pool.discard(entry);
  return added;
}

}  // namespace

// --- ZELStringNodeHashtable

bool ZELStringNodeHashtable::add(ZELString key, void* value) {
  return addEntry(*this, entryPool_, entryPool_.create(Entry{std::move(key), value}));
}

void* ZELStringNodeHashtable::find(ZELString key) {
  const auto* entry = static_cast<const Entry*>(findFirst(key.c_str(), nullptr));
  return entry ? entry->value : nullptr;
}

bool ZELStringNodeHashtable::empty() {
  // The host table forgets the entries first: it must not look at them
  // once the pool has destroyed them.
  const bool emptied = ZELHashtable::empty();
  entryPool_.clear();
  return emptied;
}

int ZELStringNodeHashtable::compare2Object(const void* entryA, const void* entryB) const {
  return std::strcmp(static_cast<const Entry*>(entryA)->key.c_str(),
                     static_cast<const Entry*>(entryB)->key.c_str());
}

int ZELStringNodeHashtable::compare2Key(const void* entry, const void* key) const {
  return std::strcmp(static_cast<const Entry*>(entry)->key.c_str(), static_cast<const char*>(key));
}

unsigned long ZELStringNodeHashtable::hashObject(const void* entry) const {
  return static_cast<const Entry*>(entry)->key.hashCode();
}

unsigned long ZELStringNodeHashtable::hashKey(const void* key) const {
  return stringHashCode(static_cast<const char*>(key));
}
