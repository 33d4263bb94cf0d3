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
#include <memory>
#include <new>
#include <unordered_map>

#include "model/zel_type.h"
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
    const NodeKey key{nativeType, length, scale};
    Recent* slot = recentSlot(key);
    if (slot != nullptr && slot->type != nullptr && slot->key == key) return slot->type;
    const auto byName = byName_.find(NameKey{nativeName, length, scale});
    if (byName == byName_.end()) return nullptr;
    if (slot != nullptr) *slot = Recent{key, byName->second};
    return byName->second;
  }
  // Keeps `type` as the one for these values (find returned null for them).
  void keep(const Rel_dtNode* nativeType, const ZELString& nativeName, int length, int scale,
            ZELDerivedType* type) {
    byName_.emplace(NameKey{nativeName, length, scale}, type);
    const NodeKey key{nativeType, length, scale};
    if (Recent* slot = recentSlot(key)) *slot = Recent{key, type};
  }
  // Forgets every type (the model owns them). Allocates nothing.
  void clear() noexcept {
    recent_.reset();
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
  // once per column, in a table of the values met last, one place per hash,
  // that forgets what another key takes the place of: the columns of one
  // table mostly come together and use few native types, so nearly every
  // column finds its values there, and the table stays this size however
  // many native type records a file holds. What it forgot is found by name.
  struct Recent {
    NodeKey key;
    ZELDerivedType* type;  // null: an empty place
  };
  static constexpr unsigned kRecentBits = 12;
  // The place of `key`, the table made on first use; null when there is no
  // memory for it (the look-up then goes by name).
  Recent* recentSlot(const NodeKey& key) noexcept {
    if (recent_ == nullptr) {
      recent_.reset(new (std::nothrow) Recent[size_t{1} << kRecentBits]());
      if (recent_ == nullptr) return nullptr;
    }
    const uint64_t hash = NodeKeyHash()(key);
    return &recent_[(hash * 0x9E3779B97F4A7C15ull) >> (64 - kRecentBits)];
  }
  std::unique_ptr<Recent[]> recent_;
  std::unordered_map<NameKey, ZELDerivedType*, NameKeyHash> byName_;
};

}  // namespace CaRepositoryDsOdbcImport
