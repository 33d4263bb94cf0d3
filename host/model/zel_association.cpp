#include "model/zel_association.h"

#include "model/zel_classifier.h"
#include "model/zel_key.h"

bool ZELAssociation::addAssociationRole(ZELAssociationRole* role) {
  return roles_.append(role);
}

bool ZELAssociationRole::addAssociatedClass(ZELClass* owner) {
  if (owner == nullptr) return false;
  class_.set(owner);
  return true;
}

ZELClass* ZELAssociationRole::getAssociatedClass() const {
  return class_.get();
}

bool ZELAssociationRole::addForeignKey(ZELForeignKey* key) {
  if (key == nullptr) return false;
  foreignKey_.set(key);
  return true;
}

ZELForeignKey* ZELAssociationRole::getForeignKey() const {
  return foreignKey_.get();
}

bool ZELAssociationRoleNameMap::addSourceAttribute(ZELAttribute* attribute) {
  if (attribute == nullptr) return false;
  source_.set(attribute);
  return true;
}

bool ZELAssociationRoleNameMap::addDestinationAttribute(ZELAttribute* attribute) {
  if (attribute == nullptr) return false;
  destination_.set(attribute);
  return true;
}

bool ZELAssociationRoleNameMap::addForeignKey(ZELForeignKey* key) {
  return key != nullptr && key->roleNameMaps_.append(this);
}

ZELAttribute* ZELAssociationRoleNameMap::getSourceAttribute() const {
  return source_.get();
}

ZELAttribute* ZELAssociationRoleNameMap::getDestinationAttribute() const {
  return destination_.get();
}

ZELForeignKey* ZELAssociationRoleNameMap::getForeignKey() const {
  ZELObject* owner = getOwner();
  return owner != nullptr && owner->isInstanceOf(ZEL_ET_FOREIGN_KEY)
             ? static_cast<ZELForeignKey*>(owner)
             : nullptr;
}
