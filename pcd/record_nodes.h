// Record nodes: the in-memory form of the entity ("E") and relationship
// ("R") records of a PCD file, one class per record name. Scanners fill them,
// the stream driver registers them by id and feeds them text, the model
// builder reads them and records on each the model object made for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>
#include "model/zel_object.h"

#include "zel_string.h"

namespace CaRepositoryDsOdbcImport {

// The record kinds, by scanner index (the order of pcd/record_kinds.def).
enum class RecordKind : uint8_t {
#define PCD_RECORD(NAME, ...) NAME,
#include "pcd/record_kinds.def"
#undef PCD_RECORD
};

// The record name of each kind as text, by RecordKind.
inline constexpr const char* kRecordNameTexts[] = {
#define PCD_RECORD(NAME, ...) #NAME,
#include "pcd/record_kinds.def"
#undef PCD_RECORD
};
constexpr int kRecordKinds = static_cast<int>(std::size(kRecordNameTexts));

// The record name of each kind, by RecordKind.
extern const ZELString* const kRecordNames[kRecordKinds];

// Nodes are kept small: a file holds millions of records. Ids and integer
// attributes are read saturated to 32 bits, so 32-bit fields hold them
// exactly; the record name is found through the kind; attributes the builder
// never reads are checked by the scanner but not kept. The kind also says
// the node's class, so nodes carry no virtual table: what differs by class
// (text, destruction) is dispatched on the kind.
class Node {
 public:
  explicit Node(RecordKind kind) : kind(kind) {}
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  // Accepts one text line addressed to this record: its text name and its
  // text, both bytes of the line. Records whose class has addText keep what
  // it keeps; the others ignore text.
  void setText(std::string_view name, std::string_view value);

  // The record name, e.g. "TBL_COL".
  const ZELString& type() const noexcept { return *kRecordNames[static_cast<int>(kind)]; }

  ZELObject* modelObject = nullptr;  // borrowed: the model object built for it
  int32_t id = 0;                    // object id, key of the id registry
  RecordKind kind;
};

class EntityNode : public Node {
 public:
  explicit EntityNode(RecordKind kind) : Node(kind) {}
};

class RelationshipNode : public Node {
 public:
  explicit RelationshipNode(RecordKind kind) : Node(kind) {}
  int32_t fromId = 0;  // first related record
  int32_t toId = 0;    // second related record
};

static_assert(sizeof(EntityNode) == 16 && sizeof(RelationshipNode) == 24,
              "ids and kind share the word behind the pointer");

// The record names, shared by every node of a kind (copies share the text).
namespace RecordName {
#define PCD_RECORD(NAME, ...) extern const ZELString NAME;
#include "pcd/record_kinds.def"
#undef PCD_RECORD
}  // namespace RecordName

// Node classes keep only the attributes the builder reads.

class Schem_atNode : public RelationshipNode {
 public:
  Schem_atNode() : RelationshipNode(RecordKind::SCHEM_AT) {}
};

class Rel_dtNode : public EntityNode {
 public:
  Rel_dtNode() : EntityNode(RecordKind::REL_DT) {}
  ZELString name;
};

class Index_atNode : public RelationshipNode {
 public:
  Index_atNode() : RelationshipNode(RecordKind::INDEX_AT) {}
  // fromId: the KEY. Attributes 1 and 5 reading "Y" set the first and the
  // third flag of an index-only key.
  bool attr1Y = false;
  bool attr5Y = false;
};

class SchemaNode : public EntityNode {
 public:
  SchemaNode() : EntityNode(RecordKind::SCHEMA) {}
  ZELString name;
};

class Tbl_colNode : public RelationshipNode {
 public:
  Tbl_colNode() : RelationshipNode(RecordKind::TBL_COL) {}
  void addText(std::string_view textName, std::string_view value);
  bool notNullable = false;  // the nullable attribute reads "N"
  int32_t position = 0;
  ZELString comment;
};

class Supts_dtNode : public RelationshipNode {
 public:
  Supts_dtNode() : RelationshipNode(RecordKind::SUPTS_DT) {}
};

class TableNode : public EntityNode {
 public:
  TableNode() : EntityNode(RecordKind::TABLE) {}
  void addText(std::string_view textName, std::string_view value);
  ZELString name;
  ZELString description;
};

class Vw_cl_atNode : public RelationshipNode {
 public:
  Vw_cl_atNode() : RelationshipNode(RecordKind::VW_CL_AT) {}
};

class Table_atNode : public RelationshipNode {
 public:
  Table_atNode() : RelationshipNode(RecordKind::TABLE_AT) {}
  // fromId: the TABLE or VIEW; toId: its SCHEMA or DATABASE. attr1C is the
  // label quoted when a table is placed twice.
  ZELString attr1C;
};

class Rel_colNode : public RelationshipNode {
 public:
  Rel_colNode() : RelationshipNode(RecordKind::REL_COL) {}
  void addText(std::string_view textName, std::string_view value);
  ZELString name;
  int32_t length = 0;  // the first length attribute, or the second when the first is 0
  int32_t scale = 0;
  ZELString comment;
};

class Key_colNode : public RelationshipNode {
 public:
  Key_colNode() : RelationshipNode(RecordKind::KEY_COL) {}
  int32_t position = 0;
  bool descending = false;  // the sort order reads "D"
};

class ParmNode : public RelationshipNode {
 public:
  ParmNode() : RelationshipNode(RecordKind::PARM) {}
  int32_t position = 0;
};

class DatabaseNode : public EntityNode {
 public:
  DatabaseNode() : EntityNode(RecordKind::DATABASE) {}
  ZELString name;
};

class View_colNode : public RelationshipNode {
 public:
  View_colNode() : RelationshipNode(RecordKind::VIEW_COL) {}
  int32_t position = 0;
};

class Tb_cl_atNode : public RelationshipNode {
 public:
  Tb_cl_atNode() : RelationshipNode(RecordKind::TB_CL_AT) {}
};

class Fgn_keyNode : public RelationshipNode {
 public:
  Fgn_keyNode() : RelationshipNode(RecordKind::FGN_KEY) {}
  // toId: the KEY of the foreign key. Attribute 1 reading "Y" sets the third
  // role code of the foreign-key side, attribute 2 the first two.
  bool attr1Y = false;
  bool attr2Y = false;
};

class Rel_sysNode : public EntityNode {
 public:
  Rel_sysNode() : EntityNode(RecordKind::REL_SYS) {}
  ZELString name;
};

class Udef_dtNode : public RelationshipNode {
 public:
  Udef_dtNode() : RelationshipNode(RecordKind::UDEF_DT) {}
};

class Obj_atNode : public RelationshipNode {
 public:
  Obj_atNode() : RelationshipNode(RecordKind::OBJ_AT) {}
};

class DbprocNode : public EntityNode {
 public:
  DbprocNode() : EntityNode(RecordKind::DBPROC) {}
  void addText(std::string_view textName, std::string_view value);
  ZELString name;
  ZELString description;
};

class ViewNode : public EntityNode {
 public:
  ViewNode() : EntityNode(RecordKind::VIEW) {}
  ZELString name;
};

class ServtypeNode : public EntityNode {
 public:
  ServtypeNode() : EntityNode(RecordKind::SERVTYPE) {}
  ZELString attr2C;    // server type name, copied into the catalog
  ZELString attr3C;    // server type text (its version)
  int32_t attr4S = 0;  // server type number
};

class KeyNode : public EntityNode {
 public:
  KeyNode() : EntityNode(RecordKind::KEY) {}
  ZELString name;
  ZELString keyType;
};

class Db_atNode : public RelationshipNode {
 public:
  Db_atNode() : RelationshipNode(RecordKind::DB_AT) {}
};

class ServinstNode : public RelationshipNode {
 public:
  ServinstNode() : RelationshipNode(RecordKind::SERVINST) {}
};

class Prim_keyNode : public RelationshipNode {
 public:
  Prim_keyNode() : RelationshipNode(RecordKind::PRIM_KEY) {}
};

class Fk_tb_atNode : public RelationshipNode {
 public:
  Fk_tb_atNode() : RelationshipNode(RecordKind::FK_TB_AT) {}
};

class ElementNode : public EntityNode {
 public:
  ElementNode() : EntityNode(RecordKind::ELEMENT) {}
};

// Each node class's kind and each kind's node class.
template <class N>
struct KindOfNode;
template <RecordKind K>
struct NodeOfKind;
#define PCD_RECORD(NAME, NODE, ...)                       \
  template <>                                             \
  struct KindOfNode<NODE> {                               \
    static constexpr RecordKind value = RecordKind::NAME; \
  };                                                      \
  template <>                                             \
  struct NodeOfKind<RecordKind::NAME> {                   \
    using type = NODE;                                    \
  };
#include "pcd/record_kinds.def"
#undef PCD_RECORD

// Destroys a node of any kind in place, as its class.
void destroyNode(Node* node) noexcept;

// The size of each kind's node, by RecordKind: the node arena holds the
// nodes back to back, so walking it needs each one's size.
inline constexpr size_t kNodeSizes[kRecordKinds] = {
#define PCD_RECORD(NAME, NODE, ...) sizeof(NODE),
#include "pcd/record_kinds.def"
#undef PCD_RECORD
};

}  // namespace CaRepositoryDsOdbcImport
