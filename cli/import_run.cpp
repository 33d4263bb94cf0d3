#include "import_run.h"

#include <exception>
#include <new>

#include "heap_setup.h"
#include "zel_bridge_specification.h"
#include "zel_exception.h"
#include "zel_options.h"

namespace pcd::cli {

namespace {

// The key of the bridge's PCD file option.
const char* const kFileOptionKey = "BP_FILE";

}  // namespace

std::string runImport(ZELModelBridgeImportDllInterface& bridge, const std::string& bridgeId,
                      const std::string& pcdFile, ZELModel& model, ZELLog& log) {
  const ZELString id(bridgeId.data(), bridgeId.size());
  try {
    ZELOptionList options;
    bridge.getOptionList(options);
    ZELBridgeSpecification specification;
    bridge.getSpecification(id, specification);

    ZELBridgeOption* fileOption = options.find(kFileOptionKey);
    if (fileOption == nullptr) {
      return std::string("the plug-in offers no ") + kFileOptionKey + " option";
    }
    // The option carries UTF-8; the name is handed on as the user gave it.
    fileOption->setValue(pcdFile.c_str());

    if (!bridge.run(id, model, options, log)) return "the bridge reported a failed import";
    // The bridge has freed its records; what runs next (a writer, a second
    // import) takes their memory.
    releaseFreedHeap();
    return "";
  } catch (const ZELException& failure) {
    const ZELString& text = failure.getText();
    return std::string(text.c_str(), text.length());
  } catch (const std::bad_alloc&) {
    throw;  // the program reports it as such
  } catch (const std::exception& failure) {
    return std::string("unexpected failure: ") + failure.what();
  } catch (...) {
    // A plug-in of another make may throw anything.
    return "unexpected failure of an unknown kind";
  }
}

}  // namespace pcd::cli
