// ZELCaRepositoryDsOdbcImportBridge: one import of a PCD file into a host
// model. The interface object creates one per run, on its stack, calls run()
// once and destroys it.
//
// The class is split over several files by concern:
//   bridge/import_bridge.cpp        construction, run, clean-up
//   pcd/line_primitives.cpp         cursor primitives and text lines
//   pcd/stream_driver.cpp           processStream, processLine, loadParserHashTable
//   pcd/record_scanners.cpp         the record scanners and scanTable
//   builder/node_resolution.cpp     processNodes, getAssertNode
//   builder/object_user_data.cpp    user data on model objects, deleteUnusedObjects
//   builder/catalog_schema_table.cpp, builder/columns_and_types.cpp,
//   builder/keys_and_indexes.cpp, builder/foreign_keys.cpp,
//   builder/procedures.cpp          the process operations by record kind
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>

#include "builder/derived_type_values.h"
#include "builder/record_references.h"
#include "builder/shared_derived_types.h"
#include "model/zel_model.h"
#include "pcd/chunk_arena.h"
#include "pcd/node_id_registry.h"
#include "pcd/node_tables.h"
#include "pcd/recent_names.h"
#include "pcd/record_nodes.h"
#include "pcd/shared_texts.h"
#include "zel_log.h"
#include "zel_object_name_hashtable.h"
#include "zel_options.h"
#include "zel_string.h"

class ZELCaRepositoryDsOdbcImportBridge {
 public:
  using Node = CaRepositoryDsOdbcImport::Node;
  // A record scanner: checks one whole "E" or "R" line and returns its new
  // node, placed in the bridge's node arena. The caller registers the node
  // or destroys it.
  using Scanner = Node* (*)(ZELCaRepositoryDsOdbcImportBridge* bridge, const char* line);

  explicit ZELCaRepositoryDsOdbcImportBridge(ZELLog* log);
  ~ZELCaRepositoryDsOdbcImportBridge();
  ZELCaRepositoryDsOdbcImportBridge(const ZELCaRepositoryDsOdbcImportBridge&) = delete;
  ZELCaRepositoryDsOdbcImportBridge& operator=(const ZELCaRepositoryDsOdbcImportBridge&) = delete;

  // Imports the file named by the BP_FILE option into `model` (never null).
  // Returns true; every failure leaves by an exception, after the bridge's
  // own clean-up.
  bool run(ZELModel* model, ZELOptionList* options, const ZELString& bridgeId);
  void cleanup(bool success);
  // Whether the bridge holds no record node, table entry or user data, as
  // after a run, successful or not.
  bool holdsNothing() const;

  // --- Reading.
  // Reads the file `fileName` (local encoding) into record nodes.
  void processStream(const ZELString& fileName);
  // Handles line `number` of a file: a text line goes to `lastNode`, a
  // record line to the scanner of its record name, whose node is registered
  // by id; other lines are skipped. Returns the record that text lines now
  // attach to.
  Node* processLine(const char* line, long number, Node* lastNode);

  // Line primitives: each takes a cursor into the current line and returns
  // the cursor behind what it consumed. Violations throw the PCD error with
  // the current line number.
  const char* assertObjectType(const char* line, const char* letter);
  const char* assertName(const char* cursor, const char* literal);
  const char* scanToken(const char* cursor, long* value);
  const char* assertNumAttributes(const char* cursor, long expected);
  const char* assertAttrTypeAndReadVal(const char* cursor, const char* typeLetter, long* value);
  const char* scanString(const char* cursor, ZELString& value, long length);
  // As scanString, sharing the buffer of an equal text read before.
  const char* scanSharedString(const char* cursor, ZELString& value, long length);
  // A text line addressed to `lastNode`: its text name and its text, as
  // bytes of the line.
  struct TextLine {
    std::string_view name;
    std::string_view value;
  };
  TextLine readText(const Node* lastNode, const char* line);
  // Reads a text line and hands it to `lastNode`.
  void scanText(Node* lastNode, const char* line);
  [[noreturn]] void throwPcdError() const;

  // --- Building.
  void processNodes();
  // The node registered under `id`; throws the missing-object error.
  Node* getAssertNode(long id);
  // The node under `id` whose record name is `type`; throws the missing-object
  // or bad-object-type error.
  Node* getAssertNode(long id, ZELString type);
  // The record `node` names by its from or to id, resolved as the table of
  // id references says (builder/record_references.h): a node of the
  // expected kind's class, any node, or null for a record of another kind
  // where the import skips `node`.
  template <CaRepositoryDsOdbcImport::IdField Field, class N>
  auto* resolve(const N* node);

  // The builder's record on a schema's general pointer: the design package
  // that stands beside it. Only schemas carry one; the other objects need no
  // record, since their nodes point at them (`modelObject`). An object that
  // carries one stays in the model until the clean-up, which finds it in
  // `userData` rather than by walking the model.
  class ObjectUserData {
   public:
    virtual ~ObjectUserData() = default;
    ZELDesignPackage* designPackage = nullptr;  // not owned
  };
  // The user data of `object`, created (empty) on first request in the
  // bridge's user-data arena.
  ObjectUserData* getObjectUserData(ZELObject* object);
  // Frees user data, nodes and the entries of all three tables.
  void deleteUnusedObjects(bool success);

  // Process operations, by record kind, in dispatch order.
  void processDb_atNode(CaRepositoryDsOdbcImport::Db_atNode* node);
  void processServinstNode(CaRepositoryDsOdbcImport::ServinstNode* node);
  void processSchem_atNode(CaRepositoryDsOdbcImport::Schem_atNode* node);
  void processTable_atNode(CaRepositoryDsOdbcImport::Table_atNode* node);
  void processTbl_colNode(CaRepositoryDsOdbcImport::Tbl_colNode* node);
  void processView_colNode(CaRepositoryDsOdbcImport::View_colNode* node);
  void processKey_colNode(CaRepositoryDsOdbcImport::Key_colNode* node);
  void processFk_tb_atNode(CaRepositoryDsOdbcImport::Fk_tb_atNode* node);
  void processIndex_atNode(CaRepositoryDsOdbcImport::Index_atNode* node);
  void processObj_atNode(CaRepositoryDsOdbcImport::Obj_atNode* node);
  void processParmNode(CaRepositoryDsOdbcImport::ParmNode* node);

 private:
  // Fills the scanner index table (record name to scanner index).
  void loadParserHashTable();
  // Calls visit(Node*) for every registered node, in file order: the node
  // arena holds exactly those, back to back. The visit may destroy the node.
  template <class Visit>
  void forEachNode(Visit visit) {
    nodeArena.forEachChunk([&visit](const unsigned char* start, size_t used) {
      for (size_t at = 0; at < used;) {
        auto* node = reinterpret_cast<Node*>(const_cast<unsigned char*>(start + at));
        at += CaRepositoryDsOdbcImport::kNodeSizes[static_cast<int>(node->kind)];
        visit(node);
      }
    });
  }
  // The scanner index of the `length` bytes at `name`; 0 for an unknown name.
  intptr_t scannerIndexOf(const char* name, size_t length);
  // Scanners by index (see loadParserHashTable); the last entry is null.
  static const Scanner scanTable[CaRepositoryDsOdbcImport::kRecordKinds + 1];
  // One scanner per record kind: scanTBL_COL for TBL_COL.
#define PCD_RECORD(NAME, ...) \
  static Node* scan##NAME(ZELCaRepositoryDsOdbcImportBridge* bridge, const char* line);
#include "pcd/record_kinds.def"
#undef PCD_RECORD

  // --- Data types.
  ZELString lookupDataType(ZELString nativeName);
  ZELBaseType* getBaseType(const ZELString& dataType);
  ZELBaseType* getUndefinedBaseType();

  // --- Steps shared by several process operations.
  // The schema that receives an object placed at `location` (a schema, or a
  // catalog whose first child package is taken, or which gets a new
  // "Default Schema" with its "Default Package").
  ZELDatabaseSchema* schemaForLocation(ZELObject* location);
  // The derived type of a column or parameter: named after the native type
  // (with "_" and the length when it is not 0), length, scale, data type,
  // native data type, derived from the shared base type of its data type.
  std::unique_ptr<ZELDerivedType> makeDerivedType(
      const CaRepositoryDsOdbcImport::Rel_colNode* column,
      const CaRepositoryDsOdbcImport::Rel_dtNode* dataType);
  // Gives a column or argument its derived type, which the model owns: the
  // one of the first column with equal values (see shared_derived_types.h).
  template <class Typed>
  void addDerivedType(Typed* typed, const CaRepositoryDsOdbcImport::Rel_colNode* column,
                      const CaRepositoryDsOdbcImport::Rel_dtNode* dataType) {
    typed->addType(sharedDerivedType(column, dataType));
  }
  ZELDerivedType* sharedDerivedType(const CaRepositoryDsOdbcImport::Rel_colNode* column,
                                    const CaRepositoryDsOdbcImport::Rel_dtNode* dataType);
  // Makes the design package that stands beside `schema`, in the model, and
  // records it in the schema's user data.
  void addDesignPackage(ZELDatabaseSchema* schema, const ZELString& name, bool schemaFlag);
  // Registers an element in the design package of `schema` through `link`
  // (addModelElement, addStoredProcedure), under a unique name when the
  // package refuses its own. Returns false when the schema has no design
  // package.
  template <class Element>
  bool registerInDesignPackage(ZELDatabaseSchema* schema, Element* element,
                               bool (ZELDesignPackage::*link)(Element*));
  // Deletes the model object of a KEY node with its user data and clears the
  // node's modelObject.
  void removeKeyObject(CaRepositoryDsOdbcImport::KeyNode* keyNode);

  // --- State of one import. The file name and its stream live in run and
  // processStream; what is kept here is what several stages share.
  ZELModel* model = nullptr;                 // borrowed; set by run
  ZELLog* log;                               // borrowed
  long lineNumber = 0;                       // the line being read, for the PCD error
  ZELObjectNameHashtable baseTypeTable;      // base types by name; not owned
  ZELStringNodeHashtable scannerIndexTable;  // record name -> scanner index
  NodeIdRegistry idRegistry;                 // object id -> node
  // Scanner indexes of the record names met last (see scannerIndexOf).
  CaRepositoryDsOdbcImport::RecentNames recentNames;
  // Column names, kept once each (see shared_texts.h).
  CaRepositoryDsOdbcImport::SharedTexts sharedTexts;
  // The registered record nodes, in file order (the id registry finds
  // them): one allocation per chunk of nodes instead of one per node. The
  // clean-up destroys the nodes, then frees it.
  CaRepositoryDsOdbcImport::ChunkArena nodeArena;
  // Name, data type and base type of derived types, by native type and length.
  CaRepositoryDsOdbcImport::DerivedTypeValueCache derivedTypeValues;
  // The derived types made so far, by the values that make them equal.
  CaRepositoryDsOdbcImport::SharedDerivedTypes sharedDerivedTypes;
  // The user data the builder hangs on model objects (see getObjectUserData),
  // each with its object; a deque keeps every record in place. Emptied by the
  // clean-up once it has taken the records off.
  struct HeldUserData {
    ZELObject* object;
    ObjectUserData data;
  };
  std::deque<HeldUserData> userData;
};

template <CaRepositoryDsOdbcImport::IdField Field, class N>
auto* ZELCaRepositoryDsOdbcImportBridge::resolve(const N* node) {
  namespace cr = CaRepositoryDsOdbcImport;
  constexpr cr::IdReference reference = cr::idReference(cr::KindOfNode<N>::value, Field);
  const long id = Field == cr::kFromId ? node->fromId : node->toId;
  if constexpr (reference.resolution == cr::Resolution::kAnyKind) {
    return getAssertNode(id);
  } else {
    using Target = typename cr::NodeOfKind<reference.kind>::type;
    const ZELString& type = *cr::kRecordNames[static_cast<int>(reference.kind)];
    if constexpr (reference.resolution == cr::Resolution::kKindOrSkip) {
      if (!(getAssertNode(id)->type() == type)) return static_cast<Target*>(nullptr);
    }
    return static_cast<Target*>(getAssertNode(id, type));
  }
}

template <class Element>
bool ZELCaRepositoryDsOdbcImportBridge::registerInDesignPackage(
    ZELDatabaseSchema* schema, Element* element, bool (ZELDesignPackage::*link)(Element*)) {
  ZELDesignPackage* designPackage = getObjectUserData(schema)->designPackage;
  if (designPackage == nullptr) return false;
  if (!(designPackage->*link)(element)) designPackage->addLinkUniqueName(link, element, '_');
  return true;
}
