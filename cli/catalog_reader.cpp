#include "catalog_reader.h"

#include "catalog_readers_module.h"
#include "plugin_loader.h"

namespace pcd::cli {

namespace {

// The module's entry, loaded once from the program's folder; on failure the
// error is the loader's, which names the file.
struct LoadedReaders {
  CatalogReadersEntry entry = nullptr;
  std::string error;
};

const LoadedReaders& loadedReaders() {
  static const LoadedReaders readers = [] {
    LoadedReaders loaded;
    const std::string path = programFolder() + kCatalogReadersFileName;
    std::string reason;
    void* symbol = loadLibraryEntry(path, kCatalogReadersEntryName, reason);
    if (symbol == nullptr)
      loaded.error = "cannot load the database readers: " + reason;
    else
      loaded.entry = reinterpret_cast<CatalogReadersEntry>(symbol);
    return loaded;
  }();
  return readers;
}

}  // namespace

LiveCatalog readLiveCatalog(const DatabaseUrl& url, const CatalogReadOptions& options) {
  const LoadedReaders& readers = loadedReaders();
  if (readers.entry == nullptr) throw CatalogReadError(readers.error);
  LiveCatalog catalog;
  std::string error;
  if (!readers.entry(url, options, catalog, error)) throw CatalogReadError(error);
  return catalog;
}

}  // namespace pcd::cli
