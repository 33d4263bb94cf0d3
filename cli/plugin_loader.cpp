#include "plugin_loader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace pcd::cli {

const char* const kPluginFileName = "libZELCaRepositoryDsOdbcImport.so";
const char* const kPluginEntryName = "getZELCaRepositoryDsOdbcImportInterface";

namespace {

// The folder of the running program, with a trailing '/', or "" when the
// system cannot tell.
std::string programFolder() {
  std::vector<char> buffer(4096);
  for (;;) {
    const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (length < 0) return "";
    if (static_cast<size_t>(length) < buffer.size()) {
      const std::string path(buffer.data(), static_cast<size_t>(length));
      const size_t slash = path.rfind('/');
      return slash == std::string::npos ? "" : path.substr(0, slash + 1);
    }
    buffer.resize(buffer.size() * 2);  // the path may have been cut; try again
  }
}

}  // namespace

std::string choosePluginPath(const std::string& fromCommandLine) {
  if (!fromCommandLine.empty()) return fromCommandLine;
  const char* fromEnvironment = std::getenv("PCD_IMPORT_PLUGIN");
  if (fromEnvironment != nullptr && fromEnvironment[0] != '\0') return fromEnvironment;
  return programFolder() + kPluginFileName;
}

bool BridgePlugin::load(const std::string& path, std::string& error) {
  // dlopen searches the library path for a bare name; a user who names a file
  // means that file.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  dlerror();
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : "cannot load " + file;
    return false;
  }
  void* symbol = dlsym(handle, kPluginEntryName);
  if (symbol == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : file + ": no symbol " + kPluginEntryName;
    dlclose(handle);
    return false;
  }
  const auto entry = reinterpret_cast<ZELModelBridgeImportEntry>(symbol);
  bridge_ = entry();
  if (bridge_ == nullptr) {
    error = file + ": " + kPluginEntryName + " returned no interface";
    return false;
  }
  return true;
}

}  // namespace pcd::cli
