// The "svg" format: the diagram of the "dot" format laid out and drawn by
// Graphviz's own library, in the process, so that no external program is
// needed.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "diagram_selection.h"
#include "model_writer.h"

// How a diagram of this size is laid out: the Graphviz layout engine, or
// none (engine null) with the message to show when the diagram is too large
// to lay out in bounded time. `cells` counts tables, views and drawn columns.
struct SvgLayout {
  const char* engine;
  std::string tooLarge;
};
SvgLayout chooseSvgLayout(size_t tables, size_t cells);

// Draws diagrams as SVG with the process's one Graphviz context, for the
// svg format and the writers that draw many (the documentation formats).
class SvgDrawing {
 public:
  SvgDrawing();
  // "" and the SVG document in `svg`, or why the diagram cannot be drawn.
  std::string draw(const Diagram& diagram, std::string& svg);

 private:
  struct GVC_s* context_;
};

std::unique_ptr<ModelWriter> makeSvgModelWriter(const WriterOptions& options);
