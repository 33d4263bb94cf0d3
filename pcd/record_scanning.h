// The reader's own scanners: the same record checks as the bridge's 28
// scanners (in the same index order), but the node is placed in the import's
// node arena instead of on the heap. The stream driver uses them; nodes it
// registers are destroyed in place by the clean-up.
#pragma once

#include "pcd/chunk_arena.h"
#include "pcd/record_nodes.h"

class ZELCaRepositoryDsOdbcImportBridge;

namespace CaRepositoryDsOdbcImport {

using ArenaScanner = Node* (*)(ZELCaRepositoryDsOdbcImportBridge* bridge, const char* line,
                               ChunkArena& arena);
extern const ArenaScanner kArenaScanners[28];

}  // namespace CaRepositoryDsOdbcImport
