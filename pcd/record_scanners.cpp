// The 28 record scanners: one generic scanner, instantiated per record
// layout (pcd/record_layouts.h).
#include <memory>
#include <type_traits>

#include "bridge/import_bridge.h"
#include "pcd/record_layouts.h"
#include "pcd/record_scanning.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;
using CaRepositoryDsOdbcImport::ChunkArena;
using CaRepositoryDsOdbcImport::Node;
using CaRepositoryDsOdbcImport::RelationshipNode;
namespace layout = CaRepositoryDsOdbcImport::layout;

namespace {

// The one-letter string the primitives compare with.
constexpr const char* letterString(char letter) {
  return letter == 'C'   ? "C"
         : letter == 'S' ? "S"
         : letter == 'L' ? "L"
         : letter == 'E' ? "E"
                         : "R";
}

// Checks one whole line against record layout R and fills `node` from it.
// A failed check throws.
template <const auto& R, class N>
void scanFields(Bridge* bridge, const char* line, N& node) {
  const char* cursor = bridge->assertObjectType(line, letterString(R.objectType));
  cursor = bridge->assertName(cursor, R.name);
  cursor = bridge->scanToken(cursor, &node.id);
  if constexpr (std::is_base_of_v<RelationshipNode, N>) {
    cursor = bridge->scanToken(cursor, &node.fromId);
    cursor = bridge->scanToken(cursor, &node.toId);
  }
  cursor = bridge->assertNumAttributes(cursor, static_cast<long>(R.attributes.size()));
  for (const layout::Attribute<N>& attribute : R.attributes) {
    long value = 0;
    cursor = bridge->assertAttrTypeAndReadVal(cursor, letterString(attribute.letter), &value);
    if (attribute.text != nullptr) {
      // value is the string's length; an empty string has no bytes to skip.
      if (value > 0) cursor = bridge->scanString(cursor, node.*attribute.text, value);
    } else {
      node.*attribute.number = value;
    }
  }
  // Anything after the last attribute is ignored.
}

template <const auto& R>
using NodeOf = typename std::remove_reference_t<decltype(R)>::NodeType;

// The bridge's scanners: a new heap node, owned by the caller. A failed check
// throws; the half-filled node is freed on the way out.
template <const auto& R>
Node* scanRecord(Bridge* bridge, const char* line) {
  auto node = std::make_unique<NodeOf<R>>();
  scanFields<R>(bridge, line, *node);
  return node.release();
}

// The reader's scanners: the node is placed in the import's node arena. A
// failed check destroys it and gives its space back.
template <const auto& R>
Node* scanRecordInArena(Bridge* bridge, const char* line, ChunkArena& arena) {
  using N = NodeOf<R>;
  N* node = arena.create<N>();
  try {
    scanFields<R>(bridge, line, *node);
  } catch (...) {
    node->~N();
    arena.unallocate(node, sizeof(N));
    throw;
  }
  return node;
}

}  // namespace

// clang-format off
Node* Bridge::scanSCHEM_AT(Bridge* b, const char* line) { return scanRecord<layout::SCHEM_AT>(b, line); }
Node* Bridge::scanREL_DT(Bridge* b, const char* line) { return scanRecord<layout::REL_DT>(b, line); }
Node* Bridge::scanINDEX_AT(Bridge* b, const char* line) { return scanRecord<layout::INDEX_AT>(b, line); }
Node* Bridge::scanSCHEMA(Bridge* b, const char* line) { return scanRecord<layout::SCHEMA>(b, line); }
Node* Bridge::scanTBL_COL(Bridge* b, const char* line) { return scanRecord<layout::TBL_COL>(b, line); }
Node* Bridge::scanSUPTS_DT(Bridge* b, const char* line) { return scanRecord<layout::SUPTS_DT>(b, line); }
Node* Bridge::scanTABLE(Bridge* b, const char* line) { return scanRecord<layout::TABLE>(b, line); }
Node* Bridge::scanVW_CL_AT(Bridge* b, const char* line) { return scanRecord<layout::VW_CL_AT>(b, line); }
Node* Bridge::scanTABLE_AT(Bridge* b, const char* line) { return scanRecord<layout::TABLE_AT>(b, line); }
Node* Bridge::scanREL_COL(Bridge* b, const char* line) { return scanRecord<layout::REL_COL>(b, line); }
Node* Bridge::scanKEY_COL(Bridge* b, const char* line) { return scanRecord<layout::KEY_COL>(b, line); }
Node* Bridge::scanPARM(Bridge* b, const char* line) { return scanRecord<layout::PARM>(b, line); }
Node* Bridge::scanDATABASE(Bridge* b, const char* line) { return scanRecord<layout::DATABASE>(b, line); }
Node* Bridge::scanVIEW_COL(Bridge* b, const char* line) { return scanRecord<layout::VIEW_COL>(b, line); }
Node* Bridge::scanTB_CL_AT(Bridge* b, const char* line) { return scanRecord<layout::TB_CL_AT>(b, line); }
Node* Bridge::scanFGN_KEY(Bridge* b, const char* line) { return scanRecord<layout::FGN_KEY>(b, line); }
Node* Bridge::scanREL_SYS(Bridge* b, const char* line) { return scanRecord<layout::REL_SYS>(b, line); }
Node* Bridge::scanUDEF_DT(Bridge* b, const char* line) { return scanRecord<layout::UDEF_DT>(b, line); }
Node* Bridge::scanOBJ_AT(Bridge* b, const char* line) { return scanRecord<layout::OBJ_AT>(b, line); }
Node* Bridge::scanDBPROC(Bridge* b, const char* line) { return scanRecord<layout::DBPROC>(b, line); }
Node* Bridge::scanVIEW(Bridge* b, const char* line) { return scanRecord<layout::VIEW>(b, line); }
Node* Bridge::scanSERVTYPE(Bridge* b, const char* line) { return scanRecord<layout::SERVTYPE>(b, line); }
Node* Bridge::scanKEY(Bridge* b, const char* line) { return scanRecord<layout::KEY>(b, line); }
Node* Bridge::scanDB_AT(Bridge* b, const char* line) { return scanRecord<layout::DB_AT>(b, line); }
Node* Bridge::scanSERVINST(Bridge* b, const char* line) { return scanRecord<layout::SERVINST>(b, line); }
Node* Bridge::scanPRIM_KEY(Bridge* b, const char* line) { return scanRecord<layout::PRIM_KEY>(b, line); }
Node* Bridge::scanFK_TB_AT(Bridge* b, const char* line) { return scanRecord<layout::FK_TB_AT>(b, line); }
Node* Bridge::scanELEMENT(Bridge* b, const char* line) { return scanRecord<layout::ELEMENT>(b, line); }

// By scanner index: the order of layout::kShapes, which loadParserHashTable
// registers the record names in.
const Bridge::Scanner Bridge::scanTable[29] = {
    scanSCHEM_AT, scanREL_DT,   scanINDEX_AT, scanSCHEMA,   scanTBL_COL,  scanSUPTS_DT,
    scanTABLE,    scanVW_CL_AT, scanTABLE_AT, scanREL_COL,  scanKEY_COL,  scanPARM,
    scanDATABASE, scanVIEW_COL, scanTB_CL_AT, scanFGN_KEY,  scanREL_SYS,  scanUDEF_DT,
    scanOBJ_AT,   scanDBPROC,   scanVIEW,     scanSERVTYPE, scanKEY,      scanDB_AT,
    scanSERVINST, scanPRIM_KEY, scanFK_TB_AT, scanELEMENT,  nullptr,
};
// clang-format on

namespace CaRepositoryDsOdbcImport {

// clang-format off
const ArenaScanner kArenaScanners[layout::kRecordCount] = {
    scanRecordInArena<layout::SCHEM_AT>, scanRecordInArena<layout::REL_DT>,
    scanRecordInArena<layout::INDEX_AT>, scanRecordInArena<layout::SCHEMA>,
    scanRecordInArena<layout::TBL_COL>,  scanRecordInArena<layout::SUPTS_DT>,
    scanRecordInArena<layout::TABLE>,    scanRecordInArena<layout::VW_CL_AT>,
    scanRecordInArena<layout::TABLE_AT>, scanRecordInArena<layout::REL_COL>,
    scanRecordInArena<layout::KEY_COL>,  scanRecordInArena<layout::PARM>,
    scanRecordInArena<layout::DATABASE>, scanRecordInArena<layout::VIEW_COL>,
    scanRecordInArena<layout::TB_CL_AT>, scanRecordInArena<layout::FGN_KEY>,
    scanRecordInArena<layout::REL_SYS>,  scanRecordInArena<layout::UDEF_DT>,
    scanRecordInArena<layout::OBJ_AT>,   scanRecordInArena<layout::DBPROC>,
    scanRecordInArena<layout::VIEW>,     scanRecordInArena<layout::SERVTYPE>,
    scanRecordInArena<layout::KEY>,      scanRecordInArena<layout::DB_AT>,
    scanRecordInArena<layout::SERVINST>, scanRecordInArena<layout::PRIM_KEY>,
    scanRecordInArena<layout::FK_TB_AT>, scanRecordInArena<layout::ELEMENT>,
};
// clang-format on

}  // namespace CaRepositoryDsOdbcImport
