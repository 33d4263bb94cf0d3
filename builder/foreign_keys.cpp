// Completing foreign keys: the link to the referenced primary key, the
// association between the two tables, and the column pairs.
#include <cstdint>
#include <memory>
#include <unordered_map>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "zel_keyed_hash.h"
#include "zel_type_helpers.h"

using namespace CaRepositoryDsOdbcImport;
using Bridge = ZELCaRepositoryDsOdbcImportBridge;

namespace {

// The foreign-key side's upper bound: "many".
constexpr int kManyUpperBound = 2147483645;
// Above this many primary-key columns, pairing looks positions up in a map
// instead of scanning, so it stays linear for very wide keys.
constexpr long kScanLimit = 16;

// For each member of the foreign key's index, the first member of the
// primary key's index with the same position: one role name map per match.
void pairColumns(ZELForeignKey* foreignKey, ZELIndex* foreignIndex, ZELIndex* primaryIndex) {
  // Positions come from the file: hashed with the process's key.
  struct PositionHash {
    size_t operator()(short position) const noexcept {
      return zel_hash::hashWord(static_cast<uint16_t>(position));
    }
  };
  std::unordered_map<short, ZELIndexMember*, PositionHash> byPosition;
  const bool useMap = primaryIndex->members().count() > kScanLimit;
  if (useMap) {
    for (ZELIndexMember* member : primaryIndex->members()) {
      byPosition.emplace(member->position, member);  // keeps the first of a position
    }
  }
  for (ZELIndexMember* foreignMember : foreignIndex->members()) {
    ZELIndexMember* match = nullptr;
    if (useMap) {
      auto found = byPosition.find(foreignMember->position);
      if (found != byPosition.end()) match = found->second;
    } else {
      for (ZELIndexMember* primaryMember : primaryIndex->members()) {
        if (primaryMember->position == foreignMember->position) {
          match = primaryMember;
          break;
        }
      }
    }
    if (match == nullptr) continue;
    auto map = std::make_unique<ZELAssociationRoleNameMap>();
    map->addSourceAttribute(match->getAttribute());
    map->addDestinationAttribute(foreignMember->getAttribute());
    map->addForeignKey(foreignKey);
    map.release();
  }
}

bool hasOptionalColumn(const ZELForeignKey* foreignKey) {
  for (ZELAttribute* column : foreignKey->attributes()) {
    if (column->isOptional()) return true;
  }
  return false;
}

}  // namespace

void Bridge::processFk_tb_atNode(Fk_tb_atNode* node) {
  auto* foreignKeyRecord = resolve<kFromId>(node);
  Node* tableAt = resolve<kToId>(node);
  auto* keyNode = resolve<kToId>(foreignKeyRecord);

  ZELObject* object = keyNode->modelObject;
  if (object == nullptr) return;  // no column made the key, or it was removed
  if (!object->isInstanceOf(ZEL_ET_FOREIGN_KEY)) {
    TAV_CARDS::CAREPOSITORY_I_UNEXPECTED_KEY_TYPE.log(*log, object->getName());
    removeKeyObject(keyNode);
    return;
  }
  auto* foreignKey = static_cast<ZELForeignKey*>(object);

  // The TABLE_AT's object is the referenced table (or view); a second
  // placement of a table carries none.
  ZELObject* referenced = tableAt->modelObject;
  if (referenced == nullptr || !referenced->isInstanceOf(ZEL_ET_CLASS)) return;
  auto* referencedClass = static_cast<ZELClass*>(referenced);
  ZELCandidateKey* primaryKey = referencedClass->getPrimaryKey();

  // Without a primary key (a view has none) there is nothing to match, which
  // is reported like a column-count mismatch.
  if (primaryKey == nullptr ||
      foreignKey->attributes().count() != primaryKey->attributes().count()) {
    TAV_CARDS::CAREPOSITORY_I_FK_MISMATCH.log(*log, foreignKey->getName());
    removeKeyObject(keyNode);
    return;
  }

  ZELObject* schema = referencedClass->getOwner();
  if (schema == nullptr || !schema->isInstanceOf(ZEL_ET_DATABASE_SCHEMA)) return;

  foreignKey->addCandidateKey(primaryKey);

  auto association = std::make_unique<ZELAssociation>();
  if (!registerInDesignPackage(static_cast<ZELDatabaseSchema*>(schema),
                               static_cast<ZELModelElement*>(association.get()),
                               &ZELDesignPackage::addModelElement)) {
    return;
  }
  ZELAssociation* linked = association.release();  // the design package owns it now

  auto parentRole = std::make_unique<ZELAssociationRole>();
  parentRole->parentSide = true;
  parentRole->addAssociatedClass(referencedClass);
  auto childRole = std::make_unique<ZELAssociationRole>();
  childRole->parentSide = false;
  childRole->addAssociatedClass(foreignKey->getAssociatedClass());
  linked->addAssociationRole(parentRole.get());
  ZELAssociationRole* parent = parentRole.release();
  linked->addAssociationRole(childRole.get());
  ZELAssociationRole* child = childRole.release();
  child->addForeignKey(foreignKey);

  ZELIndex* foreignIndex = foreignKey->getIndex();
  ZELIndex* primaryIndex = primaryKey->getIndex();
  if (foreignIndex != nullptr && primaryIndex != nullptr) {
    pairColumns(foreignKey, foreignIndex, primaryIndex);
  }

  parent->multiplicity =
      hasOptionalColumn(foreignKey) ? buildMultiplicity(0, 1) : buildMultiplicity(1, 1);
  child->multiplicity = buildMultiplicity(0, kManyUpperBound);
  setSourceProperty(child, parent);
  setAggregationProperty(linked);

  child->roleCode1 = 1;
  child->roleCode2 = 1;
  child->roleCode3 = 1;
  if (foreignKeyRecord->attr2Y) {
    child->roleCode1 = 3;
    child->roleCode2 = 3;
  }
  if (foreignKeyRecord->attr1Y) child->roleCode3 = 3;
}
