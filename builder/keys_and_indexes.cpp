// Keys (primary, alternate, foreign), their position indexes, index-only
// keys, and the index members that list their columns.
#include <memory>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "builder/record_values.h"

using namespace CaRepositoryDsOdbcImport;
using Bridge = ZELCaRepositoryDsOdbcImportBridge;

namespace {

const ZELString kPrimary("P");
const ZELString kForeign("F");
const ZELString kAlternate("A");
const ZELString kIndexOnly("I");
const ZELString kPositionSuffix("_POSITION");

enum class KeyKind { kPrimary, kForeign, kAlternate, kIndexOnly, kNone };

KeyKind keyKindOf(const ZELString& letter) {
  if (letter == kPrimary) return KeyKind::kPrimary;
  if (letter == kForeign) return KeyKind::kForeign;
  if (letter == kAlternate) return KeyKind::kAlternate;
  if (letter == kIndexOnly) return KeyKind::kIndexOnly;
  return KeyKind::kNone;
}

// The index that lists a key's columns: named after the key, same class.
ZELIndex* makePositionIndex(const KeyNode* keyNode, ZELClass* owner) {
  auto index = std::make_unique<ZELIndex>();
  index->setName(keyNode->name + kPositionSuffix);
  index->indexFlag2 = false;
  index->addAssociatedClass(owner);
  return index.release();
}

// Makes the key object of a KEY node the first time one of its columns
// arrives; the class of that column becomes the key's class.
ZELKey* makeKey(KeyKind kind, KeyNode* keyNode, ZELClass* owner) {
  std::unique_ptr<ZELKey> key;
  if (kind == KeyKind::kForeign) {
    key = std::make_unique<ZELForeignKey>();
  } else {
    key = std::make_unique<ZELCandidateKey>();
  }
  key->setName(keyNode->name);
  key->addAssociatedClass(owner);
  ZELKey* linked = key.release();
  if (kind != KeyKind::kForeign) {
    auto* candidate = static_cast<ZELCandidateKey*>(linked);
    if (kind == KeyKind::kPrimary) candidate->addPrimaryOfClass(owner);
    candidate->uniqueKey = true;
  }
  keyNode->modelObject = linked;
  linked->addIndex(makePositionIndex(keyNode, owner));
  return linked;
}

ZELIndex* makeIndexOnlyKey(KeyNode* keyNode, ZELClass* owner) {
  auto index = std::make_unique<ZELIndex>();
  index->setName(keyNode->name);
  index->addAssociatedClass(owner);
  ZELIndex* linked = index.release();
  keyNode->modelObject = linked;
  return linked;
}

}  // namespace

void Bridge::processKey_colNode(Key_colNode* node) {
  auto* keyNode = resolve<kFromId>(node);
  Node* columnNode = resolve<kToId>(node);
  // A column of a table that was never placed has no attribute.
  if (columnNode->modelObject == nullptr) return;
  auto* column = static_cast<ZELAttribute*>(columnNode->modelObject);
  auto* owner = static_cast<ZELClass*>(column->getClassifier());

  KeyKind kind = keyKindOf(keyNode->keyType);
  if (kind == KeyKind::kNone) return;

  ZELIndex* index;
  if (kind == KeyKind::kIndexOnly) {
    index = keyNode->modelObject != nullptr ? static_cast<ZELIndex*>(keyNode->modelObject)
                                            : makeIndexOnlyKey(keyNode, owner);
  } else {
    ZELKey* key = keyNode->modelObject != nullptr ? static_cast<ZELKey*>(keyNode->modelObject)
                                                  : makeKey(kind, keyNode, owner);
    index = key->getIndex();
    key->addAttribute(column);
  }
  if (index == nullptr) return;

  auto member = std::make_unique<ZELIndexMember>();
  member->addAttribute(column);
  member->position = low16(node->position);
  member->sortOrder = node->descending ? 2 : 1;
  index->addIndexMember(member.get());
  member.release();
}

void Bridge::processIndex_atNode(Index_atNode* node) {
  auto* keyNode = resolve<kFromId>(node);
  ZELObject* object = keyNode->modelObject;
  // No column made the key, or an earlier record removed it.
  if (object == nullptr) return;

  if (object->isInstanceOf(ZEL_ET_INDEX)) {
    auto* index = static_cast<ZELIndex*>(object);
    if (node->attr1Y) index->indexFlag1 = true;
    if (node->attr5Y) index->indexFlag3 = true;
    return;
  }
  TAV_CARDS::CAREPOSITORY_I_UNEXPECTED_KEY_TYPE.log(*log, object->getName());
  removeKeyObject(keyNode);
}

void Bridge::removeKeyObject(KeyNode* keyNode) {
  ZELObject* object = keyNode->modelObject;
  if (object == nullptr) return;
  // The host unlinks the key from its class, roles, maps and referring keys.
  delete object;
  keyNode->modelObject = nullptr;
}
