#include "text_encoding.h"

#include <iconv.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <functional>

#include "model/zel_association.h"
#include "model/zel_model.h"
#include "model/zel_package.h"
#include "model/zel_type.h"
#include "utf8_sequence.h"

namespace {

// Rewrites a text: returns true and sets `replacement` to change it.
using TextMap = std::function<bool(const ZELString& text, ZELString& replacement)>;

// Calls `map` on every text the writers show of every object the model owns,
// and stores what it returns.
class TextWalk : public ZELTraversalOperation {
 public:
  explicit TextWalk(const TextMap& map) : map_(map) {}

  bool pre_process(ZELObject* object, void*& /*argument*/) override {
    ZELString replacement;
    if (map_(object->getName(), replacement)) object->setName(replacement);
    if (object->isInstanceOf(ZEL_ET_MODEL_OBJECT)) {
      auto* modelObject = static_cast<ZELModelObject*>(object);
      if (map_(modelObject->getDescription(), replacement))
        modelObject->setDescription(replacement);
    }
    if (object->isInstanceOf(ZEL_ET_DATABASE_CATALOG)) {
      auto* catalog = static_cast<ZELDatabaseCatalog*>(object);
      if (map_(catalog->getServerTypeName(), replacement)) catalog->setServerTypeName(replacement);
      if (map_(catalog->getServerTypeText(), replacement)) catalog->setServerTypeText(replacement);
    }
    if (object->isInstanceOf(ZEL_ET_DERIVED_TYPE)) {
      auto* type = static_cast<ZELDerivedType*>(object);
      if (map_(type->DataType, replacement)) type->DataType = replacement;
      if (map_(type->NativeDataType, replacement)) type->NativeDataType = replacement;
    }
    return true;
  }
  void post_process(ZELObject* /*object*/, void* /*argument*/) override {}

 private:
  const TextMap& map_;
};

void walkTexts(ZELModel& model, const TextMap& map) {
  TextWalk walk(map);
  model.depthTraversal(walk, nullptr);
}

bool isWellFormedUtf8(const ZELString& text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.c_str());
  const size_t length = text.length();
  for (size_t at = 0; at < length;) {
    if (bytes[at] < 0x80) {
      ++at;
      continue;
    }
    const size_t sequence = wellFormedSequenceLength(bytes + at, length - at);
    if (sequence == 0) return false;
    at += sequence;
  }
  return true;
}

bool isAscii(const ZELString& text) {
  const char* bytes = text.c_str();
  return std::all_of(bytes, bytes + text.length(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Converts `length` bytes at `bytes` with `converter` into `output`. False,
// with `consumed` the bytes read before the first that is not valid, when
// the text cannot be converted.
bool convertWith(iconv_t converter, const char* bytes, size_t length, std::string& output,
                 size_t& consumed) {
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  output.assign(length * 4 + 4, '\0');  // a byte becomes at most four
  char* in = const_cast<char*>(bytes);
  size_t inLeft = length;
  char* out = output.data();
  size_t outLeft = output.size();
  const bool converted = iconv(converter, &in, &inLeft, &out, &outLeft) != static_cast<size_t>(-1);
  consumed = static_cast<size_t>(in - bytes);
  output.resize(output.size() - outLeft);
  return converted;
}

}  // namespace

bool isKnownEncoding(const std::string& encoding) {
  const iconv_t converter = iconv_open("UTF-8", encoding.c_str());
  if (converter == reinterpret_cast<iconv_t>(-1)) return false;
  iconv_close(converter);
  return true;
}

bool isUtf8Name(const std::string& encoding) {
  std::string folded;
  for (char c : encoding) {
    if (c != '-' && c != '_')
      folded += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return folded == "utf8";
}

long countInvalidUtf8(ZELModel& model) {
  long count = 0;
  walkTexts(model, [&](const ZELString& text, ZELString&) {
    if (!isWellFormedUtf8(text)) ++count;
    return false;
  });
  return count;
}

bool convertModelToUtf8(ZELModel& model, const std::string& encoding, std::string& error) {
  const iconv_t converter = iconv_open("UTF-8", encoding.c_str());
  if (converter == reinterpret_cast<iconv_t>(-1)) {
    error = "unknown input encoding '" + encoding + "'";
    return false;
  }
  std::string output;
  walkTexts(model, [&](const ZELString& text, ZELString& replacement) {
    // ASCII reads the same in every code page the option is meant for.
    if (!error.empty() || isAscii(text)) return false;
    size_t consumed = 0;
    if (!convertWith(converter, text.c_str(), text.length(), output, consumed)) {
      error = "the text '" + std::string(text.c_str(), std::min<size_t>(text.length(), 40)) +
              "' is not valid " + encoding + " (byte " + std::to_string(consumed + 1) +
              "); check --input-encoding";
      return false;
    }
    replacement = ZELString(output.data(), output.size());
    return true;
  });
  iconv_close(converter);
  return error.empty();
}

DecodingLog::DecodingLog(ZELLog& next, const std::string& encoding) : next_(next) {
  if (!encoding.empty() && !isUtf8Name(encoding)) {
    const iconv_t converter = iconv_open("UTF-8", encoding.c_str());
    if (converter != reinterpret_cast<iconv_t>(-1)) converter_ = converter;
  }
}

DecodingLog::~DecodingLog() {
  if (converter_ != nullptr) iconv_close(static_cast<iconv_t>(converter_));
}

void DecodingLog::logEvent(const ZELLogEvent& event) {
  const ZELString& text = event.getText();
  std::string output;
  size_t consumed = 0;
  if (converter_ == nullptr || isAscii(text) ||
      !convertWith(static_cast<iconv_t>(converter_), text.c_str(), text.length(), output,
                   consumed)) {
    next_.logEvent(event);
    return;
  }
  next_.logEvent(ZELLogEvent(ZELString(output.data(), output.size()), event.getCode(),
                             event.getLevel(), event.getExtra()));
}
