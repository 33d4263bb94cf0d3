// The builder's record on each schema it makes (its design package), and the
// clean-up that takes those records off again and frees the bridge's per-import data.
#include "bridge/import_bridge.h"
#include "zel_vector.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;

Bridge::ObjectUserData* Bridge::getObjectUserData(ZELObject* object) {
  if (void* pointer = object->getGeneralPointer()) {
    return static_cast<Bridge::ObjectUserData*>(pointer);
  }
  ObjectUserData* data = &userData.emplace_back(HeldUserData{object, {}}).data;
  object->setGeneralPointer(data);
  return data;
}

namespace {

// Calls `visit` with the value of every entry of a node table, then clears
// the value, so that an interrupted clean-up repeated later frees nothing
// twice. Allocates nothing: clean-up runs after failures, out of memory too.
template <class Table, class Visit>
void takeEachValue(Table& table, Visit visit) {
  table.forEachEntry([&visit](void* item) {
    auto* entry = static_cast<typename Table::Entry*>(item);
    if (entry->value != nullptr) visit(entry->value);
    entry->value = nullptr;
  });
}

}  // namespace

void Bridge::deleteUnusedObjects(bool /*success*/) {
  // The objects that carry user data are listed, so the model of millions of
  // objects is not walked to find them. Allocates nothing.
  for (const HeldUserData& held : userData) held.object->setGeneralPointer(nullptr);
  userData.clear();
  takeEachValue(kindTable, [](void* value) { delete static_cast<ZELVector*>(value); });
  // Every node lies in the node arena: destroyed in place, freed with it.
  forEachNode([](Node* node) { node->~Node(); });
  nodeArena.release();
  sharedTexts.clear();
  derivedTypeValues.clear();
  sharedDerivedTypes.clear();
  scannerIndexTable.empty();
  idRegistry.empty();
  kindTable.empty();
  baseTypeTable.empty();
}
