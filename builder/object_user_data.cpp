// The builder's record on each schema it makes (its design package), and the
// clean-up that takes those records off again and frees the bridge's per-import data.
#include "bridge/import_bridge.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;

Bridge::ObjectUserData* Bridge::getObjectUserData(ZELObject* object) {
  if (void* pointer = object->getGeneralPointer()) {
    return static_cast<Bridge::ObjectUserData*>(pointer);
  }
  ObjectUserData* data = &userData.emplace_back(HeldUserData{object, {}}).data;
  object->setGeneralPointer(data);
  return data;
}

void Bridge::deleteUnusedObjects(bool /*success*/) {
  // The objects that carry user data are listed, so the model of millions of
  // objects is not walked to find them. Allocates nothing.
  for (const HeldUserData& held : userData) held.object->setGeneralPointer(nullptr);
  userData.clear();
  // Every node lies in the node arena: destroyed in place, freed with it.
  forEachNode([](Node* node) { CaRepositoryDsOdbcImport::destroyNode(node); });
  nodeArena.release();
  sharedTexts.clear();
  derivedTypeValues.clear();
  sharedDerivedTypes.clear();
  scannerIndexTable.empty();
  idRegistry.empty();
  baseTypeTable.empty();
}
