#include "model/zel_classifier.h"

#include "model/zel_key.h"
#include "model/zel_type.h"

bool ZELClassifier::addFeature(ZELFeature* feature) {
  return features_.append(feature);
}

ZELCandidateKey* ZELClass::getPrimaryKey() const {
  return primaryKey_.get();
}

bool ZELFeature::addType(ZELType* type) {
  if (type == nullptr) return false;
  type_.set(type);
  return true;
}

ZELType* ZELFeature::getType() const {
  return type_.get();
}

ZELClassifier* ZELFeature::getClassifier() const {
  // A feature can also sit in a data package; only a classifier counts here.
  ZELObject* owner = getOwner();
  return owner != nullptr && owner->isInstanceOf(ZEL_ET_CLASSIFIER)
             ? static_cast<ZELClassifier*>(owner)
             : nullptr;
}
