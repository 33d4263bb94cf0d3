// The ids the builder resolves: which relationship record names which kind of
// record by its from or to id, in the order the builder resolves them. An id
// that no record defines stops the import (Missing Object), and so does an
// id naming a record of another kind where a kind is expected (Bad Object
// Type), except where the import skips the record instead. The builder
// resolves every id through this table (ZELCaRepositoryDsOdbcImportBridge::
// resolve), and `pcd-import check` reports from it.
#pragma once

#include <cstdint>

#include "pcd/record_nodes.h"

namespace CaRepositoryDsOdbcImport {

enum class IdField : uint8_t { kFrom, kTo };
constexpr IdField kFromId = IdField::kFrom;
constexpr IdField kToId = IdField::kTo;

enum class Resolution : uint8_t {
  kKind,        // a record of `kind`; any other stops the import
  kAnyKind,     // any record
  kKindOrSkip,  // a record of `kind`; the import skips the record naming another
};

struct IdReference {
  RecordKind record;  // the record naming the id
  IdField field;
  Resolution resolution;
  RecordKind kind;  // unless kAnyKind
  // Resolved only on a record reached through an id of an expected kind (a
  // column's data type, a foreign key's key), as soon as it is reached.
  bool reached;
};

namespace id_references {

constexpr IdReference to(RecordKind record, IdField field, RecordKind kind) {
  return {record, field, Resolution::kKind, kind, false};
}
constexpr IdReference toAny(RecordKind record, IdField field) {
  return {record, field, Resolution::kAnyKind, record, false};
}
constexpr IdReference toOrSkip(RecordKind record, IdField field, RecordKind kind) {
  return {record, field, Resolution::kKindOrSkip, kind, false};
}
constexpr IdReference reachedTo(RecordKind record, IdField field, RecordKind kind) {
  return {record, field, Resolution::kKind, kind, true};
}

using K = RecordKind;

// clang-format off
inline constexpr IdReference kAll[] = {
    to(K::DB_AT, kFromId, K::DATABASE),
    to(K::DB_AT, kToId, K::REL_SYS),
    to(K::SERVINST, kFromId, K::SERVTYPE),
    to(K::SERVINST, kToId, K::REL_SYS),
    to(K::SCHEM_AT, kFromId, K::SCHEMA),
    toAny(K::SCHEM_AT, kToId),     // a DATABASE or SCHEMA
    toAny(K::TABLE_AT, kFromId),   // a TABLE or VIEW
    toAny(K::TABLE_AT, kToId),     // a SCHEMA or DATABASE
    toAny(K::OBJ_AT, kFromId),
    toAny(K::OBJ_AT, kToId),
    to(K::TBL_COL, kFromId, K::TABLE),
    to(K::TBL_COL, kToId, K::REL_COL),
    to(K::VIEW_COL, kFromId, K::VIEW),
    to(K::VIEW_COL, kToId, K::REL_COL),
    to(K::KEY_COL, kFromId, K::KEY),
    to(K::KEY_COL, kToId, K::TBL_COL),
    to(K::FK_TB_AT, kFromId, K::FGN_KEY),
    to(K::FK_TB_AT, kToId, K::TABLE_AT),
    to(K::INDEX_AT, kFromId, K::KEY),
    toOrSkip(K::PARM, kFromId, K::DBPROC),
    to(K::PARM, kToId, K::REL_COL),
    reachedTo(K::REL_COL, kToId, K::REL_DT),
    reachedTo(K::FGN_KEY, kToId, K::KEY),
};
// clang-format on

}  // namespace id_references

inline constexpr const auto& kIdReferences = id_references::kAll;

// The reference `record` makes by `field`; asked for at compile time, a
// reference the table lacks does not compile.
constexpr IdReference idReference(RecordKind record, IdField field) {
  for (const IdReference& reference : kIdReferences) {
    if (reference.record == record && reference.field == field) return reference;
  }
  throw "no such id reference";
}

}  // namespace CaRepositoryDsOdbcImport
