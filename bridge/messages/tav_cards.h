// TAV_CARDS: the catalog of every text the bridge shows: its progress lines,
// warnings and fatal errors, the file option and the bridge description.
// The literals are static objects, built when the library is loaded.
#pragma once

#include "zel_exception.h"
#include "zel_literals.h"
#include "zel_log.h"
#include "zel_options.h"

class TAV_CARDS : public ZELTextLiteralsCollection {
 public:
  class TextInstance : public ZELParameterizedTextLiteral {
   public:
    TextInstance(const ZELString& id, const ZELString& text);
    ~TextInstance() override;
    ZELString toString() const { return getText(); }
  };

  class MessageInstance : public ZELMessageLiteral {
   public:
    MessageInstance(const ZELString& id, const ZELString& text, const ZELString& severity);
    ~MessageInstance() override;
    ZELString toString() const;
    ZELString getMessage() const;
    void log(ZELLog& log) const;
    [[noreturn]] void throwException() const;
  };

  class MessageInstance_String : public ZELMessageLiteral {
   public:
    MessageInstance_String(const ZELString& id, const ZELString& text, const ZELString& severity);
    ~MessageInstance_String() override;
    ZELString toString(const ZELString& value0) const;
    ZELString getMessage(const ZELString& value0) const;
    void log(ZELLog& log, const ZELString& value0) const;
    [[noreturn]] void throwException(const ZELString& value0) const;
  };

  class MessageInstance_String_String : public ZELMessageLiteral {
   public:
    MessageInstance_String_String(const ZELString& id, const ZELString& text,
                                  const ZELString& severity);
    ~MessageInstance_String_String() override;
    ZELString toString(const ZELString& value0, const ZELString& value1) const;
    ZELString getMessage(const ZELString& value0, const ZELString& value1) const;
    void log(ZELLog& log, const ZELString& value0, const ZELString& value1) const;
    [[noreturn]] void throwException(const ZELString& value0, const ZELString& value1) const;
  };

  class MessageInstance_String_String_String : public ZELMessageLiteral {
   public:
    MessageInstance_String_String_String(const ZELString& id, const ZELString& text,
                                         const ZELString& severity);
    ~MessageInstance_String_String_String() override;
    ZELString toString(const ZELString& value0, const ZELString& value1,
                       const ZELString& value2) const;
    ZELString getMessage(const ZELString& value0, const ZELString& value1,
                         const ZELString& value2) const;
    void log(ZELLog& log, const ZELString& value0, const ZELString& value1,
             const ZELString& value2) const;
    [[noreturn]] void throwException(const ZELString& value0, const ZELString& value1,
                                     const ZELString& value2) const;
  };

  const ZELString& getDocumentId() const override;
  ZELParameterizedTextLiteral* const* listAllLiterals() const override;
  static ZELParameterizedTextLiteral* const* getAllLiterals();
  // The literal of that id (exact, case-sensitive), or null.
  static ZELParameterizedTextLiteral* findTextLiteral(const ZELString& id);

  static const ZELString DOCUMENT_ID;  // "ZELCaRepositoryDsOdbcImport"
  static const ZELString PREFIX;       // "TAV_CARDS"
  static ZELParameterizedTextLiteral* const textLiterals[16];

  static const TextInstance BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT_DESCRIPTION;
  static const TextInstance BP_FILE_DEFAULT;
  static const ZELBridgeOptionLiteral BP_FILE;
  static const MessageInstance CAREPOSITORY_I_INPUT_MODEL_PARAMETER_IS_NULL;
  static const MessageInstance_String_String CAREPOSITORY_I_UNABLE_TO_OPEN_INPUT_FILE;
  static const MessageInstance CAREPOSITORY_I_POST_PROCESSING;
  static const MessageInstance CAREPOSITORY_I_IMPORTING_MODEL;
  static const MessageInstance_String CAREPOSITORY_I_UNABLE_TO_DETECT_TARGET_DATABASE;
  static const MessageInstance_String CAREPOSITORY_I_PCD_ERROR;
  static const MessageInstance_String CAREPOSITORY_I_MISSING_OBJECT;
  static const MessageInstance_String_String_String CAREPOSITORY_I_BAD_OBJECT_TYPE;
  static const MessageInstance_String CAREPOSITORY_I_MULTIPLE_TABLE_LOCATIONS;
  static const MessageInstance_String CAREPOSITORY_I_MULTIPLE_PROCEDURE_LOCATIONS;
  static const MessageInstance_String CAREPOSITORY_I_FK_MISMATCH;
  static const MessageInstance_String CAREPOSITORY_I_UNEXPECTED_KEY_TYPE;
};

// "0000": the zeros that fill a message id to four digits in its global code.
extern const ZELString BLANK_GLOBAL_CODE;
