#include "zel_literals.h"

#include <algorithm>
#include <vector>

#include "zel_log.h"

namespace {

// The registered catalogs. Allocated once and never destroyed: catalogs are
// static objects of other libraries, which may register before and
// unregister after anything static here is built or torn down.
std::vector<ZELTextLiteralsCollection*>& registry() {
  static auto* collections = new std::vector<ZELTextLiteralsCollection*>();
  return *collections;
}

// The index named by a placeholder "{0}".."{2}" at `at`, or -1.
int placeholderAt(const char* at, const char* end) {
  if (end - at < 3 || at[0] != '{' || at[2] != '}') return -1;
  const int index = at[1] - '0';
  return index >= 0 && index < ZELTextParameters::kCount ? index : -1;
}

}  // namespace

ZELParameterizedTextLiteral::ZELParameterizedTextLiteral(const ZELString& id, const ZELString& text)
    : id_(id), text_(text) {}

ZELParameterizedTextLiteral::~ZELParameterizedTextLiteral() = default;

void ZELParameterizedTextLiteral::update(const ZELString& text, const ZELDOMElement* /*element*/) {
  text_ = text;
}

void ZELParameterizedTextLiteral::setParameterValue(ZELTextParameters& handle, int index,
                                                    const ZELString& value) const {
  handle.set(index, value);
}

ZELString ZELParameterizedTextLiteral::createParametrizedText(
    const ZELTextParameters& handle) const {
  const char* const begin = text_.c_str();
  const char* const end = begin + text_.length();
  ZELString result;
  result.reserve(text_.length());
  // One left-to-right pass: the text between placeholders is copied in runs,
  // and an inserted value is never scanned again.
  const char* run = begin;
  for (const char* at = begin; at < end;) {
    const int index = placeholderAt(at, end);
    if (index < 0 || !handle.isSet(index)) {
      ++at;
      continue;
    }
    result.append(run, static_cast<size_t>(at - run));
    const ZELString& value = handle.value(index);
    result.append(value.c_str(), value.length());
    at += 3;
    run = at;
  }
  result.append(run, static_cast<size_t>(end - run));
  return result;
}

ZELMessageLiteral::ZELMessageLiteral(const ZELString& id, const ZELString& text,
                                     const ZELString& severity)
    : ZELParameterizedTextLiteral(id, text), severityLevel_(severityLevelOf(severity)) {}

ZELMessageLiteral::~ZELMessageLiteral() = default;

ZELTextLiteralsCollection::ZELTextLiteralsCollection() = default;

ZELTextLiteralsCollection::~ZELTextLiteralsCollection() {
  if (!registered_) return;
  std::vector<ZELTextLiteralsCollection*>& collections = registry();
  collections.erase(std::remove(collections.begin(), collections.end(), this), collections.end());
}

void ZELTextLiteralsCollection::init() {
  if (registered_) return;
  registry().push_back(this);
  registered_ = true;
}

const ZELTextLiteralsCollection* ZELTextLiteralsCollection::findCollection(
    const ZELString& documentId) {
  const std::vector<ZELTextLiteralsCollection*>& collections = registry();
  // The latest registration of a document id wins.
  for (auto at = collections.rbegin(); at != collections.rend(); ++at) {
    if ((*at)->getDocumentId() == documentId) return *at;
  }
  return nullptr;
}

ZELParameterizedTextLiteral* ZELTextLiteralsCollection::findLiteral(
    const ZELTextLiteralsCollection& collection, const ZELString& id) {
  ZELParameterizedTextLiteral* const* literals = collection.listAllLiterals();
  if (!literals) return nullptr;
  for (; *literals; ++literals) {
    if ((*literals)->getId() == id) return *literals;
  }
  return nullptr;
}
