// Bridge options: the literal that describes an option, the option a host
// shows its user, and the list a bridge fills.
#pragma once

#include <vector>

#include "zel_literals.h"
#include "zel_vector.h"

// One option of a bridge, as generated from its literal. The option's value
// is UTF-8 text, empty until the host or user sets it.
class ZELBridgeOption {
 public:
  enum Kind { kText = 0, kFile = 1 };

  ZELBridgeOption(const ZELString& key, const ZELString& name, const ZELString& displayName,
                  const ZELString& description, Kind kind, const char* const* fileExtensions,
                  const ZELString& group, bool required, const ZELString& defaultValue);
  // Not copyable: fileExtensions_ points into the option's own texts.
  ZELBridgeOption(const ZELBridgeOption&) = delete;
  ZELBridgeOption& operator=(const ZELBridgeOption&) = delete;

  const ZELString& getKey() const { return key_; }
  const ZELString& getName() const { return name_; }
  const ZELString& getDisplayName() const { return displayName_; }
  const ZELString& getDescription() const { return description_; }
  Kind getKind() const { return kind_; }
  // Null-terminated list of file extensions (without dot); empty for text options.
  const char* const* getFileExtensions() const { return fileExtensions_.data(); }
  const ZELString& getGroup() const { return group_; }
  bool isRequired() const { return required_; }
  const ZELString& getDefaultValue() const { return defaultValue_; }

  // The value as a NUL-terminated UTF-8 string ("" when unset).
  const char* getValue() const { return value_.c_str(); }
  void setValue(const char* utf8) { value_ = utf8; }

 private:
  ZELString key_, name_, displayName_, description_, group_, defaultValue_, value_;
  // The option keeps its own copy of the extensions: it may outlive the
  // plug-in whose static list it was made from.
  std::vector<ZELString> extensionTexts_;
  std::vector<const char*> fileExtensions_;  // into extensionTexts_, null-terminated
  Kind kind_;
  bool required_;
};

// Describes an option: id (the option's key), name, display name and
// description texts, an optional enumeration literal (null when the option
// has no fixed set of values; this host offers no value lists, so it keeps
// none) and an optional literal holding its default.
class ZELBridgeOptionLiteral : public ZELParameterizedTextLiteral {
 public:
  ZELBridgeOptionLiteral(const ZELString& id, const ZELString& name, const ZELString& displayName,
                         const ZELString& description,
                         const ZELParameterizedTextLiteral* enumerationLiteral,
                         const ZELParameterizedTextLiteral* defaultLiteral);
  ~ZELBridgeOptionLiteral() override;

  const ZELString& getName() const { return name_; }
  const ZELString& getDisplayName() const { return displayName_; }
  const ZELString& getDescription() const { return description_; }
  // The key by which the option is found in an option list: the id's text.
  const char* getKey() const { return getId().c_str(); }

  // Makes a new option from this literal, owned by the caller (normally
  // handed at once to a ZELOptionList). `fileOption` true makes a file option
  // taking the null-terminated `fileExtensions`; `group` names the group the
  // host shows the option in; `required` marks an option the user must set.
  // The default value is the default literal's text.
  ZELBridgeOption* generateOption(bool fileOption, const char** fileExtensions,
                                  const ZELString& group, bool required) const;

 private:
  ZELString name_, displayName_, description_;
  const ZELParameterizedTextLiteral* default_;
};

// The options vector of an option list: finds an option by its key, given as
// a NUL-terminated string (ZELBridgeOptionLiteral::getKey()).
class ZELOptionVector : public ZELVector {
 public:
  ZELOptionVector() : ZELVector(4) {}
  int compare2Key(const void* element, const void* key) const override;
  // Two options are equal when their keys are.
  int compare2Object(const void* elementA, const void* elementB) const override;
  ZELBridgeOption* option(long index) const { return static_cast<ZELBridgeOption*>(get(index)); }
};

// The options of a bridge. It owns the options in its vector.
class ZELOptionList {
 public:
  ZELOptionList() = default;
  ~ZELOptionList() { removeAll(); }
  ZELOptionList(const ZELOptionList&) = delete;
  ZELOptionList& operator=(const ZELOptionList&) = delete;

  // Deletes every option.
  void removeAll();
  // The option with that key, or null.
  ZELBridgeOption* find(const char* key) {
    return static_cast<ZELBridgeOption*>(options.findFirst(key, nullptr));
  }

  ZELOptionVector options;
};
