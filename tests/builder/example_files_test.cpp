// The worked example of the format, a one-table file, imported whole and
// checked object by object.
#include <gtest/gtest.h>

#include "model_queries.h"
#include "support/pcd_fixture.h"

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

}  // namespace
