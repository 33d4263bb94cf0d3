// Writes an imported host model, with the log of its import, as the
// "pcd-import-model" JSON document. The walk uses only the host model's
// public API and streams as it goes: besides a window of tables laid out
// ahead, of bounded size, it keeps only the inline form of each derived type
// (the model's types, not its columns).
#pragma once

#include <memory>

#include "model/zel_model.h"
#include "model_writer.h"

namespace pcd::writers {

// The "json" format: the document, pretty or compact.
std::unique_ptr<ModelWriter> makeJsonModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
