// Links between model objects: what deleting an object unlinks, ownership
// moves, design package names and unique naming.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/zel_model.h"
#include "zel_fault_injection.h"

namespace {

template <class List>
std::vector<std::string> namesOf(const List& list) {
  std::vector<std::string> names;
  for (auto* object : list) names.push_back(object->getName().c_str());
  return names;
}

long referrerCount(const ZELObject* object) {
  long count = 0;
  for (const ZELReference* r = object->firstReferrer(); r != nullptr; r = r->nextReferrer())
    ++count;
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
  ZELClass* orders = named<ZELClass>("ORDERS");
  ZELClass* line = named<ZELClass>("LINE");
  ZELAttribute* id = named<ZELAttribute>("ID");
  ZELAttribute* orderId = named<ZELAttribute>("ORDER_ID");
  ZELCandidateKey* pk = named<ZELCandidateKey>("PK");
  ZELIndex* pkIndex = named<ZELIndex>("PK_POSITION");
  ZELForeignKey* fk = named<ZELForeignKey>("FK");
  ZELForeignKey* fk2 = named<ZELForeignKey>("FK2");
  ZELIndex* fkIndex = named<ZELIndex>("FK_POSITION");
  ZELIndexMember* pkMember = new ZELIndexMember;
  ZELAssociation* association = new ZELAssociation;
  ZELAssociationRole* parentRole = new ZELAssociationRole;
  ZELAssociationRole* childRole = new ZELAssociationRole;
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
  EXPECT_TRUE(m.pk->isPrimary());
  EXPECT_EQ(m.map->getForeignKey(), m.fk);
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
  EXPECT_EQ(m.pkIndex->members().count(), 1);
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
  EXPECT_EQ(m.map->getDestinationAttribute(), m.orderId);
  delete m.orderId;
  EXPECT_EQ(m.map->getDestinationAttribute(), nullptr);
  EXPECT_TRUE(m.fk->attributes().isEmpty());
  EXPECT_EQ(namesOf(m.orders->features()), std::vector<std::string>({"EXTRA"}));

  auto* base = named<ZELBaseType>("string");
  auto* type = named<ZELDerivedType>("CHAR");
  auto* procedure = named<ZELStoredProcedure>("P");
  auto* argument = named<ZELArgument>("A");
  m.model.addType(base);
  type->addModel(&m.model);
  type->addDerivedFromConcreteType(base);
  extra->addType(type);
  procedure->addArgument(argument);
  argument->addType(type);
  m.schema->addModelObject(procedure);
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
  EXPECT_EQ(m.fk->getCandidateKey(), alternate);
  EXPECT_EQ(referrerCount(m.pk), 1);  // FK2 only

  // Appending an object another list owns moves it.
  m.pk->addAssociatedClass(m.line);
  EXPECT_EQ(namesOf(m.orders->keys()), std::vector<std::string>({"AK"}));
  EXPECT_EQ(namesOf(m.line->keys()), std::vector<std::string>({"FK", "FK2", "PK"}));
  EXPECT_EQ(m.pk->getAssociatedClass(), m.line);
  auto* other = named<ZELDatabaseSchema>("OTHER");
  m.model.addChildPackage(other);
  other->addModelObject(m.orders);
  EXPECT_EQ(namesOf(m.schema->modelObjects()), std::vector<std::string>({"LINE"}));
  EXPECT_EQ(m.orders->getOwner(), other);

  // Ownership cycles and null are refused.
  auto* inner = named<ZELDatabaseSchema>("INNER");
  other->addChildPackage(inner);
  EXPECT_FALSE(inner->addChildPackage(other));
  EXPECT_FALSE(other->addChildPackage(other));
  EXPECT_FALSE(inner->addChildPackage(&m.model));
  EXPECT_FALSE(other->addChildPackage(nullptr));
  EXPECT_EQ(inner->getOwner(), other);
  EXPECT_EQ(other->getOwner(), &m.model);

  // A failing host operation links nothing.
  auto* late = named<ZELDatabaseSchema>("LATE");
  zel_testing::armFault(1);
  EXPECT_THROW(m.model.addChildPackage(late), std::runtime_error);
  EXPECT_EQ(late->getOwner(), nullptr);
  delete late;
}

TEST(ModelLinks, ObjectAtRemembersItsPosition) {
  ZELModel model;
  std::vector<ZELPackage*> packages;
  for (int i = 0; i < 50; ++i) {
    packages.push_back(named<ZELDatabaseCatalog>(std::to_string(i).c_str()));
    model.addChildPackage(packages.back());
  }
  for (long i = 0; i < 50; ++i) EXPECT_EQ(model.getChildPackage(i), packages[i]);
  for (long i : {49L, 3L, 30L, 29L, 0L, 31L}) EXPECT_EQ(model.getChildPackage(i), packages[i]);
  EXPECT_EQ(model.getChildPackage(-1), nullptr);
  EXPECT_EQ(model.getChildPackage(50), nullptr);
  EXPECT_EQ(model.getChildPackage(30), packages[30]);
  delete packages[10];  // positions after it shift
  EXPECT_EQ(model.getChildPackage(30), packages[31]);
  EXPECT_EQ(model.getChildPackage(10), packages[11]);
  EXPECT_EQ(model.getChildPackageCount(), 49);
}

TEST(ModelLinks, ElementTypesFollowTheClassTree) {
  ZELSQLViewEntity view;
  ZELSQLViewAttribute viewColumn;
  ZELStoredProcedure procedure;
  ZELForeignKey fk;
  ZELDatabaseCatalog catalog;
  ZELDerivedType derived;
  EXPECT_TRUE(view.isInstanceOf(ZEL_ET_CLASS));
  EXPECT_TRUE(view.isInstanceOf(ZEL_ET_MODEL_ELEMENT));
  EXPECT_TRUE(viewColumn.isInstanceOf(ZEL_ET_ATTRIBUTE));
  EXPECT_TRUE(procedure.isInstanceOf(ZEL_ET_OPERATION));
  EXPECT_TRUE(fk.isInstanceOf(ZEL_ET_KEY));
  EXPECT_FALSE(fk.isInstanceOf(ZEL_ET_CANDIDATE_KEY));
  EXPECT_FALSE(fk.isInstanceOf(ZEL_ET_MODEL_ELEMENT));
  EXPECT_TRUE(catalog.isInstanceOf(ZEL_ET_DATA_PACKAGE));
  EXPECT_FALSE(catalog.isInstanceOf(ZEL_ET_DATABASE_SCHEMA));
  EXPECT_TRUE(derived.isInstanceOf(ZEL_ET_TYPE));
  EXPECT_FALSE(derived.isInstanceOf(ZEL_ET_BASE_TYPE));
  EXPECT_EQ(fk.getElementType(), 22);
  EXPECT_STREQ(zelElementTypeName(ZEL_ET_SQL_VIEW_ENTITY), "ZELSQLViewEntity");
  EXPECT_STREQ(zelElementTypeName(static_cast<ZELElementType>(999)), "");
  EXPECT_EQ(zelParentElementType(ZEL_ET_OBJECT), ZEL_ET_NONE);
  EXPECT_FALSE(zelElementTypeIsA(static_cast<ZELElementType>(999), ZEL_ET_OBJECT));
  // Every known code reaches ZELObject.
  for (int code = 1; code < 100; ++code) {
    const auto type = static_cast<ZELElementType>(code);
    if (*zelElementTypeName(type) != '\0') {
      EXPECT_TRUE(zelElementTypeIsA(type, ZEL_ET_OBJECT)) << code;
    }
  }
}

TEST(DesignPackage, OneSetOfNamesForEveryKindOfElement) {
  ZELModel model;
  auto* design = named<ZELDesignPackage>("D");
  model.addChildPackage(design);
  auto* table = named<ZELClass>("T");
  auto* view = named<ZELSQLViewEntity>("T");
  auto* association = named<ZELAssociation>("T");
  auto* procedure = named<ZELStoredProcedure>("T");
  EXPECT_TRUE(design->addModelElement(table));
  EXPECT_FALSE(design->addModelElement(view));
  EXPECT_FALSE(design->addModelElement(association));
  EXPECT_FALSE(design->addStoredProcedure(procedure));
  EXPECT_TRUE(design->addModelElement(table));  // already there: nothing changes
  EXPECT_EQ(design->elements().count(), 1);
  EXPECT_EQ(table->getOwner(), design);  // it had no owner
  // Refused elements stay unowned.
  EXPECT_EQ(view->getOwner(), nullptr);
  EXPECT_EQ(association->getOwner(), nullptr);

  // Unnamed elements are always taken.
  auto* unnamed1 = new ZELAssociation;
  auto* unnamed2 = new ZELAssociation;
  EXPECT_TRUE(design->addModelElement(unnamed1));
  EXPECT_TRUE(design->addModelElement(unnamed2));

  // A deleted element frees its name; renaming does not move a name.
  delete table;
  EXPECT_FALSE(design->isNameTaken("T"));
  EXPECT_TRUE(design->addStoredProcedure(procedure));
  procedure->setName("P");
  EXPECT_TRUE(design->isNameTaken("T"));
  EXPECT_FALSE(design->isNameTaken("P"));
  EXPECT_EQ(namesOf(design->elements()), std::vector<std::string>({"", "", "P"}));
  delete view;
  delete association;
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
  EXPECT_EQ(add("T_3"), "T_3");  // a real name in the counter's way
  EXPECT_EQ(add("T"), "T_2");
  EXPECT_EQ(add("T"), "T_4");
  delete tables[1];  // frees T_1
  EXPECT_EQ(add("T"), "T_1");
  EXPECT_EQ(add("T"), "T_5");
  auto* procedure = named<ZELStoredProcedure>("T");
  EXPECT_TRUE(design.addLinkUniqueName(&ZELDesignPackage::addStoredProcedure, procedure, '-'));
  EXPECT_STREQ(procedure->getName().c_str(), "T-1");  // its own counter per separator

  // Many equal names: each one the next counter.
  for (int i = 6; i <= 20000; ++i) tables.push_back(named<ZELClass>("T"));
  for (size_t i = tables.size() - 19995; i < tables.size(); ++i) {
    ASSERT_TRUE(design.addLinkUniqueName(&ZELDesignPackage::addModelElement, tables[i], '_'));
  }
  EXPECT_STREQ(tables.back()->getName().c_str(), "T_20000");

  // A receiver that refuses for another reason than the name gives up at
  // once, and the object keeps its name.
  ZELDatabaseSchema schema;
  schema.setName("S");
  EXPECT_FALSE(schema.addLinkUniqueName(&ZELPackage::addChildPackage,
                                        static_cast<ZELPackage*>(&schema), '_'));
  EXPECT_STREQ(schema.getName().c_str(), "S");
}

}  // namespace
