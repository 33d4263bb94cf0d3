// Keys and indexes of a class: candidate keys (primary and alternate),
// foreign keys, indexes and index members.
#pragma once

#include "model/zel_model_object.h"

class ZELAttribute;
class ZELClass;
class ZELIndex;
class ZELAssociationRoleNameMap;

// A key of a class. The class owns the key; the key refers to its attributes
// (in order, duplicates allowed) and to one index.
class ZELKey : public ZELModelObject {
 public:
  ZELKey() : attributes_(this), index_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_KEY; }

  // Makes `owner` the key's class (the class owns the key from now on).
  bool addAssociatedClass(ZELClass* owner);
  ZELClass* getAssociatedClass() const;
  // Appends a column to the key's attributes.
  bool addAttribute(ZELAttribute* attribute);
  const ZELReferenceList<ZELAttribute>& attributes() const { return attributes_; }
  // Attaches the key's index (a reference; the class owns the index).
  bool addIndex(ZELIndex* index);
  ZELIndex* getIndex() const;

 private:
  ZELReferenceList<ZELAttribute> attributes_;
  ZELRef<ZELIndex> index_;
};

class ZELCandidateKey : public ZELKey {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_CANDIDATE_KEY; }

  // Makes this key the primary key of `owner`, replacing the previous one.
  bool addPrimaryOfClass(ZELClass* owner);
  // True when some class reports this key as its primary key.
  bool isPrimary() const;

  bool uniqueKey = false;
};

// A foreign key refers to at most one candidate key and owns the role name
// maps that hold it.
class ZELForeignKey : public ZELKey {
 public:
  ZELForeignKey() : candidateKey_(this), roleNameMaps_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_FOREIGN_KEY; }

  // Links the key it refers to, replacing the previous one.
  bool addCandidateKey(ZELCandidateKey* key);
  ZELCandidateKey* getCandidateKey() const;
  const ZELOwnedList<ZELAssociationRoleNameMap>& roleNameMaps() const { return roleNameMaps_; }

 private:
  friend class ZELAssociationRoleNameMap;
  ZELLink<ZELOwnedListBase>* ownedListChain() noexcept override { return &ownedLists_; }
  ZELRef<ZELCandidateKey> candidateKey_;
  ZELLink<ZELOwnedListBase> ownedLists_;  // before every list
  ZELOwnedList<ZELAssociationRoleNameMap> roleNameMaps_;
};

class ZELIndexMember;

// An index of a class; it owns its members, in order.
class ZELIndex : public ZELModelObject {
 public:
  ZELIndex() : members_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_INDEX; }

  // Makes `owner` the index's class (the class owns the index from now on).
  bool addAssociatedClass(ZELClass* owner);
  ZELClass* getAssociatedClass() const;
  bool addIndexMember(ZELIndexMember* member);
  const ZELOwnedList<ZELIndexMember>& members() const { return members_; }

  bool indexFlag1 = false;  // unique index
  bool indexFlag2 = false;  // clustered index
  bool indexFlag3 = false;  // index kept in the catalog's own storage

 private:
  ZELLink<ZELOwnedListBase>* ownedListChain() noexcept override { return &ownedLists_; }
  ZELLink<ZELOwnedListBase> ownedLists_;  // before every list
  ZELOwnedList<ZELIndexMember> members_;
};

// One column of an index, with its place and sort order.
class ZELIndexMember : public ZELModelObject {
 public:
  ZELIndexMember() : attribute_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_INDEX_MEMBER; }

  bool addAttribute(ZELAttribute* attribute);
  ZELAttribute* getAttribute() const;

  short position = 0;
  int sortOrder = 1;  // 1 ascending, 2 descending

 private:
  ZELRef<ZELAttribute> attribute_;
};
