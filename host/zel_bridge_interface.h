// The interface a model bridge plug-in offers the host.
//
// A plug-in exports one C function returning its interface object; the host
// asks it for its options and specification and runs it. These classes have
// no virtual destructor: the plug-in owns its interface object and the host
// never deletes it.
#pragma once

#include "zel_bridge_specification.h"
#include "zel_log.h"
#include "zel_options.h"
#include "zel_string.h"

class ZELModel;

class ZELModelBridgeDllInterface {
 public:
  // Fills `specification` for the bridge identifier.
  virtual void getSpecification(const ZELString& bridgeId,
                                ZELBridgeSpecification& specification) = 0;
  // Replaces the content of `options` with the bridge's options.
  virtual void getOptionList(ZELOptionList& options) = 0;
  // The name under which the host finds the bridge's mapping specification.
  virtual ZELString getMappingSpecificationXmlFile() = 0;

 protected:
  ~ZELModelBridgeDllInterface() = default;
};

class ZELModelBridgeImportDllInterface : public ZELModelBridgeDllInterface {
 public:
  // Imports into `model` with the given options, logging to `log`. Returns
  // true on success; failures leave as ZELException with the model emptied.
  virtual bool run(const ZELString& bridgeId, ZELModel& model, ZELOptionList& options,
                   ZELLog& log) = 0;

 protected:
  ~ZELModelBridgeImportDllInterface() = default;
};

// The signature of a plug-in's exported entry function.
using ZELModelBridgeImportEntry = ZELModelBridgeImportDllInterface* (*)();
