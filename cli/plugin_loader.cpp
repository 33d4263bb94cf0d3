#include "plugin_loader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace pcd::cli {

const char* const kPluginFileName = "libZELCaRepositoryDsOdbcImport.so";
const char* const kPluginEntryName = "getZELCaRepositoryDsOdbcImportInterface";

namespace {

// dlopen searches the library path for a bare name; a user who names a file
// means that file.
std::string fileToLoad(const std::string& path) {
  return path.find('/') == std::string::npos ? "./" + path : path;
}

}  // namespace

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

std::string choosePluginPath(const std::string& fromCommandLine) {
  if (!fromCommandLine.empty()) return fromCommandLine;
  const char* fromEnvironment = std::getenv("PCD_IMPORT_PLUGIN");
  if (fromEnvironment != nullptr && fromEnvironment[0] != '\0') return fromEnvironment;
  return programFolder() + kPluginFileName;
}

void* loadLibraryEntry(const std::string& path, const char* entryName, std::string& error) {
  const std::string file = fileToLoad(path);
  dlerror();
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : "cannot load " + file;
    return nullptr;
  }
  void* symbol = dlsym(handle, entryName);
  if (symbol == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : file + ": no symbol " + entryName;
    dlclose(handle);
    return nullptr;
  }
  return symbol;
}

bool BridgePlugin::load(const std::string& path, std::string& error) {
  void* symbol = loadLibraryEntry(path, kPluginEntryName, error);
  if (symbol == nullptr) return false;
  const auto entry = reinterpret_cast<ZELModelBridgeImportEntry>(symbol);
  bridge_ = entry();
  if (bridge_ == nullptr) {
    error = fileToLoad(path) + ": " + kPluginEntryName + " returned no interface";
    return false;
  }
  return true;
}

}  // namespace pcd::cli
