#include "text_encoding.h"

#include <iconv.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "model/zel_association.h"
#include "model/zel_model.h"
#include "model/zel_package.h"
#include "model/zel_type.h"
#include "utf8_sequence.h"

namespace pcd::cli {

namespace {

// The texts an object of an element type shows, as flags.
enum TextKinds : unsigned {
  kDescription = 1,  // model objects
  kServerType = 2,   // catalogs: server type name and text
  kDataTypes = 4,    // derived types: data type and native data type
};

unsigned textKindsOf(ZELElementType type) {
  unsigned kinds = 0;
  if (zelElementTypeIsA(type, ZEL_ET_MODEL_OBJECT)) kinds |= kDescription;
  if (zelElementTypeIsA(type, ZEL_ET_DATABASE_CATALOG)) kinds |= kServerType;
  if (zelElementTypeIsA(type, ZEL_ET_DERIVED_TYPE)) kinds |= kDataTypes;
  return kinds;
}

// Calls `map(const ZELString& text, ZELString& replacement)` on every text the
// writers show of every object the model owns, and stores the replacement
// when it returns true. What an element type shows is worked out once per type.
template <class Map>
class TextWalk : public ZELTraversalOperation {
 public:
  explicit TextWalk(Map& map) : map_(map) { std::memset(kinds_, -1, sizeof kinds_); }

  bool pre_process(ZELObject* object, void*& /*argument*/) override {
    ZELString replacement;
    if (map_(object->getName(), replacement)) object->setName(replacement);
    const unsigned kinds = kindsOf(object->getElementType());
    if ((kinds & kDescription) != 0) {
      auto* modelObject = static_cast<ZELModelObject*>(object);
      if (map_(modelObject->getDescription(), replacement))
        modelObject->setDescription(replacement);
    }
    if ((kinds & kServerType) != 0) {
      auto* catalog = static_cast<ZELDatabaseCatalog*>(object);
      if (map_(catalog->getServerTypeName(), replacement)) catalog->setServerTypeName(replacement);
      if (map_(catalog->getServerTypeText(), replacement)) catalog->setServerTypeText(replacement);
    }
    if ((kinds & kDataTypes) != 0) {
      auto* type = static_cast<ZELDerivedType*>(object);
      if (map_(type->DataType, replacement)) type->DataType = replacement;
      if (map_(type->NativeDataType, replacement)) type->NativeDataType = replacement;
    }
    return true;
  }
  void post_process(ZELObject* /*object*/, void* /*argument*/) override {}

 private:
  unsigned kindsOf(ZELElementType type) {
    const auto index = static_cast<size_t>(type);
    if (index >= kKnownTypes) return textKindsOf(type);
    if (kinds_[index] < 0) kinds_[index] = static_cast<signed char>(textKindsOf(type));
    return static_cast<unsigned>(kinds_[index]);
  }
  static constexpr size_t kKnownTypes = 128;
  Map& map_;
  signed char kinds_[kKnownTypes];  // by element type; -1 until worked out
};

template <class Map>
void walkTexts(ZELModel& model, Map map) {
  TextWalk<Map> walk(map);
  model.depthTraversal(walk, nullptr);
}

bool isWellFormedUtf8(const ZELString& text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.c_str());
  const size_t length = text.length();
  size_t at = 0;
  // Eight ASCII bytes at a time: most texts are ASCII throughout.
  for (uint64_t word; at + 8 <= length; at += 8) {
    std::memcpy(&word, bytes + at, 8);
    if ((word & 0x8080808080808080ull) != 0) break;
  }
  while (at < length) {
    if (bytes[at] < 0x80) {
      ++at;
      continue;
    }
    const size_t sequence = writers::wellFormedSequenceLength(bytes + at, length - at);
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

}  // namespace pcd::cli
