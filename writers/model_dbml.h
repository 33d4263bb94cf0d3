// The "dbml" format: the tables of the model in DBML, with their columns,
// keys, index-only indexes, descriptions as notes, a Ref per linked foreign
// key and a table group per schema.
#pragma once

#include <memory>

#include "diagram_writer.h"
#include "model_writer.h"

namespace pcd::writers {

std::unique_ptr<ModelWriter> makeDbmlModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
