// What `pcd-import lint` reads: a SOURCE turned into a model. The command
// takes the loader as a function, so that another kind of source plugs in
// without touching the rules or the reports.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "model/zel_model.h"

namespace pcd::cli {

class BridgePlugin;
class InputFile;
class UnlinkedFile;

struct LoadedSource {
  std::unique_ptr<ZELModel> model;
  // The extract whose lines the findings name; "" when the source has none.
  std::string extractPath;
  std::shared_ptr<InputFile> input;        // keeps a copy of standard input alive
  std::shared_ptr<UnlinkedFile> snapshot;  // a database's catalog as an extract
  std::string error;                       // why the source gave no model
};

using SourceLoader = std::function<LoadedSource(const std::string& source)>;

// Imports extract files (or "-", standard input) through the plug-in; a
// database URL is read as `snapshot` reads it, and its findings name no line.
SourceLoader extractLoader(BridgePlugin& plugin);

}  // namespace pcd::cli
