// The "dot" format: the model as a Graphviz graph, one cluster per schema,
// one node per table and view (a table of its columns), one edge per
// association from the referencing table to the referenced one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "diagram_selection.h"
#include "diagram_writer.h"
#include "model_writer.h"

namespace pcd::writers {

// What the drawn formats add to the dot format's graph: limits that keep
// Graphviz's layout fast, and links on the tables' boxes.
struct DotStyle {
  // Columns drawn per table; a last row says how many more there are.
  size_t maxColumns = SIZE_MAX;
  // Characters drawn of a name or type; a longer one ends in "…".
  size_t maxTextLength = SIZE_MAX;
  // Each table's link (diagram.tables[i] has (*links)[i]), made of
  // characters that need no escaping in DOT and XML (a percent-encoded URL).
  const std::vector<std::string>* links = nullptr;
};

// The graph as DOT text.
std::string diagramAsDot(const Diagram& diagram, const DotStyle& style = {});

std::unique_ptr<ModelWriter> makeDotModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
