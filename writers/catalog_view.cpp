#include "catalog_view.h"

#include <algorithm>

#include "string_bytes.h"
#include "utf8_sequence.h"

namespace pcd::writers {

namespace {

constexpr std::string_view kKeyIndexSuffix = "_POSITION";

}  // namespace

bool isKeyIndex(const ZELClass& table, const ZELIndex& index) {
  for (const ZELKey* key : table.keys()) {
    if (key->getIndex() == &index) return true;
  }
  if (index.indexFlag1 || index.indexFlag3) return false;
  const std::string_view name = bytesOf(index.getName());
  return name.size() > kKeyIndexSuffix.size() &&
         name.substr(name.size() - kKeyIndexSuffix.size()) == kKeyIndexSuffix;
}

std::vector<const ZELIndex*> catalogIndexes(const ZELClass& table) {
  std::vector<const ZELIndex*> indexes;
  for (const ZELIndex* index : table.indexes()) {
    if (!isKeyIndex(table, *index)) indexes.push_back(index);
  }
  return indexes;
}

std::vector<ColumnPair> columnPairs(const ZELForeignKey& key) {
  std::vector<ColumnPair> pairs;
  for (const ZELAssociationRoleNameMap* map : key.roleNameMaps()) {
    // A map's source is the referenced key's column, its destination the
    // foreign key's own.
    pairs.push_back({map->getDestinationAttribute(), map->getSourceAttribute()});
  }
  return pairs;
}

std::string columnName(const ZELAttribute* column) {
  return column != nullptr ? std::string(bytesOf(column->getName())) : std::string("?");
}

std::string keyColumnNames(const ZELKey& key, size_t characters) {
  std::string text;
  for (const ZELAttribute* column : key.attributes()) {
    if (!text.empty()) text += ", ";
    text += shortenedText(columnName(column), characters);
  }
  return text;
}

std::string indexMemberNames(const ZELIndex& index) {
  std::string text;
  for (const ZELIndexMember* member : index.members()) {
    if (!text.empty()) text += ", ";
    text += columnName(member->getAttribute());
    if (member->sortOrder == 2) text += " desc";
  }
  return text;
}

std::string columnPairNames(const ZELForeignKey& key, std::string_view separator,
                            size_t referencedCharacters) {
  std::string text;
  for (const ColumnPair& pair : columnPairs(key)) {
    if (!text.empty()) text += separator;
    text += columnName(pair.referencing) + " \xE2\x86\x92 " +  // →
            shortenedText(columnName(pair.referenced), referencedCharacters);
  }
  return text.empty() ? keyColumnNames(key) : text;
}

std::vector<const ZELAttribute*> columnsInPositionOrder(const ZELClassifier& classifier) {
  std::vector<const ZELAttribute*> columns;
  columns.reserve(static_cast<size_t>(classifier.features().count()));
  for (const ZELFeature* feature : classifier.features()) {
    if (feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) {
      columns.push_back(static_cast<const ZELAttribute*>(feature));
    }
  }
  const auto before = [](const ZELAttribute* a, const ZELAttribute* b) {
    return a->getPosition() < b->getPosition();
  };
  // Mostly in order already; stable_sort would take a buffer even then.
  if (!std::is_sorted(columns.begin(), columns.end(), before)) {
    std::stable_sort(columns.begin(), columns.end(), before);
  }
  return columns;
}

}  // namespace pcd::writers
