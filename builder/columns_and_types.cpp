// Columns of tables and views, each with a derived type of its own over a
// shared base type, and the base-type table.
#include <memory>

#include "bridge/import_bridge.h"
#include "builder/record_values.h"
#include "zel_type_helpers.h"

using namespace CaRepositoryDsOdbcImport;
using Bridge = ZELCaRepositoryDsOdbcImportBridge;

namespace {

const ZELString kUndefined("undefined");

}  // namespace

ZELString Bridge::lookupDataType(ZELString nativeName) {
  // "NUMBER(10,2)" is looked up as "NUMBER"; nothing else is trimmed.
  long parenthesis = nativeName.indexOf('(');
  if (parenthesis >= 0) nativeName = nativeName.left(static_cast<unsigned>(parenthesis));
  return ZELString(getDataTypeByName(nativeName));
}

ZELBaseType* Bridge::getBaseType(const ZELString& dataType) {
  ZELString name = getDefaultLogicalName(dataType);
  if (ZELObject* found = baseTypeTable.find(name.c_str())) return static_cast<ZELBaseType*>(found);
  std::unique_ptr<ZELBaseType> base(createBaseType(name));
  model->addType(base.get());
  ZELBaseType* linked = base.release();
  baseTypeTable.add(linked, true, nullptr);
  return linked;
}

ZELBaseType* Bridge::getUndefinedBaseType() {
  if (ZELObject* found = baseTypeTable.find(kUndefined.c_str())) {
    return static_cast<ZELBaseType*>(found);
  }
  std::unique_ptr<ZELBaseType> base(createBaseType(kUndefined));
  base->addModel(model);
  ZELBaseType* linked = base.release();
  baseTypeTable.add(linked, true, nullptr);
  return linked;
}

std::unique_ptr<ZELDerivedType> Bridge::makeDerivedType(const Rel_colNode* column,
                                                        const Rel_dtNode* dataType) {
  auto type = std::make_unique<ZELDerivedType>();
  type->Length = static_cast<int>(column->length);
  const int length = type->getLength();
  // Columns of one native type and length share their name, data type and
  // base type: looked up and built once, then shared.
  const DerivedTypeValues& values = derivedTypeValues.valuesFor(dataType, length, [&] {
    DerivedTypeValues made;
    made.name = dataType->name;
    if (length != 0) {
      made.name += "_";
      made.name += ZELString(static_cast<long>(length));
    }
    made.dataType = lookupDataType(dataType->name);
    made.baseType = getBaseType(made.dataType);
    return made;
  });
  type->setName(values.name);
  type->Scale = static_cast<int>(column->scale);
  type->DataType = values.dataType;
  type->NativeDataType = dataType->name;
  type->addDerivedFromConcreteType(values.baseType);
  return type;
}

ZELDerivedType* Bridge::sharedDerivedType(const Rel_colNode* column, const Rel_dtNode* dataType) {
  // The length and scale as the type stores them.
  const int length = static_cast<int>(column->length);
  const int scale = static_cast<int>(column->scale);
  if (ZELDerivedType* shared = sharedDerivedTypes.find(dataType, dataType->name, length, scale)) {
    return shared;
  }
  std::unique_ptr<ZELDerivedType> type = makeDerivedType(column, dataType);
  model->addType(type.get());
  ZELDerivedType* linked = type.release();
  sharedDerivedTypes.keep(dataType, dataType->name, linked->Length, linked->Scale, linked);
  return linked;
}

namespace {

// The attribute of a TBL_COL or VIEW_COL record, named after its column and
// added to the table or view `owner`.
template <class Attribute>
Attribute* addColumn(Node* record, ZELObject* owner, const Rel_colNode* column, long position) {
  auto attribute = std::make_unique<Attribute>();
  record->modelObject = attribute.get();
  attribute->setName(column->name);
  static_cast<ZELClassifier*>(owner)->addFeature(attribute.get());
  Attribute* linked = attribute.release();
  linked->setPosition(low16(position));
  return linked;
}

}  // namespace

void Bridge::processTbl_colNode(Tbl_colNode* node) {
  Node* table = resolve<kFromId>(node);
  auto* column = resolve<kToId>(node);
  auto* dataType = resolve<kToId>(column);
  // A table that was never placed has no class to take the column.
  if (table->modelObject == nullptr) return;

  auto* attribute = addColumn<ZELAttribute>(node, table->modelObject, column, node->position);
  attribute->setDescription(node->comment.isEmpty() ? column->comment : node->comment);
  if (!node->notNullable) attribute->setOptional(true);
  addDerivedType(attribute, column, dataType);
}

void Bridge::processView_colNode(View_colNode* node) {
  Node* view = resolve<kFromId>(node);
  auto* column = resolve<kToId>(node);
  auto* dataType = resolve<kToId>(column);
  if (view->modelObject == nullptr) return;

  auto* attribute = addColumn<ZELSQLViewAttribute>(node, view->modelObject, column, node->position);
  attribute->setDescription(column->comment);
  addDerivedType(attribute, column, dataType);
}
