#include "model/zel_key.h"

#include "model/zel_association.h"
#include "model/zel_classifier.h"

namespace {

// The owner of `object` when it is a class, else null.
ZELClass* owningClass(const ZELObject* object) {
  ZELObject* owner = object->getOwner();
  return owner != nullptr && owner->isInstanceOf(ZEL_ET_CLASS) ? static_cast<ZELClass*>(owner)
                                                               : nullptr;
}

}  // namespace

bool ZELKey::addAssociatedClass(ZELClass* owner) {
  return owner != nullptr && owner->keys_.append(this);
}

ZELClass* ZELKey::getAssociatedClass() const {
  return owningClass(this);
}

bool ZELKey::addAttribute(ZELAttribute* attribute) {
  if (attribute == nullptr) return false;
  attributes_.append(attribute);
  return true;
}

bool ZELKey::addIndex(ZELIndex* index) {
  if (index == nullptr) return false;
  index_.set(index);
  return true;
}

ZELIndex* ZELKey::getIndex() const {
  return index_.get();
}

bool ZELCandidateKey::addPrimaryOfClass(ZELClass* owner) {
  if (owner == nullptr) return false;
  owner->primaryKey_.set(this);
  return true;
}

bool ZELCandidateKey::isPrimary() const {
  for (const ZELReference* referrer = firstReferrer(); referrer != nullptr;
       referrer = referrer->nextReferrer()) {
    ZELObject* holder = referrer->holder();
    if (holder->isInstanceOf(ZEL_ET_CLASS) &&
        &static_cast<ZELClass*>(holder)->primaryKey_ == referrer) {
      return true;
    }
  }
  return false;
}

bool ZELForeignKey::addCandidateKey(ZELCandidateKey* key) {
  if (key == nullptr) return false;
  candidateKey_.set(key);
  return true;
}

ZELCandidateKey* ZELForeignKey::getCandidateKey() const {
  return candidateKey_.get();
}

bool ZELIndex::addAssociatedClass(ZELClass* owner) {
  return owner != nullptr && owner->indexes_.append(this);
}

ZELClass* ZELIndex::getAssociatedClass() const {
  return owningClass(this);
}

bool ZELIndex::addIndexMember(ZELIndexMember* member) {
  return members_.append(member);
}

bool ZELIndexMember::addAttribute(ZELAttribute* attribute) {
  if (attribute == nullptr) return false;
  attribute_.set(attribute);
  return true;
}

ZELAttribute* ZELIndexMember::getAttribute() const {
  return attribute_.get();
}
