// The values that the derived types of all columns and parameters of one
// native type and length have in common: the type's name, the host data type
// and the shared base type. Worked out once per native type and length
// instead of once per column, and shared (the strings by their buffers).
#pragma once

#include <cstddef>
#include <functional>
#include <unordered_map>

#include "model/zel_type.h"
#include "zel_keyed_hash.h"
#include "zel_string.h"

namespace CaRepositoryDsOdbcImport {

class Rel_dtNode;

struct DerivedTypeValues {
  ZELString name;      // the native type name, with "_" and the length when it is not 0
  ZELString dataType;  // the host data type of the native name
  ZELBaseType* baseType = nullptr;  // owned by the model
};

class DerivedTypeValueCache {
 public:
  // The values for columns of native type `nativeType` with length `length`,
  // made by `make` (returning DerivedTypeValues) the first time they are asked for.
  template <class Make>
  const DerivedTypeValues& valuesFor(const Rel_dtNode* nativeType, int length, Make make) {
    const Key key{nativeType, length};
    auto found = values_.find(key);
    if (found == values_.end()) found = values_.emplace(key, make()).first;
    return found->second;
  }
  // Forgets every value. Allocates nothing.
  void clear() noexcept { values_.clear(); }

 private:
  struct Key {
    const Rel_dtNode* nativeType;
    int length;
    bool operator==(const Key& other) const noexcept {
      return nativeType == other.nativeType && length == other.length;
    }
  };
  struct KeyHash {
    size_t operator()(const Key& key) const noexcept {
      // Keyed: lengths come from the file and could be chosen to collide.
      return zel_hash::hashWords(reinterpret_cast<uintptr_t>(key.nativeType),
                                 static_cast<uint64_t>(static_cast<uint32_t>(key.length)));
    }
  };
  std::unordered_map<Key, DerivedTypeValues, KeyHash> values_;
};

}  // namespace CaRepositoryDsOdbcImport
