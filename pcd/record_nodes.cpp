// Record names and the text-accepting record nodes.
#include "pcd/record_nodes.h"

namespace CaRepositoryDsOdbcImport {

namespace RecordName {
#define PCD_RECORD(NAME, ...) const ZELString NAME(#NAME);
#include "pcd/record_kinds.def"
#undef PCD_RECORD
}  // namespace RecordName

const ZELString* const kRecordNames[kRecordKinds] = {
#define PCD_RECORD(NAME, ...) &RecordName::NAME,
#include "pcd/record_kinds.def"
#undef PCD_RECORD
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
