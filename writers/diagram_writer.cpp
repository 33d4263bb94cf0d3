#include "diagram_writer.h"

namespace pcd::writers {

std::string DiagramModelWriter::write(const ModelSource& source, OutputSink& sink) {
  Diagram diagram;
  std::string error = selectDiagram(source.model, options_, diagram);
  if (!error.empty()) return error;
  std::string text;
  error = draw(source, diagram, text);
  if (!error.empty()) return error;
  return putFile(sink, "", text) ? "" : "out of memory";
}

}  // namespace pcd::writers
