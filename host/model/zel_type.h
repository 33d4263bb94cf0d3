// Data types: base types (shared logical types) and derived types (a native
// type with length and scale, derived from a base type).
#pragma once

#include "model/zel_model_object.h"

class ZELModel;

class ZELType : public ZELModelElement {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_TYPE; }
  // Makes the type one of the model's types (the model owns it).
  bool addModel(ZELModel* model);
  // The model that owns the type, or null.
  ZELModel* getModel() const;
};

class ZELConcreteType : public ZELType {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_CONCRETE_TYPE; }
};

class ZELBaseType : public ZELConcreteType {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_BASE_TYPE; }
};

class ZELDerivedType : public ZELConcreteType {
 public:
  ZELDerivedType() : derivedFrom_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_DERIVED_TYPE; }

  virtual int getLength() const { return Length; }
  virtual int getScale() const { return Scale; }
  // The type this one derives from (a reference), or null.
  bool addDerivedFromConcreteType(ZELConcreteType* type);
  ZELConcreteType* getDerivedFromConcreteType() const;

  int Length = 0;
  int Scale = 0;
  ZELString DataType;        // the host's data type name
  ZELString NativeDataType;  // the type name as the source system wrote it

 private:
  ZELRef<ZELConcreteType> derivedFrom_;
};
