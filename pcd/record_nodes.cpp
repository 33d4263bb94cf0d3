// Record names and the text-accepting record nodes.
#include "pcd/record_nodes.h"

namespace CaRepositoryDsOdbcImport {

namespace RecordName {
const ZELString SCHEM_AT("SCHEM_AT");
const ZELString REL_DT("REL_DT");
const ZELString INDEX_AT("INDEX_AT");
const ZELString SCHEMA("SCHEMA");
const ZELString TBL_COL("TBL_COL");
const ZELString SUPTS_DT("SUPTS_DT");
const ZELString TABLE("TABLE");
const ZELString VW_CL_AT("VW_CL_AT");
const ZELString TABLE_AT("TABLE_AT");
const ZELString REL_COL("REL_COL");
const ZELString KEY_COL("KEY_COL");
const ZELString PARM("PARM");
const ZELString DATABASE("DATABASE");
const ZELString VIEW_COL("VIEW_COL");
const ZELString TB_CL_AT("TB_CL_AT");
const ZELString FGN_KEY("FGN_KEY");
const ZELString REL_SYS("REL_SYS");
const ZELString UDEF_DT("UDEF_DT");
const ZELString OBJ_AT("OBJ_AT");
const ZELString DBPROC("DBPROC");
const ZELString VIEW("VIEW");
const ZELString SERVTYPE("SERVTYPE");
const ZELString KEY("KEY");
const ZELString DB_AT("DB_AT");
const ZELString SERVINST("SERVINST");
const ZELString PRIM_KEY("PRIM_KEY");
const ZELString FK_TB_AT("FK_TB_AT");
const ZELString ELEMENT("ELEMENT");
}  // namespace RecordName

const ZELString* const kRecordNames[kRecordKinds] = {
    &RecordName::SCHEM_AT, &RecordName::REL_DT,   &RecordName::INDEX_AT, &RecordName::SCHEMA,
    &RecordName::TBL_COL,  &RecordName::SUPTS_DT, &RecordName::TABLE,    &RecordName::VW_CL_AT,
    &RecordName::TABLE_AT, &RecordName::REL_COL,  &RecordName::KEY_COL,  &RecordName::PARM,
    &RecordName::DATABASE, &RecordName::VIEW_COL, &RecordName::TB_CL_AT, &RecordName::FGN_KEY,
    &RecordName::REL_SYS,  &RecordName::UDEF_DT,  &RecordName::OBJ_AT,   &RecordName::DBPROC,
    &RecordName::VIEW,     &RecordName::SERVTYPE, &RecordName::KEY,      &RecordName::DB_AT,
    &RecordName::SERVINST, &RecordName::PRIM_KEY, &RecordName::FK_TB_AT, &RecordName::ELEMENT,
};

namespace {

constexpr char kColumnComments[] = "COLUMN_COMMENTS";
constexpr char kDescription[] = "DESCRIPTION";

// Exact match: same length and same bytes, case-sensitive.
template <size_t N>
bool isTextName(std::string_view name, const char (&accepted)[N]) {
  return name == std::string_view(accepted, N - 1);
}

}  // namespace

// A long text arrives split over several text lines; the pieces are joined in
// file order with nothing between them.

void Tbl_colNode::setText(std::string_view textName, std::string_view value) {
  if (isTextName(textName, kColumnComments)) comment.append(value.data(), value.size());
}

void Rel_colNode::setText(std::string_view textName, std::string_view value) {
  if (isTextName(textName, kColumnComments)) comment.append(value.data(), value.size());
}

void TableNode::setText(std::string_view textName, std::string_view value) {
  if (isTextName(textName, kDescription)) description.append(value.data(), value.size());
}

void DbprocNode::setText(std::string_view textName, std::string_view value) {
  if (isTextName(textName, kDescription)) description.append(value.data(), value.size());
}

}  // namespace CaRepositoryDsOdbcImport
