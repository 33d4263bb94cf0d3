// The 28 record scanners: one generic scanner, instantiated per record
// layout (pcd/record_layouts.h).
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "bridge/import_bridge.h"
#include "pcd/record_layouts.h"

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

// The bytes a string attribute of `length` (> 0) takes at the cursor, as
// scanString takes them: `length`, or up to the end of the line.
size_t textLength(const char* cursor, long length) {
  const auto* end =
      static_cast<const char*>(std::memchr(cursor, '\0', static_cast<size_t>(length)));
  return end ? static_cast<size_t>(end - cursor) : static_cast<size_t>(length);
}

// The cursor behind a string of `count` bytes and its comma.
const char* stepOver(const char* cursor, size_t count) {
  cursor += count;
  return *cursor == ',' ? cursor + 1 : cursor;
}

// Checks one whole line against record layout R and fills `node` from it.
// A failed check throws. Integers are read saturated to 32 bits.
template <const auto& R, class N>
void scanFields(Bridge* bridge, const char* line, N& node) {
  const char* cursor = bridge->assertObjectType(line, letterString(R.objectType));
  cursor = bridge->assertName(cursor, R.name);
  long id = 0;
  cursor = bridge->scanToken(cursor, &id);
  node.id = static_cast<int32_t>(id);
  if constexpr (std::is_base_of_v<RelationshipNode, N>) {
    cursor = bridge->scanToken(cursor, &id);
    node.fromId = static_cast<int32_t>(id);
    cursor = bridge->scanToken(cursor, &id);
    node.toId = static_cast<int32_t>(id);
  }
  cursor = bridge->assertNumAttributes(cursor, static_cast<long>(R.attributes.size()));
  for (const layout::Attribute<N>& attribute : R.attributes) {
    long value = 0;
    cursor = bridge->assertAttrTypeAndReadVal(cursor, letterString(attribute.letter), &value);
    if (attribute.text != nullptr) {
      // value is the string's length; an empty string has no bytes to skip.
      if (value > 0) {
        cursor = attribute.shared ? bridge->scanSharedString(cursor, node.*attribute.text, value)
                                  : bridge->scanString(cursor, node.*attribute.text, value);
      }
    } else if (attribute.number != nullptr) {
      if (!attribute.ifZero || node.*attribute.number == 0) {
        node.*attribute.number = static_cast<int32_t>(value);
      }
    } else if (attribute.flag != nullptr) {
      // An empty or negative count reads the empty string.
      const size_t count = value > 0 ? textLength(cursor, value) : 0;
      node.*attribute.flag = count == std::strlen(attribute.flagText) &&
                             std::memcmp(cursor, attribute.flagText, count) == 0;
      if (value > 0) cursor = stepOver(cursor, count);
    } else if (attribute.letter == 'C' && value > 0) {
      cursor = stepOver(cursor, textLength(cursor, value));
    }
  }
  // Anything after the last attribute is ignored.
}

template <const auto& R>
using NodeOf = typename std::remove_reference_t<decltype(R)>::NodeType;

// A new node of record R, placed in `arena` and filled from `line`. A failed
// check destroys it and gives its space back.
template <const auto& R>
Node* scanRecord(Bridge* bridge, const char* line, ChunkArena& arena) {
  using N = NodeOf<R>;
  static_assert(sizeof(N) % 8 == 0, "the arena places nodes back to back");
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
Node* Bridge::scanSCHEM_AT(Bridge* b, const char* line) { return scanRecord<layout::SCHEM_AT>(b, line, b->nodeArena); }
Node* Bridge::scanREL_DT(Bridge* b, const char* line) { return scanRecord<layout::REL_DT>(b, line, b->nodeArena); }
Node* Bridge::scanINDEX_AT(Bridge* b, const char* line) { return scanRecord<layout::INDEX_AT>(b, line, b->nodeArena); }
Node* Bridge::scanSCHEMA(Bridge* b, const char* line) { return scanRecord<layout::SCHEMA>(b, line, b->nodeArena); }
Node* Bridge::scanTBL_COL(Bridge* b, const char* line) { return scanRecord<layout::TBL_COL>(b, line, b->nodeArena); }
Node* Bridge::scanSUPTS_DT(Bridge* b, const char* line) { return scanRecord<layout::SUPTS_DT>(b, line, b->nodeArena); }
Node* Bridge::scanTABLE(Bridge* b, const char* line) { return scanRecord<layout::TABLE>(b, line, b->nodeArena); }
Node* Bridge::scanVW_CL_AT(Bridge* b, const char* line) { return scanRecord<layout::VW_CL_AT>(b, line, b->nodeArena); }
Node* Bridge::scanTABLE_AT(Bridge* b, const char* line) { return scanRecord<layout::TABLE_AT>(b, line, b->nodeArena); }
Node* Bridge::scanREL_COL(Bridge* b, const char* line) { return scanRecord<layout::REL_COL>(b, line, b->nodeArena); }
Node* Bridge::scanKEY_COL(Bridge* b, const char* line) { return scanRecord<layout::KEY_COL>(b, line, b->nodeArena); }
Node* Bridge::scanPARM(Bridge* b, const char* line) { return scanRecord<layout::PARM>(b, line, b->nodeArena); }
Node* Bridge::scanDATABASE(Bridge* b, const char* line) { return scanRecord<layout::DATABASE>(b, line, b->nodeArena); }
Node* Bridge::scanVIEW_COL(Bridge* b, const char* line) { return scanRecord<layout::VIEW_COL>(b, line, b->nodeArena); }
Node* Bridge::scanTB_CL_AT(Bridge* b, const char* line) { return scanRecord<layout::TB_CL_AT>(b, line, b->nodeArena); }
Node* Bridge::scanFGN_KEY(Bridge* b, const char* line) { return scanRecord<layout::FGN_KEY>(b, line, b->nodeArena); }
Node* Bridge::scanREL_SYS(Bridge* b, const char* line) { return scanRecord<layout::REL_SYS>(b, line, b->nodeArena); }
Node* Bridge::scanUDEF_DT(Bridge* b, const char* line) { return scanRecord<layout::UDEF_DT>(b, line, b->nodeArena); }
Node* Bridge::scanOBJ_AT(Bridge* b, const char* line) { return scanRecord<layout::OBJ_AT>(b, line, b->nodeArena); }
Node* Bridge::scanDBPROC(Bridge* b, const char* line) { return scanRecord<layout::DBPROC>(b, line, b->nodeArena); }
Node* Bridge::scanVIEW(Bridge* b, const char* line) { return scanRecord<layout::VIEW>(b, line, b->nodeArena); }
Node* Bridge::scanSERVTYPE(Bridge* b, const char* line) { return scanRecord<layout::SERVTYPE>(b, line, b->nodeArena); }
Node* Bridge::scanKEY(Bridge* b, const char* line) { return scanRecord<layout::KEY>(b, line, b->nodeArena); }
Node* Bridge::scanDB_AT(Bridge* b, const char* line) { return scanRecord<layout::DB_AT>(b, line, b->nodeArena); }
Node* Bridge::scanSERVINST(Bridge* b, const char* line) { return scanRecord<layout::SERVINST>(b, line, b->nodeArena); }
Node* Bridge::scanPRIM_KEY(Bridge* b, const char* line) { return scanRecord<layout::PRIM_KEY>(b, line, b->nodeArena); }
Node* Bridge::scanFK_TB_AT(Bridge* b, const char* line) { return scanRecord<layout::FK_TB_AT>(b, line, b->nodeArena); }
Node* Bridge::scanELEMENT(Bridge* b, const char* line) { return scanRecord<layout::ELEMENT>(b, line, b->nodeArena); }

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
