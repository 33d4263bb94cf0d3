#include "zel_host_messages.h"

namespace {

// "TAVGEN_", the severity's initial, then the id filled with zeros to four
// digits ("1", "FATAL" -> "TAVGEN_F0001").
ZELString hostGlobalCode(const ZELString& id, const ZELString& severity) {
  static const char kZeros[] = "0000";
  const unsigned width = sizeof kZeros - 1;
  const unsigned fill = id.length() < width ? width - id.length() : 0;
  return ZELString("TAVGEN_") + severity.left(1) + ZELString(kZeros, fill) + id;
}

}  // namespace

const TAVGEN::MessageInstance_String TAVGEN::BRIDGE_UNEXPECTED_ERROR(
    "1", "Unexpected error in bridge {0}", "FATAL");

namespace {

// The catalog's literals and the catalog itself, registered at load. They
// follow BRIDGE_UNEXPECTED_ERROR in this file, so they are built after it.
ZELParameterizedTextLiteral* const hostLiterals[] = {
    const_cast<TAVGEN::MessageInstance_String*>(&TAVGEN::BRIDGE_UNEXPECTED_ERROR), nullptr};

struct HostCatalogRegistration {
  HostCatalogRegistration() { catalog.init(); }
  TAVGEN catalog;
};
const HostCatalogRegistration hostCatalog;

}  // namespace

TAVGEN::MessageInstance_String::MessageInstance_String(const ZELString& id, const ZELString& text,
                                                       const ZELString& severity)
    : ZELMessageLiteral(id, text, severity) {
  setGlobalCode(hostGlobalCode(id, severity));
}

ZELString TAVGEN::MessageInstance_String::toString(const ZELString& value0) const {
  ZELTextParameters parameters = prapareForParameters();
  setParameterValue(parameters, 0, value0);
  return createParametrizedText(parameters);
}

ZELString TAVGEN::MessageInstance_String::getMessage(const ZELString& value0) const {
  return "[" + getGlobalCode() + "] " + toString(value0);
}

void TAVGEN::MessageInstance_String::log(ZELLog& log, const ZELString& value0) const {
  log.logEvent(ZELLogEvent(toString(value0), getGlobalCode(), getSeverityLevel(), emptyString));
}

void TAVGEN::MessageInstance_String::throwException(const ZELString& value0) const {
  throw ZELException(getMessage(value0));
}

const ZELString& TAVGEN::getDocumentId() const {
  static const ZELString documentId("TAVGEN");
  return documentId;
}

ZELParameterizedTextLiteral* const* TAVGEN::listAllLiterals() const {
  return hostLiterals;
}
