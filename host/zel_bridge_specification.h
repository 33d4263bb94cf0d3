// Bridge specifications: the host's descriptive literal of each bridge it
// knows, and the specification a bridge fills for the host to show.
#pragma once

#include <vector>

#include "zel_literals.h"

// What the host knows of one bridge, by bridge identifier (the literal's id).
class ZELBridgeSpecificationLiteral : public ZELParameterizedTextLiteral {
 public:
  ZELBridgeSpecificationLiteral(const ZELString& bridgeId, const ZELString& descriptionLiteralId,
                                const ZELString& toolWeb, const ZELString& vendorName,
                                const ZELString& toolName, const ZELString& toolVersions,
                                const ZELString& methodologySummary);
  ~ZELBridgeSpecificationLiteral() override;

  const ZELString& getInternalCode_DescriptionLiteralId() const { return descriptionLiteralId_; }
  const ZELString& getTool_Web() const { return toolWeb_; }
  const ZELString& getVendor_Name() const { return vendorName_; }
  const ZELString& getTool_Name() const { return toolName_; }
  const ZELString& getTool_Versions() const { return toolVersions_; }
  const ZELString& getMethodology_Summary() const { return methodologySummary_; }

 private:
  ZELString descriptionLiteralId_, toolWeb_, vendorName_, toolName_, toolVersions_,
      methodologySummary_;
};

// The host's specification literal of a bridge identifier, or null when the
// host does not know the identifier.
const ZELBridgeSpecificationLiteral* getBridgeSpecification(const ZELString& bridgeId);

// The specification a bridge hands to the host.
class ZELBridgeSpecification {
 public:
  // Fills every field. `extraTexts` is an optional null-terminated list of
  // further texts (copied). `readOnly` marks a specification the host must not
  // edit; `deprecated` one the host should offer only for old setups.
  void initialize(const ZELString& toolWeb, const ZELString& vendorName,
                  const ZELString& toolName, const ZELString& toolVersions,
                  const ZELString& methodologySummary, char** extraTexts,
                  const ZELString& bridgeVersion, const ZELString& description, bool readOnly,
                  bool deprecated);

  const ZELString& getToolWeb() const { return toolWeb_; }
  const ZELString& getVendorName() const { return vendorName_; }
  const ZELString& getToolName() const { return toolName_; }
  const ZELString& getToolVersions() const { return toolVersions_; }
  const ZELString& getMethodologySummary() const { return methodologySummary_; }
  const ZELString& getBridgeVersion() const { return bridgeVersion_; }
  const ZELString& getDescription() const { return description_; }
  long getExtraTextCount() const { return static_cast<long>(extraTexts_.size()); }
  const ZELString& getExtraText(long index) const { return extraTexts_.at(index); }
  bool isReadOnly() const { return readOnly_; }
  bool isDeprecated() const { return deprecated_; }
  bool isInitialized() const { return initialized_; }

 private:
  ZELString toolWeb_, vendorName_, toolName_, toolVersions_, methodologySummary_, bridgeVersion_,
      description_;
  std::vector<ZELString> extraTexts_;
  bool readOnly_ = false, deprecated_ = false, initialized_ = false;
};

// The host's specification literals of the bridges it ships with.
namespace TAVSPECS {
// Bridge identifier "CaRepositoryDsOdbcImport".
extern const ZELBridgeSpecificationLiteral BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT;
}  // namespace TAVSPECS
