// One import through the plug-in's interface, as a host runs it.
#pragma once

#include <string>

#include "model/zel_model.h"
#include "zel_bridge_interface.h"
#include "zel_log.h"

namespace pcd::cli {

// Asks the bridge for its options and specification, sets the file option to
// `pcdFile` and runs the import into `model`, logging to `log`. Returns "" on
// success, otherwise the text of the failure (for a host exception, its text
// alone).
std::string runImport(ZELModelBridgeImportDllInterface& bridge, const std::string& bridgeId,
                      const std::string& pcdFile, ZELModel& model, ZELLog& log);

}  // namespace pcd::cli
