// The "markdown" format: GitHub-flavoured Markdown documentation for a
// repository, written as a folder: README.md with the overview, the schemas
// and a linked list of all tables, one page per table and view (columns,
// keys, indexes, foreign keys both ways, a Mermaid erDiagram of its
// relations), and the list of the files written (kFolderFileList).
#pragma once

#include <memory>

#include "model_writer.h"

namespace pcd::writers {

std::unique_ptr<ModelWriter> makeMarkdownModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
