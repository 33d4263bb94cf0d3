#include "model/zel_operation.h"

#include "model/zel_type.h"

bool ZELOperation::addArgument(ZELArgument* argument) {
  return arguments_.append(argument);
}

bool ZELArgument::addType(ZELType* type) {
  if (type == nullptr) return false;
  type_.set(type);
  return true;
}

ZELType* ZELArgument::getType() const {
  return type_.get();
}
