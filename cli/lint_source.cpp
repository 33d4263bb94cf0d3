#include "lint_source.h"

#include "heap_setup.h"
#include "import_run.h"
#include "input_file.h"
#include "plugin_loader.h"
#include "zel_log.h"

namespace pcd::cli {

namespace {

bool startsWith(const std::string& text, const char* prefix) {
  return text.rfind(prefix, 0) == 0;
}

}  // namespace

bool isDatabaseUrl(const std::string& source) {
  return startsWith(source, "postgresql://") || startsWith(source, "postgres://") ||
         startsWith(source, "mysql://") || startsWith(source, "sqlite:");
}

SourceLoader extractLoader(BridgePlugin& plugin) {
  return [&plugin](const std::string& source) {
    LoadedSource loaded;
    if (isDatabaseUrl(source)) {
      // The hook for database URLs: read the catalog into an extract
      // (a temporary file), then import that extract below, with
      // extractPath left empty when its lines mean nothing to the user.
      loaded.error = "database URLs are not read yet; write an extract first";
      return loaded;
    }
    loaded.input = std::make_shared<InputFile>();
    // Standard input, a pipe or a process substitution is copied to a file:
    // the bridge opens its input by name, and the lines are read again.
    if (!loaded.input->identify(source, loaded.error) || !loaded.input->prepare(loaded.error)) {
      return loaded;
    }
    if (loaded.input->size() > 0) prepareHeapForImport(loaded.input->size());
    loaded.model = std::make_unique<ZELModel>();
    ZELMemoryLog log;  // the import's warnings are `check`'s business
    loaded.error = runImport(plugin.bridge(), "CaRepositoryDsOdbcImport", loaded.input->path(),
                             *loaded.model, log);
    if (!loaded.error.empty()) {
      loaded.model.reset();
      return loaded;
    }
    loaded.extractPath = loaded.input->path();
    return loaded;
  };
}

}  // namespace pcd::cli
