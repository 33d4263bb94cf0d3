// The record scanners: one generic scanner, instantiated per record layout
// (pcd/record_layouts.h), one per kind of the record list.
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

#define PCD_RECORD(NAME, ...)                                         \
  Node* Bridge::scan##NAME(Bridge* bridge, const char* line) {        \
    return scanRecord<layout::NAME>(bridge, line, bridge->nodeArena); \
  }
#include "pcd/record_kinds.def"
#undef PCD_RECORD

// By scanner index: the order of the record list, which loadParserHashTable
// registers the record names in; the last entry is null.
const Bridge::Scanner Bridge::scanTable[CaRepositoryDsOdbcImport::kRecordKinds + 1] = {
#define PCD_RECORD(NAME, ...) scan##NAME,
#include "pcd/record_kinds.def"
#undef PCD_RECORD
    nullptr,
};
