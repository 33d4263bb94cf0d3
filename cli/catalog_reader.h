// Reads a live database's catalog through the engine's own client library,
// in one read-only transaction with a consistent view; never writes to the
// database.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "database_url.h"
#include "live_catalog.h"

namespace pcd::cli {

// Why a catalog could not be read (connection refused, a query failed): the
// message names the host and database, never a password.
class CatalogReadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct CatalogReadOptions {
  std::vector<std::string> schemas;  // only these schemas (empty: every user schema)
};

// Fills `catalog` with every user schema (or the chosen ones), sorted by
// name; tables, views and procedures sorted by name (procedures of one name
// by their argument types); columns in position order. `systemName` is
// set to the host's name (SQLite: the file's name). Throws CatalogReadError.
// These are in the catalog readers' module, which the tests link directly.
LiveCatalog readPostgresqlCatalog(const DatabaseUrl& url, const CatalogReadOptions& options);
LiveCatalog readMariadbCatalog(const DatabaseUrl& url, const CatalogReadOptions& options);
LiveCatalog readSqliteCatalog(const DatabaseUrl& url, const CatalogReadOptions& options);

// The reader for the URL's engine, through the catalog readers' module
// (catalog_readers_module.h), loaded on the first call; a module that cannot
// be loaded is a CatalogReadError naming its file.
LiveCatalog readLiveCatalog(const DatabaseUrl& url, const CatalogReadOptions& options);

}  // namespace pcd::cli
