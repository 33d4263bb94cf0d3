// Record names and the text-accepting record nodes.
#include "pcd/record_nodes.h"

#include <type_traits>

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

// Whether the node class keeps text.
template <class N, class = void>
struct TakesText : std::false_type {};
template <class N>
struct TakesText<N, std::void_t<decltype(&N::addText)>> : std::true_type {};

template <class N>
void addTextAs(Node* node, std::string_view name, std::string_view value) {
  if constexpr (TakesText<N>::value) static_cast<N*>(node)->addText(name, value);
}

}  // namespace

void Node::setText(std::string_view name, std::string_view value) {
  switch (kind) {
#define PCD_RECORD(NAME, NODE, ...)     \
  case RecordKind::NAME:                \
    addTextAs<NODE>(this, name, value); \
    return;
#include "pcd/record_kinds.def"
#undef PCD_RECORD
  }
}

void destroyNode(Node* node) noexcept {
  switch (node->kind) {
#define PCD_RECORD(NAME, NODE, ...)    \
  case RecordKind::NAME:               \
    static_cast<NODE*>(node)->~NODE(); \
    return;
#include "pcd/record_kinds.def"
#undef PCD_RECORD
  }
}

// A long text arrives split over several text lines; the pieces are joined in
// file order with nothing between them.

void Tbl_colNode::addText(std::string_view textName, std::string_view value) {
  if (isTextName(textName, kColumnComments)) comment.append(value.data(), value.size());
}

void Rel_colNode::addText(std::string_view textName, std::string_view value) {
  if (isTextName(textName, kColumnComments)) comment.append(value.data(), value.size());
}

void TableNode::addText(std::string_view textName, std::string_view value) {
  if (isTextName(textName, kDescription)) description.append(value.data(), value.size());
}

void DbprocNode::addText(std::string_view textName, std::string_view value) {
  if (isTextName(textName, kDescription)) description.append(value.data(), value.size());
}

}  // namespace CaRepositoryDsOdbcImport
