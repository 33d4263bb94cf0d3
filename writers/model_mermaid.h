// The "mermaid" format: a Mermaid erDiagram of the tables and views, their
// columns with PK/FK/UK marks, and the associations with the cardinalities
// of their roles.
#pragma once

#include <memory>

#include "model_writer.h"

std::unique_ptr<ModelWriter> makeMermaidModelWriter(const WriterOptions& options);
