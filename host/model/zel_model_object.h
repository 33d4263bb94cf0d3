// ZELModelObject (anything that lives in a model and can carry a description)
// and ZELModelElement (what a design package can register).
#pragma once

#include "model/zel_object.h"

class ZELDesignPackage;

class ZELModelObject : public ZELObject {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_MODEL_OBJECT; }
  const ZELString& getDescription() const { return description_; }
  void setDescription(const ZELString& description) { description_ = description; }

 private:
  ZELString description_;
};

class ZELModelElement : public ZELModelObject {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_MODEL_ELEMENT; }
};
