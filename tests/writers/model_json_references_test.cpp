// Schema paths: a foreign key's "references" names the catalog and the
// whole schema path of the table it refers to, so a reader can follow it
// without a search; the documentation and diagrams name a deeply nested
// schema by its innermost names only, so that a long chain of nested
// schemas does not make their output quadratic. And the document is the same
// whether or not a second thread lays tables and design packages out ahead.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalog_outline.h"
#include "model/zel_model.h"
#include "model_json.h"
#include "spare_processor.h"

using namespace pcd::writers;

namespace {

template <class T>
T* named(const char* name) {
  T* object = new T();
  object->setName(name);
  return object;
}

bool spare = false;

std::string writeJson(const ZELModel& model, bool compact) {
  char* bytes = nullptr;
  size_t size = 0;
  std::FILE* out = open_memstream(&bytes, &size);
  const std::vector<ZELLogEvent> log;
  WriterOptions options;
  options.compact = compact;
  StreamSink sink(out);
  EXPECT_EQ(makeJsonModelWriter(options)->write({model, log, "x.pcd"}, sink), "");
  std::fclose(out);
  std::string text(bytes, size);
  std::free(bytes);
  return text;
}

std::string writeCompact(const ZELModel& model) {
  return writeJson(model, true);
}

TEST(ModelJsonReferences, CarryCatalogAndWholeSchemaPathOthersTheInnermostNames) {
  ZELModel model;
  auto* catalog = named<ZELDatabaseCatalog>("C");
  ASSERT_TRUE(model.addChildPackage(catalog));
  ZELDatabaseSchema* top = nullptr;
  ZELDatabaseSchema* parent = nullptr;
  std::string whole;
  for (int depth = 1; depth <= 12; ++depth) {
    const std::string name = "S" + std::to_string(depth);
    auto* schema = named<ZELDatabaseSchema>(name.c_str());
    ASSERT_TRUE(parent != nullptr ? parent->addChildPackage(schema)
                                  : catalog->addChildPackage(schema));
    if (top == nullptr) top = schema;
    parent = schema;
    whole += (depth > 1 ? "/" : "") + name;
  }
  auto* referenced = named<ZELClass>("DEEP");
  ASSERT_TRUE(parent->addModelObject(referenced));
  auto* referring = named<ZELClass>("TOP");
  ASSERT_TRUE(top->addModelObject(referring));
  auto* primary = named<ZELCandidateKey>("PK_DEEP");
  ASSERT_TRUE(primary->addAssociatedClass(referenced));
  auto* foreign = named<ZELForeignKey>("FK_TOP");
  ASSERT_TRUE(foreign->addAssociatedClass(referring));
  ASSERT_TRUE(foreign->addCandidateKey(primary));

  const std::string json = writeCompact(model);
  EXPECT_NE(json.find("\"references\":{\"table\":\"DEEP\",\"key\":\"PK_DEEP\","
                      "\"catalog\":\"C\",\"schema\":\"" +
                      whole + "\"}"),
            std::string::npos)
      << json;
  CatalogOutline outline;
  ASSERT_EQ(outlineModel(model, {}, outline), "");
  ASSERT_EQ(outline.schemas.size(), 12u);
  EXPECT_EQ(outline.schemas[7].path, "S1/S2/S3/S4/S5/S6/S7/S8");
  EXPECT_EQ(outline.schemas[8].path, "\xE2\x80\xA6/S2/S3/S4/S5/S6/S7/S8/S9");
  EXPECT_EQ(outline.schemas[11].path, "\xE2\x80\xA6/S5/S6/S7/S8/S9/S10/S11/S12");
  ASSERT_NE(outline.indexOf(referenced), CatalogOutline::kNotShown);
  EXPECT_EQ(outline.tables[outline.indexOf(referenced)].anchor,
            "\xE2\x80\xA6/S5/S6/S7/S8/S9/S10/S11/S12.DEEP");
  model.recursiveDelete();
}

// A model big enough for tables and design packages laid out ahead on a
// second thread, with schemas nested to several depths and columns of shared
// types, and values the second thread leaves to the writer (tables and a
// design package of many parts, runs of tables too big to hold): the
// document is the one the writer alone lays out, pretty and compact.
TEST(ModelJsonDocument, ValuesLaidOutAheadReadAsWrittenInOrder) {
  ZELModel model;
  auto* catalog = named<ZELDatabaseCatalog>("C");
  ASSERT_TRUE(model.addChildPackage(catalog));
  std::vector<ZELDerivedType*> types;
  for (int t = 0; t < 3; ++t) {
    auto* type = named<ZELDerivedType>(("T" + std::to_string(t)).c_str());
    type->Length = t;
    ASSERT_TRUE(model.addType(type));
    types.push_back(type);
  }
  ZELPackage* parent = catalog;
  std::vector<ZELClass*> tables;
  int serial = 0;
  for (int depth = 0; depth < 4; ++depth) {
    auto* schema = named<ZELDatabaseSchema>(("S" + std::to_string(depth)).c_str());
    ASSERT_TRUE(parent->addChildPackage(schema));
    for (int t = 0; t < 170; ++t, ++serial) {
      auto* table = named<ZELClass>(("TABLE_" + std::to_string(serial)).c_str());
      ASSERT_TRUE(schema->addModelObject(table));
      tables.push_back(table);
      // Many columns: every 50th table, and tables 96 to 127 (a run).
      const int columns = serial % 50 == 7 ? 2100 : serial >= 96 && serial < 128 ? 900 : 0;
      for (int c = 0; c < serial % 3 + 1 + columns; ++c) {
        auto* column = named<ZELAttribute>(("COLUMN_" + std::to_string(c)).c_str());
        ASSERT_TRUE(table->addFeature(column));
        column->addType(types[static_cast<size_t>((serial + c) % 3)]);
      }
    }
    // Every other level also holds a schema of its own beside the next one.
    if (depth % 2 == 0) {
      auto* side = named<ZELDatabaseSchema>(("SIDE" + std::to_string(depth)).c_str());
      ASSERT_TRUE(schema->addChildPackage(side));
      for (int t = 0; t < 40; ++t, ++serial) {
        ASSERT_TRUE(side->addModelObject(named<ZELClass>(("T_" + std::to_string(serial)).c_str())));
      }
    }
    parent = schema;
  }
  auto* many = named<ZELDatabaseSchema>("MANY");
  ASSERT_TRUE(catalog->addChildPackage(many));
  for (int t = 0; t < 1500; ++t, ++serial) {
    auto* table = named<ZELClass>(("M_" + std::to_string(serial)).c_str());
    ASSERT_TRUE(many->addModelObject(table));
    tables.push_back(table);
  }
  // Design packages after the tables, enough for runs of their own; a few
  // of many elements.
  for (int p = 0; p < 100; ++p) {
    auto* package = named<ZELDesignPackage>(("PACKAGE_" + std::to_string(p)).c_str());
    ASSERT_TRUE(model.addChildPackage(package));
    const size_t elements = p % 16 == 5 ? tables.size() : 3;
    for (size_t e = 0; e < elements; ++e) {
      ASSERT_TRUE(
          package->addModelElement(tables[(static_cast<size_t>(p) * 7 + e) % tables.size()]));
    }
  }
  for (const bool compact : {false, true}) {
    std::string documents[2];
    for (const bool ahead : {false, true}) {
      spare = ahead;
      documents[ahead ? 1 : 0] = writeJson(model, compact);
    }
    spare = false;
    EXPECT_EQ(documents[1], documents[0]);
    EXPECT_NE(documents[0].find("TABLE_679"), std::string::npos);
    EXPECT_NE(documents[0].find("PACKAGE_99"), std::string::npos);
  }
  model.recursiveDelete();
}

}  // namespace

// The writer lays values out ahead when a second thread would have a
// processor of its own; this program answers in its place.
bool pcd::writers::spareProcessor() {
  return spare;
}
