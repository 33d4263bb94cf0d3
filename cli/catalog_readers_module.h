// The catalog readers' module: a shared library of the program's own that
// holds the three engines' readers and links their client libraries. The
// program loads it from its own folder when it first reads a database, so
// that runs on extracts neither load those libraries nor pay for them.
#pragma once

#include <string>

#include "catalog_reader.h"

namespace pcd::cli {

inline constexpr char kCatalogReadersFileName[] = "libpcd_catalog_readers.so";
inline constexpr char kCatalogReadersEntryName[] = "pcdReadLiveCatalog";

// The module's entry: reads the catalog of the URL's engine into `catalog`.
// A CatalogReadError comes back as false with its message in `error`; other
// exceptions (out of memory) pass through.
using CatalogReadersEntry = bool (*)(const DatabaseUrl& url, const CatalogReadOptions& options,
                                     LiveCatalog& catalog, std::string& error);

}  // namespace pcd::cli
