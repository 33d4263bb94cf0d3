#include "diagram_writer.h"

namespace pcd::writers {

std::string DiagramModelWriter::write(const ModelSource& source, OutputSink& sink) {
  Diagram diagram;
  std::string error = selectDiagram(source.model, options_, diagram);
  if (!error.empty()) return error;
  return draw(source, diagram, sink);
}

std::string DiagramModelWriter::putText(OutputSink& sink, std::string_view text) {
  return sink.put("", text) ? "" : "out of memory";
}

}  // namespace pcd::writers
