#include "model_summary.h"

#include "catalog_view.h"
#include "schema_walk.h"

namespace pcd::writers {

namespace {

void countSchemaContents(const ZELPackage& schema, ModelCounts& counts) {
  if (!schema.isInstanceOf(ZEL_ET_DATA_PACKAGE)) return;
  for (const ZELModelObject* object : static_cast<const ZELDataPackage&>(schema).modelObjects()) {
    switch (object->getElementType()) {
      case ZEL_ET_CLASS: {
        const auto* table = static_cast<const ZELClass*>(object);
        ++counts.tables;
        counts.columns += table->features().count();
        counts.keys += table->keys().count();
        counts.indexes += table->indexes().count();
        for (const ZELIndex* index : table->indexes()) {
          if (isKeyIndex(*table, *index)) ++counts.keyIndexes;
        }
        break;
      }
      case ZEL_ET_SQL_VIEW_ENTITY:
        ++counts.views;
        counts.columns += static_cast<const ZELSQLViewEntity*>(object)->features().count();
        break;
      case ZEL_ET_STORED_PROCEDURE:
        ++counts.procedures;
        break;
      default:
        break;
    }
  }
}

}  // namespace

ModelCounts countModel(const ZELModel& model) {
  ModelCounts counts;
  counts.types = model.types().count();
  for (const ZELPackage* package : model.childPackages()) {
    if (!isCatalog(*package)) continue;
    ++counts.catalogs;
    forEachSchemaOf(*package, [&](const SchemaPath&, const ZELPackage& schema) {
      ++counts.schemas;
      countSchemaContents(schema, counts);
    });
  }
  return counts;
}

std::string formatSummary(const ModelCounts& counts) {
  const struct {
    const char* name;
    long value;
  } fields[] = {{"catalogs", counts.catalogs},
                {"schemas", counts.schemas},
                {"tables", counts.tables},
                {"views", counts.views},
                {"columns", counts.columns},
                {"keys", counts.keys},
                {"indexes", counts.indexes},
                {"keyIndexes", counts.keyIndexes},
                {"otherIndexes", counts.indexes - counts.keyIndexes},
                {"procedures", counts.procedures},
                {"types", counts.types}};
  std::string line;
  for (const auto& field : fields) {
    if (!line.empty()) line += ' ';
    line += field.name;
    line += '=';
    line += std::to_string(field.value);
  }
  return line;
}

namespace {

class SummaryModelWriter final : public ModelWriter {
 public:
  std::string write(const ModelSource& source, OutputSink& sink) override {
    std::FILE* out = sink.file("");
    if (out == nullptr) return "out of memory";
    std::fprintf(out, "%s\n", formatSummary(countModel(source.model)).c_str());
    return "";
  }
};

}  // namespace

std::unique_ptr<ModelWriter> makeSummaryModelWriter(const WriterOptions&) {
  return std::make_unique<SummaryModelWriter>();
}

}  // namespace pcd::writers
