// ZELElementNames: the names a design package's elements are registered
// under, found by name and by element.
//
// A model has many design packages of a few elements each and some of
// millions, so the table is one array of (element, name) pairs: a package of
// up to kLinear elements searches it in place, a larger one adds two
// open-addressing indexes over it (by name and by element; each slot holds
// an entry's position and 32 bits of its key's hash). No node per entry and
// no bucket array in small packages: a few words per element instead of two
// node-based maps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "zel_string.h"

class ZELObject;

class ZELElementNames {
 public:
  ZELElementNames() noexcept;
  ~ZELElementNames();
  ZELElementNames(const ZELElementNames&) = delete;
  ZELElementNames& operator=(const ZELElementNames&) = delete;

  size_t count() const noexcept { return entries_.size(); }
  // True when an element holds `name` (never for the empty name).
  bool holdsName(const ZELString& name) const noexcept;
  bool holdsElement(const ZELObject* element) const noexcept;
  // Adds `element` under `name`. The element must not be held and a
  // non-empty name must be free. Throws std::bad_alloc with nothing changed.
  void add(const ZELObject* element, const ZELString& name);
  // Takes the element's entry out and returns the name it held (empty when
  // the element was not held). Allocates nothing: it runs while objects are
  // deleted.
  ZELString remove(const ZELObject* element) noexcept;

 private:
  struct Entry {
    const ZELObject* element;
    ZELString name;
  };
  struct Index;
  static constexpr size_t kLinear = 8;

  size_t positionOf(const ZELObject* element) const noexcept;
  void buildIndex(size_t entryCount);

  std::vector<Entry> entries_;
  std::unique_ptr<Index> index_;  // null while the package is small
};
