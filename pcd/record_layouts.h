// The layout of every PCD record: object type letter, record name, node
// class and, in file order, each attribute's type letter and the node field
// it fills. This table is the one description of the format; the generic
// record scanner reads it, so a layout is stated exactly once.
//
// Record lines:  E,NAME,id,count,attributes...
//                R,NAME,id,fromId,toId,count,attributes...
// Attributes:    C<n>,<n bytes>   S<integer>   L<integer>
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "pcd/record_nodes.h"

namespace CaRepositoryDsOdbcImport {
namespace layout {

// An attribute the builder never reads: checked and stepped over, not kept.
struct Unread {
  char letter;
};

// One attribute: its type letter and the field of node class N it fills, a
// string field for "C", an integer field for "S" and "L", or none (Unread).
template <class N>
struct Attribute {
  constexpr Attribute(char letter, ZELString N::*text, int32_t N::*number, bool ifZero = false,
                      bool shared = false, bool N::*flag = nullptr, const char* flagText = nullptr)
      : letter(letter),
        text(text),
        number(number),
        ifZero(ifZero),
        shared(shared),
        flag(flag),
        flagText(flagText) {}
  constexpr Attribute(Unread unread)  // NOLINT(google-explicit-constructor): one table of both
      : Attribute(unread.letter, nullptr, nullptr) {}
  char letter;
  ZELString N::*text;
  int32_t N::*number;
  bool ifZero;  // fills `number` only when the attributes before left it 0
  bool shared;  // `text` shares the buffer of an equal text read before
  // A "C" of which only whether it reads `flagText` is kept, in `flag`.
  bool N::*flag;
  const char* flagText;
};

template <class N>
constexpr Attribute<N> C(ZELString N::*field) {
  return {'C', field, nullptr};
}
// A "C" whose texts repeat across records (column names): equal texts share
// one buffer.
template <class N>
constexpr Attribute<N> sharedC(ZELString N::*field) {
  return {'C', field, nullptr, false, true};
}
// A "C" the builder only compares with one text: whether it reads `text`.
template <class N>
constexpr Attribute<N> isC(bool N::*field, const char* text) {
  return {'C', nullptr, nullptr, false, false, field, text};
}
template <class N>
constexpr Attribute<N> S(int32_t N::*field) {
  return {'S', nullptr, field};
}
template <class N>
constexpr Attribute<N> L(int32_t N::*field) {
  return {'L', nullptr, field};
}
// An "L" that stands in for an earlier attribute of the same field when that
// one is 0.
template <class N>
constexpr Attribute<N> orL(int32_t N::*field) {
  return {'L', nullptr, field, true};
}
constexpr Unread C() {
  return {'C'};
}
constexpr Unread S() {
  return {'S'};
}
constexpr Unread L() {
  return {'L'};
}

template <class N, std::size_t Count>
struct Record {
  using NodeType = N;
  char objectType;  // 'E' or 'R'
  const char* name;
  std::array<Attribute<N>, Count> attributes;
};

template <class N, class... Attributes>
constexpr Record<N, sizeof...(Attributes)> record(char objectType, const char* name,
                                                  Attributes... attributes) {
  return {objectType, name, {attributes...}};
}

// clang-format off
inline constexpr auto SCHEM_AT = record<Schem_atNode>('R', "SCHEM_AT",
    C());
inline constexpr auto REL_DT = record<Rel_dtNode>('E', "REL_DT",
    C(&Rel_dtNode::name), S(), C(), C(), C());
inline constexpr auto INDEX_AT = record<Index_atNode>('R', "INDEX_AT",
    isC(&Index_atNode::attr1Y, "Y"), C(), L(), S(), isC(&Index_atNode::attr5Y, "Y"));
inline constexpr auto SCHEMA = record<SchemaNode>('E', "SCHEMA",
    C(&SchemaNode::name));
inline constexpr auto TBL_COL = record<Tbl_colNode>('R', "TBL_COL",
    isC(&Tbl_colNode::notNullable, "N"), L(&Tbl_colNode::position));
inline constexpr auto SUPTS_DT = record<Supts_dtNode>('R', "SUPTS_DT");
inline constexpr auto TABLE = record<TableNode>('E', "TABLE",
    C(&TableNode::name));
inline constexpr auto VW_CL_AT = record<Vw_cl_atNode>('R', "VW_CL_AT",
    S());
inline constexpr auto TABLE_AT = record<Table_atNode>('R', "TABLE_AT",
    C(&Table_atNode::attr1C), C());
inline constexpr auto REL_COL = record<Rel_colNode>('R', "REL_COL",
    sharedC(&Rel_colNode::name), S(), L(&Rel_colNode::length), orL(&Rel_colNode::length),
    S(&Rel_colNode::scale), C(), C());
inline constexpr auto KEY_COL = record<Key_colNode>('R', "KEY_COL",
    S(&Key_colNode::position), isC(&Key_colNode::descending, "D"));
inline constexpr auto PARM = record<ParmNode>('R', "PARM",
    L(&ParmNode::position));
inline constexpr auto DATABASE = record<DatabaseNode>('E', "DATABASE",
    C(&DatabaseNode::name));
inline constexpr auto VIEW_COL = record<View_colNode>('R', "VIEW_COL",
    L(&View_colNode::position));
inline constexpr auto TB_CL_AT = record<Tb_cl_atNode>('R', "TB_CL_AT",
    S());
inline constexpr auto FGN_KEY = record<Fgn_keyNode>('R', "FGN_KEY",
    isC(&Fgn_keyNode::attr1Y, "Y"), isC(&Fgn_keyNode::attr2Y, "Y"));
inline constexpr auto REL_SYS = record<Rel_sysNode>('E', "REL_SYS",
    C(&Rel_sysNode::name), C());
inline constexpr auto UDEF_DT = record<Udef_dtNode>('R', "UDEF_DT",
    L(), S(), S());
inline constexpr auto OBJ_AT = record<Obj_atNode>('R', "OBJ_AT");
inline constexpr auto DBPROC = record<DbprocNode>('E', "DBPROC",
    C(&DbprocNode::name));
inline constexpr auto VIEW = record<ViewNode>('E', "VIEW",
    C(&ViewNode::name), C());
inline constexpr auto SERVTYPE = record<ServtypeNode>('E', "SERVTYPE",
    C(), C(&ServtypeNode::attr2C), C(&ServtypeNode::attr3C), S(&ServtypeNode::attr4S),
    S(), S(), S(), S(), S(), S(), S(), S(), S());
inline constexpr auto KEY = record<KeyNode>('E', "KEY",
    C(&KeyNode::name), C(&KeyNode::keyType), C());
inline constexpr auto DB_AT = record<Db_atNode>('R', "DB_AT",
    C(), C());
inline constexpr auto SERVINST = record<ServinstNode>('R', "SERVINST");
inline constexpr auto PRIM_KEY = record<Prim_keyNode>('R', "PRIM_KEY",
    L());
inline constexpr auto FK_TB_AT = record<Fk_tb_atNode>('R', "FK_TB_AT");
inline constexpr auto ELEMENT = record<ElementNode>('E', "ELEMENT",
    C(), L(), S(), C(), C());
// clang-format on

// A record's layout without its node class: what the stream driver's name
// table and the tests need.
struct Shape {
  char objectType;
  const char* name;
  int attributeCount;
  char letters[14];  // the attributes' type letters in file order, NUL-terminated
};

template <const auto& R>
constexpr Shape shapeOf() {
  using N = typename std::remove_reference_t<decltype(R)>::NodeType;
  static_assert(R.objectType == (std::is_base_of_v<RelationshipNode, N> ? 'R' : 'E'),
                "object type letter must agree with the node class");
  static_assert(std::is_base_of_v<EntityNode, N> != std::is_base_of_v<RelationshipNode, N>);
  static_assert(R.attributes.size() < sizeof(Shape::letters));
  Shape shape{R.objectType, R.name, static_cast<int>(R.attributes.size()), {}};
  for (std::size_t i = 0; i < R.attributes.size(); ++i) shape.letters[i] = R.attributes[i].letter;
  return shape;
}

constexpr int kRecordCount = 28;

// Every record by scanner index: the order of the bridge's scanTable.
inline constexpr Shape kShapes[kRecordCount] = {
    shapeOf<SCHEM_AT>(), shapeOf<REL_DT>(),   shapeOf<INDEX_AT>(), shapeOf<SCHEMA>(),
    shapeOf<TBL_COL>(),  shapeOf<SUPTS_DT>(), shapeOf<TABLE>(),    shapeOf<VW_CL_AT>(),
    shapeOf<TABLE_AT>(), shapeOf<REL_COL>(),  shapeOf<KEY_COL>(),  shapeOf<PARM>(),
    shapeOf<DATABASE>(), shapeOf<VIEW_COL>(), shapeOf<TB_CL_AT>(), shapeOf<FGN_KEY>(),
    shapeOf<REL_SYS>(),  shapeOf<UDEF_DT>(),  shapeOf<OBJ_AT>(),   shapeOf<DBPROC>(),
    shapeOf<VIEW>(),     shapeOf<SERVTYPE>(), shapeOf<KEY>(),      shapeOf<DB_AT>(),
    shapeOf<SERVINST>(), shapeOf<PRIM_KEY>(), shapeOf<FK_TB_AT>(), shapeOf<ELEMENT>(),
};

// --- Whole-table checks, at compile time.

// kNodeSizes lists the node classes in scanner order.
template <const auto&... Rs>
constexpr bool nodeSizesMatch() {
  const size_t sizes[] = {sizeof(typename std::remove_reference_t<decltype(Rs)>::NodeType)...};
  for (size_t i = 0; i < sizeof...(Rs); ++i) {
    if (sizes[i] != kNodeSizes[i]) return false;
  }
  return true;
}
static_assert(nodeSizesMatch<SCHEM_AT, REL_DT, INDEX_AT, SCHEMA, TBL_COL, SUPTS_DT, TABLE, VW_CL_AT,
                             TABLE_AT, REL_COL, KEY_COL, PARM, DATABASE, VIEW_COL, TB_CL_AT,
                             FGN_KEY, REL_SYS, UDEF_DT, OBJ_AT, DBPROC, VIEW, SERVTYPE, KEY, DB_AT,
                             SERVINST, PRIM_KEY, FK_TB_AT, ELEMENT>());

constexpr int countRecords(char objectType) {
  int count = 0;
  for (const Shape& shape : kShapes) count += shape.objectType == objectType;
  return count;
}

constexpr int countAttributes(char letter) {
  int count = 0;
  for (const Shape& shape : kShapes) {
    for (const char* l = shape.letters; *l != '\0'; ++l) count += *l == letter;
  }
  return count;
}

constexpr bool sameText(const char* a, const char* b) {
  while (*a != '\0' && *a == *b) ++a, ++b;
  return *a == *b;
}

constexpr bool namesAreDistinct() {
  for (int i = 0; i < kRecordCount; ++i) {
    for (int j = i + 1; j < kRecordCount; ++j) {
      if (sameText(kShapes[i].name, kShapes[j].name)) return false;
    }
  }
  return true;
}

static_assert(countRecords('E') == 10 && countRecords('R') == 18);
static_assert(countAttributes('C') == 36 && countAttributes('S') == 20 &&
              countAttributes('L') == 9);
static_assert(namesAreDistinct());

}  // namespace layout
}  // namespace CaRepositoryDsOdbcImport
