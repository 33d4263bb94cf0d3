// The host's own catalogued messages, shared by all bridges.
#pragma once

#include "zel_exception.h"
#include "zel_literals.h"
#include "zel_log.h"

class TAVGEN : public ZELTextLiteralsCollection {
 public:
  // A message with one string parameter "{0}". Its global code is "TAVGEN_",
  // the severity's initial and the id filled with zeros to four digits.
  class MessageInstance_String : public ZELMessageLiteral {
   public:
    MessageInstance_String(const ZELString& id, const ZELString& text, const ZELString& severity);
    ZELString toString(const ZELString& value0) const;
    // "[" global code "] " filled text.
    ZELString getMessage(const ZELString& value0) const;
    void log(ZELLog& log, const ZELString& value0) const;
    [[noreturn]] void throwException(const ZELString& value0) const;
  };

  // "[TAVGEN_F0001] Unexpected error in bridge {0}": any failure of a bridge
  // that is not a ZELException.
  static const MessageInstance_String BRIDGE_UNEXPECTED_ERROR;

  const ZELString& getDocumentId() const override;
  ZELParameterizedTextLiteral* const* listAllLiterals() const override;
};
