// The layout of every PCD record, as the generic record scanner and the line
// explanations read it: the attribute makers the record list
// (pcd/record_kinds.def) is written with, one constexpr record per kind
// built from that list, and each record's shape without its node class.
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
  const char* name;
  char objectType;  // 'E' or 'R'
  std::array<Attribute<N>, Count> attributes;
};

template <class N, class... Attributes>
constexpr Record<N, sizeof...(Attributes)> record(const char* name, char objectType,
                                                  Attributes... attributes) {
  return {name, objectType, {attributes...}};
}

// Each kind's record, named as the kind: layout::TBL_COL.
#define PCD_RECORD(NAME, NODE, ...) inline constexpr auto NAME = record<NODE>(#NAME, __VA_ARGS__);
#include "pcd/record_kinds.def"
#undef PCD_RECORD

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

// Every record by scanner index: the order of the bridge's scanTable.
inline constexpr Shape kShapes[kRecordKinds] = {
#define PCD_RECORD(NAME, ...) shapeOf<NAME>(),
#include "pcd/record_kinds.def"
#undef PCD_RECORD
};

// --- Whole-table checks, at compile time.

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

static_assert(countRecords('E') == 10 && countRecords('R') == 18);
static_assert(countAttributes('C') == 36 && countAttributes('S') == 20 &&
              countAttributes('L') == 9);

}  // namespace layout
}  // namespace CaRepositoryDsOdbcImport
