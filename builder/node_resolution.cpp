// Grouping the record nodes by kind and dispatching the relationship records
// in their fixed order; resolving the ids that records carry.
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>
#include <vector>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"

using namespace CaRepositoryDsOdbcImport;

namespace {

// One dispatch step: the record name and the process operation of its nodes.
struct DispatchStep {
  const ZELString* recordName;
  void (*process)(ZELCaRepositoryDsOdbcImportBridge* bridge, Node* node);
};

template <class NodeClass, void (ZELCaRepositoryDsOdbcImportBridge::*Operation)(NodeClass*)>
void dispatch(ZELCaRepositoryDsOdbcImportBridge* bridge, Node* node) {
  // Every node of a step's kind was made by the scanner of that kind.
  (bridge->*Operation)(static_cast<NodeClass*>(node));
}

using Bridge = ZELCaRepositoryDsOdbcImportBridge;

// Catalogs before schemas, schemas before tables, tables before columns,
// columns before keys; foreign keys before indexes; procedures last.
const DispatchStep kDispatchOrder[] = {
    {&RecordName::DB_AT, dispatch<Db_atNode, &Bridge::processDb_atNode>},
    {&RecordName::SERVINST, dispatch<ServinstNode, &Bridge::processServinstNode>},
    {&RecordName::SCHEM_AT, dispatch<Schem_atNode, &Bridge::processSchem_atNode>},
    {&RecordName::TABLE_AT, dispatch<Table_atNode, &Bridge::processTable_atNode>},
    {&RecordName::TBL_COL, dispatch<Tbl_colNode, &Bridge::processTbl_colNode>},
    {&RecordName::VIEW_COL, dispatch<View_colNode, &Bridge::processView_colNode>},
    {&RecordName::KEY_COL, dispatch<Key_colNode, &Bridge::processKey_colNode>},
    {&RecordName::FK_TB_AT, dispatch<Fk_tb_atNode, &Bridge::processFk_tb_atNode>},
    {&RecordName::INDEX_AT, dispatch<Index_atNode, &Bridge::processIndex_atNode>},
    {&RecordName::OBJ_AT, dispatch<Obj_atNode, &Bridge::processObj_atNode>},
    {&RecordName::PARM, dispatch<ParmNode, &Bridge::processParmNode>},
};

}  // namespace

void ZELCaRepositoryDsOdbcImportBridge::processNodes() {
  // Nodes of one kind are processed in ascending object id; when records
  // share an id, the later one replaces the earlier for look-ups (the
  // registry finds the newest), so only it is processed. Ids added in
  // ascending order (as files list them) leave the arena's file order
  // sorted, its records of one id neighbours: the kept nodes are walked
  // there. Otherwise every node is listed and stably sorted by id, so that
  // records that share an id stay in file order.
  // No file fits in memory with more records than a place (below) counts.
  if (static_cast<unsigned long>(idRegistry.count()) > UINT32_MAX) throw std::bad_alloc();
  std::vector<Node*> nodes;
  if (!idRegistry.holdsIdsInOrder()) {
    nodes.reserve(static_cast<size_t>(idRegistry.count()));
    forEachNode([&nodes](Node* node) { nodes.push_back(node); });
    auto byId = [](const Node* a, const Node* b) { return a->id < b->id; };
    if (!std::is_sorted(nodes.begin(), nodes.end(), byId)) {
      std::stable_sort(nodes.begin(), nodes.end(), byId);
    }
    auto kept = nodes.begin();
    for (auto at = nodes.begin(); at != nodes.end(); ++at) {
      if (at + 1 != nodes.end() && (*(at + 1))->id == (*at)->id) continue;
      *kept++ = *at;
    }
    nodes.erase(kept, nodes.end());
  }
  // Calls visit(node, place) for every kept node in ascending id. Its place
  // finds it again (nodeAt): its record's number in the registry while ids
  // are in order, else its index in `nodes`. Places take half a pointer.
  const bool inOrder = idRegistry.holdsIdsInOrder();
  auto forEachKept = [this, inOrder, &nodes](auto visit) {
    if (!inOrder) {
      for (size_t at = 0; at < nodes.size(); ++at) visit(nodes[at], static_cast<uint32_t>(at));
      return;
    }
    Node* previous = nullptr;
    uint32_t record = 0;
    forEachNode([&](Node* node) {
      if (previous != nullptr && previous->id != node->id) visit(previous, record - 1);
      previous = node;
      ++record;
    });
    if (previous != nullptr) visit(previous, record - 1);
  };
  auto nodeAt = [this, inOrder, &nodes](uint32_t place) {
    return inOrder ? static_cast<Node*>(idRegistry.orderedNode(place)) : nodes[place];
  };

  // Grouping: one vector per dispatch step, of the places of the nodes of
  // its kind; the other kinds are only looked up by id and need none.
  // Counting first makes every vector at its final size once, and each is
  // freed as soon as its step is done, so the model grows into the memory
  // they leave.
  constexpr size_t kSteps = std::size(kDispatchOrder);
  int stepOfKind[kRecordKinds];
  std::fill(std::begin(stepOfKind), std::end(stepOfKind), -1);
  for (size_t step = 0; step < kSteps; ++step) {
    for (int kind = 0; kind < kRecordKinds; ++kind) {
      if (kRecordNames[kind] == kDispatchOrder[step].recordName) {
        stepOfKind[kind] = static_cast<int>(step);
      }
    }
  }
  size_t counts[kSteps] = {};
  forEachKept([&](const Node* node, uint32_t) {
    const int step = stepOfKind[static_cast<int>(node->kind)];
    if (step >= 0) ++counts[step];
  });
  std::vector<uint32_t> byStep[kSteps];
  for (size_t step = 0; step < kSteps; ++step) byStep[step].reserve(counts[step]);
  forEachKept([&](const Node* node, uint32_t place) {
    const int step = stepOfKind[static_cast<int>(node->kind)];
    if (step >= 0) byStep[step].push_back(place);
  });

  // Dispatch.
  for (size_t step = 0; step < kSteps; ++step) {
    for (const uint32_t place : byStep[step]) kDispatchOrder[step].process(this, nodeAt(place));
    std::vector<uint32_t>().swap(byStep[step]);
  }
}

Node* ZELCaRepositoryDsOdbcImportBridge::getAssertNode(long id) {
  auto* node = static_cast<Node*>(idRegistry.find(id));
  if (node == nullptr) TAV_CARDS::CAREPOSITORY_I_MISSING_OBJECT.throwException(ZELString(id));
  return node;
}

Node* ZELCaRepositoryDsOdbcImportBridge::getAssertNode(long id, ZELString type) {
  Node* node = getAssertNode(id);
  if (!(node->type() == type)) {
    TAV_CARDS::CAREPOSITORY_I_BAD_OBJECT_TYPE.throwException(ZELString(id), node->type(), type);
  }
  return node;
}
