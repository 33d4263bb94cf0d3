// What the diagram formats share: the tables, views and relations that
// --schema and --columns choose (selectDiagram), written as one file. Each
// format adds only its syntax.
#pragma once

#include <memory>
#include <string>

#include "diagram_selection.h"
#include "model_writer.h"

namespace pcd::writers {

class DiagramModelWriter : public ModelWriter {
 public:
  explicit DiagramModelWriter(WriterOptions options) : options_(std::move(options)) {}
  std::string write(const ModelSource& source, OutputSink& sink) final;

 protected:
  // The diagram of `source` in the format's syntax, in `text`. Returns ""
  // or why it cannot be drawn.
  virtual std::string draw(const ModelSource& source, const Diagram& diagram,
                           std::string& text) = 0;

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
    std::string draw(const ModelSource&, const Diagram& diagram, std::string& text) override {
      text = kText(diagram);
      return "";
    }
  };
  return std::make_unique<TextDiagramWriter>(options);
}

}  // namespace pcd::writers
