#include "zel_bridge_specification.h"

namespace TAVSPECS {
const ZELBridgeSpecificationLiteral BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT(
    "CaRepositoryDsOdbcImport", "CaRepositoryDsOdbcImportDescription", "", "CA", "CA Repository",
    "PCD extract", "Relational");
}  // namespace TAVSPECS

ZELBridgeSpecificationLiteral::ZELBridgeSpecificationLiteral(
    const ZELString& bridgeId, const ZELString& descriptionLiteralId, const ZELString& toolWeb,
    const ZELString& vendorName, const ZELString& toolName, const ZELString& toolVersions,
    const ZELString& methodologySummary)
    : ZELParameterizedTextLiteral(bridgeId, toolName),
      descriptionLiteralId_(descriptionLiteralId),
      toolWeb_(toolWeb),
      vendorName_(vendorName),
      toolName_(toolName),
      toolVersions_(toolVersions),
      methodologySummary_(methodologySummary) {}

ZELBridgeSpecificationLiteral::~ZELBridgeSpecificationLiteral() = default;

const ZELBridgeSpecificationLiteral* getBridgeSpecification(const ZELString& bridgeId) {
  const ZELBridgeSpecificationLiteral& known = TAVSPECS::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT;
  return bridgeId == known.getId() ? &known : nullptr;
}

void ZELBridgeSpecification::initialize(const ZELString& toolWeb, const ZELString& vendorName,
                                        const ZELString& toolName, const ZELString& toolVersions,
                                        const ZELString& methodologySummary, char** extraTexts,
                                        const ZELString& bridgeVersion,
                                        const ZELString& description, bool readOnly,
                                        bool deprecated) {
  toolWeb_ = toolWeb;
  vendorName_ = vendorName;
  toolName_ = toolName;
  toolVersions_ = toolVersions;
  methodologySummary_ = methodologySummary;
  bridgeVersion_ = bridgeVersion;
  description_ = description;
  extraTexts_.clear();
  if (extraTexts) {
    for (char** at = extraTexts; *at; ++at) extraTexts_.emplace_back(*at);
  }
  readOnly_ = readOnly;
  deprecated_ = deprecated;
  initialized_ = true;
}
