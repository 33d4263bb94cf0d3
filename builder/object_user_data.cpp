// The builder's record on each model object it makes, and the clean-up that
// takes those records off again and frees the bridge's per-import data.
#include "bridge/import_bridge.h"
#include "zel_vector.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;

Bridge::ObjectUserData* getObjectUserData(ZELObject* object) {
  if (void* pointer = object->getGeneralPointer()) {
    return static_cast<Bridge::ObjectUserData*>(pointer);
  }
  auto* data = new Bridge::ObjectUserData();
  object->setGeneralPointer(data);
  return data;
}

bool Bridge::ResetGeneralPointerOperation::pre_process(ZELObject* /*object*/, void*& /*argument*/) {
  return true;
}

void Bridge::ResetGeneralPointerOperation::post_process(ZELObject* object, void* /*argument*/) {
  if (void* pointer = object->getGeneralPointer()) {
    delete static_cast<ObjectUserData*>(pointer);
    object->setGeneralPointer(nullptr);
  }
}

namespace {

// Calls `visit` with the value of every entry of a node table.
template <class Table, class Visit>
void forEachValue(Table& table, Visit visit) {
  ZELContainer::Iterator* iterator = table.newIterator(true);
  for (void* item = iterator->get(); item != nullptr; item = iterator->next(1)) {
    visit(static_cast<typename Table::Entry*>(item)->value);
  }
  table.deleteIterator(iterator);
}

}  // namespace

void Bridge::deleteUnusedObjects(bool /*success*/) {
  // A bridge destroyed before it ran has no model to walk.
  if (model != nullptr) {
    try {
      ResetGeneralPointerOperation reset;
      model->depthTraversal(reset, nullptr);
    } catch (...) {
      // The node and table clean-up below must run whatever happened here.
    }
  }
  forEachValue(kindTable, [](void* value) { delete static_cast<ZELVector*>(value); });
  forEachValue(idRegistry, [](void* value) { delete static_cast<Node*>(value); });
  scannerIndexTable.empty();
  idRegistry.empty();
  kindTable.empty();
  baseTypeTable.empty();
}
