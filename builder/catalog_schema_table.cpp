// Database catalogs, server type values, schemas with their design packages,
// and the placement of tables and views in schemas.
#include <memory>

#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "builder/record_values.h"

using namespace CaRepositoryDsOdbcImport;
using Bridge = ZELCaRepositoryDsOdbcImportBridge;

void Bridge::processDb_atNode(Db_atNode* node) {
  auto* database = resolve<kFromId>(node);
  auto* system = resolve<kToId>(node);

  auto catalog = std::make_unique<ZELDatabaseCatalog>();
  catalog->setName(database->name);
  model->addChildPackage(catalog.get());
  ZELDatabaseCatalog* linked = catalog.release();
  // With several systems, the one processed last names the model.
  model->setName(system->name);
  node->modelObject = linked;
  database->modelObject = linked;
  system->modelObject = linked;
}

void Bridge::processServinstNode(ServinstNode* node) {
  auto* serverType = resolve<kFromId>(node);
  Node* system = resolve<kToId>(node);
  // A system that no database record names has no catalog to describe.
  ZELObject* object = system->modelObject;
  if (object == nullptr || !object->isInstanceOf(ZEL_ET_DATABASE_CATALOG)) return;

  auto* catalog = static_cast<ZELDatabaseCatalog*>(object);
  catalog->setServerTypeName(serverType->attr2C);
  catalog->setServerTypeNumber(low16(serverType->attr4S));
  catalog->setServerTypeText(serverType->attr3C);
  serverType->modelObject = catalog;
  node->modelObject = catalog;
}

void Bridge::processSchem_atNode(Schem_atNode* node) {
  auto* schemaNode = resolve<kFromId>(node);
  Node* owner = resolve<kToId>(node);
  // The owner must already carry a package (a catalog, or a schema for a
  // nested one); otherwise there is nowhere to put the schema.
  ZELObject* parent = owner->modelObject;
  if (parent == nullptr || !parent->isInstanceOf(ZEL_ET_PACKAGE)) return;

  auto schema = std::make_unique<ZELDatabaseSchema>();
  static_cast<ZELPackage*>(parent)->addChildPackage(schema.get());
  ZELDatabaseSchema* linked = schema.release();
  linked->setName(schemaNode->name);
  node->modelObject = linked;
  schemaNode->modelObject = linked;
  addDesignPackage(linked, schemaNode->name, true);
}

void Bridge::addDesignPackage(ZELDatabaseSchema* schema, const ZELString& name, bool schemaFlag) {
  auto designPackage = std::make_unique<ZELDesignPackage>();
  designPackage->setName(name);
  designPackage->setSchema(schemaFlag);
  model->addChildPackage(designPackage.get());
  getObjectUserData(schema)->designPackage = designPackage.release();
}

ZELDatabaseSchema* Bridge::schemaForLocation(ZELObject* location) {
  if (location->isInstanceOf(ZEL_ET_DATABASE_SCHEMA)) {
    return static_cast<ZELDatabaseSchema*>(location);
  }
  // Anything else is taken as a catalog: its first schema, else a default one.
  if (!location->isInstanceOf(ZEL_ET_PACKAGE)) return nullptr;
  auto* container = static_cast<ZELPackage*>(location);
  if (container->getChildPackageCount() > 0) {
    ZELPackage* first = container->getChildPackage(0);
    return first->isInstanceOf(ZEL_ET_DATABASE_SCHEMA) ? static_cast<ZELDatabaseSchema*>(first)
                                                       : nullptr;
  }

  auto schema = std::make_unique<ZELDatabaseSchema>();
  schema->setName("Default Schema");
  container->addChildPackage(schema.get());
  ZELDatabaseSchema* linked = schema.release();
  addDesignPackage(linked, "Default Package", false);
  return linked;
}

void Bridge::processTable_atNode(Table_atNode* node) {
  // Both ids are resolved first, so a dangling id fails even for a record
  // that is skipped below.
  Node* tableNode = resolve<kFromId>(node);
  Node* locationNode = resolve<kToId>(node);
  ZELObject* container = locationNode->modelObject;

  if (tableNode->modelObject != nullptr) {
    // The first placement stands.
    TAV_CARDS::CAREPOSITORY_I_MULTIPLE_TABLE_LOCATIONS.log(*log, node->attr1C);
    return;
  }
  if (container == nullptr) return;
  ZELDatabaseSchema* schema = schemaForLocation(container);
  if (schema == nullptr) return;

  std::unique_ptr<ZELClass> object;
  if (tableNode->type() == RecordName::TABLE) {
    auto* table = static_cast<TableNode*>(tableNode);
    object = std::make_unique<ZELClass>();
    object->setName(table->name);
    object->setDescription(table->description);
  } else if (tableNode->type() == RecordName::VIEW) {
    object = std::make_unique<ZELSQLViewEntity>();
    object->setName(static_cast<ViewNode*>(tableNode)->name);
  } else {
    return;  // only tables and views are placed; a default schema made above stays
  }

  tableNode->modelObject = object.get();
  schema->addModelObject(object.get());
  ZELClass* linked = object.release();
  registerInDesignPackage(schema, static_cast<ZELModelElement*>(linked),
                          &ZELDesignPackage::addModelElement);
  node->modelObject = linked;
}
