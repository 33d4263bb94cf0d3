#include "zel_options.h"

#include <algorithm>
#include <cstring>

ZELBridgeOption::ZELBridgeOption(const ZELString& key, const ZELString& name,
                                 const ZELString& displayName, const ZELString& description,
                                 Kind kind, const char* const* fileExtensions,
                                 const ZELString& group, bool required,
                                 const ZELString& defaultValue)
    : key_(key),
      name_(name),
      displayName_(displayName),
      description_(description),
      group_(group),
      defaultValue_(defaultValue),
      kind_(kind),
      required_(required) {
  if (kind == kFile && fileExtensions) {
    for (const char* const* at = fileExtensions; *at; ++at) extensionTexts_.emplace_back(*at);
  }
  fileExtensions_.reserve(extensionTexts_.size() + 1);
  for (const ZELString& extension : extensionTexts_) fileExtensions_.push_back(extension.c_str());
  fileExtensions_.push_back(nullptr);
}

ZELBridgeOptionLiteral::ZELBridgeOptionLiteral(
    const ZELString& id, const ZELString& name, const ZELString& displayName,
    const ZELString& description, const ZELParameterizedTextLiteral* enumerationLiteral,
    const ZELParameterizedTextLiteral* defaultLiteral)
    : ZELParameterizedTextLiteral(id, name),
      name_(name),
      displayName_(displayName),
      description_(description),
      default_(defaultLiteral) {}

ZELBridgeOptionLiteral::~ZELBridgeOptionLiteral() = default;

ZELBridgeOption* ZELBridgeOptionLiteral::generateOption(bool fileOption,
                                                        const char** fileExtensions,
                                                        const ZELString& group,
                                                        bool required) const {
  return new ZELBridgeOption(getId(), name_, displayName_, description_,
                             fileOption ? ZELBridgeOption::kFile : ZELBridgeOption::kText,
                             fileExtensions, group, required,
                             default_ ? default_->getText() : ZELString());
}

int ZELOptionVector::compare2Key(const void* element, const void* key) const {
  const ZELString& optionKey = static_cast<const ZELBridgeOption*>(element)->getKey();
  const char* wanted = key ? static_cast<const char*>(key) : "";
  const size_t wantedLength = std::strlen(wanted);
  const size_t common = std::min<size_t>(optionKey.length(), wantedLength);
  if (const int byBytes = std::memcmp(optionKey.c_str(), wanted, common)) return byBytes;
  return optionKey.length() < wantedLength ? -1 : (optionKey.length() > wantedLength ? 1 : 0);
}

int ZELOptionVector::compare2Object(const void* elementA, const void* elementB) const {
  return static_cast<const ZELBridgeOption*>(elementA)->getKey().compare(
      static_cast<const ZELBridgeOption*>(elementB)->getKey());
}

void ZELOptionList::removeAll() {
  for (long index = 0; index < options.count(); ++index) delete options.option(index);
  options.removeAll();
}
