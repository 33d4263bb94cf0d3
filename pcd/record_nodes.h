// Record nodes: the in-memory form of the entity ("E") and relationship
// ("R") records of a PCD file, one class per record name. Scanners fill them,
// the stream driver registers them by id and feeds them text, the model
// builder reads them and records on each the model object made for it.
#pragma once

#include <utility>
#include "model/zel_object.h"

#include "zel_string.h"

namespace CaRepositoryDsOdbcImport {

class Node {
 public:
  explicit Node(ZELString type) : type(std::move(type)) {}
  virtual ~Node() = default;
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  // Accepts one text line addressed to this record; most records ignore text.
  virtual void setText(ZELString /*name*/, ZELString /*value*/) {}

  long id = 0;                       // object id, key of the id registry
  ZELString type;                    // record name, e.g. "TBL_COL"
  ZELObject* modelObject = nullptr;  // borrowed: the model object built for it
};

class EntityNode : public Node {
 public:
  explicit EntityNode(ZELString type) : Node(std::move(type)) {}
};

class RelationshipNode : public Node {
 public:
  explicit RelationshipNode(ZELString type) : Node(std::move(type)) {}
  long fromId = 0;  // first related record
  long toId = 0;    // second related record
};

// The record names, shared by every node of a kind (copies share the text).
namespace RecordName {
extern const ZELString SCHEM_AT;
extern const ZELString REL_DT;
extern const ZELString INDEX_AT;
extern const ZELString SCHEMA;
extern const ZELString TBL_COL;
extern const ZELString SUPTS_DT;
extern const ZELString TABLE;
extern const ZELString VW_CL_AT;
extern const ZELString TABLE_AT;
extern const ZELString REL_COL;
extern const ZELString KEY_COL;
extern const ZELString PARM;
extern const ZELString DATABASE;
extern const ZELString VIEW_COL;
extern const ZELString TB_CL_AT;
extern const ZELString FGN_KEY;
extern const ZELString REL_SYS;
extern const ZELString UDEF_DT;
extern const ZELString OBJ_AT;
extern const ZELString DBPROC;
extern const ZELString VIEW;
extern const ZELString SERVTYPE;
extern const ZELString KEY;
extern const ZELString DB_AT;
extern const ZELString SERVINST;
extern const ZELString PRIM_KEY;
extern const ZELString FK_TB_AT;
extern const ZELString ELEMENT;
}  // namespace RecordName

class Schem_atNode : public RelationshipNode {
 public:
  Schem_atNode() : RelationshipNode(RecordName::SCHEM_AT) {}
  ZELString attr1C;
};

class Rel_dtNode : public EntityNode {
 public:
  Rel_dtNode() : EntityNode(RecordName::REL_DT) {}
  ZELString name;
  long attr2S = 0;
  ZELString attr3C;
  ZELString attr4C;
  ZELString attr5C;
};

class Index_atNode : public RelationshipNode {
 public:
  Index_atNode() : RelationshipNode(RecordName::INDEX_AT) {}
  // fromId: the KEY. attr1C and attr5C: "Y" sets the first and the third
  // flag of an index-only key; the rest is not read.
  ZELString attr1C;
  ZELString attr2C;
  long attr3L = 0;
  long attr4S = 0;
  ZELString attr5C;
};

class SchemaNode : public EntityNode {
 public:
  SchemaNode() : EntityNode(RecordName::SCHEMA) {}
  ZELString name;
};

class Tbl_colNode : public RelationshipNode {
 public:
  Tbl_colNode() : RelationshipNode(RecordName::TBL_COL) {}
  void setText(ZELString textName, ZELString value) override;
  ZELString nullable;
  long position = 0;
  ZELString comment;
};

class Supts_dtNode : public RelationshipNode {
 public:
  Supts_dtNode() : RelationshipNode(RecordName::SUPTS_DT) {}
};

class TableNode : public EntityNode {
 public:
  TableNode() : EntityNode(RecordName::TABLE) {}
  void setText(ZELString textName, ZELString value) override;
  ZELString name;
  ZELString description;
};

class Vw_cl_atNode : public RelationshipNode {
 public:
  Vw_cl_atNode() : RelationshipNode(RecordName::VW_CL_AT) {}
  long attr1S = 0;
};

class Table_atNode : public RelationshipNode {
 public:
  Table_atNode() : RelationshipNode(RecordName::TABLE_AT) {}
  // fromId: the TABLE or VIEW; toId: its SCHEMA or DATABASE. attr1C is the
  // label quoted when a table is placed twice.
  ZELString attr1C;
  ZELString attr2C;
};

class Rel_colNode : public RelationshipNode {
 public:
  Rel_colNode() : RelationshipNode(RecordName::REL_COL) {}
  void setText(ZELString textName, ZELString value) override;
  ZELString name;
  long attr2S = 0;
  long length = 0;
  long attr4L = 0;  // the length used when `length` is 0
  long scale = 0;
  ZELString attr6C;
  ZELString attr7C;
  ZELString comment;
};

class Key_colNode : public RelationshipNode {
 public:
  Key_colNode() : RelationshipNode(RecordName::KEY_COL) {}
  long position = 0;
  ZELString sortOrder;
};

class ParmNode : public RelationshipNode {
 public:
  ParmNode() : RelationshipNode(RecordName::PARM) {}
  long position = 0;
};

class DatabaseNode : public EntityNode {
 public:
  DatabaseNode() : EntityNode(RecordName::DATABASE) {}
  ZELString name;
};

class View_colNode : public RelationshipNode {
 public:
  View_colNode() : RelationshipNode(RecordName::VIEW_COL) {}
  long position = 0;
};

class Tb_cl_atNode : public RelationshipNode {
 public:
  Tb_cl_atNode() : RelationshipNode(RecordName::TB_CL_AT) {}
  long attr1S = 0;
};

class Fgn_keyNode : public RelationshipNode {
 public:
  Fgn_keyNode() : RelationshipNode(RecordName::FGN_KEY) {}
  // toId: the KEY of the foreign key. attr1C "Y" sets the third role code of
  // the foreign-key side, attr2C "Y" the first two.
  ZELString attr1C;
  ZELString attr2C;
};

class Rel_sysNode : public EntityNode {
 public:
  Rel_sysNode() : EntityNode(RecordName::REL_SYS) {}
  ZELString name;
  ZELString attr2C;
};

class Udef_dtNode : public RelationshipNode {
 public:
  Udef_dtNode() : RelationshipNode(RecordName::UDEF_DT) {}
  long attr1L = 0;
  long attr2S = 0;
  long attr3S = 0;
};

class Obj_atNode : public RelationshipNode {
 public:
  Obj_atNode() : RelationshipNode(RecordName::OBJ_AT) {}
};

class DbprocNode : public EntityNode {
 public:
  DbprocNode() : EntityNode(RecordName::DBPROC) {}
  void setText(ZELString textName, ZELString value) override;
  ZELString name;
  ZELString description;
};

class ViewNode : public EntityNode {
 public:
  ViewNode() : EntityNode(RecordName::VIEW) {}
  ZELString name;
  ZELString attr2C;
};

class ServtypeNode : public EntityNode {
 public:
  ServtypeNode() : EntityNode(RecordName::SERVTYPE) {}
  ZELString attr1C;
  ZELString attr2C;  // server type name, copied into the catalog
  ZELString attr3C;  // server type text (its version)
  long attr4S = 0;   // server type number
  long attr5S = 0;
  long attr6S = 0;
  long attr7S = 0;
  long attr8S = 0;
  long attr9S = 0;
  long attr10S = 0;
  long attr11S = 0;
  long attr12S = 0;
  long attr13S = 0;
};

class KeyNode : public EntityNode {
 public:
  KeyNode() : EntityNode(RecordName::KEY) {}
  ZELString name;
  ZELString keyType;
  ZELString attr3C;
};

class Db_atNode : public RelationshipNode {
 public:
  Db_atNode() : RelationshipNode(RecordName::DB_AT) {}
  ZELString attr1C;
  ZELString attr2C;
};

class ServinstNode : public RelationshipNode {
 public:
  ServinstNode() : RelationshipNode(RecordName::SERVINST) {}
};

class Prim_keyNode : public RelationshipNode {
 public:
  Prim_keyNode() : RelationshipNode(RecordName::PRIM_KEY) {}
  long attr1L = 0;
};

class Fk_tb_atNode : public RelationshipNode {
 public:
  Fk_tb_atNode() : RelationshipNode(RecordName::FK_TB_AT) {}
};

class ElementNode : public EntityNode {
 public:
  ElementNode() : EntityNode(RecordName::ELEMENT) {}
  ZELString attr1C;
  long attr2L = 0;
  long attr3S = 0;
  ZELString attr4C;
  ZELString attr5C;
};

}  // namespace CaRepositoryDsOdbcImport
