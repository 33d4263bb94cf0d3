// Classifiers and their features: classes (tables), SQL view entities, and
// their attributes (columns).
#pragma once

#include "model/zel_model_object.h"

class ZELType;
class ZELKey;
class ZELCandidateKey;
class ZELIndex;
class ZELFeature;

class ZELClassifier : public ZELModelElement {
 public:
  ZELClassifier() : features_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_CLASSIFIER; }

  // This classifier owns `feature` from now on.
  bool addFeature(ZELFeature* feature);
  const ZELOwnedList<ZELFeature>& features() const { return features_; }

 private:
  // The chain of this classifier's lists, its subclasses' included.
  ZELLink<ZELOwnedListBase>* ownedListChain() noexcept override { return &ownedLists_; }
  ZELLink<ZELOwnedListBase> ownedLists_;  // before every list
  ZELOwnedList<ZELFeature> features_;
};

// A table. It owns its keys and indexes (see ZELKey::addAssociatedClass and
// ZELIndex::addAssociatedClass) and refers to one primary key.
class ZELClass : public ZELClassifier {
 public:
  ZELClass() : keys_(this), indexes_(this), primaryKey_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_CLASS; }

  // The class's primary key, or null.
  ZELCandidateKey* getPrimaryKey() const;
  const ZELOwnedList<ZELKey>& keys() const { return keys_; }
  const ZELOwnedList<ZELIndex>& indexes() const { return indexes_; }

 private:
  friend class ZELKey;
  friend class ZELCandidateKey;
  friend class ZELIndex;
  ZELOwnedList<ZELKey> keys_;
  ZELOwnedList<ZELIndex> indexes_;
  ZELRef<ZELCandidateKey> primaryKey_;
};

// A view of an SQL database; a class without keys of its own.
class ZELSQLViewEntity : public ZELClass {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_SQL_VIEW_ENTITY; }
};

class ZELFeature : public ZELModelObject {
 public:
  ZELFeature() : type_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_FEATURE; }

  // Gives the feature its type (a reference; the model owns types).
  bool addType(ZELType* type);
  ZELType* getType() const;
  // The classifier that owns this feature, or null.
  ZELClassifier* getClassifier() const;

 private:
  ZELRef<ZELType> type_;
};

// A column of a table.
class ZELAttribute : public ZELFeature {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_ATTRIBUTE; }

  bool isOptional() const { return optional_; }
  void setOptional(bool optional) { optional_ = optional; }
  short getPosition() const { return position_; }
  void setPosition(short position) { position_ = position; }

 private:
  short position_ = 0;
  bool optional_ = false;
};

// A column of a view.
class ZELSQLViewAttribute : public ZELAttribute {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_SQL_VIEW_ATTRIBUTE; }
};
