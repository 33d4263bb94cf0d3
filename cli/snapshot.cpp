#include "snapshot.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
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

UnlinkedFile::~UnlinkedFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool UnlinkedFile::write(const std::string& bytes, std::string& error) {
  const char* base = std::getenv("TMPDIR");
  std::string pattern = std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") +
                        "/pcd-import-snapshot-XXXXXX";
  descriptor_ = mkostemp(pattern.data(), O_CLOEXEC);
  if (descriptor_ < 0) {
    error = "cannot make a temporary file in " + pattern.substr(0, pattern.rfind('/')) + ": " +
            std::strerror(errno);
    return false;
  }
  unlink(pattern.c_str());
  path_ = "/proc/self/fd/" + std::to_string(descriptor_);
  const char* at = bytes.data();
  size_t left = bytes.size();
  while (left > 0) {
    const ssize_t written = ::write(descriptor_, at, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      error = std::string("cannot write a temporary file: ") + std::strerror(errno);
      return false;
    }
    at += written;
    left -= static_cast<size_t>(written);
  }
  return true;
}

}  // namespace pcd::cli
