// The bridge object: construction, the import run and its clean-up.
#include "bridge/import_bridge.h"

#include <cassert>
#include <memory>

#include "bridge/messages/tav_cards.h"
#include "zel_bridge_specification.h"
#include "zel_text_io.h"
#include "zel_type_helpers.h"

using Bridge = ZELCaRepositoryDsOdbcImportBridge;

namespace {

// The target database counts as detected when the model's first catalog
// names a server type. Only the first catalog among the child packages is
// looked at.
bool targetDatabaseDetected(const ZELModel& model) {
  const long count = model.getChildPackageCount();
  for (long index = 0; index < count; ++index) {
    const ZELPackage* package = model.getChildPackage(index);
    if (package != nullptr && package->getElementType() == ZEL_ET_DATABASE_CATALOG) {
      return !static_cast<const ZELDatabaseCatalog*>(package)->getServerTypeName().isEmpty();
    }
  }
  return false;
}

}  // namespace

namespace {

long idOfNode(const void* node) {
  return static_cast<const CaRepositoryDsOdbcImport::Node*>(node)->id;
}

}  // namespace

Bridge::ZELCaRepositoryDsOdbcImportBridge(ZELLog* log)
    : log(log), baseTypeTable(10), scannerIndexTable(25), idRegistry(idOfNode) {
  // The destructor does not run when the constructor fails: free the entries
  // added so far here.
  try {
    loadParserHashTable();
  } catch (...) {
    scannerIndexTable.empty();
    throw;
  }
}

Bridge::~ZELCaRepositoryDsOdbcImportBridge() {
  // Normally a repeat of run's clean-up that finds nothing left. A failure
  // here cannot be reported from a destructor and must not end the process.
  try {
    cleanup(false);
  } catch (...) {
  }
}

bool Bridge::run(ZELModel* targetModel, ZELOptionList* options, const ZELString& bridgeId) {
  // The interface object always passes its model.
  assert(targetModel != nullptr);
  model = targetModel;
  // Without a file option the name stays empty and opening it fails with the
  // system's text.
  ZELString fileName;  // local encoding
  if (options != nullptr) {
    const auto* option = static_cast<const ZELBridgeOption*>(
        options->options.findFirst(TAV_CARDS::BP_FILE.getKey(), nullptr));
    if (option != nullptr) fileName = utf8ToLocale(option->getValue());
  }

  try {
    getUndefinedBaseType();
    processStream(fileName);
    processNodes();
    TAV_CARDS::CAREPOSITORY_I_POST_PROCESSING.log(*log);
    if (!targetDatabaseDetected(*model)) {
      TAV_CARDS::CAREPOSITORY_I_UNABLE_TO_DETECT_TARGET_DATABASE.log(*log, "<targetdb>");
    }
    deleteUnusedObjects(true);
    factorizeTypes(model);

    std::unique_ptr<ZELMetadataOrigin> origin(
        generateMetadataOrigin(TAVSPECS::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT, bridgeId));
    ZELMetadataOrigin* added = origin.get();
    if (model->addMetadataOrigin(added)) origin.release();  // the model owns it now
    added->sourceToolName = "CA Repository PCD";
    added->sourceFile = fileName;
    added->modelKind = "REL";
    added->characterEncoding = "UTF-8";
  } catch (...) {
    cleanup(false);
    throw;
  }
  cleanup(true);
  return true;
}

void Bridge::cleanup(bool success) {
  deleteUnusedObjects(success);
}

bool Bridge::holdsNothing() const {
  return idRegistry.count() == 0 && scannerIndexTable.count() == 0 && baseTypeTable.count() == 0 &&
         nodeArena.isEmpty() && userData.empty();
}
