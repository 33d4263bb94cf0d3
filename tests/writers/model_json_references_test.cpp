// A foreign key's "references" names the catalog and the schema path of the
// table it refers to, so a reader can follow it without a search.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "model/zel_model.h"
#include "model_json.h"

namespace {

template <class T>
T* named(const char* name) {
  T* object = new T();
  object->setName(name);
  return object;
}

std::string writeCompact(const ZELModel& model) {
  char* bytes = nullptr;
  size_t size = 0;
  std::FILE* out = open_memstream(&bytes, &size);
  const std::vector<ZELLogEvent> log;
  WriterOptions options;
  options.compact = true;
  EXPECT_EQ(makeJsonModelWriter(options)->write({model, log, "x.pcd"}, out), "");
  std::fclose(out);
  std::string text(bytes, size);
  std::free(bytes);
  return text;
}

TEST(ModelJsonReferences, CarryCatalogAndSchemaPath) {
  ZELModel model;
  auto* catalog = named<ZELDatabaseCatalog>("SALES");
  auto* outer = named<ZELDatabaseSchema>("OUTER");
  auto* inner = named<ZELDatabaseSchema>("INNER");
  ASSERT_TRUE(model.addChildPackage(catalog));
  ASSERT_TRUE(catalog->addChildPackage(outer));
  ASSERT_TRUE(outer->addChildPackage(inner));
  auto* referenced = named<ZELClass>("CUSTOMERS");
  auto* referring = named<ZELClass>("ORDERS");
  ASSERT_TRUE(inner->addModelObject(referenced));
  ASSERT_TRUE(outer->addModelObject(referring));
  auto* primary = named<ZELCandidateKey>("PK_CUSTOMERS");
  ASSERT_TRUE(primary->addAssociatedClass(referenced));
  auto* foreign = named<ZELForeignKey>("FK_ORDERS");
  ASSERT_TRUE(foreign->addAssociatedClass(referring));
  ASSERT_TRUE(foreign->addCandidateKey(primary));

  const std::string json = writeCompact(model);
  EXPECT_NE(json.find("\"references\":{\"table\":\"CUSTOMERS\",\"key\":\"PK_CUSTOMERS\","
                      "\"catalog\":\"SALES\",\"schema\":\"OUTER/INNER\"}"),
            std::string::npos)
      << json;
  model.recursiveDelete();
}

}  // namespace
