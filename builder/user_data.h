// The builder's user data in the bridge's user-data arena: one allocation per
// chunk of records instead of one per model object. Deleting such a record
// (the reset traversal, removeKeyObject) runs its destructor and leaves the
// memory to the arena, which the clean-up frees after the traversal.
#pragma once

#include "bridge/import_bridge.h"

// The user data of `object`, created (empty) in `bridge`'s arena on first
// request: getObjectUserData for the builder's own objects.
ZELCaRepositoryDsOdbcImportBridge::ObjectUserData* userDataOf(
    ZELCaRepositoryDsOdbcImportBridge& bridge, ZELObject* object);
