// The two worked examples of the format: a one-table file and a foreign key
// between two tables, imported whole and checked object by object.
#include <gtest/gtest.h>

#include "model_queries.h"
#include "pcd_writer.h"

namespace {

TEST(ExampleFiles, OneTableFileBuildsTheWholeChain) {
  PcdFile file({"PCD extract of one table", "E,REL_SYS,10,2,C7,PRODSYS,C0,",
                "E,DATABASE,20,1,C5,SALES", "R,DB_AT,30,20,10,2,C0,C0,",
                "E,SERVTYPE,40,13,C2,T1,C6,DBSERV,C3,8.1,S8,S0,S0,S0,S0,S0,S0,S0,S0,S0",
                "R,SERVINST,50,40,10,0", "E,SCHEMA,60,1,C4,SHOP", "R,SCHEM_AT,70,60,20,1,C0,",
                "E,TABLE,80,1,C6,ORDERS", "T,1,80,1,DESCRIPTION,11,Order heads",
                "R,TABLE_AT,90,80,60,2,C6,ORDERS,C0,", "E,REL_DT,100,5,C8,VARCHAR2,S0,C0,C0,C0,",
                "R,REL_COL,110,0,100,7,C4,NAME,S0,L30,L0,S0,C0,C0,",
                "R,TBL_COL,120,80,110,2,C1,Y,L1", "T,1,120,1,COLUMN_COMMENTS,13,Customer name"});
  ImportResult result = importFile(file.path());
  ASSERT_EQ(result.error, "");
  const ZELModel& model = *result.model;

  EXPECT_STREQ(model.getName().c_str(), "PRODSYS");
  auto catalogs = catalogsOf(model);
  ASSERT_EQ(catalogs.size(), 1u);
  EXPECT_STREQ(catalogs[0]->getName().c_str(), "SALES");
  EXPECT_STREQ(catalogs[0]->getServerTypeName().c_str(), "DBSERV");
  EXPECT_STREQ(catalogs[0]->getServerTypeText().c_str(), "8.1");
  EXPECT_EQ(catalogs[0]->getServerTypeNumber(), 8);

  ASSERT_EQ(catalogs[0]->getChildPackageCount(), 1);
  ZELPackage* schema = catalogs[0]->getChildPackage(0);
  EXPECT_EQ(schema->getElementType(), ZEL_ET_DATABASE_SCHEMA);
  EXPECT_STREQ(schema->getName().c_str(), "SHOP");

  auto designPackages = designPackagesOf(model);
  ASSERT_EQ(designPackages.size(), 1u);
  EXPECT_STREQ(designPackages[0]->getName().c_str(), "SHOP");
  EXPECT_TRUE(designPackages[0]->isSchema());

  ZELClass* orders = onlyClass(model, "ORDERS");
  ASSERT_NE(orders, nullptr);
  EXPECT_EQ(orders->getElementType(), ZEL_ET_CLASS);
  EXPECT_STREQ(orders->getDescription().c_str(), "Order heads");
  EXPECT_EQ(namesOf(designPackages[0]->elements()), std::vector<std::string>{"ORDERS"});

  ASSERT_EQ(orders->features().count(), 1);
  ZELAttribute* name = columnOf(orders, "NAME");
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(name->getPosition(), 1);
  EXPECT_TRUE(name->isOptional());
  EXPECT_STREQ(name->getDescription().c_str(), "Customer name");
  ZELDerivedType* type = typeOf(name);
  ASSERT_NE(type, nullptr);
  EXPECT_STREQ(type->getName().c_str(), "VARCHAR2_30");
  EXPECT_EQ(type->Length, 30);
  EXPECT_EQ(type->Scale, 0);
  EXPECT_STREQ(type->NativeDataType.c_str(), "VARCHAR2");
  EXPECT_STREQ(type->DataType.c_str(), "VARCHAR");
  ASSERT_NE(type->getDerivedFromConcreteType(), nullptr);
  EXPECT_STREQ(type->getDerivedFromConcreteType()->getName().c_str(), "string");

  // "undefined" exists from the start; the base type comes before the
  // derived type that first needed it.
  EXPECT_EQ(namesOf(model.types()),
            (std::vector<std::string>{"undefined", "string", "VARCHAR2_30"}));
  EXPECT_EQ(result.logTexts(), (std::vector<std::string>{"Importing the model...",
                                                         "Post processing the imported model..."}));
  ASSERT_EQ(model.metadataOrigins().count(), 1);
}

// ORDER_LINE.ORDER_ID refers to ORDERS.ID through FK_ORDER.
PcdWriter orderLineFile(const std::string& flag1 = "N", const std::string& flag2 = "N") {
  PcdWriter pcd;
  pcd.basicCatalog()
      .table(10, "ORDERS")
      .tableAt(11, 10, 4)
      .table(20, "ORDER_LINE")
      .tableAt(21, 20, 4)
      .relCol(30, 9, "ID", 10)
      .tblCol(31, 10, 30, "N", 1)
      .relCol(40, 9, "ORDER_ID", 10)
      .tblCol(41, 20, 40, "N", 1)
      .key(50, "PK_ORDERS", "P")
      .keyCol(51, 50, 31, 1)
      .key(60, "FK_ORDER", "F")
      .keyCol(61, 60, 41, 1)
      .fgnKey(70, 60, flag1, flag2)
      .fkTbAt(71, 70, 11);
  return pcd;
}

TEST(ExampleFiles, ForeignKeyBecomesAnAssociationWithOneColumnPair) {
  ImportResult result = orderLineFile().import();
  ASSERT_EQ(result.error, "");
  ZELClass* orders = onlyClass(*result.model, "ORDERS");
  ZELClass* lines = onlyClass(*result.model, "ORDER_LINE");
  ASSERT_TRUE(orders && lines);

  auto* primaryKey = orders->getPrimaryKey();
  ASSERT_NE(primaryKey, nullptr);
  EXPECT_STREQ(primaryKey->getName().c_str(), "PK_ORDERS");
  auto* foreignKey = findByName<ZELForeignKey>(lines->keys(), "FK_ORDER");
  ASSERT_NE(foreignKey, nullptr);
  EXPECT_EQ(foreignKey->getCandidateKey(), primaryKey);

  auto designPackages = designPackagesOf(*result.model);
  ASSERT_EQ(designPackages.size(), 1u);
  auto associations =
      ofExactType<ZELAssociation>(designPackages[0]->elements(), ZEL_ET_ASSOCIATION);
  ASSERT_EQ(associations.size(), 1u);
  EXPECT_STREQ(associations[0]->getName().c_str(), "");
  ASSERT_EQ(associations[0]->roles().count(), 2);
  ZELAssociationRole* parent = associations[0]->roles().at(0);
  ZELAssociationRole* child = associations[0]->roles().at(1);
  EXPECT_TRUE(parent->parentSide);
  EXPECT_EQ(parent->getAssociatedClass(), orders);
  EXPECT_STREQ(parent->multiplicity.c_str(), "1");
  EXPECT_EQ(parent->getForeignKey(), nullptr);
  EXPECT_FALSE(child->parentSide);
  EXPECT_EQ(child->getAssociatedClass(), lines);
  EXPECT_STREQ(child->multiplicity.c_str(), "0..*");
  EXPECT_EQ(child->getForeignKey(), foreignKey);
  EXPECT_EQ(child->roleCode1, 1);
  EXPECT_EQ(child->roleCode2, 1);
  EXPECT_EQ(child->roleCode3, 1);

  ASSERT_EQ(foreignKey->roleNameMaps().count(), 1);
  ZELAssociationRoleNameMap* map = foreignKey->roleNameMaps().first();
  EXPECT_EQ(map->getSourceAttribute(), columnOf(orders, "ID"));
  EXPECT_EQ(map->getDestinationAttribute(), columnOf(lines, "ORDER_ID"));
  EXPECT_EQ(map->getForeignKey(), foreignKey);
}

TEST(ExampleFiles, ForeignKeyFlagsSetTheChildRoleCodes) {
  struct Case {
    const char* flag1;
    const char* flag2;
    int code1, code2, code3;
  } cases[] = {{"Y", "N", 1, 1, 3}, {"N", "Y", 3, 3, 1}, {"Y", "Y", 3, 3, 3}, {"y", "y", 1, 1, 1}};
  for (const Case& c : cases) {
    ImportResult result = orderLineFile(c.flag1, c.flag2).import();
    ASSERT_EQ(result.error, "");
    auto* lines = onlyClass(*result.model, "ORDER_LINE");
    auto* foreignKey = findByName<ZELForeignKey>(lines->keys(), "FK_ORDER");
    ASSERT_NE(foreignKey, nullptr);
    auto association = ofExactType<ZELAssociation>(designPackagesOf(*result.model)[0]->elements(),
                                                   ZEL_ET_ASSOCIATION);
    ZELAssociationRole* child = association.at(0)->roles().at(1);
    EXPECT_EQ(child->roleCode1, c.code1) << c.flag1 << c.flag2;
    EXPECT_EQ(child->roleCode2, c.code2) << c.flag1 << c.flag2;
    EXPECT_EQ(child->roleCode3, c.code3) << c.flag1 << c.flag2;
  }
}

}  // namespace
