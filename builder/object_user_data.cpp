// The builder's record on each schema it makes (its design package), and the
// clean-up that takes those records off again and frees the bridge's per-import data.
#include "bridge/import_bridge.h"
#include "zel_vector.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;

namespace {

// User data whose memory belongs to an arena: a delete through the base
// class runs the destructors and then this operator, which frees nothing.
class ArenaUserData final : public Bridge::ObjectUserData {
 public:
  static void operator delete(void* /*memory*/) noexcept {}
};

}  // namespace

// One allocation per chunk of records instead of one per object. Deleting a
// record runs its destructor and leaves the memory to the arena.
Bridge::ObjectUserData* Bridge::getObjectUserData(ZELObject* object) {
  if (void* pointer = object->getGeneralPointer()) {
    return static_cast<Bridge::ObjectUserData*>(pointer);
  }
  Bridge::ObjectUserData* data = userDataArena.create<ArenaUserData>();
  object->setGeneralPointer(data);
  return data;
}

// Only schemas carry user data, and only the model and packages own schemas:
// the walk visits the objects those own but goes no deeper, and so passes
// over columns, keys, indexes and arguments, most of a large model.
bool Bridge::ResetGeneralPointerOperation::pre_process(ZELObject* object, void*& /*argument*/) {
  return object->isInstanceOf(ZEL_ET_PACKAGE);
}

void Bridge::ResetGeneralPointerOperation::post_process(ZELObject* object, void* /*argument*/) {
  if (void* pointer = object->getGeneralPointer()) {
    delete static_cast<Bridge::ObjectUserData*>(pointer);
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
  // A bridge destroyed before it ran has no model to walk. The model is
  // walked only when the builder has hung user data on it since the last
  // clean-up: the repeated clean-ups at the end of a run (and in the
  // destructor) would find nothing to take off a model of millions of objects.
  if (model != nullptr && !userDataArena.isEmpty()) {
    try {
      ResetGeneralPointerOperation reset;
      model->depthTraversal(reset, nullptr);
    } catch (...) {
      // The node and table clean-up below must run whatever happened here.
    }
  }
  // The traversal allocates nothing and so cannot fail: every record placed
  // in the arena has been destroyed by now.
  userDataArena.release();
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
