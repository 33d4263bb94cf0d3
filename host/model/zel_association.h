// Associations between classes: the association, its roles (one per end) and
// the role name maps that pair the columns of a foreign key with those of the
// key it refers to.
#pragma once

#include "model/zel_model_object.h"

class ZELAttribute;
class ZELClass;
class ZELForeignKey;
class ZELAssociationRole;

// Owns its roles, in the order added. A design package registers (and owns)
// the association.
class ZELAssociation : public ZELModelElement {
 public:
  ZELAssociation() : roles_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_ASSOCIATION; }

  bool addAssociationRole(ZELAssociationRole* role);
  const ZELOwnedList<ZELAssociationRole>& roles() const { return roles_; }

  enum Aggregation { kNone = 0, kShared = 1, kComposite = 2 };
  Aggregation aggregation = kNone;  // set by setAggregationProperty

 private:
  ZELLink<ZELOwnedListBase>* ownedListChain() noexcept override { return &ownedLists_; }
  ZELLink<ZELOwnedListBase> ownedLists_;  // before every list
  ZELOwnedList<ZELAssociationRole> roles_;
};

class ZELAssociationRole : public ZELModelObject {
 public:
  ZELAssociationRole() : class_(this), foreignKey_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_ASSOCIATION_ROLE; }

  // The class at this end (a reference).
  bool addAssociatedClass(ZELClass* owner);
  ZELClass* getAssociatedClass() const;
  // The foreign key this role holds (a reference).
  bool addForeignKey(ZELForeignKey* key);
  ZELForeignKey* getForeignKey() const;

  bool parentSide = false;  // the referenced (parent) end of a foreign key
  ZELString multiplicity;   // "1", "0..1", "0..*", ...
  int roleCode1 = 0;        // referential action on update
  int roleCode2 = 0;        // referential action on delete
  int roleCode3 = 0;        // deferrability
  bool source = false;      // set by setSourceProperty

 private:
  ZELRef<ZELClass> class_;
  ZELRef<ZELForeignKey> foreignKey_;
};

// Pairs a column of the referenced key (source) with a column of the foreign
// key (destination). Owned by the foreign key it holds.
class ZELAssociationRoleNameMap : public ZELModelObject {
 public:
  ZELAssociationRoleNameMap() : source_(this), destination_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_ASSOCIATION_ROLE_NAME_MAP; }

  bool addSourceAttribute(ZELAttribute* attribute);
  bool addDestinationAttribute(ZELAttribute* attribute);
  // The foreign key takes ownership of the map.
  bool addForeignKey(ZELForeignKey* key);
  ZELAttribute* getSourceAttribute() const;
  ZELAttribute* getDestinationAttribute() const;
  ZELForeignKey* getForeignKey() const;

 private:
  ZELRef<ZELAttribute> source_;
  ZELRef<ZELAttribute> destination_;
};
