#include "model/zel_metadata_origin.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "zel_bridge_specification.h"

namespace {

// The seconds in SOURCE_DATE_EPOCH, when it holds a plain non-negative
// decimal number that fits a time_t.
bool sourceDateEpoch(std::time_t& seconds) {
  const char* text = std::getenv("SOURCE_DATE_EPOCH");
  if (text == nullptr || *text < '0' || *text > '9') return false;
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text, &end, 10);
  if (errno != 0 || *end != '\0') return false;
  seconds = static_cast<std::time_t>(value);
  return static_cast<long long>(seconds) == value;
}

// `seconds` as ISO 8601 UTC ("2026-11-23T10:00:00Z"); false when the year
// does not fit.
bool formatUtc(std::time_t seconds, ZELString& text) {
  std::tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) return false;
  char buffer[64];
  const size_t length = std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &parts);
  if (length == 0) return false;
  text.assign(buffer, length);
  return true;
}

}  // namespace

ZELMetadataOrigin* generateMetadataOrigin(const ZELBridgeSpecificationLiteral& specification,
                                          const ZELString& bridgeId) {
  auto origin = std::make_unique<ZELMetadataOrigin>();
  origin->bridgeId = bridgeId;
  origin->toolName = specification.getTool_Name();
  origin->vendorName = specification.getVendor_Name();
  origin->toolVersions = specification.getTool_Versions();
  std::time_t seconds = 0;
  // A reproducible time that cannot be written falls back to the clock.
  if (!sourceDateEpoch(seconds) || !formatUtc(seconds, origin->importTime)) {
    formatUtc(std::time(nullptr), origin->importTime);
  }
  return origin.release();
}
