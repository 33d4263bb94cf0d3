#include "snapshot.h"

#include <algorithm>
#include <sstream>

#include "catalog_reader.h"

namespace pcd::cli {

Snapshot takeSnapshot(const std::string& urlText, const SnapshotOptions& options) {
  const DatabaseUrl url = parseDatabaseUrl(urlText);
  CatalogReadOptions readOptions;
  readOptions.schemas = options.schemas;
  LiveCatalog catalog = readLiveCatalog(url, readOptions);
  if (!options.systemName.empty()) catalog.systemName = options.systemName;
  // Every new PostgreSQL database has a schema "public"; empty and not
  // asked for, it is the engine's, not the catalog's.
  if (url.engine == Engine::kPostgresql && options.schemas.empty()) {
    auto& schemas = catalog.schemas;
    schemas.erase(std::remove_if(schemas.begin(), schemas.end(),
                                 [](const LiveSchema& schema) {
                                   return schema.name == "public" && schema.tables.empty() &&
                                          schema.procedures.empty();
                                 }),
                  schemas.end());
  }
  Snapshot snapshot;
  snapshot.shownUrl = url.shown();
  snapshot.empty = catalog.schemas.empty();
  std::ostringstream text;
  snapshot.report = writeExtract(catalog, snapshot.shownUrl, text);
  snapshot.text = std::move(text).str();
  return snapshot;
}

std::unique_ptr<UnlinkedFile> snapshotFile(const std::string& url,
                                           std::vector<std::string>& warnings) {
  const Snapshot snapshot = takeSnapshot(url, {});
  warnings = snapshot.report.warnings;
  auto file = std::make_unique<UnlinkedFile>();
  std::string error;
  if (!file->create("pcd-import-snapshot", error) ||
      !file->append(snapshot.text.data(), snapshot.text.size(), error)) {
    throw CatalogReadError("cannot keep the snapshot of " + snapshot.shownUrl + ": " + error);
  }
  return file;
}

}  // namespace pcd::cli
