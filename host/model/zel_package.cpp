#include "model/zel_package.h"

#include "model/zel_metadata_origin.h"
#include "model/zel_operation.h"
#include "model/zel_type.h"
#include "zel_fault_injection.h"
#include "zel_keyed_hash.h"

bool ZELPackage::addChildPackage(ZELPackage* child) {
  zel_testing::faultPoint();
  return childPackages_.append(child);
}

bool ZELModel::addMetadataOrigin(ZELMetadataOrigin* origin) {
  return origins_.append(origin);
}

bool ZELModel::addType(ZELType* type) {
  return types_.append(type);
}

void ZELModel::recursiveDelete() {
  childPackages_.deleteAll();
  types_.deleteAll();
  origins_.deleteAll();
}

bool ZELDataPackage::addModelObject(ZELModelObject* object) {
  zel_testing::faultPoint();
  return modelObjects_.append(object);
}

// ---------------------------------------------------------------------------
// ZELDesignPackage

ZELDesignPackage::~ZELDesignPackage() {
  // Drop the registrations before the owned elements die, so that their
  // deletion does not report back to a half-destroyed package.
  elements_.clear();
  ownedElements_.deleteAll();
}

bool ZELDesignPackage::addModelElement(ZELModelElement* element) {
  return registerElement(element);
}

bool ZELDesignPackage::addStoredProcedure(ZELStoredProcedure* procedure) {
  return registerElement(procedure);
}

bool ZELDesignPackage::isNameTaken(const ZELString& name) const {
  return names_.holdsName(name);
}

bool ZELDesignPackage::registerElement(ZELModelElement* element) {
  if (element == nullptr) return false;
  if (names_.holdsElement(element)) return true;
  const ZELString& name = element->getName();
  if (isNameTaken(name)) return false;
  // Allocating steps first, each undone if a later one fails, so that a
  // failed registration changes nothing.
  names_.add(element, name);
  try {
    elements_.append(element);
  } catch (...) {
    names_.remove(element);
    throw;
  }
  if (element->getOwner() == nullptr) ownedElements_.append(element);
  return true;
}

void ZELDesignPackage::forgetElement(const ZELObject* element) {
  const ZELString name = names_.remove(element);
  if (name.isEmpty() || !lastCounters_) return;

  // A freed name PREFIX + k lowers the remembered counter of PREFIX below k,
  // so that the next unique name is again the first free one.
  unsigned digits = 0;
  while (digits < name.length() && digits < 19) {
    const char c = name[name.length() - 1 - digits];
    if (c < '0' || c > '9') break;
    ++digits;
  }
  if (digits == 0 || digits == name.length()) return;
  unsigned long counter = 0;
  for (unsigned i = name.length() - digits; i < name.length(); ++i) {
    counter = counter * 10 + static_cast<unsigned long>(name[i] - '0');
  }
  const auto last = lastCounters_->find(Prefix{ZELString(), name.c_str(), name.length() - digits});
  if (last != lastCounters_->end() && counter >= 1 && last->second >= counter) {
    last->second = counter - 1;
  }
}

void ZELDesignPackage::ElementList::entryLost(ZELObject* target) {
  static_cast<ZELDesignPackage*>(holder())->forgetElement(target);
}

size_t ZELDesignPackage::PrefixHash::operator()(const Prefix& prefix) const noexcept {
  const std::string_view text = prefix.text();
  return zel_hash::hashBytes(text.data(), text.size());
}

unsigned long ZELDesignPackage::firstUniqueNameCounter(const ZELString& prefix) {
  if (!lastCounters_) return 1;
  const auto last = lastCounters_->find(Prefix{prefix});
  return last == lastCounters_->end() ? 1 : last->second + 1;
}

void ZELDesignPackage::noteUniqueNameCounter(const ZELString& prefix, unsigned long counter) {
  if (!lastCounters_) lastCounters_ = std::make_unique<LastCounters>();
  (*lastCounters_)[Prefix{prefix}] = counter;
}
