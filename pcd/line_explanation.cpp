#include "pcd/line_explanation.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include "bridge/import_bridge.h"
#include "pcd/record_layouts.h"
#include "zel_exception.h"

namespace CaRepositoryDsOdbcImport {

namespace {

using Bridge = ZELCaRepositoryDsOdbcImportBridge;

// Longest piece of a line quoted in an explanation.
constexpr size_t kQuoted = 40;

// The field at `cursor` up to the next comma, quoted, or "the end of the
// line".
std::string found(const char* cursor) {
  if (*cursor == '\0') return "the end of the line";
  const char* comma = std::strchr(cursor, ',');
  size_t length = comma != nullptr ? static_cast<size_t>(comma - cursor) : std::strlen(cursor);
  const bool cut = length > kQuoted;
  if (cut) length = kQuoted;
  return "'" + std::string(cursor, length) + (cut ? "...'" : "'");
}

// True when the token the reader just took from `start` (up to `next`) was a
// whole integer: scanToken takes a token without digits as 0 without
// consuming it, and stops early at a byte that is not a digit.
bool wholeInteger(const char* start, const char* next) {
  if (next == start || *start == ',') return false;
  return next[-1] == ',' || *next == '\0';
}

// The primitives are members of the bridge; one idle bridge serves every
// call (building one fills its record name table).
Bridge& scratchBridge() {
  static Bridge bridge(nullptr);
  return bridge;
}

const layout::Shape* findShape(std::string_view name) {
  // Every line of a file is looked up: the names sit in a small open-
  // addressing table keyed by length and the first and last bytes, each
  // slot an index into the layouts, so a look-up compares one name or two.
  constexpr size_t kSlots = 64;
  static_assert(kSlots > 2 * kRecordKinds, "room for every name");
  constexpr auto slotOf = [](std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const auto last = static_cast<unsigned char>(text.back());
    return (text.size() * 7 + first * 3 + last * 5) % kSlots;
  };
  static const std::array<int8_t, kSlots> slots = [&slotOf] {
    std::array<int8_t, kSlots> table;
    table.fill(-1);
    for (int index = 0; index < kRecordKinds; ++index) {
      size_t slot = slotOf(layout::kShapes[index].name);
      while (table[slot] >= 0) slot = (slot + 1) % kSlots;
      table[slot] = static_cast<int8_t>(index);
    }
    return table;
  }();
  if (name.empty()) return nullptr;
  for (size_t slot = slotOf(name); slots[slot] >= 0; slot = (slot + 1) % kSlots) {
    const layout::Shape& shape = layout::kShapes[slots[slot]];
    if (name == shape.name) return &shape;
  }
  return nullptr;
}

// Runs one primitive; true when it accepted the input. Only the reader's
// own rejection is an answer: anything else (out of memory) passes on.
template <class Step>
bool passes(Step step) {
  try {
    step();
    return true;
  } catch (const ZELException&) {
    return false;
  }
}

// Steps through an integer field, remembering the first one that is not a
// whole integer: the reader takes it as 0 without moving on, so the check
// that finally fails is a later one, and this is the likelier cause.
struct IntegerFields {
  Bridge& bridge;
  std::string firstBad;
  const char* take(const char* cursor, const char* what, long* value) {
    const char* next = bridge.scanToken(cursor, value);
    if (firstBad.empty() && !wholeInteger(cursor, next)) {
      firstBad = std::string(what) + " is not an integer (found " + found(cursor) + ")";
    }
    return next;
  }
  std::string withCause(const std::string& explanation) const {
    return firstBad.empty() ? explanation : explanation + "; " + firstBad;
  }
};

std::string explainText(Bridge& bridge, const char* line, const long* lastRecordId) {
  if (!passes([&] { bridge.assertObjectType(line, "T"); })) {
    return "text line: expected ',' after 'T', found " + found(line + 1);
  }
  IntegerFields fields{bridge, ""};
  long ignored = 0;
  const char* cursor = fields.take(line + 2, "the field after 'T'", &ignored);
  long id = 0;
  cursor = fields.take(cursor, "the object id", &id);
  if (lastRecordId == nullptr) {
    return fields.withCause("text line for object " + std::to_string(id) +
                            ": no record line comes before it");
  }
  if (id != *lastRecordId) {
    return fields.withCause("text line for object " + std::to_string(id) +
                            ": it must follow the record of that object, but the record "
                            "before it is object " +
                            std::to_string(*lastRecordId));
  }
  cursor = fields.take(cursor, "the field after the object id", &ignored);
  if (std::strchr(cursor, ',') == nullptr) {
    return fields.withCause("text line: no ',' after the text name " + found(cursor));
  }
  return "";
}

// What the reader makes of the counted string at `start` whose count is
// `count` (> 0), when the count does not end the field; "" when it does.
std::string countMismatch(const char* start, long count) {
  const size_t length = static_cast<size_t>(count);
  const size_t shown = std::min(length, kQuoted);
  if (std::memchr(start, '\0', length) != nullptr) {
    const size_t left = std::strlen(start);
    return "its count " + std::to_string(count) + " is more than the " + std::to_string(left) +
           (left == 1 ? " byte" : " bytes") +
           " left on the line: the import takes the rest of "
           "the line";
  }
  const char after = start[length];
  if (after == ',' || after == '\0') return "";
  return "its count " + std::to_string(count) + " ends inside the field: the import takes '" +
         std::string(start, shown) + (shown < length ? "...'" : "'") + " and ignores " +
         found(start + length);
}

std::string explainRecord(Bridge& bridge, const char* line, std::string* countNote,
                          AcceptedRecord* accepted) {
  const char letter[2] = {line[0], '\0'};
  if (line[1] != ',') return "expected ',' after '" + std::string(letter) + "'";
  const char* nameStart = line + 2;
  const char* comma = std::strchr(nameStart, ',');
  if (comma == nullptr) return "the record name " + found(nameStart) + " is not followed by ','";
  const layout::Shape* shape =
      findShape(std::string_view(nameStart, static_cast<size_t>(comma - nameStart)));
  if (shape == nullptr) return "unknown record name " + found(nameStart);
  const std::string name = shape->name;
  if (shape->objectType != line[0]) {
    return name + " is an '" + std::string(1, shape->objectType) +
           "' record, but the line starts with '" + letter + "'";
  }
  const char* cursor = comma + 1;
  IntegerFields fields{bridge, ""};
  long id = 0;
  long fromId = 0;
  long toId = 0;
  cursor = fields.take(cursor, "the object id", &id);
  if (shape->objectType == 'R') {
    cursor = fields.take(cursor, "the from id", &fromId);
    cursor = fields.take(cursor, "the to id", &toId);
  }
  const char* countAt = cursor;
  if (!passes([&] { cursor = bridge.assertNumAttributes(cursor, shape->attributeCount); })) {
    return fields.withCause("attribute count of " + name + ": expected " +
                            std::to_string(shape->attributeCount) + ", found " + found(countAt));
  }
  static_assert(kRecordKinds <= 32, "a bit of textKinds for each kind");
  const int kind = static_cast<int>(shape - layout::kShapes);
  std::vector<std::string>* texts = nullptr;
  if (accepted != nullptr && (accepted->textKinds & (uint32_t{1} << kind)) != 0) {
    texts = &accepted->texts;
  }
  for (int index = 0; index < shape->attributeCount; ++index) {
    const char type[2] = {shape->letters[index], '\0'};
    const char* at = cursor;
    long attributeValue = 0;
    if (!passes([&] { cursor = bridge.assertAttrTypeAndReadVal(cursor, type, &attributeValue); })) {
      return fields.withCause("attribute " + std::to_string(index + 1) + " of " +
                              std::to_string(shape->attributeCount) + " of " + name +
                              ": expected type letter " + type + ", found " + found(at));
    }
    if (type[0] != 'C') continue;
    ZELString text;
    if (attributeValue > 0) {
      if (countNote != nullptr && countNote->empty()) {
        const std::string mismatch = countMismatch(cursor, attributeValue);
        if (!mismatch.empty()) {
          *countNote = "attribute " + std::to_string(index + 1) + " of " +
                       std::to_string(shape->attributeCount) + " of " + name + ": " + mismatch;
        }
      }
      cursor = bridge.scanString(cursor, text, attributeValue);
    }
    if (texts != nullptr) texts->emplace_back(text.c_str(), text.length());
  }
  if (accepted != nullptr) {
    accepted->kind = kind;
    accepted->id = id;
    accepted->fromId = fromId;
    accepted->toId = toId;
  }
  return "";
}

}  // namespace

std::string explainLine(const char* line, const long* lastRecordId, std::string* countNote,
                        AcceptedRecord* accepted) {
  if (countNote != nullptr) countNote->clear();
  if (accepted != nullptr) {
    accepted->kind = -1;
    accepted->texts.clear();
  }
  Bridge& bridge = scratchBridge();
  switch (line[0]) {
    case 'T':
      return explainText(bridge, line, lastRecordId);
    case 'E':
    case 'R': {
      std::string why = explainRecord(bridge, line, countNote, accepted);
      // A rejected line's error says what matters.
      if (!why.empty() && countNote != nullptr) countNote->clear();
      return why;
    }
    default:
      return "";  // the reader skips any other line
  }
}

namespace {

// The comma after a record line's name, or null for a line that is no record.
const char* nameEnd(const char* line) {
  if ((line[0] != 'E' && line[0] != 'R') || line[1] != ',') return nullptr;
  return std::strchr(line + 2, ',');
}

}  // namespace

RecordIds readRecordIds(const char* line) {
  RecordIds ids;
  const char* comma = nameEnd(line);
  if (comma == nullptr) return ids;
  Bridge& bridge = scratchBridge();
  ids.isRecord = true;
  ids.objectType = line[0];
  ids.name.assign(line + 2, comma);
  const char* cursor = bridge.scanToken(comma + 1, &ids.id);
  if (line[0] == 'R') {
    cursor = bridge.scanToken(cursor, &ids.fromId);
    bridge.scanToken(cursor, &ids.toId);
  }
  return ids;
}

bool readRecordId(const char* line, long& id) {
  const char* comma = nameEnd(line);
  if (comma == nullptr) return false;
  scratchBridge().scanToken(comma + 1, &id);
  return true;
}

std::vector<std::string> readTextAttributes(const char* line) {
  std::vector<std::string> texts;
  const RecordIds ids = readRecordIds(line);
  if (!ids.isRecord) return texts;
  const layout::Shape* shape = findShape(ids.name);
  if (shape == nullptr) return texts;
  Bridge& bridge = scratchBridge();
  try {
    const char* cursor = std::strchr(line + 2, ',') + 1;
    long value = 0;
    const int idFields = shape->objectType == 'R' ? 3 : 1;
    for (int field = 0; field < idFields; ++field) cursor = bridge.scanToken(cursor, &value);
    cursor = bridge.assertNumAttributes(cursor, shape->attributeCount);
    for (int index = 0; index < shape->attributeCount; ++index) {
      const char type[2] = {shape->letters[index], '\0'};
      long attributeValue = 0;
      cursor = bridge.assertAttrTypeAndReadVal(cursor, type, &attributeValue);
      if (type[0] != 'C') continue;
      ZELString text;
      if (attributeValue > 0) cursor = bridge.scanString(cursor, text, attributeValue);
      texts.emplace_back(text.c_str(), text.length());
    }
  } catch (const ZELException&) {
    texts.clear();  // not a line the reader accepts
  }
  return texts;
}

}  // namespace CaRepositoryDsOdbcImport
