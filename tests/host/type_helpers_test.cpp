// Data type names, multiplicities, type factorization and metadata origins.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "model/zel_model.h"
#include "zel_bridge_specification.h"
#include "zel_fault_injection.h"
#include "zel_type_helpers.h"

namespace {

std::string dataType(const char* native) {
  return getDataTypeByName(native).c_str();
}
std::string logical(const char* type) {
  return getDefaultLogicalName(type).c_str();
}

TEST(TypeHelpers, BuildMultiplicity) {
  EXPECT_STREQ(buildMultiplicity(1, 1).c_str(), "1");
  EXPECT_STREQ(buildMultiplicity(0, 1).c_str(), "0..1");
  EXPECT_STREQ(buildMultiplicity(0, 2147483645).c_str(), "0..*");
  EXPECT_STREQ(buildMultiplicity(1, 2147483647).c_str(), "1..*");
  EXPECT_STREQ(buildMultiplicity(0, 2147483644).c_str(), "0..2147483644");
  EXPECT_STREQ(buildMultiplicity(2147483647, 2147483647).c_str(), "2147483647");
  EXPECT_STREQ(buildMultiplicity(-1, 3).c_str(), "-1..3");
}

TEST(TypeHelpers, NativeNamesMapToDataTypes) {
  EXPECT_EQ(dataType("VARCHAR2"), "VARCHAR");
  EXPECT_EQ(dataType("  varchar2 "), "VARCHAR");
  EXPECT_EQ(dataType("Character\t Varying"), "VARCHAR");
  EXPECT_EQ(dataType("CHAR "), "CHAR");  // a native name cut before "(10)"
  EXPECT_EQ(dataType("nvarchar2"), "NVARCHAR");
  EXPECT_EQ(dataType("VARGRAPHIC"), "NVARCHAR");
  EXPECT_EQ(dataType("NUMBER"), "NUMERIC");
  EXPECT_EQ(dataType("money"), "DECIMAL");
  EXPECT_EQ(dataType("SERIAL"), "INTEGER");
  EXPECT_EQ(dataType("double precision"), "DOUBLE");
  EXPECT_EQ(dataType("TIMESTAMP WITH TIME ZONE"), "TIMESTAMP");
  EXPECT_EQ(dataType("SMALLDATETIME"), "TIMESTAMP");
  EXPECT_EQ(dataType("LONG RAW"), "LONGVARBINARY");
  EXPECT_EQ(dataType("bytea"), "LONGVARBINARY");
  EXPECT_EQ(dataType("bool"), "BOOLEAN");
  EXPECT_EQ(dataType("UNIQUEIDENTIFIER"), "GUID");
  EXPECT_EQ(dataType("urowid"), "ROWID");
  EXPECT_EQ(dataType("XMLTYPE"), "XML");
  for (const char* unknown : {"", "   ", "NUMBER(10,2)", "VARCHAR_2", "GEOMETRY", "LONGVARCHAR",
                              "NATIONAL CHARACTER LARGE OBJECT AND THEN SOME MORE WORDS"}) {
    EXPECT_EQ(dataType(unknown), "UNDEFINED") << unknown;
  }
  EXPECT_EQ(getDataTypeByName(ZELString("INT\0EGER", 8)), "UNDEFINED");

  EXPECT_EQ(logical("VARCHAR"), "string");
  EXPECT_EQ(logical("NCLOB"), "national string");
  EXPECT_EQ(logical("LONGVARBINARY"), "binary");
  EXPECT_EQ(logical("BIT"), "boolean");
  EXPECT_EQ(logical("TINYINT"), "integer");
  EXPECT_EQ(logical("NUMERIC"), "decimal");
  EXPECT_EQ(logical("REAL"), "float");
  EXPECT_EQ(logical("TIMESTAMP"), "timestamp");
  EXPECT_EQ(logical("INTERVAL"), "interval");
  EXPECT_EQ(logical("GUID"), "identifier");
  EXPECT_EQ(logical("XML"), "xml");
  EXPECT_EQ(logical("UNDEFINED"), "undefined");
  EXPECT_EQ(logical("varchar"), "undefined");  // data types are upper case
  // Every data type a native name maps to has a logical name.
  for (const char* native :
       {"CHAR",   "VARCHAR",   "TEXT",     "CLOB",    "NCHAR", "NVARCHAR", "NTEXT",   "NCLOB",
        "BINARY", "VARBINARY", "IMAGE",    "BLOB",    "BIT",   "BOOLEAN",  "TINYINT", "SMALLINT",
        "INT",    "BIGINT",    "DECIMAL",  "NUMERIC", "REAL",  "FLOAT",    "DOUBLE",  "DATE",
        "TIME",   "TIMESTAMP", "INTERVAL", "ROWID",   "UUID",  "XML"}) {
    EXPECT_NE(logical(dataType(native).c_str()), "undefined") << native;
  }

  ZELBaseType* base = createBaseType("string");
  EXPECT_STREQ(base->getName().c_str(), "string");
  EXPECT_EQ(base->getModel(), nullptr);
  delete base;
  zel_testing::armFault(1);
  EXPECT_THROW(createBaseType("x"), std::runtime_error);
}

ZELDerivedType* makeDerived(const char* name, int length, ZELConcreteType* base) {
  auto* type = new ZELDerivedType;
  type->setName(name);
  type->Length = length;
  type->DataType = "VARCHAR";
  type->NativeDataType = "VARCHAR2";
  type->addDerivedFromConcreteType(base);
  return type;
}

ZELDerivedType* derivedType(ZELModel& model, const char* name, int length, ZELConcreteType* base) {
  ZELDerivedType* type = makeDerived(name, length, base);
  model.addType(type);
  return type;
}

TEST(TypeHelpers, FactorizeTypesKeepsTheFirstAndRepointsUsers) {
  ZELModel model;
  auto* string = createBaseType("string");
  auto* other = createBaseType("other");
  model.addType(string);
  auto* first = derivedType(model, "VARCHAR2_30", 30, string);
  ZELDerivedType* twin = makeDerived("VARCHAR2_30", 30, string);
  // Equal once twin is merged into first, which comes later in the model.
  auto* onTwin = derivedType(model, "SUB", 0, twin);
  auto* onFirst = derivedType(model, "SUB", 0, first);
  model.addType(twin);
  auto* otherBase = derivedType(model, "VARCHAR2_30", 30, other);
  auto* longer = derivedType(model, "VARCHAR2_30", 31, string);
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
}

TEST(TypeHelpers, FactorizeTypesIsLinearOnManyTypes) {
  ZELModel model;
  auto* base = createBaseType("string");
  model.addType(base);
  auto* table = new ZELClass;
  constexpr int kTypes = 100000;
  for (int i = 0; i < kTypes; ++i) {
    auto* column = new ZELAttribute;
    table->addFeature(column);
    column->addType(derivedType(model, "CHAR", i % 1000, base));
  }
  factorizeTypes(&model);
  EXPECT_EQ(model.types().count(), 1001);
  EXPECT_EQ(model.types().at(1)->getName(), "CHAR");
  for (ZELFeature* column : table->features()) {
    ASSERT_EQ(column->getType()->getModel(), &model);
  }
  EXPECT_EQ(static_cast<ZELDerivedType*>(table->features().at(1999)->getType())->Length, 999);
  delete table;
}

TEST(TypeHelpers, AssociationPropertiesAndMetadataOrigin) {
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

  const ZELBridgeSpecificationLiteral literal("B", "D", "web", "Vendor", "Tool", "1.0", "Rel");
  const char* saved = std::getenv("SOURCE_DATE_EPOCH");
  const std::string savedValue = saved != nullptr ? saved : "";
  auto originAt = [&](const char* epoch) {
    setenv("SOURCE_DATE_EPOCH", epoch, 1);
    ZELMetadataOrigin* origin = generateMetadataOrigin(literal, "BRIDGE");
    std::string time = origin->importTime.c_str();
    EXPECT_STREQ(origin->bridgeId.c_str(), "BRIDGE");
    EXPECT_STREQ(origin->toolName.c_str(), "Tool");
    EXPECT_STREQ(origin->vendorName.c_str(), "Vendor");
    EXPECT_STREQ(origin->toolVersions.c_str(), "1.0");
    delete origin;
    return time;
  };
  EXPECT_EQ(originAt("0"), "1970-01-01T00:00:00Z");
  EXPECT_EQ(originAt("1700000000"), "2023-11-14T22:13:20Z");
  // Not a number of seconds: the clock's time, in the same form.
  for (const char* bad : {"", "-5", "12x", "99999999999999999999999"}) {
    const std::string now = originAt(bad);
    ASSERT_EQ(now.size(), 20u) << bad;
    EXPECT_EQ(now[10], 'T');
    EXPECT_EQ(now.back(), 'Z');
    EXPECT_GE(now.substr(0, 4), "2024");
  }
  if (saved != nullptr) {
    setenv("SOURCE_DATE_EPOCH", savedValue.c_str(), 1);
  } else {
    unsetenv("SOURCE_DATE_EPOCH");
  }
}

}  // namespace
