// The "mermaid" format: a Mermaid erDiagram of the tables and views, their
// columns with PK/FK/UK marks, and the associations with the cardinalities
// of their roles.
#pragma once

#include <memory>
#include <string>

#include "diagram_selection.h"

#include "diagram_writer.h"
#include "model_writer.h"

namespace pcd::writers {

// The erDiagram text of a diagram.
std::string diagramAsMermaid(const Diagram& diagram);

std::unique_ptr<ModelWriter> makeMermaidModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
