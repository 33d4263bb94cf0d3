// The exported entry of the catalog readers' module.
#include "catalog_readers_module.h"

#include <type_traits>

namespace pcd::cli {
namespace {

LiveCatalog readCatalog(const DatabaseUrl& url, const CatalogReadOptions& options) {
  switch (url.engine) {
    case Engine::kPostgresql:
      return readPostgresqlCatalog(url, options);
    case Engine::kMariadb:
      return readMariadbCatalog(url, options);
    case Engine::kSqlite:
      return readSqliteCatalog(url, options);
  }
  throw CatalogReadError("unknown database engine");
}

}  // namespace
}  // namespace pcd::cli

extern "C" __attribute__((visibility("default"))) bool pcdReadLiveCatalog(
    const pcd::cli::DatabaseUrl& url, const pcd::cli::CatalogReadOptions& options,
    pcd::cli::LiveCatalog& catalog, std::string& error) {
  try {
    catalog = pcd::cli::readCatalog(url, options);
    return true;
  } catch (const pcd::cli::CatalogReadError& unreadable) {
    error = unreadable.what();
    return false;
  }
}

// The entry's type is the one the program calls it through.
static_assert(std::is_same_v<decltype(&pcdReadLiveCatalog), pcd::cli::CatalogReadersEntry>);
