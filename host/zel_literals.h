// The host's text literal machinery: named texts with "{0}".."{2}"
// placeholders, catalogued messages with a severity, and the collections that
// plug a library's literals into the host.
#pragma once

#include "zel_string.h"

class ZELDOMElement;  // an element of a localisation document; opaque here

// The parameter values of one use of a literal: a per-call work handle, so
// that filling a text keeps no state in the (shared, static) literal.
class ZELTextParameters {
 public:
  static constexpr int kCount = 3;
  // The value of `index` ("" when unset or out of range).
  const ZELString& value(int index) const { return inRange(index) ? values_[index] : emptyString; }
  // Whether a value was set for `index`, even an empty one.
  bool isSet(int index) const { return inRange(index) && set_[index]; }
  // Indexes out of range are ignored.
  void set(int index, const ZELString& value) {
    if (!inRange(index)) return;
    values_[index] = value;
    set_[index] = true;
  }

 private:
  static bool inRange(int index) { return index >= 0 && index < kCount; }
  ZELString values_[kCount];
  bool set_[kCount] = {false, false, false};
};

// A named text. Construction keeps the id and text; update() replaces the
// text (the host calls it when a localised document provides one).
class ZELParameterizedTextLiteral {
 public:
  ZELParameterizedTextLiteral(const ZELString& id, const ZELString& text);
  virtual ~ZELParameterizedTextLiteral();

  const ZELString& getId() const { return id_; }
  const ZELString& getText() const { return text_; }
  // Replaces the text; `element` (may be null) is the document element it
  // comes from.
  virtual void update(const ZELString& text, const ZELDOMElement* element);

  // Filling placeholders: take a handle, set values by index (0 to 2), then
  // create the text, in which "{0}", "{1}" and "{2}" are replaced by the
  // values of that index. Placeholders whose index has no value set, and any
  // other brace text, are kept as written. (The spelling of
  // prapareForParameters is the host's established name.)
  ZELTextParameters prapareForParameters() const { return ZELTextParameters(); }
  void setParameterValue(ZELTextParameters& handle, int index, const ZELString& value) const;
  ZELString createParametrizedText(const ZELTextParameters& handle) const;

 private:
  ZELString id_;
  ZELString text_;
};

// A catalogued message: a text literal with a severity word ("FATAL",
// "WARNING", "STATUS", ...), the integer level of that word (see
// severityLevelOf in zel_log.h) and a global code, which the message classes
// of each library compute and store with setGlobalCode.
class ZELMessageLiteral : public ZELParameterizedTextLiteral {
 public:
  ZELMessageLiteral(const ZELString& id, const ZELString& text, const ZELString& severity);
  ~ZELMessageLiteral() override;

  int getSeverityLevel() const { return severityLevel_; }
  const ZELString& getGlobalCode() const { return globalCode_; }

 protected:
  void setGlobalCode(const ZELString& code) { globalCode_ = code; }

 private:
  ZELString globalCode_;
  int severityLevel_;
};

// A library's catalog of literals. A catalog names itself by its document id
// and lists its literals (a null-terminated array); init() registers it with
// the host, which can then find it by document id. Catalogs are static
// objects of their library; the host does not own them.
class ZELTextLiteralsCollection {
 public:
  ZELTextLiteralsCollection();
  virtual ~ZELTextLiteralsCollection();

  virtual const ZELString& getDocumentId() const = 0;
  virtual ZELParameterizedTextLiteral* const* listAllLiterals() const = 0;

  // Registers this catalog with the host (once; a second call does nothing).
  void init();

  // The registered catalog with that document id, or null.
  static const ZELTextLiteralsCollection* findCollection(const ZELString& documentId);
  // The literal of that id in a catalog's list, or null.
  static ZELParameterizedTextLiteral* findLiteral(const ZELTextLiteralsCollection& collection,
                                                  const ZELString& id);

 private:
  bool registered_ = false;
};
