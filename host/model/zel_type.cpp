#include "model/zel_type.h"

#include "model/zel_package.h"

bool ZELType::addModel(ZELModel* model) {
  return model != nullptr && model->types_.append(this);
}

ZELModel* ZELType::getModel() const {
  ZELObject* owner = getOwner();
  return owner != nullptr && owner->isInstanceOf(ZEL_ET_MODEL) ? static_cast<ZELModel*>(owner)
                                                               : nullptr;
}

bool ZELDerivedType::addDerivedFromConcreteType(ZELConcreteType* type) {
  if (type == nullptr) return false;
  derivedFrom_.set(type);
  return true;
}

ZELConcreteType* ZELDerivedType::getDerivedFromConcreteType() const {
  return derivedFrom_.get();
}
