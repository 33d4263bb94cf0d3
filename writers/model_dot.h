// The "dot" format: the model as a Graphviz graph, one cluster per schema,
// one node per table and view (a table of its columns), one edge per
// association from the referencing table to the referenced one.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "diagram_selection.h"
#include "model_writer.h"

// The graph as DOT text. `layoutAttributes` ("a=b, c=d" or "") join the
// graph's attributes: the SVG writer adds its limits for large graphs there.
std::string diagramAsDot(const Diagram& diagram, std::string_view layoutAttributes);

std::unique_ptr<ModelWriter> makeDotModelWriter(const WriterOptions& options);
