// What the catalog holds, as every output shows it: which of a table's
// indexes the catalog defines (the import adds one to every key), how a
// foreign key's columns pair, and how a column is named. The writers and
// `diff` ask here, so that no two outputs tell the same catalog differently.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "model/zel_model.h"

namespace pcd::writers {

// True when the import made `index` for a key of `table` (the index that
// lists a key's columns, named KEY_POSITION) rather than the catalog
// defining it: the index a key of the table holds, or one a dropped key
// left behind. A key the import drops (a foreign key whose columns do not
// match its primary key, a key with an index record) leaves its index on
// the table; such an index is named after the key with "_POSITION" and
// never carries the unique or catalog-storage flag, which only an
// index-only key's index record sets.
bool isKeyIndex(const ZELClass& table, const ZELIndex& index);

// The indexes the catalog defines on `table`, in the model's order.
std::vector<const ZELIndex*> catalogIndexes(const ZELClass& table);

// One column pair of a foreign key, always in this order: the column of
// the foreign key's own table, then the column of the referenced key it
// stands for. Either is null when the model lacks it.
struct ColumnPair {
  const ZELAttribute* referencing;
  const ZELAttribute* referenced;
};
// The foreign key's pairs as the model holds them, in key order; none when
// the import could pair no column.
std::vector<ColumnPair> columnPairs(const ZELForeignKey& key);

// The columns of a table or view in position order (the model's order
// among equal positions).
std::vector<const ZELAttribute*> columnsInPositionOrder(const ZELClassifier& classifier);

// A column's name as shown: its bytes, "?" when there is no column.
std::string columnName(const ZELAttribute* column);
// The names of a key's columns, joined by ", ", each of at most `characters`
// characters (a longer one ends in "…").
std::string keyColumnNames(const ZELKey& key, size_t characters = SIZE_MAX);
// An index's members, "A, B desc", joined by ", ".
std::string indexMemberNames(const ZELIndex& index);
// The foreign key's pairs as "REFERENCING → REFERENCED", joined by
// `separator`; without pairs, its own columns joined by ", ". A referenced
// name longer than `referencedCharacters` characters ends in "…".
std::string columnPairNames(const ZELForeignKey& key, std::string_view separator,
                            size_t referencedCharacters = SIZE_MAX);

}  // namespace pcd::writers
