#include "lint_source.h"

#include "database_url.h"
#include "snapshot.h"

#include "heap_setup.h"
#include "import_run.h"
#include "input_file.h"
#include "plugin_loader.h"
#include "zel_log.h"

namespace pcd::cli {

SourceLoader extractLoader(BridgePlugin& plugin) {
  return [&plugin](const std::string& source) {
    LoadedSource loaded;
    std::string path;
    if (isDatabaseUrl(source)) {
      // The catalog becomes an extract in an unlinked file; its lines mean
      // nothing to the user, so findings name none.
      std::vector<std::string> warnings;
      try {
        loaded.snapshot = snapshotFile(source, warnings);
      } catch (const std::exception& unreadable) {
        loaded.error = unreadable.what();
        return loaded;
      }
      path = loaded.snapshot->path();
    } else {
      // Standard input, a pipe or a process substitution is copied to a
      // file: the bridge opens its input by name, and the lines are read
      // again.
      loaded.input = std::make_shared<InputFile>();
      if (!loaded.input->identify(source, loaded.error) || !loaded.input->prepare(loaded.error)) {
        return loaded;
      }
      if (loaded.input->size() > 0) prepareHeapForImport(loaded.input->size());
      path = loaded.input->path();
    }
    loaded.model = std::make_unique<ZELModel>();
    ZELMemoryLog log;  // the import's warnings are `check`'s business
    loaded.error = runImport(plugin.bridge(), "CaRepositoryDsOdbcImport", path, *loaded.model, log);
    if (!loaded.error.empty()) {
      loaded.model.reset();
      return loaded;
    }
    if (loaded.input) loaded.extractPath = path;
    return loaded;
  };
}

}  // namespace pcd::cli
