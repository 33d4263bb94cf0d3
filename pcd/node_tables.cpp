// The reader's string-keyed and id-keyed tables of opaque pointers.
#include "pcd/node_tables.h"

#include <cstring>
#include <memory>

namespace {

// Frees every entry of `table` (of entry type Entry) before the host table
// forgets them; the values are not owned and stay untouched.
// Allocates nothing, since it runs in clean-up after failures.
template <class Entry>
void freeEntries(ZELHashtable& table) {
  table.forEachEntry([](void* entry) { delete static_cast<Entry*>(entry); });
}

// Hands a new entry to the host table; the entry is freed again if the table
// does not take it (or fails while taking it).
template <class Entry>
bool addEntry(ZELHashtable& table, std::unique_ptr<Entry> entry) {
  if (!table.add(entry.get(), true, nullptr)) return false;
  entry.release();
  return true;
}

}  // namespace

// --- ZELStringNodeHashtable

bool ZELStringNodeHashtable::add(ZELString key, void* value) {
  return addEntry(*this, std::unique_ptr<Entry>(new Entry{std::move(key), value}));
}

void* ZELStringNodeHashtable::find(ZELString key) {
  const auto* entry = static_cast<const Entry*>(findFirst(key.c_str(), nullptr));
  return entry ? entry->value : nullptr;
}

bool ZELStringNodeHashtable::empty() {
  freeEntries<Entry>(*this);
  return ZELHashtable::empty();
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

// --- ZELLongNodeHashtable

namespace {

int compareIds(long a, long b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

}  // namespace

bool ZELLongNodeHashtable::add(long key, void* value) {
  return addEntry(*this, std::unique_ptr<Entry>(new Entry{key, value}));
}

void* ZELLongNodeHashtable::find(long key) {
  const auto* entry = static_cast<const Entry*>(findFirst(&key, nullptr));
  return entry ? entry->value : nullptr;
}

bool ZELLongNodeHashtable::empty() {
  freeEntries<Entry>(*this);
  return ZELHashtable::empty();
}

int ZELLongNodeHashtable::compare2Object(const void* entryA, const void* entryB) const {
  return compareIds(static_cast<const Entry*>(entryA)->key, static_cast<const Entry*>(entryB)->key);
}

int ZELLongNodeHashtable::compare2Key(const void* entry, const void* key) const {
  return compareIds(static_cast<const Entry*>(entry)->key, *static_cast<const long*>(key));
}

// Ids hash to themselves; the host table mixes hashes before use.
unsigned long ZELLongNodeHashtable::hashObject(const void* entry) const {
  return static_cast<unsigned long>(static_cast<const Entry*>(entry)->key);
}

unsigned long ZELLongNodeHashtable::hashKey(const void* key) const {
  return static_cast<unsigned long>(*static_cast<const long*>(key));
}
