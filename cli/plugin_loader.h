// Loads the bridge plug-in and finds its interface object; loads the
// program's other modules from its own folder.
#pragma once

#include <string>

#include "zel_bridge_interface.h"

namespace pcd::cli {

// The file name of the plug-in and the name of its exported entry function.
extern const char* const kPluginFileName;
extern const char* const kPluginEntryName;

// The folder of the running program, with a trailing '/', or "" when the
// system cannot tell.
std::string programFolder();

// Loads the shared library `path` for the life of the process and returns its
// exported symbol `entryName`. On failure returns nullptr and sets `error` to
// the loader's own explanation.
void* loadLibraryEntry(const std::string& path, const char* entryName, std::string& error);

// The plug-in to load: `fromCommandLine` when given, else the environment
// variable PCD_IMPORT_PLUGIN when set and not empty, else the plug-in in the
// folder of the running program.
std::string choosePluginPath(const std::string& fromCommandLine);

// A loaded plug-in. It stays loaded for the life of the process: the model
// and the log events keep pointing at code and data of the library, and its
// interface object is never destroyed.
class BridgePlugin {
 public:
  // Loads `path` and calls its entry function. On failure returns false and
  // sets `error` to the loader's own explanation.
  bool load(const std::string& path, std::string& error);
  ZELModelBridgeImportDllInterface& bridge() const { return *bridge_; }

 private:
  ZELModelBridgeImportDllInterface* bridge_ = nullptr;
};

}  // namespace pcd::cli
