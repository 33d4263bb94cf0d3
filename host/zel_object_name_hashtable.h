// ZELObjectNameHashtable: model objects by name. The entries are the objects
// themselves (ZELObject*), the keys NUL-terminated names. It does not own the
// objects. An object renamed after it was added keeps its old hash: remove it
// first and add it again.
#pragma once

#include "zel_hashtable.h"

class ZELObject;

class ZELObjectNameHashtable : public ZELHashtable {
 public:
  explicit ZELObjectNameHashtable(int initialSize = 16) : ZELHashtable(initialSize) {}

  // Convenience: the newest object of that name, or null.
  ZELObject* find(const char* name) { return static_cast<ZELObject*>(findFirst(name, nullptr)); }

  int compare2Object(const void* entryA, const void* entryB) const override;
  int compare2Key(const void* entry, const void* key) const override;
  unsigned long hashObject(const void* entry) const override;
  unsigned long hashKey(const void* key) const override;
};
