// Packages: the model itself, data packages (database catalogs and schemas)
// and design packages.
#pragma once

#include <memory>
#include <string_view>
#include <unordered_map>

#include "model/zel_element_names.h"
#include "model/zel_model_object.h"

class ZELMetadataOrigin;
class ZELType;
class ZELStoredProcedure;

class ZELPackage : public ZELModelObject {
 public:
  ZELPackage() : childPackages_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_PACKAGE; }

  // Makes `child` a child package of this one (this package owns it).
  bool addChildPackage(ZELPackage* child);
  long getChildPackageCount() const { return childPackages_.count(); }
  // The child package at `index` (0-based), or null; sequential access is O(1).
  ZELPackage* getChildPackage(long index) const { return childPackages_.at(index); }
  const ZELOwnedList<ZELPackage>& childPackages() const { return childPackages_; }

 private:
  friend class ZELModel;  // recursiveDelete empties the child packages
  // The chain of this package's lists, its subclasses' included.
  ZELLink<ZELOwnedListBase>* ownedListChain() noexcept override { return &ownedLists_; }
  ZELLink<ZELOwnedListBase> ownedLists_;  // before every list
  ZELOwnedList<ZELPackage> childPackages_;
};

// The root of a model. It owns its child packages, its types and its
// metadata origins, in the order they were added.
class ZELModel : public ZELPackage {
 public:
  ZELModel() : origins_(this), types_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_MODEL; }

  bool addMetadataOrigin(ZELMetadataOrigin* origin);
  bool addType(ZELType* type);
  const ZELOwnedList<ZELMetadataOrigin>& metadataOrigins() const { return origins_; }
  const ZELOwnedList<ZELType>& types() const { return types_; }

  // Deletes everything the model holds: packages, types, origins. The model
  // keeps its name and is empty afterwards.
  virtual void recursiveDelete();

 private:
  friend class ZELType;
  ZELOwnedList<ZELMetadataOrigin> origins_;
  ZELOwnedList<ZELType> types_;
};

// A package of model objects (tables, views, procedures).
class ZELDataPackage : public ZELPackage {
 public:
  ZELDataPackage() : modelObjects_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_DATA_PACKAGE; }

  // This package owns `object` from now on.
  bool addModelObject(ZELModelObject* object);
  const ZELOwnedList<ZELModelObject>& modelObjects() const { return modelObjects_; }

 private:
  ZELOwnedList<ZELModelObject> modelObjects_;
};

class ZELDatabaseCatalog : public ZELDataPackage {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_DATABASE_CATALOG; }

  const ZELString& getServerTypeName() const { return serverTypeName_; }
  void setServerTypeName(const ZELString& name) { serverTypeName_ = name; }
  const ZELString& getServerTypeText() const { return serverTypeText_; }
  void setServerTypeText(const ZELString& text) { serverTypeText_ = text; }
  short getServerTypeNumber() const { return serverTypeNumber_; }
  void setServerTypeNumber(short number) { serverTypeNumber_ = number; }

 private:
  ZELString serverTypeName_;
  ZELString serverTypeText_;
  short serverTypeNumber_ = 0;
};

class ZELDatabaseSchema : public ZELDataPackage {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_DATABASE_SCHEMA; }
};

// A design package registers model elements (classes, views, associations,
// stored procedures) under one set of names: an element whose non-empty name
// is already taken by another element of the package is refused. Unnamed
// elements are always taken. Names are taken at registration (renaming a
// registered element later does not change the name it holds here) and freed
// when the element is deleted. An element that has no owner when it is
// registered becomes owned by the package (so associations live in the
// package that registers them). Registering an element a second time changes
// nothing and succeeds.
class ZELDesignPackage : public ZELPackage {
 public:
  ZELDesignPackage() : elements_(this), ownedElements_(this) {}
  ~ZELDesignPackage() override;
  ZELElementType getElementType() const override { return ZEL_ET_DESIGN_PACKAGE; }

  bool isSchema() const { return schema_; }
  void setSchema(bool schema) { schema_ = schema; }

  // Registers `element`; false (nothing changes) when its name is taken.
  bool addModelElement(ZELModelElement* element);
  bool addStoredProcedure(ZELStoredProcedure* procedure);
  // True when an element of that (non-empty) name is registered.
  bool isNameTaken(const ZELString& name) const;

  // Every registered element, in registration order.
  const ZELReferenceList<ZELModelElement>& elements() const { return elements_; }

 protected:
  bool isNameRefused(const ZELString& name) const override { return isNameTaken(name); }
  unsigned long firstUniqueNameCounter(const ZELString& prefix) override;
  void noteUniqueNameCounter(const ZELString& prefix, unsigned long counter) override;

 private:
  class ElementList : public ZELReferenceList<ZELModelElement> {
   public:
    explicit ElementList(ZELDesignPackage* package) : ZELReferenceList(package) {}

   protected:
    void entryLost(ZELObject* target) override;
  };
  bool registerElement(ZELModelElement* element);
  void forgetElement(const ZELObject* element);

  // The name tables are declared before the lists so that they outlive them.
  ZELElementNames names_;  // element <-> the name it holds here
  // A name prefix, held as a string in the table, or borrowed (a name's
  // first bytes) for a look-up, which then allocates nothing: forgetting an
  // element runs while objects are deleted and must not fail.
  struct Prefix {
    ZELString held;
    const char* borrowed = nullptr;
    size_t borrowedLength = 0;
    std::string_view text() const noexcept {
      return borrowed ? std::string_view(borrowed, borrowedLength)
                      : std::string_view(held.c_str(), held.length());
    }
    bool operator==(const Prefix& other) const noexcept { return text() == other.text(); }
  };
  struct PrefixHash {
    size_t operator()(const Prefix& prefix) const noexcept;
  };
  // Name and separator -> the last counter addLinkUniqueName handed out for
  // them. Every name PREFIX + 1 .. PREFIX + last is taken. Made on first
  // use: most packages never make a unique name.
  using LastCounters = std::unordered_map<Prefix, unsigned long, PrefixHash>;
  std::unique_ptr<LastCounters> lastCounters_;
  ElementList elements_;
  ZELOwnedList<ZELModelElement> ownedElements_;
  bool schema_ = false;
};
