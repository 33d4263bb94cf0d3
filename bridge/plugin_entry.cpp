// The plug-in's face to the host: the exported entry function and the
// interface object through which the host reads the bridge's options and
// specification and runs an import. Everything else in the library is hidden.
#include <memory>
#include <new>

#include "bridge/file_option.h"
#include "bridge/import_bridge.h"
#include "bridge/messages/tav_cards.h"
#include "model/zel_model.h"
#include "zel_bridge_interface.h"
#include "zel_bridge_specification.h"
#include "zel_exception.h"
#include "zel_host_messages.h"
#include "zel_options.h"

namespace {

const char* const kBridgeVersion = "5.2.0 - Jun 12 2007 10:46:21";
const char* const kMappingSpecification = "ZELCaRepositoryDsOdbcImport";
// The name the host's unexpected-error message gives this bridge.
const char* const kBridgeName = "ZELCaRepositoryDsOdbcImport";

}  // namespace

class ZELCaRepositoryDsOdbcImportDllInterface final : public ZELModelBridgeImportDllInterface {
 public:
  void getSpecification(const ZELString& bridgeId, ZELBridgeSpecification& specification) override;
  void getOptionList(ZELOptionList& options) override;
  ZELString getMappingSpecificationXmlFile() override { return kMappingSpecification; }
  bool run(const ZELString& bridgeId, ZELModel& model, ZELOptionList& options,
           ZELLog& log) override;
};

void ZELCaRepositoryDsOdbcImportDllInterface::getSpecification(
    const ZELString& bridgeId, ZELBridgeSpecification& specification) {
  // An identifier the host does not know still describes this bridge.
  const ZELBridgeSpecificationLiteral* literal = getBridgeSpecification(bridgeId);
  if (literal == nullptr) literal = &TAVSPECS::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT;

  const ZELString& descriptionId = literal->getInternalCode_DescriptionLiteralId();
  const ZELParameterizedTextLiteral* descriptionLiteral = TAV_CARDS::findTextLiteral(descriptionId);
  const ZELString description =
      descriptionLiteral != nullptr ? descriptionLiteral->getText() : "*** " + descriptionId;

  specification.initialize(literal->getTool_Web(), literal->getVendor_Name(),
                           literal->getTool_Name(), literal->getTool_Versions(),
                           literal->getMethodology_Summary(), nullptr, kBridgeVersion, description,
                           false, false);
}

void ZELCaRepositoryDsOdbcImportDllInterface::getOptionList(ZELOptionList& options) {
  options.removeAll();
  addFileOption(options);
}

bool ZELCaRepositoryDsOdbcImportDllInterface::run(const ZELString& bridgeId, ZELModel& model,
                                                  ZELOptionList& options, ZELLog& log) {
  // Construction, run and destruction of the bridge form one guarded region:
  // the bridge is gone (and with it every pointer into the model) before the
  // half-built model is emptied.
  try {
    ZELCaRepositoryDsOdbcImportBridge bridge(&log);
    return bridge.run(&model, &options, bridgeId);
  } catch (const ZELException&) {
    model.recursiveDelete();
    throw;
  } catch (...) {
    model.recursiveDelete();
    TAVGEN::BRIDGE_UNEXPECTED_ERROR.throwException(kBridgeName);
  }
}

// The one interface object lives in static storage: created on the first
// call, never destroyed (the host may call it until the library is
// unloaded), and never on the heap, so nothing is left to free. The plain
// flag needs no lock because the host makes its first call from one thread.
extern "C" __attribute__((visibility("default"))) ZELModelBridgeImportDllInterface*
getZELCaRepositoryDsOdbcImportInterface() {
  static bool interfaceCreated = false;
  alignas(ZELCaRepositoryDsOdbcImportDllInterface) static unsigned char
      interfaceStorage[sizeof(ZELCaRepositoryDsOdbcImportDllInterface)];
  static ZELCaRepositoryDsOdbcImportDllInterface* interfaceInstance = nullptr;
  if (!interfaceCreated) {
    interfaceInstance = new (interfaceStorage) ZELCaRepositoryDsOdbcImportDllInterface();
    interfaceCreated = true;
  }
  return interfaceInstance;
}
