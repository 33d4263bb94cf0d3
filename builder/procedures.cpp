// Stored procedures placed in schemas, and their typed arguments.
#include <memory>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "builder/record_values.h"

using namespace CaRepositoryDsOdbcImport;
using Bridge = ZELCaRepositoryDsOdbcImportBridge;

namespace {

// The name quoted when something other than a procedure is placed twice.
const ZELString kUnknownName("?");

}  // namespace

void Bridge::processObj_atNode(Obj_atNode* node) {
  Node* placed = resolve<kFromId>(node);
  Node* locationNode = resolve<kToId>(node);
  ZELObject* location = locationNode->modelObject;
  const bool isProcedure = placed->type() == RecordName::DBPROC;
  const ZELString& name = isProcedure ? static_cast<DbprocNode*>(placed)->name : kUnknownName;

  if (placed->modelObject != nullptr) {
    // The first placement stands, whatever kind of object it placed.
    TAV_CARDS::CAREPOSITORY_I_MULTIPLE_PROCEDURE_LOCATIONS.log(*log, name);
    return;
  }
  if (location == nullptr) return;
  ZELDatabaseSchema* schema = schemaForLocation(location);
  if (schema == nullptr || !isProcedure) return;  // a default schema made above stays

  auto* procedureNode = static_cast<DbprocNode*>(placed);
  auto procedure = std::make_unique<ZELStoredProcedure>();
  procedure->setName(procedureNode->name);
  procedure->setDescription(procedureNode->description);
  procedureNode->modelObject = procedure.get();
  schema->addModelObject(procedure.get());
  ZELStoredProcedure* linked = procedure.release();

  registerInDesignPackage(schema, linked, &ZELDesignPackage::addStoredProcedure);
  node->modelObject = linked;
}

void Bridge::processParmNode(ParmNode* node) {
  // Parameters of anything but a procedure are not modelled.
  Node* procedureNode = resolve<kFromId>(node);
  if (procedureNode == nullptr) return;
  auto* column = resolve<kToId>(node);
  auto* dataType = resolve<kToId>(column);
  // A procedure that no record placed has no object to take the argument.
  if (procedureNode->modelObject == nullptr) return;

  auto argument = std::make_unique<ZELArgument>();
  node->modelObject = argument.get();
  argument->setName(column->name);
  static_cast<ZELOperation*>(procedureNode->modelObject)->addArgument(argument.get());
  ZELArgument* linked = argument.release();
  linked->setPosition(low16(node->position));
  linked->setDescription(column->comment);

  addDerivedType(linked, column, dataType);
}
