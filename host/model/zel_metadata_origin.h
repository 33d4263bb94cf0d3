// Where a model came from: the bridge, tool and file of an import.
#pragma once

#include "model/zel_object.h"

class ZELBridgeSpecificationLiteral;

class ZELMetadataOrigin : public ZELObject {
 public:
  ZELElementType getElementType() const override { return ZEL_ET_METADATA_ORIGIN; }

  ZELString bridgeId;         // identifier of the bridge that made the model
  ZELString toolName;         // from the bridge's specification literal
  ZELString vendorName;
  ZELString toolVersions;
  ZELString importTime;       // ISO 8601, UTC ("2026-11-23T10:00:00Z")
  ZELString sourceToolName;   // set by the bridge
  ZELString sourceFile;       // set by the bridge: the file as named to it
  ZELString modelKind;        // set by the bridge ("REL")
  ZELString characterEncoding;  // set by the bridge ("UTF-8")
};

// A new origin (owned by the caller until added to a model) with the bridge
// identifier, the tool, vendor and versions of the specification literal, and
// the current time. When the environment variable SOURCE_DATE_EPOCH holds a
// number of seconds, that time is used instead (reproducible output).
ZELMetadataOrigin* generateMetadataOrigin(const ZELBridgeSpecificationLiteral& specification,
                                          const ZELString& bridgeId);
