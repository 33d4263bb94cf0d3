// The "svg" format: the diagram of the "dot" format laid out and drawn by
// Graphviz's own library, so that no external program is needed. The
// library runs in a child process (DrawingProcess): it aborts or crashes
// when memory runs out, which then ends only the drawing.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "diagram_selection.h"
#include "diagram_writer.h"
#include "model_writer.h"

namespace pcd::writers {

class DrawingProcess;

// How a diagram of this size is laid out: the Graphviz layout engine, or
// none (engine null) with the message to show when the diagram is too large
// to lay out in bounded time. `cells` counts tables, views and the rows of
// columns drawn (at most 100 a table, and one that counts the others).
namespace detail {
struct SvgLayout {
  const char* engine;
  std::string tooLarge;
};
SvgLayout chooseSvgLayout(size_t tables, size_t cells, size_t relations);
}  // namespace detail

// Draws diagrams as SVG in drawing processes, for the svg format and the
// writers that draw many (the html format). A table shows its first 100
// columns and a name or type its first 80 characters.
class SvgDrawing {
 public:
  SvgDrawing();
  ~SvgDrawing();
  // "" and the SVG document in `svg`, or why the diagram is not drawn.
  // `links` (optional): each table's link, as DotStyle::links.
  std::string draw(const Diagram& diagram, std::string& svg,
                   const std::vector<std::string>* links = nullptr);
  // Whether drawing failed as a whole (Graphviz cannot start, or the drawing
  // process crashed, ran out of memory or hung) rather than for one
  // diagram: every later draw fails alike, and the output must not be kept.
  bool failed() const { return failed_; }

 private:
  // Sends `request` to both drawing processes; "" when they agree, with the
  // drawing's status and reply, or why there is none.
  std::string drawTwice(const std::string& request, unsigned char& status, std::string& reply);

  std::unique_ptr<DrawingProcess> processes_[2];
  bool failed_ = false;
  std::string failure_;
};

std::unique_ptr<ModelWriter> makeSvgModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
