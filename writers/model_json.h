// Writes an imported host model, with the log of its import, as the
// "pcd-import-model" JSON document. The walk uses only the host model's
// public API and streams as it goes, so its memory use does not grow with
// the model.
#pragma once

#include <memory>
#include <vector>

#include "json_writer.h"
#include "model/zel_model.h"
#include "model_writer.h"
#include "zel_log.h"

void writeModelDocument(JsonWriter& json, const ZELModel& model,
                        const std::vector<ZELLogEvent>& logEvents);

// The "json" format: the document, pretty or compact.
std::unique_ptr<ModelWriter> makeJsonModelWriter(const WriterOptions& options);
