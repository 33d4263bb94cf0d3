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
  // A bridge destroyed before it ran has no model to walk.
  if (model != nullptr) {
    try {
      ResetGeneralPointerOperation reset;
      model->depthTraversal(reset, nullptr);
    } catch (...) {
      // The node and table clean-up below must run whatever happened here.
    }
  }
  takeEachValue(kindTable, [](void* value) { delete static_cast<ZELVector*>(value); });
  takeEachValue(idRegistry, [](void* value) { delete static_cast<Node*>(value); });
  scannerIndexTable.empty();
  idRegistry.empty();
  kindTable.empty();
  baseTypeTable.empty();
}
