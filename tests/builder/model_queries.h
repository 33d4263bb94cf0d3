// Finding things in an imported model by name, for the builder's tests.
#pragma once

#include <string>
#include <vector>

#include "model/zel_model.h"

template <class T, class List>
T* findByName(const List& list, const std::string& name) {
  for (auto* object : list) {
    if (name == object->getName().c_str()) return static_cast<T*>(object);
  }
  return nullptr;
}

template <class T, class List>
std::vector<T*> ofExactType(const List& list, ZELElementType type) {
  std::vector<T*> found;
  for (auto* object : list) {
    if (object->getElementType() == type) found.push_back(static_cast<T*>(object));
  }
  return found;
}

template <class List>
std::vector<std::string> namesOf(const List& list) {
  std::vector<std::string> names;
  for (auto* object : list) names.push_back(object->getName().c_str());
  return names;
}

inline std::vector<ZELDatabaseCatalog*> catalogsOf(const ZELModel& model) {
  return ofExactType<ZELDatabaseCatalog>(model.childPackages(), ZEL_ET_DATABASE_CATALOG);
}
inline std::vector<ZELDesignPackage*> designPackagesOf(const ZELModel& model) {
  return ofExactType<ZELDesignPackage>(model.childPackages(), ZEL_ET_DESIGN_PACKAGE);
}
inline std::vector<ZELClass*> tablesOf(const ZELDataPackage& schema) {
  return ofExactType<ZELClass>(schema.modelObjects(), ZEL_ET_CLASS);
}
inline ZELDatabaseSchema* schemaOf(const ZELModel& model, const std::string& catalog,
                                   const std::string& schema) {
  auto* found = findByName<ZELDatabaseCatalog>(catalogsOf(model), catalog);
  return found ? findByName<ZELDatabaseSchema>(found->childPackages(), schema) : nullptr;
}
// The class `table` in the only schema of the only catalog, or null.
inline ZELClass* onlyClass(const ZELModel& model, const std::string& table) {
  auto catalogs = catalogsOf(model);
  if (catalogs.size() != 1 || catalogs[0]->getChildPackageCount() != 1) return nullptr;
  auto* schema = static_cast<ZELDataPackage*>(catalogs[0]->getChildPackage(0));
  return findByName<ZELClass>(schema->modelObjects(), table);
}
inline ZELAttribute* columnOf(const ZELClass* owner, const std::string& name) {
  return owner ? findByName<ZELAttribute>(owner->features(), name) : nullptr;
}
inline ZELDerivedType* typeOf(const ZELFeature* feature) {
  return feature ? static_cast<ZELDerivedType*>(feature->getType()) : nullptr;
}
