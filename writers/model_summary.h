// One line of object counts for an imported model: what a benchmark prints
// when it times the import without the cost of writing the whole model.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "model/zel_model.h"
#include "model_writer.h"

namespace pcd::writers {

struct ModelCounts {
  long catalogs = 0;
  long schemas = 0;  // nested schemas included
  long tables = 0;
  long views = 0;
  long columns = 0;     // of tables and views
  long keys = 0;        // candidate and foreign keys
  long indexes = 0;     // position indexes included
  long keyIndexes = 0;  // those the import made for keys among them (isKeyIndex)
  long procedures = 0;
  long types = 0;  // base and derived
};

ModelCounts countModel(const ZELModel& model);
// "catalogs=2 schemas=4 tables=5 ..." without a line break; after
// "indexes=" (all of them) come "keyIndexes=" (the keys' position indexes)
// and "otherIndexes=" (the rest: the indexes the catalog defines itself).
std::string formatSummary(const ModelCounts& counts);

// The "summary" format: the counts on one line.
std::unique_ptr<ModelWriter> makeSummaryModelWriter(const WriterOptions& options);

}  // namespace pcd::writers
