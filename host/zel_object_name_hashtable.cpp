#include "zel_object_name_hashtable.h"

#include "model/zel_object.h"

namespace {
const ZELObject* objectOf(const void* entry) {
  return static_cast<const ZELObject*>(entry);
}
}  // namespace

int ZELObjectNameHashtable::compare2Object(const void* entryA, const void* entryB) const {
  return objectOf(entryA)->getName().compare(objectOf(entryB)->getName());
}

int ZELObjectNameHashtable::compare2Key(const void* entry, const void* key) const {
  const ZELString& name = objectOf(entry)->getName();
  const char* text = key ? static_cast<const char*>(key) : "";
  // Names with NUL bytes never match a NUL-terminated key.
  return name == text ? 0 : 1;
}

unsigned long ZELObjectNameHashtable::hashObject(const void* entry) const {
  // stringHashCode of the key must agree with this for text without NUL.
  return objectOf(entry)->getName().hashCode();
}

unsigned long ZELObjectNameHashtable::hashKey(const void* key) const {
  return stringHashCode(static_cast<const char*>(key));
}
