// Depth traversal, deletion of whole trees and recursiveDelete.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "model/zel_model.h"

namespace {

template <class T>
T* named(const char* name) {
  T* object = new T;
  object->setName(name);
  return object;
}

// Records "+name" before and "-name" after each object; skips the children
// of objects named in `prune`.
class Recorder : public ZELTraversalOperation {
 public:
  std::vector<std::string> events;
  std::string prune;
  bool pre_process(ZELObject* object, void*& argument) override {
    events.push_back("+" + std::string(object->getName().c_str()));
    argument = reinterpret_cast<void*>(reinterpret_cast<intptr_t>(argument) + 1);  // depth
    return object->getName() != prune.c_str();
  }
  void post_process(ZELObject* object, void* argument) override {
    events.push_back("-" + std::string(object->getName().c_str()) + "@" +
                     std::to_string(reinterpret_cast<intptr_t>(argument)));
  }
};

// A model with every kind of owned object.
struct SmallModel {
  ZELModel model;
  SmallModel() {
    model.setName("M");
    auto* catalog = named<ZELDatabaseCatalog>("CAT");
    auto* schema = named<ZELDatabaseSchema>("SCH");
    auto* design = named<ZELDesignPackage>("DES");
    auto* table = named<ZELClass>("T");
    auto* column = named<ZELAttribute>("C");
    auto* key = named<ZELForeignKey>("K");
    auto* index = named<ZELIndex>("I");
    auto* member = named<ZELIndexMember>("IM");
    auto* map = named<ZELAssociationRoleNameMap>("MAP");
    auto* association = named<ZELAssociation>("AS");
    auto* role = named<ZELAssociationRole>("R");
    auto* procedure = named<ZELStoredProcedure>("P");
    auto* argument = named<ZELArgument>("ARG");
    auto* origin = named<ZELMetadataOrigin>("O");
    auto* type = named<ZELBaseType>("TY");
    // Added in an order unlike the traversal's, which follows the lists.
    model.addType(type);
    model.addMetadataOrigin(origin);
    model.addChildPackage(catalog);
    model.addChildPackage(design);
    catalog->addChildPackage(schema);
    schema->addModelObject(table);
    schema->addModelObject(procedure);
    procedure->addArgument(argument);
    index->addAssociatedClass(table);
    key->addAssociatedClass(table);
    table->addFeature(column);
    index->addIndexMember(member);
    map->addForeignKey(key);
    design->addModelElement(table);  // a reference: not walked again
    design->addModelElement(association);
    association->addAssociationRole(role);
  }
};

TEST(Traversal, VisitsEveryOwnedObjectInListOrder) {
  SmallModel m;
  Recorder recorder;
  m.model.depthTraversal(recorder, nullptr);
  const std::vector<std::string> expected = {
      "+M",     "+CAT",   "+SCH",   "+T",     "+C",     "-C@4", "+K",    "+MAP",
      "-MAP@5", "-K@4",   "+I",     "+IM",    "-IM@5",  "-I@4", "-T@3",  "+P",
      "+ARG",   "-ARG@4", "-P@3",   "-SCH@2", "-CAT@1", "+DES", "+AS",   "+R",
      "-R@3",   "-AS@2",  "-DES@1", "+O",     "-O@1",   "+TY",  "-TY@1", "-M@0"};
  EXPECT_EQ(recorder.events, expected);

  // A false pre_process skips the children; post_process still comes.
  Recorder pruning;
  pruning.prune = "SCH";
  m.model.depthTraversal(pruning, nullptr);
  const std::vector<std::string> pruned = {"+M",   "+CAT", "+SCH",  "-SCH@2", "-CAT@1", "+DES",
                                           "+AS",  "+R",   "-R@3",  "-AS@2",  "-DES@1", "+O",
                                           "-O@1", "+TY",  "-TY@1", "-M@0"};
  EXPECT_EQ(pruning.events, pruned);
}

// Deletes every type it is handed after its visit.
class TypeDeleter : public ZELTraversalOperation {
 public:
  bool pre_process(ZELObject*, void*&) override { return true; }
  void post_process(ZELObject* object, void*) override {
    if (object->isInstanceOf(ZEL_ET_TYPE)) delete object;
  }
};

TEST(Traversal, PostProcessMayDeleteTheObject) {
  ZELModel model;
  for (int i = 0; i < 5; ++i) model.addType(named<ZELBaseType>("B"));
  TypeDeleter deleter;
  model.depthTraversal(deleter, nullptr);
  EXPECT_TRUE(model.types().isEmpty());
}

// Counts destructions, to see what an owner deletes.
struct Counted : ZELModelObject {
  static int destroyed;
  ~Counted() override { ++destroyed; }
};
int Counted::destroyed = 0;

TEST(Deletion, OwnersDeleteWhatTheyOwnAndRecursiveDeleteEmptiesTheModel) {
  SmallModel m;
  auto* schema = static_cast<ZELDataPackage*>(m.model.getChildPackage(0)->getChildPackage(0));
  Counted::destroyed = 0;
  for (int i = 0; i < 3; ++i) schema->addModelObject(new Counted);
  m.model.recursiveDelete();
  EXPECT_EQ(Counted::destroyed, 3);
  EXPECT_EQ(m.model.getChildPackageCount(), 0);
  EXPECT_TRUE(m.model.types().isEmpty());
  EXPECT_TRUE(m.model.metadataOrigins().isEmpty());
  EXPECT_STREQ(m.model.getName().c_str(), "M");
  // The model is usable again afterwards.
  EXPECT_TRUE(m.model.addChildPackage(new ZELDatabaseCatalog));
}

TEST(Deletion, DeepTreesNeedNoDeepStack) {
  // Far deeper than a recursive walk could take on the call stack.
  constexpr int kDepth = 300000;
  ZELModel model;
  ZELPackage* parent = &model;
  for (int i = 0; i < kDepth; ++i) {
    auto* child = new ZELDatabaseSchema;
    ASSERT_TRUE(parent->addChildPackage(child));
    parent = child;
  }
  struct Counter : ZELTraversalOperation {
    long visits = 0;
    bool pre_process(ZELObject*, void*&) override { return ++visits > 0; }
    void post_process(ZELObject*, void*) override {}
  } counter;
  model.depthTraversal(counter, nullptr);
  EXPECT_EQ(counter.visits, kDepth + 1);
  delete model.getChildPackage(0);
  EXPECT_EQ(model.getChildPackageCount(), 0);
}

}  // namespace
