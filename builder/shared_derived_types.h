// The derived types of columns and parameters, one per set of equal values.
//
// Two derived types made for columns are equal (same name, length, scale,
// data type, native data type and base type) exactly when their native type
// names, lengths and scales are equal: the name, the data type and the base
// type are worked out from the native name and the length alone. The type
// factorization that follows the building keeps the first type of each set
// of equal types and points every user of a later one to it; handing the
// type made for the first column of each set to every later column of the
// set gives that same model directly (the same types in the same order, with
// their users in the same order), without making and deleting a type per
// column. Nothing changes a derived type after it was made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "model/zel_type.h"
#include "zel_flat_map.h"
#include "zel_keyed_hash.h"
#include "zel_string.h"

namespace CaRepositoryDsOdbcImport {

class Rel_dtNode;

class SharedDerivedTypes {
 public:
  // The type for native type `nativeType` (named `nativeName`) with `length`
  // and `scale`, or null when none was kept yet.
  ZELDerivedType* find(const Rel_dtNode* nativeType, const ZELString& nativeName, int length,
                       int scale) {
    if (ZELDerivedType* byNode = byNode_.find(NodeKey{nativeType, length, scale})) return byNode;
    const auto byName = byName_.find(NameKey{nativeName, length, scale});
    if (byName == byName_.end()) return nullptr;
    byNode_.add(NodeKey{nativeType, length, scale}, byName->second);
    return byName->second;
  }
  // Keeps `type` as the one for these values (find returned null for them).
  void keep(const Rel_dtNode* nativeType, const ZELString& nativeName, int length, int scale,
            ZELDerivedType* type) {
    byName_.emplace(NameKey{nativeName, length, scale}, type);
    byNode_.add(NodeKey{nativeType, length, scale}, type);
  }
  // Forgets every type (the model owns them). Allocates nothing.
  void clear() noexcept {
    byNode_.clear();
    byName_.clear();
  }

 private:
  static uint64_t lengthAndScale(int length, int scale) noexcept {
    return (static_cast<uint64_t>(static_cast<uint32_t>(length)) << 32) |
           static_cast<uint32_t>(scale);
  }
  // Keyed hashes: native types, lengths and scales come from the file.
  struct NodeKey {
    const Rel_dtNode* nativeType;
    int length;
    int scale;
    bool operator==(const NodeKey& other) const noexcept {
      return nativeType == other.nativeType && length == other.length && scale == other.scale;
    }
  };
  struct NodeKeyHash {
    size_t operator()(const NodeKey& key) const noexcept {
      return zel_hash::hashWords(reinterpret_cast<uintptr_t>(key.nativeType),
                                 lengthAndScale(key.length, key.scale));
    }
  };
  struct NameKey {
    ZELString nativeName;
    int length;
    int scale;
    bool operator==(const NameKey& other) const noexcept {
      return length == other.length && scale == other.scale && nativeName == other.nativeName;
    }
  };
  struct NameKeyHash {
    size_t operator()(const NameKey& key) const noexcept {
      return zel_hash::hashWords(
          zel_hash::hashBytes(key.nativeName.c_str(), key.nativeName.length()),
          lengthAndScale(key.length, key.scale));
    }
  };
  // By native type record first (no text hashed per column), then by name:
  // records of one native name share their types. The first is looked up
  // once per column, so a flat table.
  ZELFlatMap<NodeKey, ZELDerivedType, NodeKeyHash> byNode_;
  std::unordered_map<NameKey, ZELDerivedType*, NameKeyHash> byName_;
};

}  // namespace CaRepositoryDsOdbcImport
