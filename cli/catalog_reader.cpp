#include "catalog_reader.h"

namespace pcd::cli {

LiveCatalog readLiveCatalog(const DatabaseUrl& url, const CatalogReadOptions& options) {
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

}  // namespace pcd::cli
