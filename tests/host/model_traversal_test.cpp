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

// Records "+name" before and "-name@depth" after each object; skips the
// children of the object named `prune`.
struct Recorder : ZELTraversalOperation {
  std::vector<std::string> events;
  std::string prune;
  bool pre_process(ZELObject* object, void*& argument) override {
    events.push_back("+" + std::string(object->getName().c_str()));
    argument = reinterpret_cast<void*>(reinterpret_cast<intptr_t>(argument) + 1);
    return object->getName() != prune.c_str();
  }
  void post_process(ZELObject* object, void* argument) override {
    events.push_back("-" + std::string(object->getName().c_str()) + "@" +
                     std::to_string(reinterpret_cast<intptr_t>(argument)));
  }
};

// A model with every kind of owned object, added in an order unlike the
// traversal's, which follows the lists.
struct SmallModel {
  ZELModel model;
  ZELDatabaseSchema* schema = named<ZELDatabaseSchema>("SCH");
  SmallModel() {
    model.setName("M");
    auto* catalog = named<ZELDatabaseCatalog>("CAT");
    auto* design = named<ZELDesignPackage>("DES");
    auto* table = named<ZELClass>("T");
    auto* key = named<ZELForeignKey>("K");
    auto* index = named<ZELIndex>("I");
    auto* procedure = named<ZELStoredProcedure>("P");
    auto* association = named<ZELAssociation>("AS");
    model.addType(named<ZELBaseType>("TY"));
    model.addMetadataOrigin(named<ZELMetadataOrigin>("O"));
    model.addChildPackage(catalog);
    model.addChildPackage(design);
    catalog->addChildPackage(schema);
    schema->addModelObject(table);
    schema->addModelObject(procedure);
    procedure->addArgument(named<ZELArgument>("ARG"));
    index->addAssociatedClass(table);
    key->addAssociatedClass(table);
    table->addFeature(named<ZELAttribute>("C"));
    index->addIndexMember(named<ZELIndexMember>("IM"));
    named<ZELAssociationRoleNameMap>("MAP")->addForeignKey(key);
    design->addModelElement(table);  // a reference: not walked again
    design->addModelElement(association);
    association->addAssociationRole(named<ZELAssociationRole>("R"));
  }
};

TEST(Traversal, VisitsEveryOwnedObjectInListOrder) {
  SmallModel m;
  Recorder recorder;
  m.model.depthTraversal(recorder, nullptr);
  EXPECT_EQ(recorder.events,
            (std::vector<std::string>{
                "+M",     "+CAT",   "+SCH",   "+T",     "+C",     "-C@4", "+K",    "+MAP",
                "-MAP@5", "-K@4",   "+I",     "+IM",    "-IM@5",  "-I@4", "-T@3",  "+P",
                "+ARG",   "-ARG@4", "-P@3",   "-SCH@2", "-CAT@1", "+DES", "+AS",   "+R",
                "-R@3",   "-AS@2",  "-DES@1", "+O",     "-O@1",   "+TY",  "-TY@1", "-M@0"}));

  // A false pre_process skips the children; post_process still comes.
  Recorder pruning;
  pruning.prune = "SCH";
  m.model.depthTraversal(pruning, nullptr);
  EXPECT_EQ(std::vector<std::string>(pruning.events.begin(), pruning.events.begin() + 5),
            (std::vector<std::string>{"+M", "+CAT", "+SCH", "-SCH@2", "-CAT@1"}));
  EXPECT_EQ(pruning.events.size(), 16u);
}

TEST(Traversal, PostProcessMayDeleteTheObject) {
  struct TypeDeleter : ZELTraversalOperation {
    bool pre_process(ZELObject*, void*&) override { return true; }
    void post_process(ZELObject* object, void*) override {
      if (object->isInstanceOf(ZEL_ET_TYPE)) delete object;
    }
  } deleter;
  ZELModel model;
  for (int i = 0; i < 5; ++i) model.addType(named<ZELBaseType>("B"));
  model.depthTraversal(deleter, nullptr);
  EXPECT_TRUE(model.types().isEmpty());
}

// Counts destructions, to see what an owner deletes.
struct Counted : ZELModelObject {
  static inline int destroyed = 0;
  ~Counted() override { ++destroyed; }
};

TEST(Deletion, RecursiveDeleteEmptiesTheModel) {
  SmallModel m;
  for (int i = 0; i < 3; ++i) m.schema->addModelObject(new Counted);
  m.model.recursiveDelete();
  EXPECT_EQ(Counted::destroyed, 3);
  EXPECT_EQ(m.model.getChildPackageCount(), 0);
  EXPECT_TRUE(m.model.types().isEmpty());
  EXPECT_TRUE(m.model.metadataOrigins().isEmpty());
  EXPECT_TRUE(m.model.addChildPackage(new ZELDatabaseCatalog));  // usable again
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
  Recorder recorder;
  recorder.prune = "none";  // every object here has the empty name
  model.depthTraversal(recorder, nullptr);
  EXPECT_EQ(recorder.events.size(), 2u * (kDepth + 1));
  delete model.getChildPackage(0);
  EXPECT_EQ(model.getChildPackageCount(), 0);
}

}  // namespace
