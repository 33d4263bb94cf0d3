// The "mermaid" format: a Mermaid erDiagram of the tables and views, their
// columns with PK/FK/UK marks, and the associations with the cardinalities
// of their roles.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "diagram_selection.h"

#include "diagram_writer.h"
#include "model_writer.h"

namespace pcd::writers {

// The erDiagram text of a diagram.
// `maxText`: characters written of an entity's label or a column's name; a
// longer one ends in "…".
std::string diagramAsMermaid(const Diagram& diagram, size_t maxText = SIZE_MAX);
// The same, appended to `text`.
void appendDiagramAsMermaid(std::string& text, const Diagram& diagram, size_t maxText = SIZE_MAX);

std::unique_ptr<ModelWriter> makeMermaidModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
