// Data type names, multiplicities, type factorization and metadata origins.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "model/zel_model.h"
#include "zel_bridge_specification.h"
#include "zel_type_helpers.h"

namespace {

TEST(TypeHelpers, NativeNamesMapToDataTypesAndLogicalNames) {
  // The spelling rules (blanks trimmed, inner runs of blanks one, letters of
  // any case), not the table entry by entry.
  const char* const cases[][3] = {
      {"  varchar2 ", "VARCHAR", "string"},
      {"Character\t Varying", "VARCHAR", "string"},
      {"nvarchar2", "NVARCHAR", "national string"},
      {"double precision", "DOUBLE", "float"},
      // Unknown: with a length, misspelt, and longer than any known name.
      {"NUMBER(10,2)", "UNDEFINED", "undefined"},
      {"VARCHAR_2", "UNDEFINED", "undefined"},
      {"NATIONAL CHARACTER LARGE OBJECT AND THEN SOME", "UNDEFINED", "undefined"},
  };
  for (const auto& [native, dataType, logical] : cases) {
    const ZELString type = getDataTypeByName(native);
    EXPECT_STREQ(type.c_str(), dataType) << native;
    EXPECT_STREQ(getDefaultLogicalName(type).c_str(), logical) << native;
  }
  EXPECT_EQ(getDataTypeByName(ZELString("INT\0EGER", 8)), "UNDEFINED");
  EXPECT_EQ(getDefaultLogicalName("varchar"), "undefined");  // data types are upper case
}

ZELDerivedType* derivedType(ZELModel* model, const char* name, int length, ZELConcreteType* base) {
  auto* type = new ZELDerivedType;
  type->setName(name);
  type->Length = length;
  type->DataType = "VARCHAR";
  type->NativeDataType = "VARCHAR2";
  type->addDerivedFromConcreteType(base);
  if (model) model->addType(type);
  return type;
}

TEST(TypeHelpers, FactorizeTypesKeepsTheFirstAndRepointsUsers) {
  ZELModel model;
  auto* string = createBaseType("string");
  auto* other = createBaseType("other");
  model.addType(string);
  auto* first = derivedType(&model, "VARCHAR2_30", 30, string);
  ZELDerivedType* twin = derivedType(nullptr, "VARCHAR2_30", 30, string);
  // Equal once twin is merged into first, which comes later in the model.
  auto* onTwin = derivedType(&model, "SUB", 0, twin);
  auto* onFirst = derivedType(&model, "SUB", 0, first);
  model.addType(twin);
  auto* otherBase = derivedType(&model, "VARCHAR2_30", 30, other);
  auto* longer = derivedType(&model, "VARCHAR2_30", 31, string);
  model.addType(other);
  model.addType(createBaseType("string"));  // base types are never merged
  auto* table = new ZELClass;
  auto* column = new ZELAttribute;
  table->addFeature(column);
  column->addType(twin);
  auto* procedure = new ZELStoredProcedure;
  auto* argument = new ZELArgument;
  procedure->addArgument(argument);
  argument->addType(twin);
  auto* onFirstUser = new ZELAttribute;
  table->addFeature(onFirstUser);
  onFirstUser->addType(onFirst);

  factorizeTypes(&model);
  std::vector<ZELType*> types(model.types().begin(), model.types().end());
  EXPECT_EQ(types,
            (std::vector<ZELType*>{string, first, onTwin, otherBase, longer, other, types.back()}));
  EXPECT_EQ(onTwin->getDerivedFromConcreteType(), first);
  EXPECT_EQ(column->getType(), first);
  EXPECT_EQ(argument->getType(), first);
  EXPECT_EQ(onFirstUser->getType(), onTwin);
  delete table;
  delete procedure;

  // Many types: each distinct one kept once, every user re-pointed.
  auto* many = new ZELClass;
  for (int i = 0; i < 100000; ++i) {
    auto* user = new ZELAttribute;
    many->addFeature(user);
    user->addType(derivedType(&model, "CHAR", i % 1000, string));
  }
  factorizeTypes(&model);
  EXPECT_EQ(model.types().count(), 7 + 1000);
  for (ZELFeature* user : many->features()) ASSERT_EQ(user->getType()->getModel(), &model);
  EXPECT_EQ(static_cast<ZELDerivedType*>(many->features().at(1999)->getType())->Length, 999);
  delete many;
}

// The common multiplicities are checked through whole imports, by the
// builder's tests; here the edges of "*".
TEST(TypeHelpers, MultiplicitiesAssociationPropertiesAndMetadataOrigin) {
  EXPECT_STREQ(buildMultiplicity(0, 2147483645).c_str(), "0..*");
  EXPECT_STREQ(buildMultiplicity(0, 2147483644).c_str(), "0..2147483644");
  EXPECT_STREQ(buildMultiplicity(2147483647, 2147483647).c_str(), "2147483647");

  ZELAssociation association;
  auto* parent = new ZELAssociationRole;
  auto* child = new ZELAssociationRole;
  association.addAssociationRole(parent);
  association.addAssociationRole(child);
  parent->parentSide = true;
  parent->multiplicity = "0..1";
  setSourceProperty(child, parent);
  setAggregationProperty(&association);
  EXPECT_TRUE(child->source);
  EXPECT_FALSE(parent->source);
  EXPECT_EQ(association.aggregation, ZELAssociation::kNone);
  parent->multiplicity = "1";
  setAggregationProperty(&association);
  EXPECT_EQ(association.aggregation, ZELAssociation::kComposite);

  // The import time comes from SOURCE_DATE_EPOCH when it is a number of
  // seconds (the program's tests check 0), else from the clock, in the same form.
  const ZELBridgeSpecificationLiteral literal("B", "D", "web", "Vendor", "Tool", "1.0", "Rel");
  const char* saved = std::getenv("SOURCE_DATE_EPOCH");
  const std::string savedValue = saved != nullptr ? saved : "";
  auto originAt = [&](const char* epoch) {
    setenv("SOURCE_DATE_EPOCH", epoch, 1);
    ZELMetadataOrigin* origin = generateMetadataOrigin(literal, "BRIDGE");
    std::string time = origin->importTime.c_str();
    delete origin;
    return time;
  };
  EXPECT_EQ(originAt("1700000000"), "2023-11-14T22:13:20Z");
  for (const char* bad : {"-5", "12x", "99999999999999999999999"}) {
    const std::string now = originAt(bad);
    EXPECT_EQ(now.size(), 20u) << bad;
    EXPECT_GE(now.substr(0, 4), "2024") << bad;
  }
  if (saved != nullptr) {
    setenv("SOURCE_DATE_EPOCH", savedValue.c_str(), 1);
  } else {
    unsetenv("SOURCE_DATE_EPOCH");
  }
}

}  // namespace
