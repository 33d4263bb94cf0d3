#include "lint_locations.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "file_lines.h"
#include "name_set.h"

namespace pcd::cli {

namespace {

enum Kind : unsigned char {
  kDatabase,
  kRelSys,
  kDbAt,
  kSchema,
  kSchemAt,
  kTable,
  kView,
  kTableAt,
  kRelCol,
  kTblCol,
  kViewCol,
  kKey,
  kKeyCol,
  kDbProc,
  kObjAt,
  kOther
};

struct KindName {
  std::string_view name;
  Kind kind;
  bool named;  // the first text attribute is the object's name
};
constexpr KindName kKinds[] = {
    {"DATABASE", kDatabase, true}, {"REL_SYS", kRelSys, false},   {"DB_AT", kDbAt, false},
    {"SCHEMA", kSchema, true},     {"SCHEM_AT", kSchemAt, false}, {"TABLE", kTable, true},
    {"VIEW", kView, true},         {"TABLE_AT", kTableAt, false}, {"REL_COL", kRelCol, true},
    {"TBL_COL", kTblCol, false},   {"VIEW_COL", kViewCol, false}, {"KEY", kKey, true},
    {"KEY_COL", kKeyCol, false},   {"DBPROC", kDbProc, true},     {"OBJ_AT", kObjAt, false}};

struct Record {
  long id, from, to, line;
  std::string_view name;  // kept by the records
  Kind kind;
};

// The key of a location: "catalog \x1f schema", into `key`.
void joinInto(std::string& key, std::string_view catalog, std::string_view schema) {
  key.assign(catalog);
  key += '\x1f';
  key.append(schema);
}

}  // namespace

// The records, with the last record of each id standing for it (as the
// import resolves ids) and look-ups by kind in ascending id order. Kept in
// blocks that never move, their names in an arena: an extract's records
// take about 60 bytes each, with no copy of them all while they grow.
class ExtractRecords {
 public:
  void add(Record record, std::string_view name) {
    if (count_ % kBlockRecords == 0) blocks_.push_back(std::make_unique<Record[]>(kBlockRecords));
    record.name = name.empty() ? std::string_view("") : names_.keep(name);
    blocks_.back()[count_ % kBlockRecords] = record;
    ++count_;
  }

  void index() {
    // Ids in ascending order; of equal ids the last in the file stands.
    // Extracts list records by ascending id, which needs no sorting.
    order_.resize(count_);
    for (size_t i = 0; i < count_; ++i) order_[i] = static_cast<uint32_t>(i);
    const auto byId = [&](uint32_t a, uint32_t b) { return at(a).id < at(b).id; };
    if (!std::is_sorted(order_.begin(), order_.end(), byId)) {
      std::stable_sort(order_.begin(), order_.end(), byId);
    }
    size_t kept = 0;
    for (size_t i = 0; i < order_.size(); ++i) {
      if (i + 1 < order_.size() && at(order_[i + 1]).id == at(order_[i]).id) continue;
      order_[kept++] = order_[i];
    }
    order_.resize(kept);
    order_.shrink_to_fit();
    for (uint32_t i : order_) byKind_[at(i).kind].push_back(i);
  }

  const Record* find(long id, Kind kind) const {
    const Record* record = find(id);
    return record == nullptr || record->kind != kind ? nullptr : record;
  }
  const Record* find(long id) const {
    const auto found = std::lower_bound(order_.begin(), order_.end(), id,
                                        [&](uint32_t i, long value) { return at(i).id < value; });
    return found == order_.end() || at(*found).id != id ? nullptr : &at(*found);
  }
  std::vector<const Record*> of(Kind kind) const {
    std::vector<const Record*> list;
    list.reserve(byKind_[kind].size());
    for (uint32_t i : byKind_[kind]) list.push_back(&at(i));
    return list;
  }

 private:
  static constexpr size_t kBlockRecords = size_t{1} << 12;
  const Record& at(size_t i) const { return blocks_[i / kBlockRecords][i % kBlockRecords]; }

  std::vector<std::unique_ptr<Record[]>> blocks_;
  size_t count_ = 0;
  writers::NameArena names_;
  std::vector<uint32_t> order_;  // the record standing for each id, by id
  std::vector<uint32_t> byKind_[kOther + 1];
};

namespace {

// The integer at `at` (strtol's rules, as the reader's tokens) and the
// position behind it and its comma. Up to 18 digits alone, as ids and
// counts are, are read here; anything else (a sign, blanks, a number that
// may overflow) by strtol.
const char* readInteger(const char* at, const char* end, long& value) {
  constexpr int kSafeDigits = 18;  // below 10^18, far from overflowing a long
  const auto digit = [](char c) { return c >= '0' && c <= '9'; };
  const char* stop = at;
  long read = 0;
  while (stop < end && stop - at < kSafeDigits && digit(*stop)) read = read * 10 + (*stop++ - '0');
  if (stop == at || (stop < end && digit(*stop))) {
    char* parsed = nullptr;
    read = std::strtol(at, &parsed, 10);
    stop = parsed;
  }
  value = read;
  if (stop < end && *stop == ',') ++stop;
  return stop;
}

// The first string attribute of a record line the import accepted: after
// the ids and the count, "C", its byte count, a comma and the bytes.
std::string_view firstText(const char* at, const char* end) {
  if (at >= end || *at != 'C') return {};
  long length = 0;
  at = readInteger(at + 1, end, length);
  if (length <= 0) return {};
  return std::string_view(at, std::min(static_cast<size_t>(length), static_cast<size_t>(end - at)));
}

}  // namespace

bool ExtractLines::read(const std::string& path, std::string& error) {
  haveLast_ = false;
  records_ = std::make_unique<ExtractRecords>();
  ExtractRecords& records = *records_;
  const auto handle = [&](long number, const char* text) {
    const char* const end = text + std::strlen(text);
    if (end - text < 4 || (text[0] != 'E' && text[0] != 'R') || text[1] != ',') return;
    const char* comma = static_cast<const char*>(std::memchr(text + 2, ',', end - text - 2));
    if (comma == nullptr) return;
    const std::string_view name(text + 2, static_cast<size_t>(comma - text - 2));
    const KindName* kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                        [&](const KindName& k) { return name == k.name; });
    if (kind == std::end(kKinds)) return;
    Record record{0, 0, 0, number, {}, kind->kind};
    const char* at = readInteger(comma + 1, end, record.id);
    if (text[0] == 'R') {
      at = readInteger(at, end, record.from);
      at = readInteger(at, end, record.to);
    }
    std::string_view objectName;
    if (kind->named) {
      long count = 0;
      objectName = firstText(readInteger(at, end, count), end);
    }
    records.add(record, objectName);
  };
  if (!forEachLine(path, nullptr, handle)) {
    error = "cannot read " + path + " for its line numbers";
    return false;
  }
  records.index();

  // Catalogs by the DATABASE and REL_SYS records of their DB_AT.
  std::unordered_map<long, std::string_view, zel_hash::IdHash> catalogOf;  // -> its name
  for (const Record* at : records.of(kDbAt)) {
    const Record* database = records.find(at->from, kDatabase);
    if (database == nullptr) continue;
    catalogOf[database->id] = database->name;
    catalogOf[at->to] = database->name;
  }
  // Schemas: the owner of each by its SCHEM_AT, up to the catalog (a chain
  // of nested schemas walked once, remembered per schema).
  std::unordered_map<long, long, zel_hash::IdHash> ownerOf;  // SCHEMA id -> owner id
  for (const Record* at : records.of(kSchemAt)) ownerOf.emplace(at->from, at->to);
  std::unordered_map<long, std::string_view, zel_hash::IdHash> schemaCatalog;
  const auto catalogOfSchema = [&](long schema) -> std::string_view {
    std::vector<long> chain;
    std::string_view catalog;
    for (long at = schema;;) {
      const auto known = schemaCatalog.find(at);
      if (known != schemaCatalog.end()) {
        catalog = known->second;
        break;
      }
      const auto owner = ownerOf.find(at);
      if (owner == ownerOf.end() || chain.size() > ownerOf.size()) break;
      chain.push_back(at);
      const auto direct = catalogOf.find(owner->second);
      if (direct != catalogOf.end()) {
        catalog = direct->second;
        break;
      }
      at = owner->second;
    }
    for (long id : chain) schemaCatalog[id] = catalog;
    return catalog;
  };
  // Locations, once each: "catalog \x1f schema", and "catalog \x1f" for a
  // database itself.
  const auto location = [&](std::string_view catalog, std::string_view schema, long line) {
    joinInto(key_, catalog, schema);
    const auto [at, made] = locations_.emplace(key_, 0);
    if (made) {
      at->second = static_cast<uint32_t>(locationLines_.size());
      locationLines_.push_back(line);
    } else if (locationLines_[at->second] == 0) {
      locationLines_[at->second] = line;  // the first schema of the name stands
    }
    return at->second;
  };
  std::unordered_map<long, uint32_t, zel_hash::IdHash> locationOfRecord;
  for (const Record* schema : records.of(kSchema)) {
    if (ownerOf.count(schema->id) == 0) continue;
    locationOfRecord[schema->id] =
        location(catalogOfSchema(schema->id), schema->name, schema->line);
  }
  // Where an object is placed; none for a location that is neither.
  const auto placeOf = [&](long id) -> long {
    const Record* record = records.find(id);
    if (record == nullptr) return -1;
    if (record->kind == kSchema) {
      const auto known = locationOfRecord.find(id);
      if (known != locationOfRecord.end()) return known->second;
      return locationOfRecord[id] = location(catalogOfSchema(id), record->name, 0);
    }
    const auto catalog = catalogOf.find(record->id);
    if (catalog == catalogOf.end()) return -1;
    const auto known = locationOfRecord.find(id);
    if (known != locationOfRecord.end()) return known->second;
    return locationOfRecord[id] = location(catalog->second, "", 0);
  };
  for (const Record* at : records.of(kTableAt)) {
    const Record* object = records.find(at->from);
    if (object == nullptr || (object->kind != kTable && object->kind != kView)) continue;
    const long place = placeOf(at->to);
    if (place < 0) continue;
    objects_[{static_cast<uint32_t>(place), object->name}].push_back({object->line, object->id});
  }
  for (const Record* at : records.of(kObjAt)) {
    const Record* procedure = records.find(at->from, kDbProc);
    if (procedure == nullptr) continue;
    const long place = placeOf(at->to);
    if (place < 0) continue;
    procedures_[{static_cast<uint32_t>(place), procedure->name}].push_back(
        {procedure->line, procedure->id});
  }
  // Columns by table and name; keys and indexes by the table of their first
  // column.
  for (Kind kind : {kTblCol, kViewCol}) {
    for (const Record* column : records.of(kind)) {
      const Record* definition = records.find(column->to, kRelCol);
      if (definition == nullptr) continue;
      members_[column->from].push_back({definition->name, column->line});
    }
  }
  for (const Record* keyColumn : records.of(kKeyCol)) {
    const Record* key = records.find(keyColumn->from, kKey);
    const Record* column = records.find(keyColumn->to, kTblCol);
    if (key == nullptr || column == nullptr) continue;
    auto& members = members_[column->from];
    // The first KEY_COL of a key (in id order) names its table.
    if (std::none_of(members.begin(), members.end(),
                     [&](const Member& member) { return member.line == key->line; })) {
      members.push_back({key->name, key->line});
    }
  }
  return true;
}

ExtractLines::ExtractLines() = default;
ExtractLines::~ExtractLines() = default;

long ExtractLines::locationOf(std::string_view catalog, std::string_view schema) const {
  joinInto(key_, catalog, schema);  // one buffer for every look-up
  const auto at = locations_.find(key_);
  return at == locations_.end() ? -1 : static_cast<long>(at->second);
}

long ExtractLines::lineOf(const LintFinding& finding) const {
  const std::vector<std::string_view>& path = finding.path;
  if (path.size() < 2 || finding.schemaNames + 1 > path.size()) return 0;
  const std::string_view catalog = path.front();
  const std::string_view schema = path[finding.schemaNames];
  // Findings come schema by schema, their names the model's own bytes: the
  // same bytes name the same locations as for the finding before.
  const auto same = [](std::string_view a, std::string_view b) {
    return a.data() == b.data() && a.size() == b.size();
  };
  if (!haveLast_ || !same(catalog, lastCatalog_) || !same(schema, lastSchema_)) {
    haveLast_ = true;
    lastCatalog_ = catalog;
    lastSchema_ = schema;
    lastInSchema_ = locationOf(catalog, schema);
    lastInDatabase_ = locationOf(catalog, "");
  }
  const long inSchema = lastInSchema_;
  if (finding.kind == LintObjectKind::kSchema) {
    return inSchema < 0 ? 0 : locationLines_[static_cast<size_t>(inSchema)];
  }
  if (path.size() < finding.schemaNames + 2) return 0;
  const std::string_view name = path[finding.schemaNames + 1];
  const auto& places = finding.kind == LintObjectKind::kProcedure ? procedures_ : objects_;
  const long inDatabase = lastInDatabase_;
  const auto placeOf = [&](std::string_view object, size_t ordinal) -> const Place* {
    for (const long where : {inSchema, inDatabase}) {
      if (where < 0) continue;
      const auto at = places.find({static_cast<uint32_t>(where), object});
      if (at != places.end()) return ordinal < at->second.size() ? &at->second[ordinal] : nullptr;
    }
    return nullptr;
  };
  const Place* place = placeOf(name, 0);
  // NAME_N, renamed by the import: the N+1st placement of NAME.
  const size_t underscore = name.rfind('_');
  if (place == nullptr && underscore != std::string::npos && underscore > 0 &&
      underscore + 1 < name.size() && underscore + 7 > name.size() &&
      name.find_first_not_of("0123456789", underscore + 1) == std::string::npos) {
    place = placeOf(name.substr(0, underscore),
                    static_cast<size_t>(std::stol(std::string(name.substr(underscore + 1)))));
  }
  if (place == nullptr) return 0;
  if (path.size() > finding.schemaNames + 2) {
    const auto members = members_.find(place->id);
    if (members != members_.end()) {
      // The first of that name, as the import builds them.
      for (const Member& member : members->second) {
        if (member.name == path.back()) return member.line;
      }
    }
  }
  return place->line;
}

}  // namespace pcd::cli
