#include "lint_locations.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <limits>
#include <vector>

#include "pcd/line_explanation.h"
#include "zel_text_io.h"

namespace pcd::cli {

namespace {

using CaRepositoryDsOdbcImport::readRecordIds;
using CaRepositoryDsOdbcImport::readTextAttributes;

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
  const char* name;
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
  Kind kind;
  std::string name;
};

std::string joined(const std::string& a, const std::string& b) {
  return a + '\x1f' + b;
}

// The records, with the last record of each id standing for it (as the
// import resolves ids) and look-ups by kind in ascending id order.
class Records {
 public:
  void add(Record record) { records_.push_back(std::move(record)); }

  void index() {
    for (size_t i = 0; i < records_.size(); ++i) byId_[records_[i].id] = i;
    for (size_t i = 0; i < records_.size(); ++i) {
      if (byId_.at(records_[i].id) == i) byKind_[records_[i].kind].push_back(i);
    }
    for (auto& list : byKind_) {
      std::sort(list.begin(), list.end(),
                [&](size_t a, size_t b) { return records_[a].id < records_[b].id; });
    }
  }

  const Record* find(long id, Kind kind) const {
    const auto at = byId_.find(id);
    return at == byId_.end() || records_[at->second].kind != kind ? nullptr : &records_[at->second];
  }
  const Record* find(long id) const {
    const auto at = byId_.find(id);
    return at == byId_.end() ? nullptr : &records_[at->second];
  }
  std::vector<const Record*> of(Kind kind) const {
    std::vector<const Record*> list;
    for (size_t i : byKind_[kind]) list.push_back(&records_[i]);
    return list;
  }

 private:
  std::vector<Record> records_;
  std::unordered_map<long, size_t> byId_;
  std::vector<size_t> byKind_[kOther + 1];
};

}  // namespace

bool ExtractLines::read(const std::string& path, std::string& error) {
  std::ifstream in(path, std::ios::in | std::ios::binary);
  if (!in) {
    error = "cannot read " + path + " for its line numbers";
    return false;
  }
  Records records;
  ZELString line;
  long number = 0;
  while (in.good()) {
    try {
      if (!getFullLine(in, line, 4096)) break;
    } catch (const ZELLineTooLong&) {
      in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
      ++number;
      continue;
    }
    ++number;
    const char* text = line.c_str();
    if (number == 1 || (text[0] != 'E' && text[0] != 'R') || text[1] != ',') continue;
    // The record name, compared before anything is read.
    const char* comma = std::strchr(text + 2, ',');
    if (comma == nullptr) continue;
    const std::string_view name(text + 2, static_cast<size_t>(comma - text - 2));
    const KindName* kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                        [&](const KindName& k) { return name == k.name; });
    if (kind == std::end(kKinds)) continue;
    const auto ids = readRecordIds(text);
    Record record{ids.id, ids.fromId, ids.toId, number, kind->kind, {}};
    if (kind->named) {
      std::vector<std::string> texts = readTextAttributes(text);
      if (texts.empty()) continue;  // a line the import rejects
      record.name = std::move(texts.front());
    }
    records.add(std::move(record));
  }
  if (in.bad()) {
    error = "cannot read " + path + " for its line numbers";
    return false;
  }
  records.index();

  // Catalogs by the DATABASE and REL_SYS records of their DB_AT.
  std::unordered_map<long, std::string> catalogOf;  // DATABASE or REL_SYS id -> name
  for (const Record* at : records.of(kDbAt)) {
    const Record* database = records.find(at->from, kDatabase);
    if (database == nullptr) continue;
    catalogOf[database->id] = database->name;
    catalogOf[at->to] = database->name;
  }
  // Schemas: the owner of each by its SCHEM_AT, up to the catalog (a chain
  // of nested schemas walked once, remembered per schema).
  std::unordered_map<long, long> ownerOf;  // SCHEMA id -> owner id
  for (const Record* at : records.of(kSchemAt)) ownerOf.emplace(at->from, at->to);
  std::unordered_map<long, std::string> schemaCatalog;
  const auto catalogOfSchema = [&](long schema) -> std::string {
    std::vector<long> chain;
    std::string catalog;
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
  for (const Record* schema : records.of(kSchema)) {
    if (ownerOf.count(schema->id) == 0) continue;
    schemas_.emplace(joined(catalogOfSchema(schema->id), schema->name), schema->line);
  }
  // Where an object is placed: "catalog \x1f schema" ("" for a database).
  const auto placeOf = [&](long location) -> std::string {
    const Record* record = records.find(location);
    if (record == nullptr) return "";
    if (record->kind == kSchema) return joined(catalogOfSchema(record->id), record->name);
    const auto catalog = catalogOf.find(record->id);
    return catalog == catalogOf.end() ? "" : joined(catalog->second, "");
  };
  for (const Record* at : records.of(kTableAt)) {
    const Record* object = records.find(at->from);
    if (object == nullptr || (object->kind != kTable && object->kind != kView)) continue;
    objects_.emplace(joined(placeOf(at->to), object->name), Place{object->line, object->id});
  }
  for (const Record* at : records.of(kObjAt)) {
    const Record* procedure = records.find(at->from, kDbProc);
    if (procedure == nullptr) continue;
    procedures_.emplace(joined(placeOf(at->to), procedure->name),
                        Place{procedure->line, procedure->id});
  }
  // Columns by table and name; keys and indexes by the table of their first
  // column.
  for (Kind kind : {kTblCol, kViewCol}) {
    for (const Record* column : records.of(kind)) {
      const Record* definition = records.find(column->to, kRelCol);
      if (definition == nullptr) continue;
      members_.emplace(joined(std::to_string(column->from), definition->name), column->line);
    }
  }
  for (const Record* keyColumn : records.of(kKeyCol)) {
    const Record* key = records.find(keyColumn->from, kKey);
    const Record* column = records.find(keyColumn->to, kTblCol);
    if (key == nullptr || column == nullptr) continue;
    members_.emplace(joined(std::to_string(column->from), key->name), key->line);
  }
  return true;
}

long ExtractLines::lineOf(const LintFinding& finding) const {
  const std::vector<std::string>& path = finding.path;
  if (path.size() < 2 || finding.schemaNames + 1 > path.size()) return 0;
  const std::string& catalog = path.front();
  const std::string& schema = path[finding.schemaNames];
  if (finding.kind == LintObjectKind::kSchema) {
    const auto at = schemas_.find(joined(catalog, schema));
    return at == schemas_.end() ? 0 : at->second;
  }
  if (path.size() < finding.schemaNames + 2) return 0;
  const std::string& name = path[finding.schemaNames + 1];
  const auto& places = finding.kind == LintObjectKind::kProcedure ? procedures_ : objects_;
  auto at = places.find(joined(joined(catalog, schema), name));
  if (at == places.end()) at = places.find(joined(joined(catalog, ""), name));
  if (at == places.end()) return 0;
  if (path.size() > finding.schemaNames + 2) {
    const auto member = members_.find(joined(std::to_string(at->second.id), path.back()));
    if (member != members_.end()) return member->second;
  }
  return at->second.line;
}

}  // namespace pcd::cli
