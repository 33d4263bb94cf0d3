// What the diagram formats share: the tables, views and relations that
// --schema and --columns choose (selectDiagram), written as one file. Each
// format adds only its syntax.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "diagram_selection.h"
#include "model_writer.h"

namespace pcd::writers {

class DiagramModelWriter : public ModelWriter {
 public:
  explicit DiagramModelWriter(WriterOptions options) : options_(std::move(options)) {}
  std::string write(const ModelSource& source, OutputSink& sink) final;

 protected:
  // Writes the diagram of `source` in the format's syntax as the sink's one
  // file. Returns "" or why it cannot be drawn.
  virtual std::string draw(const ModelSource& source, const Diagram& diagram, OutputSink& sink) = 0;
  // Puts a diagram made as one text into the sink: "" or why it could not.
  static std::string putText(OutputSink& sink, std::string_view text);

 private:
  WriterOptions options_;
};

// The writer of a format whose text follows from the diagram alone.
template <std::string (*kText)(const Diagram&)>
std::unique_ptr<ModelWriter> makeTextDiagramWriter(const WriterOptions& options) {
  class TextDiagramWriter final : public DiagramModelWriter {
   public:
    using DiagramModelWriter::DiagramModelWriter;

   private:
    std::string draw(const ModelSource&, const Diagram& diagram, OutputSink& sink) override {
      return putText(sink, kText(diagram));
    }
  };
  return std::make_unique<TextDiagramWriter>(options);
}

}  // namespace pcd::writers
