// The "html" format: the catalog as one self-contained, browsable HTML page
// (style and script inline, nothing loaded from elsewhere): an overview,
// navigation by catalog and schema, a search box, one section per table,
// view and procedure with links along the foreign keys, and SVG diagrams.
#pragma once

#include <memory>

#include "model_writer.h"

namespace pcd::writers {

std::unique_ptr<ModelWriter> makeHtmlModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
