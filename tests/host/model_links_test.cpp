// Links between model objects: what deleting an object unlinks, ownership
// moves, design package names and unique naming.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "model/zel_model.h"

namespace {

template <class List>
std::vector<std::string> namesOf(const List& list) {
  std::vector<std::string> names;
  for (auto* object : list) names.push_back(object->getName().c_str());
  return names;
}

long referrerCount(const ZELObject* object) {
  long count = 0;
  for (const ZELReference* r = object->firstReferrer(); r; r = r->nextReferrer()) ++count;
  return count;
}

template <class T>
T* named(const char* name) {
  T* object = new T;
  object->setName(name);
  return object;
}

// Two tables: ORDERS (ID, primary key PK) and LINE (ORDER_ID, foreign key FK
// referring to PK), an association between them, and one role name map.
struct OrdersModel {
  ZELModel model;
  ZELDatabaseSchema* schema = named<ZELDatabaseSchema>("S");
  ZELDesignPackage* design = named<ZELDesignPackage>("S");
  ZELClass *orders = named<ZELClass>("ORDERS"), *line = named<ZELClass>("LINE");
  ZELAttribute *id = named<ZELAttribute>("ID"), *orderId = named<ZELAttribute>("ORDER_ID");
  ZELCandidateKey* pk = named<ZELCandidateKey>("PK");
  ZELForeignKey *fk = named<ZELForeignKey>("FK"), *fk2 = named<ZELForeignKey>("FK2");
  ZELIndex *pkIndex = named<ZELIndex>("PK_POSITION"), *fkIndex = named<ZELIndex>("FK_POSITION");
  ZELIndexMember* pkMember = new ZELIndexMember;
  ZELAssociation* association = new ZELAssociation;
  ZELAssociationRole *parentRole = new ZELAssociationRole, *childRole = new ZELAssociationRole;
  ZELAssociationRoleNameMap* map = new ZELAssociationRoleNameMap;

  OrdersModel() {
    model.addChildPackage(schema);
    model.addChildPackage(design);
    for (ZELClass* c : {orders, line}) {
      schema->addModelObject(c);
      design->addModelElement(c);
    }
    orders->addFeature(id);
    line->addFeature(orderId);
    pk->addAssociatedClass(orders);
    pk->addPrimaryOfClass(orders);
    pk->addAttribute(id);
    pkIndex->addAssociatedClass(orders);
    pk->addIndex(pkIndex);
    pkMember->addAttribute(id);
    pkIndex->addIndexMember(pkMember);
    for (ZELForeignKey* key : {fk, fk2}) {
      key->addAssociatedClass(line);
      key->addAttribute(orderId);
      key->addCandidateKey(pk);
    }
    fkIndex->addAssociatedClass(line);
    fk->addIndex(fkIndex);
    design->addModelElement(association);
    association->addAssociationRole(parentRole);
    association->addAssociationRole(childRole);
    parentRole->addAssociatedClass(orders);
    childRole->addAssociatedClass(line);
    childRole->addForeignKey(fk);
    map->addSourceAttribute(id);
    map->addDestinationAttribute(orderId);
    map->addForeignKey(fk);
  }
};

TEST(ModelLinks, DeletingAKeyTakesItOutOfEverything) {
  OrdersModel m;
  EXPECT_EQ(m.association->getOwner(), m.design);  // registered without an owner

  delete m.fk;
  EXPECT_EQ(namesOf(m.line->keys()), std::vector<std::string>({"FK2"}));
  EXPECT_EQ(m.childRole->getForeignKey(), nullptr);
  EXPECT_EQ(namesOf(m.line->indexes()), std::vector<std::string>({"FK_POSITION"}));
  // The map went with its key: ID is left with the primary key's list entry
  // and the index member; ORDER_ID with FK2's list entry.
  EXPECT_EQ(referrerCount(m.id), 2);
  EXPECT_EQ(referrerCount(m.orderId), 1);

  delete m.pk;
  EXPECT_TRUE(m.orders->keys().isEmpty());
  EXPECT_EQ(m.orders->getPrimaryKey(), nullptr);
  EXPECT_EQ(m.fk2->getCandidateKey(), nullptr);
  EXPECT_EQ(namesOf(m.orders->indexes()), std::vector<std::string>({"PK_POSITION"}));
  EXPECT_EQ(referrerCount(m.id), 1);  // the index member only

  // A deleted object's general pointer does not pass to an object made
  // later, at the same address where the pool hands it out again.
  int data = 0;
  m.fk2->setGeneralPointer(&data);
  EXPECT_EQ(m.fk2->getGeneralPointer(), &data);
  delete m.fk2;
  auto* again = new ZELForeignKey;
  EXPECT_EQ(again->getGeneralPointer(), nullptr);
  delete again;
}

TEST(ModelLinks, DeletingAnAttributeOrATypeUnlinksItsUsers) {
  OrdersModel m;
  ZELAttribute* extra = named<ZELAttribute>("EXTRA");
  m.orders->addFeature(extra);
  m.pk->addAttribute(extra);
  m.pk->addAttribute(m.id);  // duplicates are kept
  EXPECT_EQ(namesOf(m.pk->attributes()), std::vector<std::string>({"ID", "EXTRA", "ID"}));

  delete m.id;
  EXPECT_EQ(namesOf(m.pk->attributes()), std::vector<std::string>({"EXTRA"}));
  EXPECT_EQ(m.pkMember->getAttribute(), nullptr);
  EXPECT_EQ(m.map->getSourceAttribute(), nullptr);
  delete m.orderId;
  EXPECT_EQ(m.map->getDestinationAttribute(), nullptr);
  EXPECT_TRUE(m.fk->attributes().isEmpty());
  EXPECT_EQ(namesOf(m.orders->features()), std::vector<std::string>({"EXTRA"}));

  auto* base = named<ZELBaseType>("string");
  auto* type = named<ZELDerivedType>("CHAR");
  auto* argument = named<ZELArgument>("A");
  m.model.addType(base);
  type->addModel(&m.model);
  type->addDerivedFromConcreteType(base);
  extra->addType(type);
  argument->addType(type);
  auto* procedure = named<ZELStoredProcedure>("P");
  m.schema->addModelObject(procedure);
  procedure->addArgument(argument);
  delete base;
  EXPECT_EQ(type->getDerivedFromConcreteType(), nullptr);
  delete type;
  EXPECT_EQ(extra->getType(), nullptr);
  EXPECT_EQ(argument->getType(), nullptr);
  EXPECT_TRUE(m.model.types().isEmpty());
}

TEST(ModelLinks, LinksReplaceAndOwnershipMoves) {
  OrdersModel m;
  auto* alternate = named<ZELCandidateKey>("AK");
  alternate->addAssociatedClass(m.orders);
  alternate->addPrimaryOfClass(m.orders);
  EXPECT_EQ(m.orders->getPrimaryKey(), alternate);
  EXPECT_FALSE(m.pk->isPrimary());
  m.fk->addCandidateKey(alternate);
  EXPECT_EQ(referrerCount(m.pk), 1);  // FK2 only

  // Appending an object another list owns moves it.
  m.pk->addAssociatedClass(m.line);
  EXPECT_EQ(namesOf(m.orders->keys()), std::vector<std::string>({"AK"}));
  EXPECT_EQ(namesOf(m.line->keys()), std::vector<std::string>({"FK", "FK2", "PK"}));
  auto* other = named<ZELDatabaseSchema>("OTHER");
  m.model.addChildPackage(other);
  other->addModelObject(m.orders);
  EXPECT_EQ(namesOf(m.schema->modelObjects()), std::vector<std::string>({"LINE"}));

  // Ownership cycles and null are refused.
  auto* inner = named<ZELDatabaseSchema>("INNER");
  other->addChildPackage(inner);
  EXPECT_FALSE(inner->addChildPackage(other));
  EXPECT_FALSE(other->addChildPackage(other));
  EXPECT_FALSE(other->addChildPackage(nullptr));
  EXPECT_EQ(other->getOwner(), &m.model);
}

// Objects made outside the pool (on the stack here) are linked by another
// kind of handle than pooled ones: they own, hold and are referred to like
// any other, in both directions, and leave every link when they go.
TEST(ModelLinks, ObjectsOutsideThePoolLinkLikeOthers) {
  ZELClass table;
  table.setName("T");
  auto* column = named<ZELAttribute>("C");
  table.addFeature(column);
  EXPECT_EQ(column->getClassifier(), &table);
  auto* key = named<ZELCandidateKey>("K");
  key->addAssociatedClass(&table);
  {
    ZELAttribute outside;
    outside.setName("OUTSIDE");
    key->addAttribute(column);
    key->addAttribute(&outside);
    auto* member = new ZELIndexMember;
    member->addAttribute(&outside);
    EXPECT_EQ(namesOf(key->attributes()), std::vector<std::string>({"C", "OUTSIDE"}));
    EXPECT_EQ(referrerCount(&outside), 2);
    delete member;
    EXPECT_EQ(referrerCount(&outside), 1);
  }
  EXPECT_EQ(namesOf(key->attributes()), std::vector<std::string>({"C"}));

  ZELForeignKey foreignKey;
  foreignKey.addCandidateKey(key);
  EXPECT_EQ(foreignKey.getCandidateKey(), key);
  EXPECT_EQ(referrerCount(key), 1);
  delete key;
  EXPECT_EQ(foreignKey.getCandidateKey(), nullptr);
  EXPECT_TRUE(table.keys().isEmpty());
  EXPECT_EQ(namesOf(table.features()), std::vector<std::string>({"C"}));
}

TEST(ModelLinks, ObjectAtRemembersItsPosition) {
  ZELModel model;
  std::vector<ZELPackage*> packages;
  for (int i = 0; i < 50; ++i) {
    packages.push_back(named<ZELDatabaseCatalog>(std::to_string(i).c_str()));
    model.addChildPackage(packages.back());
  }
  for (long i : {0L, 49L, 3L, 30L, 29L, 31L}) EXPECT_EQ(model.getChildPackage(i), packages[i]);
  EXPECT_EQ(model.getChildPackage(-1), nullptr);
  EXPECT_EQ(model.getChildPackage(50), nullptr);
  delete packages[10];  // positions after it shift
  EXPECT_EQ(model.getChildPackage(30), packages[31]);
  EXPECT_EQ(model.getChildPackage(10), packages[11]);
}

// One set of names for every kind of element, and unique names that skip a
// real name in the way, are checked through whole imports by the builder's
// tests.
TEST(DesignPackage, NamesAreTakenAndFreedWithTheirElements) {
  ZELDesignPackage design;
  auto* table = named<ZELClass>("T");
  auto* view = named<ZELSQLViewEntity>("T");
  EXPECT_TRUE(design.addModelElement(table));
  EXPECT_TRUE(design.addModelElement(table));  // already there: nothing changes
  EXPECT_FALSE(design.addModelElement(view));
  EXPECT_EQ(view->getOwner(), nullptr);                     // refused elements stay unowned
  EXPECT_TRUE(design.addModelElement(new ZELAssociation));  // unnamed: always taken
  EXPECT_TRUE(design.addModelElement(new ZELAssociation));
  EXPECT_EQ(design.elements().count(), 3);

  // A deleted element frees its name; renaming does not move a name.
  delete table;
  EXPECT_TRUE(design.addModelElement(view));
  view->setName("V");
  EXPECT_TRUE(design.isNameTaken("T"));
  EXPECT_FALSE(design.isNameTaken("V"));
}

// Past a few elements the names are indexed: deleting elements in any order
// frees exactly their names and keeps every other one found.
TEST(DesignPackage, ManyNamesStayFoundAsElementsLeave) {
  ZELDesignPackage design;
  const int count = 3000;
  auto nameOf = [](int i) { return "T" + std::to_string(i); };
  std::vector<ZELClass*> tables;
  for (int i = 0; i < count; ++i) {
    tables.push_back(named<ZELClass>(nameOf(i).c_str()));
    ASSERT_TRUE(design.addModelElement(tables.back()));
    if (i % 3 == 0) {
      ASSERT_TRUE(design.addModelElement(new ZELAssociation));
    }
  }
  std::vector<int> order(count);
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(7));
  const int deleted = 2000;
  for (int k = 0; k < deleted; ++k) delete tables[order[k]];
  for (int k = 0; k < count; ++k) {
    EXPECT_EQ(design.isNameTaken(nameOf(order[k]).c_str()), k >= deleted) << nameOf(order[k]);
  }
  EXPECT_EQ(design.elements().count(), count - deleted + count / 3);
  EXPECT_TRUE(design.addModelElement(tables[order[count - 1]]));  // already there
  auto* view = named<ZELSQLViewEntity>(nameOf(order[count - 1]).c_str());
  EXPECT_FALSE(design.addModelElement(view));
  view->setName(nameOf(order[0]).c_str());
  EXPECT_TRUE(design.addModelElement(view));
}

TEST(DesignPackage, UniqueNamesAreTheFirstFree) {
  ZELDesignPackage design;
  std::vector<ZELClass*> tables;
  auto add = [&](const char* name) {
    tables.push_back(named<ZELClass>(name));
    EXPECT_TRUE(design.addLinkUniqueName(&ZELDesignPackage::addModelElement, tables.back(), '_'));
    return std::string(tables.back()->getName().c_str());
  };
  EXPECT_EQ(add("T"), "T");
  EXPECT_EQ(add("T"), "T_1");
  EXPECT_EQ(add("T"), "T_2");
  delete tables[1];  // frees T_1
  EXPECT_EQ(add("T"), "T_1");
  EXPECT_EQ(add("T"), "T_3");
  auto* procedure = named<ZELStoredProcedure>("T");
  EXPECT_TRUE(design.addLinkUniqueName(&ZELDesignPackage::addStoredProcedure, procedure, '-'));
  EXPECT_STREQ(procedure->getName().c_str(), "T-1");  // its own counter per separator
  // Many equal names: each one the next counter.
  for (int i = 4; i < 20000; ++i) add("T");
  EXPECT_EQ(add("T"), "T_20000");

  // A receiver that refuses for another reason than the name gives up at
  // once, and the object keeps its name.
  ZELDatabaseSchema schema;
  schema.setName("S");
  EXPECT_FALSE(schema.addLinkUniqueName(&ZELPackage::addChildPackage,
                                        static_cast<ZELPackage*>(&schema), '_'));
  EXPECT_STREQ(schema.getName().c_str(), "S");
}

}  // namespace
