// Operations: stored procedures and their arguments.
#pragma once

#include "model/zel_model_object.h"

class ZELType;
class ZELArgument;

// Owns its arguments, in the order added.
class ZELOperation : public ZELModelElement {
 public:
  ZELOperation() : arguments_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_OPERATION; }

  bool addArgument(ZELArgument* argument);
  const ZELOwnedList<ZELArgument>& arguments() const { return arguments_; }

 private:
  ZELLink<ZELOwnedListBase>* ownedListChain() noexcept override { return &ownedLists_; }
  ZELLink<ZELOwnedListBase> ownedLists_;  // before every list
  ZELOwnedList<ZELArgument> arguments_;
};

class ZELStoredProcedure : public ZELOperation {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_STORED_PROCEDURE; }
};

class ZELArgument : public ZELModelObject {
 public:
  ZELArgument() : type_(this) {}
  ZELElementType getElementType() const override { return ZEL_ET_ARGUMENT; }

  bool addType(ZELType* type);
  ZELType* getType() const;
  short getPosition() const { return position_; }
  void setPosition(short position) { position_ = position; }

  enum Direction { kIn = 0, kOut = 1, kInOut = 2, kReturn = 3 };
  Direction direction = kIn;

 private:
  ZELRef<ZELType> type_;
  short position_ = 0;
};
