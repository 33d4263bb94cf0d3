// The TAV_CARDS catalog. Everything lives in this one translation unit so that
// the load-time construction order is the order of definition below: the
// strings every message constructor reads, then the literals in list order,
// then the registered catalog object.
#include "bridge/messages/tav_cards.h"

// --- Strings read by the message constructors: defined before any literal.

const ZELString TAV_CARDS::DOCUMENT_ID("ZELCaRepositoryDsOdbcImport");
const ZELString TAV_CARDS::PREFIX("TAV_CARDS");
const ZELString BLANK_GLOBAL_CODE("0000");

namespace {

// PREFIX "_" severity initial, then the id filled with zeros to four digits:
// id "8" with "FATAL" gives TAV_CARDS_F0008.
ZELString globalCodeOf(const ZELString& id, const ZELString& severity) {
  // An id of four digits or more gets no zeros.
  const unsigned blank = BLANK_GLOBAL_CODE.length();
  const ZELString zeroFill =
      BLANK_GLOBAL_CODE.mid(0, id.length() < blank ? blank - id.length() : 0);
  const ZELString initial = severity.mid(0, 1);
  return TAV_CARDS::PREFIX + "_" + initial + zeroFill + id;
}

// The literal's text with "{0}".."{2}" replaced by `values`, in index order.
template <class... Values>
ZELString fill(const ZELParameterizedTextLiteral& literal, const Values&... values) {
  ZELTextParameters handle = literal.prapareForParameters();
  int index = 0;
  (literal.setParameterValue(handle, index++, values), ...);
  return literal.createParametrizedText(handle);
}

// "[" global code "] " filled text.
ZELString bracketed(const ZELMessageLiteral& message, const ZELString& text) {
  return "[" + message.getGlobalCode() + "] " + text;
}

// One event: the plain filled text (no bracketed code), code, level, "".
void logEvent(ZELLog& log, const ZELMessageLiteral& message, const ZELString& text) {
  log.logEvent(ZELLogEvent(text, message.getGlobalCode(), message.getSeverityLevel(), emptyString));
}

}  // namespace

// --- Literal classes.

TAV_CARDS::TextInstance::TextInstance(const ZELString& id, const ZELString& text)
    : ZELParameterizedTextLiteral(id, text) {}
TAV_CARDS::TextInstance::~TextInstance() = default;

TAV_CARDS::MessageInstance::MessageInstance(const ZELString& id, const ZELString& text,
                                            const ZELString& severity)
    : ZELMessageLiteral(id, text, severity) {
  setGlobalCode(globalCodeOf(id, severity));
}
TAV_CARDS::MessageInstance::~MessageInstance() = default;
ZELString TAV_CARDS::MessageInstance::toString() const {
  return getText();
}
ZELString TAV_CARDS::MessageInstance::getMessage() const {
  return bracketed(*this, toString());
}
void TAV_CARDS::MessageInstance::log(ZELLog& log) const {
  logEvent(log, *this, toString());
}
void TAV_CARDS::MessageInstance::throwException() const {
  throw ZELException(getMessage());
}

TAV_CARDS::MessageInstance_String::MessageInstance_String(const ZELString& id,
                                                          const ZELString& text,
                                                          const ZELString& severity)
    : ZELMessageLiteral(id, text, severity) {
  setGlobalCode(globalCodeOf(id, severity));
}
TAV_CARDS::MessageInstance_String::~MessageInstance_String() = default;
ZELString TAV_CARDS::MessageInstance_String::toString(const ZELString& value0) const {
  return fill(*this, value0);
}
ZELString TAV_CARDS::MessageInstance_String::getMessage(const ZELString& value0) const {
  return bracketed(*this, toString(value0));
}
void TAV_CARDS::MessageInstance_String::log(ZELLog& log, const ZELString& value0) const {
  logEvent(log, *this, toString(value0));
}
void TAV_CARDS::MessageInstance_String::throwException(const ZELString& value0) const {
  throw ZELException(getMessage(value0));
}

TAV_CARDS::MessageInstance_String_String::MessageInstance_String_String(const ZELString& id,
                                                                        const ZELString& text,
                                                                        const ZELString& severity)
    : ZELMessageLiteral(id, text, severity) {
  setGlobalCode(globalCodeOf(id, severity));
}
TAV_CARDS::MessageInstance_String_String::~MessageInstance_String_String() = default;
ZELString TAV_CARDS::MessageInstance_String_String::toString(const ZELString& value0,
                                                             const ZELString& value1) const {
  return fill(*this, value0, value1);
}
ZELString TAV_CARDS::MessageInstance_String_String::getMessage(const ZELString& value0,
                                                               const ZELString& value1) const {
  return bracketed(*this, toString(value0, value1));
}
void TAV_CARDS::MessageInstance_String_String::log(ZELLog& log, const ZELString& value0,
                                                   const ZELString& value1) const {
  logEvent(log, *this, toString(value0, value1));
}
void TAV_CARDS::MessageInstance_String_String::throwException(const ZELString& value0,
                                                              const ZELString& value1) const {
  throw ZELException(getMessage(value0, value1));
}

TAV_CARDS::MessageInstance_String_String_String::MessageInstance_String_String_String(
    const ZELString& id, const ZELString& text, const ZELString& severity)
    : ZELMessageLiteral(id, text, severity) {
  setGlobalCode(globalCodeOf(id, severity));
}
TAV_CARDS::MessageInstance_String_String_String::~MessageInstance_String_String_String() = default;
ZELString TAV_CARDS::MessageInstance_String_String_String::toString(const ZELString& value0,
                                                                    const ZELString& value1,
                                                                    const ZELString& value2) const {
  return fill(*this, value0, value1, value2);
}
ZELString TAV_CARDS::MessageInstance_String_String_String::getMessage(
    const ZELString& value0, const ZELString& value1, const ZELString& value2) const {
  return bracketed(*this, toString(value0, value1, value2));
}
void TAV_CARDS::MessageInstance_String_String_String::log(ZELLog& log, const ZELString& value0,
                                                          const ZELString& value1,
                                                          const ZELString& value2) const {
  logEvent(log, *this, toString(value0, value1, value2));
}
void TAV_CARDS::MessageInstance_String_String_String::throwException(
    const ZELString& value0, const ZELString& value1, const ZELString& value2) const {
  throw ZELException(getMessage(value0, value1, value2));
}

// --- The literals, in the order of textLiterals.

const TAV_CARDS::TextInstance TAV_CARDS::BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT_DESCRIPTION(
    "CaRepositoryDsOdbcImportDescription", "");
// Before BP_FILE, which refers to it.
const TAV_CARDS::TextInstance TAV_CARDS::BP_FILE_DEFAULT("BP_FILE_DEFAULT", "");
const ZELBridgeOptionLiteral TAV_CARDS::BP_FILE(
    "BP_FILE", "File", "File",
    "Use Advantage Repository Population Center Repository Extract with\n"
    "     the odbc.pcc Control file.\n"
    "     \n"
    "     ",
    nullptr, &TAV_CARDS::BP_FILE_DEFAULT);

const TAV_CARDS::MessageInstance TAV_CARDS::CAREPOSITORY_I_INPUT_MODEL_PARAMETER_IS_NULL(
    "1", "Input model parameter is null", "FATAL");
const TAV_CARDS::MessageInstance_String_String TAV_CARDS::CAREPOSITORY_I_UNABLE_TO_OPEN_INPUT_FILE(
    "2", "Unable to open '{0}'. The error is: {1}", "FATAL");
const TAV_CARDS::MessageInstance TAV_CARDS::CAREPOSITORY_I_POST_PROCESSING(
    "3", "Post processing the imported model...", "STATUS");
const TAV_CARDS::MessageInstance TAV_CARDS::CAREPOSITORY_I_IMPORTING_MODEL("4",
                                                                           "Importing the model...",
                                                                           "STATUS");
const TAV_CARDS::MessageInstance_String TAV_CARDS::CAREPOSITORY_I_UNABLE_TO_DETECT_TARGET_DATABASE(
    "7", "Unable to detect target database : Trying to import domains and datatypes using {0}",
    "WARNING");
const TAV_CARDS::MessageInstance_String TAV_CARDS::CAREPOSITORY_I_PCD_ERROR(
    "8", "Error in input PCD file, line ({0})", "FATAL");
const TAV_CARDS::MessageInstance_String TAV_CARDS::CAREPOSITORY_I_MISSING_OBJECT(
    "9", "Missing Object ({0})", "FATAL");
const TAV_CARDS::MessageInstance_String_String_String TAV_CARDS::CAREPOSITORY_I_BAD_OBJECT_TYPE(
    "10", "Bad Object Type for ({0}) (got ({1}), expected ({2}))", "FATAL");
const TAV_CARDS::MessageInstance_String TAV_CARDS::CAREPOSITORY_I_MULTIPLE_TABLE_LOCATIONS(
    "11", "Table ({0}) at multiple locations not supported", "WARNING");
const TAV_CARDS::MessageInstance_String TAV_CARDS::CAREPOSITORY_I_MULTIPLE_PROCEDURE_LOCATIONS(
    "12", "Procedure ({0}) at multiple locations not supported", "WARNING");
const TAV_CARDS::MessageInstance_String TAV_CARDS::CAREPOSITORY_I_FK_MISMATCH(
    "13", "Foreign key ({0}) number of attributes does not match primary key; omitting Foreign Key",
    "WARNING");
const TAV_CARDS::MessageInstance_String TAV_CARDS::CAREPOSITORY_I_UNEXPECTED_KEY_TYPE(
    "14", "Unexpected type for key ({0}); skipping", "WARNING");

// The host reads the list but never writes through it; its element type is
// the host's non-const pointer, hence the casts.
ZELParameterizedTextLiteral* const TAV_CARDS::textLiterals[16] = {
    const_cast<TextInstance*>(&BRIDGE_SPEC_CAREPOSITORYDSODBC_IMPORT_DESCRIPTION),
    const_cast<TextInstance*>(&BP_FILE_DEFAULT),
    const_cast<ZELBridgeOptionLiteral*>(&BP_FILE),
    const_cast<MessageInstance*>(&CAREPOSITORY_I_INPUT_MODEL_PARAMETER_IS_NULL),
    const_cast<MessageInstance_String_String*>(&CAREPOSITORY_I_UNABLE_TO_OPEN_INPUT_FILE),
    const_cast<MessageInstance*>(&CAREPOSITORY_I_POST_PROCESSING),
    const_cast<MessageInstance*>(&CAREPOSITORY_I_IMPORTING_MODEL),
    const_cast<MessageInstance_String*>(&CAREPOSITORY_I_UNABLE_TO_DETECT_TARGET_DATABASE),
    const_cast<MessageInstance_String*>(&CAREPOSITORY_I_PCD_ERROR),
    const_cast<MessageInstance_String*>(&CAREPOSITORY_I_MISSING_OBJECT),
    const_cast<MessageInstance_String_String_String*>(&CAREPOSITORY_I_BAD_OBJECT_TYPE),
    const_cast<MessageInstance_String*>(&CAREPOSITORY_I_MULTIPLE_TABLE_LOCATIONS),
    const_cast<MessageInstance_String*>(&CAREPOSITORY_I_MULTIPLE_PROCEDURE_LOCATIONS),
    const_cast<MessageInstance_String*>(&CAREPOSITORY_I_FK_MISMATCH),
    const_cast<MessageInstance_String*>(&CAREPOSITORY_I_UNEXPECTED_KEY_TYPE),
    nullptr,
};

// --- Catalog operations.

const ZELString& TAV_CARDS::getDocumentId() const {
  return DOCUMENT_ID;
}

ZELParameterizedTextLiteral* const* TAV_CARDS::listAllLiterals() const {
  return textLiterals;
}

ZELParameterizedTextLiteral* const* TAV_CARDS::getAllLiterals() {
  return textLiterals;
}

ZELParameterizedTextLiteral* TAV_CARDS::findTextLiteral(const ZELString& id) {
  for (ZELParameterizedTextLiteral* const* literal = textLiterals; *literal != nullptr; ++literal) {
    // Same length, then same bytes: no prefix or case-insensitive matches.
    if ((*literal)->getId() == id) return *literal;
  }
  return nullptr;
}

// --- The catalog object: constructed after every literal above, then
// registered with the host.

namespace {

TAV_CARDS catalog;
[[maybe_unused]] const bool catalogRegistered = (catalog.init(), true);

}  // namespace
