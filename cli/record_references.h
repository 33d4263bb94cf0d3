// The ids the import resolves: which relationship record names which kind of
// record by its from or to id, in the order the builder resolves them. An id
// that no record defines stops the import (Missing Object), and so does an
// id naming a record of another kind where a kind is expected (Bad Object
// Type), except where the import skips the record instead. `pcd-import
// check` reports from this table; a test holds it against the import.
#pragma once

#include <cstdint>

#include "pcd/record_nodes.h"

namespace record_references {

using Kind = CaRepositoryDsOdbcImport::RecordKind;

enum class Field : uint8_t { kFrom, kTo };

enum class Expect : uint8_t {
  kKind,        // a record of `kind`; any other stops the import
  kAnyKind,     // any record
  kKindOrSkip,  // a record of `kind`; the import skips the record naming another
};

struct Reference {
  Kind record;  // the record naming the id
  Field field;
  Expect expect;
  Kind kind;  // unless kAnyKind
  // The record found names one more id, its to id, which the import
  // resolves with it: a column's data type, a foreign key's key.
  bool hasNext;
  Kind nextKind;
  const char* nextRole;  // "data type", "key"

  constexpr Reference then(Kind next, const char* role) const {
    return {record, field, expect, kind, true, next, role};
  }
};

constexpr Reference to(Kind record, Field field, Kind kind) {
  return {record, field, Expect::kKind, kind, false, kind, nullptr};
}
constexpr Reference toAny(Kind record, Field field) {
  return {record, field, Expect::kAnyKind, record, false, record, nullptr};
}
constexpr Reference toOrSkip(Kind record, Field field, Kind kind) {
  return {record, field, Expect::kKindOrSkip, kind, false, kind, nullptr};
}

constexpr Field kFrom = Field::kFrom;
constexpr Field kTo = Field::kTo;

// clang-format off
inline constexpr Reference kReferences[] = {
    to(Kind::DB_AT, kFrom, Kind::DATABASE),
    to(Kind::DB_AT, kTo, Kind::REL_SYS),
    to(Kind::SERVINST, kFrom, Kind::SERVTYPE),
    to(Kind::SERVINST, kTo, Kind::REL_SYS),
    to(Kind::SCHEM_AT, kFrom, Kind::SCHEMA),
    toAny(Kind::SCHEM_AT, kTo),
    toAny(Kind::TABLE_AT, kFrom),  // a TABLE or VIEW
    toAny(Kind::TABLE_AT, kTo),    // a SCHEMA or DATABASE
    toAny(Kind::OBJ_AT, kFrom),
    toAny(Kind::OBJ_AT, kTo),
    to(Kind::TBL_COL, kFrom, Kind::TABLE),
    to(Kind::TBL_COL, kTo, Kind::REL_COL).then(Kind::REL_DT, "data type"),
    to(Kind::VIEW_COL, kFrom, Kind::VIEW),
    to(Kind::VIEW_COL, kTo, Kind::REL_COL).then(Kind::REL_DT, "data type"),
    to(Kind::KEY_COL, kFrom, Kind::KEY),
    to(Kind::KEY_COL, kTo, Kind::TBL_COL),
    to(Kind::FK_TB_AT, kFrom, Kind::FGN_KEY).then(Kind::KEY, "key"),
    to(Kind::FK_TB_AT, kTo, Kind::TABLE_AT),
    to(Kind::INDEX_AT, kFrom, Kind::KEY),
    toOrSkip(Kind::PARM, kFrom, Kind::DBPROC),
    to(Kind::PARM, kTo, Kind::REL_COL).then(Kind::REL_DT, "data type"),
};
// clang-format on

}  // namespace record_references
