// The checks of `pcd-import lint`, run over the imported model: one walk
// collects the schemas and tables, then each group of rules looks at them.
#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "catalog_view.h"
#include "lint_findings.h"
#include "model/zel_association.h"
#include "model/zel_classifier.h"
#include "model/zel_key.h"
#include "model/zel_operation.h"
#include "model/zel_package.h"
#include "model/zel_type.h"
#include "name_set.h"
#include "schema_walk.h"
#include "sql/sql_dialect.h"
#include "string_bytes.h"
#include "utf8_sequence.h"
#include "zel_flat_map.h"
#include "zel_keyed_hash.h"

namespace pcd::cli {

namespace {

std::string nameOf(const ZELObject* object) {
  const ZELString& name = object->getName();
  return std::string(name.c_str(), name.length());
}

// A name where a finding is held: the model's bytes.
std::string_view nameView(const ZELObject* object) {
  return writers::bytesOf(object->getName());
}

// Characters a message shows of a name: the finding's line and object path
// locate the object exactly, and a long name in every message that mentions
// it would make the report many times the size of the catalog.
constexpr size_t kShownCharacters = 256;

std::string shownName(std::string_view name) {
  return writers::shortenedText(std::string(name), kShownCharacters);
}
std::string shownName(const ZELObject* object) {
  return shownName(nameView(object));
}

// The texts one after another, in one allocation: the message of every
// finding of a large model.
std::string joined(std::initializer_list<std::string_view> parts) {
  size_t size = 0;
  for (const std::string_view part : parts) size += part.size();
  std::string text;
  text.reserve(size);
  for (const std::string_view part : parts) text.append(part);
  return text;
}

// The first object of each name, names compared with their ASCII letters
// lowered: what the rule on names that differ only in case looks up, for
// every column of a model. The lowered names are kept once in an arena and
// found through a flat table, so a look-up allocates nothing.
template <class Object>
class FirstOfLoweredName {
 public:
  // The object added first under `name`, or null after adding `object`
  // under it.
  const Object* firstOr(std::string_view name, const Object* object) {
    writers::lowerAsciiInto(lowered_, name);
    if (const Object* first = objects_.find(lowered_)) return first;
    objects_.add(names_.keep(lowered_), object);
    return nullptr;
  }

 private:
  std::string lowered_;
  writers::NameArena names_;
  ZELFlatMap<std::string_view, const Object, zel_hash::TextHash> objects_;
};

struct SchemaInfo {
  const ZELPackage* schema;
  std::vector<std::string_view> path;  // catalog, then the schema names
  std::string shownPath;               // PARENT/CHILD, as messages show it
};

struct TableInfo {
  const ZELClass* table;
  size_t schema;              // index into the schemas
  mutable std::string shown;  // SCHEMA.TABLE as messages show it, once asked for
};

// The columns of a class, in the model's order.
std::vector<const ZELAttribute*> columnsOf(const ZELClass& table) {
  std::vector<const ZELAttribute*> columns;
  for (const ZELFeature* feature : table.features()) {
    if (feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) {
      columns.push_back(static_cast<const ZELAttribute*>(feature));
    }
  }
  return columns;
}

// An index's columns in position order (members keep the extract's order of
// ids, the position says where each belongs).
struct Member {
  const ZELAttribute* column;
  short position;
};
std::vector<const ZELAttribute*> indexColumns(const ZELIndex& index) {
  std::vector<Member> members;
  for (const ZELIndexMember* member : index.members()) {
    members.push_back({member->getAttribute(), member->position});
  }
  std::stable_sort(members.begin(), members.end(),
                   [](const Member& a, const Member& b) { return a.position < b.position; });
  std::vector<const ZELAttribute*> columns;
  for (const Member& member : members) columns.push_back(member.column);
  return columns;
}

// A key's columns: those of its position index when it has one (in
// position order), else its attributes.
std::vector<const ZELAttribute*> keyColumns(const ZELKey& key) {
  if (key.getIndex() != nullptr) return indexColumns(*key.getIndex());
  std::vector<const ZELAttribute*> columns;
  for (const ZELAttribute* column : key.attributes()) columns.push_back(column);
  return columns;
}

const ZELDerivedType* derivedType(const ZELAttribute* column) {
  const ZELType* type = column == nullptr ? nullptr : column->getType();
  if (type == nullptr || !type->isInstanceOf(ZEL_ET_DERIVED_TYPE)) return nullptr;
  return static_cast<const ZELDerivedType*>(type);
}

std::string typeText(const ZELAttribute* column) {
  const ZELDerivedType* type = derivedType(column);
  if (type == nullptr) return "no type";
  std::string text = shownName(
      type->NativeDataType.isEmpty() ? nameView(type) : writers::bytesOf(type->NativeDataType));
  if (type->Length != 0) {
    text += "(" + std::to_string(type->Length);
    if (type->Scale != 0) text += "," + std::to_string(type->Scale);
    text += ")";
  }
  return text;
}

// Equal host data type, length and scale.
bool sameType(const ZELAttribute* a, const ZELAttribute* b) {
  if (a->getType() == b->getType()) return true;
  const ZELDerivedType* x = derivedType(a);
  const ZELDerivedType* y = derivedType(b);
  if (x == nullptr || y == nullptr) return false;
  return x->DataType == y->DataType && x->Length == y->Length && x->Scale == y->Scale;
}

bool isLargeObject(const ZELAttribute* column) {
  const ZELDerivedType* type = derivedType(column);
  if (type == nullptr) return false;
  const std::string_view dataType(type->DataType.c_str(), type->DataType.length());
  for (std::string_view large :
       {"LONGVARCHAR", "CLOB", "LONGNVARCHAR", "NCLOB", "LONGVARBINARY", "BLOB", "XML"}) {
    if (dataType == large) return true;
  }
  return false;
}

std::string columnList(const std::vector<const ZELAttribute*>& columns) {
  std::string text;
  for (const ZELAttribute* column : columns) {
    text += (text.empty() ? "" : ", ") + (column == nullptr ? std::string("?") : shownName(column));
  }
  return "(" + text + ")";
}

// Whether `prefix` is the first columns of `columns`, in order.
bool startsWith(const std::vector<const ZELAttribute*>& columns,
                const std::vector<const ZELAttribute*>& prefix) {
  return prefix.size() <= columns.size() &&
         std::equal(prefix.begin(), prefix.end(), columns.begin());
}

// Whether the first columns of `columns` are `set`, in any order.
bool startsWithSet(const std::vector<const ZELAttribute*>& columns,
                   const std::vector<const ZELAttribute*>& set) {
  if (set.empty() || set.size() > columns.size()) return false;
  std::vector<const ZELAttribute*> head(columns.begin(),
                                        columns.begin() + static_cast<std::ptrdiff_t>(set.size()));
  std::vector<const ZELAttribute*> wanted = set;
  std::sort(head.begin(), head.end());
  std::sort(wanted.begin(), wanted.end());
  return head == wanted;
}

class Linter {
 public:
  Linter(const ZELModel& model, const LintConfig& config) : model_(model), config_(config) {}

  LintResult run() {
    collect();
    for (size_t t = 0; t < tables_.size(); ++t) {
      const TableInfo& info = tables_[t];
      const ZELClass& table = *info.table;
      if (table.getElementType() == ZEL_ET_SQL_VIEW_ENTITY) {
        checkView(info);
        continue;
      }
      const std::vector<const ZELAttribute*> columns = columnsOf(table);
      checkKeys(info, columns);
      checkIndexes(info);
      checkForeignKeys(info);
      checkShape(info, columns);
      checkDocumentation(info, columns);
      checkColumnNames(info, columns);
    }
    checkCycles();
    checkImpliedForeignKeys();
    for (const SchemaInfo& schema : schemas_) checkSchemaNames(schema);
    return std::move(result_);
  }

 private:
  bool on(int rule) const { return config_.rules[static_cast<size_t>(rule)].enabled; }
  long threshold(int rule) const { return config_.rules[static_cast<size_t>(rule)].threshold; }

  // Adds a finding unless the configuration leaves its object out.
  void add(int rule, LintObjectKind kind, std::vector<std::string_view> path, size_t schemaNames,
           std::string message) {
    if (!on(rule)) return;
    const LintRuleSetting& setting = config_.rules[static_cast<size_t>(rule)];
    for (const auto* patterns : {&config_.exclude, &setting.exclude}) {
      for (const std::string& pattern : *patterns) {
        if (matchesPattern(pattern, path)) return;
      }
    }
    LintFinding finding;
    finding.rule = rule;
    finding.severity = setting.severity;
    finding.message = std::move(message);
    finding.kind = kind;
    finding.path = std::move(path);
    finding.schemaNames = schemaNames;
    result_.findings.push_back(std::move(finding));
  }

  // A finding on a table or view (`member` empty) or on one of its columns,
  // keys or indexes.
  void addOnTable(int rule, const TableInfo& info, LintObjectKind kind, const ZELObject* member,
                  std::string message) {
    add(rule, kind, pathOf(info, member), schemas_[info.schema].path.size() - 1,
        std::move(message));
  }

  // The path of a table or view (`member` null) or of one of its columns,
  // keys or indexes.
  std::vector<std::string_view> pathOf(const TableInfo& info, const ZELObject* member) const {
    const SchemaInfo& schema = schemas_[info.schema];
    std::vector<std::string_view> path;
    path.reserve(schema.path.size() + 2);
    path.assign(schema.path.begin(), schema.path.end());
    path.push_back(nameView(info.table));
    if (member != nullptr) path.push_back(nameView(member));
    return path;
  }

  // Made once per table: a table's columns, keys and indexes all name it.
  const std::string& tableName(const TableInfo& info) const {
    if (info.shown.empty()) {
      info.shown = schemas_[info.schema].shownPath + "." + shownName(info.table);
    }
    return info.shown;
  }

  void collect() {
    writers::forEachSchema(model_, [&](const writers::SchemaPath& path, const ZELPackage& schema) {
      std::string text = path.text();
      SchemaInfo info{&schema, {nameView(&path.catalog())}, shownName(text)};
      for (const std::string_view name : path) info.path.push_back(name);
      schemas_.push_back(std::move(info));
      collectObjects(schemas_.size() - 1, std::move(text));
    });
  }

  void collectObjects(size_t schemaIndex, std::string pathText) {
    const ZELPackage* package = schemas_[schemaIndex].schema;
    if (!package->isInstanceOf(ZEL_ET_DATA_PACKAGE)) return;
    SchemaCoverage coverage;
    coverage.catalog = std::string(schemas_[schemaIndex].path.front());
    coverage.schema = std::move(pathText);
    for (const ZELModelObject* object :
         static_cast<const ZELDataPackage*>(package)->modelObjects()) {
      const ZELElementType type = object->getElementType();
      if (type == ZEL_ET_CLASS || type == ZEL_ET_SQL_VIEW_ENTITY) {
        const auto* table = static_cast<const ZELClass*>(object);
        tableIndex_.emplace(table, tables_.size());
        tables_.push_back({table, schemaIndex, {}});
        if (type == ZEL_ET_CLASS) {
          count(coverage.tables, *table);
          for (const ZELAttribute* column : columnsOf(*table)) count(coverage.columns, *column);
        } else {
          count(coverage.views, *table);
        }
      } else if (type == ZEL_ET_STORED_PROCEDURE) {
        count(coverage.procedures, *object);
        checkProcedure(schemaIndex, static_cast<const ZELStoredProcedure&>(*object));
      }
    }
    result_.coverage.push_back(std::move(coverage));
  }

  static void count(CoverageCount& count, const ZELModelObject& object) {
    ++count.total;
    if (!object.getDescription().isEmpty()) ++count.documented;
  }

  // --- keys and indexes -------------------------------------------------

  void checkKeys(const TableInfo& info, const std::vector<const ZELAttribute*>& /*columns*/) {
    const ZELClass& table = *info.table;
    if (table.getPrimaryKey() == nullptr) {
      addOnTable(rule::kTableWithoutPrimaryKey, info, LintObjectKind::kTable, nullptr,
                 "table " + tableName(info) + " has no primary key");
    }
    bool unique = false;
    for (const ZELKey* key : table.keys()) {
      if (key->getElementType() != ZEL_ET_CANDIDATE_KEY) continue;
      unique = true;
      const bool primary = key == table.getPrimaryKey();
      std::vector<const ZELAttribute*> reported;
      for (const ZELAttribute* column : key->attributes()) {
        if (column == nullptr || !column->isOptional() ||
            std::find(reported.begin(), reported.end(), column) != reported.end()) {
          continue;
        }
        reported.push_back(column);
        addOnTable(rule::kNullableKeyColumn, info, LintObjectKind::kColumn, column,
                   "column " + shownName(column) + " of " + (primary ? "primary" : "alternate") +
                       " key " + shownName(key) + " of table " + tableName(info) + " may be null");
      }
    }
    for (const ZELIndex* index : writers::catalogIndexes(table))
      unique = unique || index->indexFlag1;
    if (!unique) {
      addOnTable(rule::kTableWithoutUniqueKey, info, LintObjectKind::kTable, nullptr,
                 "table " + tableName(info) + " has no primary key, alternate key or unique index");
    }
  }

  void checkIndexes(const TableInfo& info) {
    if (!on(rule::kRedundantIndex) && !on(rule::kDuplicateIndex)) return;
    const ZELClass& table = *info.table;
    struct Covered {
      const ZELObject* object;
      bool key;
      std::vector<const ZELAttribute*> columns;
    };
    std::vector<Covered> covered;
    for (const ZELKey* key : table.keys()) {
      if (key->getElementType() == ZEL_ET_CANDIDATE_KEY)
        covered.push_back({key, true, keyColumns(*key)});
    }
    const size_t keys = covered.size();
    for (const ZELIndex* index : writers::catalogIndexes(table)) {
      covered.push_back({index, false, indexColumns(*index)});
    }
    for (size_t i = keys; i < covered.size(); ++i) {
      const Covered& index = covered[i];
      if (index.columns.empty()) continue;
      // Equal to a key, or to an earlier index: a duplicate.
      const Covered* same = nullptr;
      for (size_t j = 0; j < i && same == nullptr; ++j) {
        if (covered[j].columns == index.columns) same = &covered[j];
      }
      if (same != nullptr) {
        addOnTable(rule::kDuplicateIndex, info, LintObjectKind::kIndex, index.object,
                   "index " + shownName(index.object) + " " + columnList(index.columns) +
                       " of table " + tableName(info) + " duplicates " +
                       (same->key ? "key " : "index ") + shownName(same->object));
        continue;
      }
      // A prefix of a longer index or key. A unique index keeps its own
      // constraint, so it is never redundant.
      if (static_cast<const ZELIndex*>(index.object)->indexFlag1) continue;
      for (size_t j = 0; j < covered.size(); ++j) {
        if (j == i || covered[j].columns.size() <= index.columns.size() ||
            !startsWith(covered[j].columns, index.columns)) {
          continue;
        }
        addOnTable(rule::kRedundantIndex, info, LintObjectKind::kIndex, index.object,
                   "index " + shownName(index.object) + " " + columnList(index.columns) +
                       " of table " + tableName(info) + " is the start of " +
                       (covered[j].key ? "key " : "index ") + shownName(covered[j].object) + " " +
                       columnList(covered[j].columns));
        break;
      }
    }
  }

  void checkForeignKeys(const TableInfo& info) {
    const ZELClass& table = *info.table;
    std::vector<std::vector<const ZELAttribute*>> indexed;  // what an index lookup can use
    for (const ZELKey* key : table.keys()) {
      if (key->getElementType() == ZEL_ET_CANDIDATE_KEY) indexed.push_back(keyColumns(*key));
    }
    for (const ZELIndex* index : writers::catalogIndexes(table))
      indexed.push_back(indexColumns(*index));
    for (const ZELKey* key : table.keys()) {
      if (key->getElementType() != ZEL_ET_FOREIGN_KEY) continue;
      const auto& foreignKey = static_cast<const ZELForeignKey&>(*key);
      const std::vector<const ZELAttribute*> columns = keyColumns(foreignKey);
      const std::string what = "foreign key " + shownName(key) + " of table " + tableName(info);
      if (!columns.empty() && std::none_of(indexed.begin(), indexed.end(), [&](const auto& index) {
            return startsWithSet(index, columns);
          })) {
        addOnTable(rule::kForeignKeyWithoutIndex, info, LintObjectKind::kKey, key,
                   what + ": no index or key starts with its columns " + columnList(columns));
      }
      const ZELCandidateKey* referenced = foreignKey.getCandidateKey();
      if (referenced == nullptr) {
        addOnTable(rule::kForeignKeyWithoutKey, info, LintObjectKind::kKey, key,
                   what + " references no key");
        continue;
      }
      const ZELClass* target = referenced->getAssociatedClass();
      if (target == &table) {
        addOnTable(rule::kSelfReferencingForeignKey, info, LintObjectKind::kKey, key,
                   what + " references its own table");
      } else if (target != nullptr) {
        const auto at = tableIndex_.find(target);
        if (at != tableIndex_.end()) {
          edges_.push_back({tableIndex_.at(&table), at->second, key});
        }
      }
      for (const ZELAssociationRoleNameMap* pair : foreignKey.roleNameMaps()) {
        const ZELAttribute* from = pair->getDestinationAttribute();
        const ZELAttribute* to = pair->getSourceAttribute();
        if (from == nullptr || to == nullptr || sameType(from, to)) continue;
        addOnTable(rule::kForeignKeyTypeMismatch, info, LintObjectKind::kColumn, from,
                   "column " + shownName(from) + " (" + typeText(from) + ") of " + what +
                       " references " + shownName(to) + " (" + typeText(to) + ") of table " +
                       (target != nullptr && tableIndex_.count(target) != 0
                            ? tableName(tables_[tableIndex_.at(target)])
                            : std::string("?")));
      }
    }
  }

  // Strongly connected groups of tables along foreign keys (Tarjan's
  // algorithm, iterative); each group of two or more tables is reported
  // once, with the shortest cycle through its first table.
  void checkCycles() {
    if (!on(rule::kForeignKeyCycle) || edges_.empty()) return;
    const size_t n = tables_.size();
    std::vector<std::vector<size_t>> out(n);  // edge indexes by table
    for (size_t e = 0; e < edges_.size(); ++e) out[edges_[e].from].push_back(e);
    constexpr size_t kUnseen = static_cast<size_t>(-1);
    std::vector<size_t> order(n, kUnseen), low(n, 0), group(n, kUnseen);
    std::vector<bool> onStack(n, false);
    std::vector<size_t> stack;
    size_t counter = 0, groups = 0;
    struct Frame {
      size_t table;
      size_t next;  // position in out[table]
    };
    std::vector<Frame> frames;
    std::vector<std::vector<size_t>> members;
    for (size_t start = 0; start < n; ++start) {
      if (order[start] != kUnseen || out[start].empty()) continue;
      frames.push_back({start, 0});
      order[start] = low[start] = counter++;
      stack.push_back(start);
      onStack[start] = true;
      while (!frames.empty()) {
        Frame& frame = frames.back();
        const size_t v = frame.table;
        if (frame.next < out[v].size()) {
          const size_t w = edges_[out[v][frame.next++]].to;
          if (order[w] == kUnseen) {
            order[w] = low[w] = counter++;
            stack.push_back(w);
            onStack[w] = true;
            frames.push_back({w, 0});
          } else if (onStack[w]) {
            low[v] = std::min(low[v], order[w]);
          }
          continue;
        }
        if (low[v] == order[v]) {
          std::vector<size_t> component;
          size_t w;
          do {
            w = stack.back();
            stack.pop_back();
            onStack[w] = false;
            group[w] = groups;
            component.push_back(w);
          } while (w != v);
          ++groups;
          members.push_back(std::move(component));
        }
        frames.pop_back();
        if (!frames.empty()) {
          const size_t parent = frames.back().table;
          low[parent] = std::min(low[parent], low[v]);
        }
      }
    }
    for (std::vector<size_t>& component : members) {
      if (component.size() < 2) continue;
      std::sort(component.begin(), component.end());
      reportCycle(component.front(), group, out, component.size());
    }
  }

  void reportCycle(size_t first, const std::vector<size_t>& group,
                   const std::vector<std::vector<size_t>>& out, size_t tables) {
    // Breadth first from `first` within its group, back to `first`.
    constexpr size_t kNone = static_cast<size_t>(-1);
    std::unordered_map<size_t, size_t> via;  // table -> edge that reached it
    std::vector<size_t> queue{first};
    size_t closing = kNone;
    for (size_t at = 0; at < queue.size() && closing == kNone; ++at) {
      for (size_t e : out[queue[at]]) {
        const size_t w = edges_[e].to;
        if (group[w] != group[first]) continue;
        if (w == first) {
          closing = e;
          break;
        }
        if (via.emplace(w, e).second) queue.push_back(w);
      }
    }
    if (closing == kNone) return;
    std::vector<size_t> path{closing};
    for (size_t t = edges_[closing].from; t != first; t = edges_[via.at(t)].from) {
      path.push_back(via.at(t));
    }
    std::reverse(path.begin(), path.end());
    std::string text = tableName(tables_[first]);
    for (size_t e : path) {
      text += " -> " + tableName(tables_[edges_[e].to]) + " (" + shownName(edges_[e].key) + ")";
    }
    std::string message = "foreign keys form a cycle: " + text;
    if (tables > path.size()) {
      message += "; " + std::to_string(tables) + " tables are linked in cycles with it";
    }
    addOnTable(rule::kForeignKeyCycle, tables_[first], LintObjectKind::kTable, nullptr, message);
  }

  // --- shape -------------------------------------------------------------

  void checkShape(const TableInfo& info, const std::vector<const ZELAttribute*>& columns) {
    const std::string table = "table " + tableName(info);
    if (columns.size() == 1) {
      addOnTable(rule::kSingleColumnTable, info, LintObjectKind::kTable, nullptr,
                 table + " has only one column, " + shownName(columns.front()));
    }
    if (static_cast<long>(columns.size()) > threshold(rule::kTooManyColumns)) {
      addOnTable(rule::kTooManyColumns, info, LintObjectKind::kTable, nullptr,
                 table + " has " + std::to_string(columns.size()) + " columns (more than " +
                     std::to_string(threshold(rule::kTooManyColumns)) + ")");
    }
    const long large = std::count_if(columns.begin(), columns.end(), isLargeObject);
    if (large > threshold(rule::kTooManyLargeObjects)) {
      addOnTable(rule::kTooManyLargeObjects, info, LintObjectKind::kTable, nullptr,
                 table + " has " + std::to_string(large) + " large-object columns (more than " +
                     std::to_string(threshold(rule::kTooManyLargeObjects)) + ")");
    }
    if (on(rule::kIncrementingColumnNames)) checkIncrementingNames(info, columns);
  }

  void checkIncrementingNames(const TableInfo& info,
                              const std::vector<const ZELAttribute*>& columns) {
    struct Series {
      std::vector<const ZELAttribute*> columns;
      std::unordered_set<std::string> numbers;
    };
    std::unordered_map<std::string, Series> byStem;
    std::vector<std::string> stems;  // in order of first column
    for (const ZELAttribute* column : columns) {
      const std::string name = nameOf(column);
      size_t digits = name.size();
      while (digits > 0 && name[digits - 1] >= '0' && name[digits - 1] <= '9') --digits;
      if (digits == name.size() || digits == 0) continue;
      const std::string stem = writers::lowerAscii(name.substr(0, digits));
      // "1" and "01" count once.
      std::string number = name.substr(digits);
      number.erase(0, std::min(number.find_first_not_of('0'), number.size() - 1));
      Series& series = byStem[stem];
      if (series.columns.empty()) stems.push_back(stem);
      if (series.numbers.insert(number).second) series.columns.push_back(column);
    }
    for (const std::string& stem : stems) {
      const Series& series = byStem.at(stem);
      if (static_cast<long>(series.columns.size()) < threshold(rule::kIncrementingColumnNames)) {
        continue;
      }
      addOnTable(rule::kIncrementingColumnNames, info, LintObjectKind::kColumn,
                 series.columns.front(),
                 "table " + tableName(info) + " has numbered columns " +
                     columnList(series.columns) + ": a repeating group");
    }
  }

  // --- documentation -------------------------------------------------------

  void checkDocumentation(const TableInfo& info, const std::vector<const ZELAttribute*>& columns) {
    if (info.table->getDescription().isEmpty()) {
      addOnTable(rule::kTableWithoutDescription, info, LintObjectKind::kTable, nullptr,
                 "table " + tableName(info) + " has no description");
    }
    if (!on(rule::kColumnWithoutDescription)) return;
    for (const ZELAttribute* column : columns) {
      if (!column->getDescription().isEmpty()) continue;
      addOnTable(rule::kColumnWithoutDescription, info, LintObjectKind::kColumn, column,
                 joined({"column ", shownName(column), " of table ", tableName(info),
                         " has no description"}));
    }
  }

  void checkView(const TableInfo& info) {
    if (info.table->getDescription().isEmpty()) {
      addOnTable(rule::kViewWithoutDescription, info, LintObjectKind::kView, nullptr,
                 "view " + tableName(info) + " has no description");
    }
    checkName(info, LintObjectKind::kView, nullptr, [&] { return "view " + tableName(info); });
    checkColumnNames(info, columnsOf(*info.table));
  }

  void checkProcedure(size_t schemaIndex, const ZELStoredProcedure& procedure) {
    const SchemaInfo& schema = schemas_[schemaIndex];
    std::vector<std::string_view> path = schema.path;
    path.push_back(nameView(&procedure));
    const std::string what = "procedure " + schema.shownPath + "." + shownName(&procedure);
    if (procedure.getDescription().isEmpty()) {
      add(rule::kProcedureWithoutDescription, LintObjectKind::kProcedure, path,
          schema.path.size() - 1, what + " has no description");
    }
    checkNameAt(
        LintObjectKind::kProcedure, nameView(&procedure), schema.path.size() - 1,
        [&] { return path; }, [&] { return what; });
  }

  // --- names ---------------------------------------------------------------

  // Why `name` must be quoted in `dialect`, or "".
  static std::string quotingReason(const writers::SqlDialect& dialect, std::string_view name,
                                   LintObjectKind kind) {
    if (name.empty()) return "it is empty";
    if (dialect.isReservedWord(name)) return "a reserved word";
    // The engine refuses its own prefix for some kinds of objects, quoted
    // or not.
    const writers::ReservedNames& reserved = dialect.reservedNames();
    const bool prefixed = reserved.hasPrefix(name);
    if (prefixed && (kind == LintObjectKind::kSchema
                         ? reserved.prefixRefusesSchemas
                         : reserved.prefixRefusesTables &&
                               (kind == LintObjectKind::kTable || kind == LintObjectKind::kView ||
                                kind == LintObjectKind::kIndex))) {
      return "the engine keeps names starting with " + std::string(reserved.prefix) +
             " for itself, quoted or not";
    }
    const writers::PlainNames plain = dialect.plainNames();
    const auto letter = [](unsigned char c) {
      return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c >= 0x80;
    };
    bool digitsOnly = true;
    for (size_t i = 0; i < name.size(); ++i) {
      const auto c = static_cast<unsigned char>(name[i]);
      const bool digit = c >= '0' && c <= '9';
      digitsOnly = digitsOnly && digit;
      if (letter(c) || (digit && i > 0) || (c == '$' && i > 0 && plain.dollarAfterFirst)) {
        continue;
      }
      if (digit && plain.leadingDigit) continue;  // unless all digits, below
      if (digit) return "it starts with a digit";
      return c == ' ' ? "it holds a blank" : "it holds characters other than letters, digits and _";
    }
    if (digitsOnly) return "it is a number";
    if (plain.foldsCase) {
      bool upper = false, lower = false;
      for (char c : name) {
        upper = upper || (c >= 'A' && c <= 'Z');
        lower = lower || (c >= 'a' && c <= 'z');
      }
      if (upper && lower) return "it mixes upper and lower case, which unquoted names lose";
    }
    return "";
  }

  // What the name rules say of `name`: why it needs quoting and why it is
  // too long, per dialect; empty texts when nothing.
  std::pair<std::string, std::string> nameProblems(LintObjectKind kind,
                                                   std::string_view name) const {
    std::string quoting, length;
    if (on(rule::kNameNeedsQuoting)) {
      // Dialects grouped by reason: "a reserved word (postgresql, mysql)".
      std::vector<std::pair<std::string, std::string>> reasons;
      for (const writers::SqlDialect* dialect : config_.dialects) {
        const std::string reason = quotingReason(*dialect, name, kind);
        if (reason.empty()) continue;
        auto at = std::find_if(reasons.begin(), reasons.end(),
                               [&](const auto& entry) { return entry.first == reason; });
        if (at == reasons.end()) {
          reasons.emplace_back(reason, std::string(dialect->name()));
        } else {
          at->second += ", " + std::string(dialect->name());
        }
      }
      for (const auto& [reason, dialects] : reasons) {
        quoting += (quoting.empty() ? "" : "; ") + reason + " (" + dialects + ")";
      }
    }
    if (on(rule::kNameTooLong)) {
      for (const writers::SqlDialect* dialect : config_.dialects) {
        const writers::IdentifierLimit limit = dialect->identifierLimit();
        if (limit.max == 0 || name.size() <= limit.max) continue;
        size_t size = name.size();
        if (!limit.countsBytes) {
          size = static_cast<size_t>(std::count_if(name.begin(), name.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
          }));
        }
        if (size <= limit.max) continue;
        length += (length.empty() ? "" : ", ") + std::string(dialect->name()) + " keeps " +
                  std::to_string(limit.max) + (limit.countsBytes ? " bytes" : " characters") +
                  ", it has " + std::to_string(size);
      }
    }
    return {quoting, length};
  }

  // Reports the name problems of an object; its path and description are
  // only made when there is one.
  template <class MakePath, class MakeWhat>
  void checkNameAt(LintObjectKind kind, std::string_view name, size_t schemaNames,
                   MakePath makePath, MakeWhat makeWhat) {
    // Names repeat from table to table (ID, NAME, ...): one found without a
    // problem is not checked against the dialects again.
    auto& clean = cleanNames_[static_cast<size_t>(kind)];
    if (clean.find(name) != nullptr) return;
    const auto [quoting, length] = nameProblems(kind, name);
    if (quoting.empty() && length.empty()) {
      if (clean.size() < kMostCleanNames) clean.add(name, &kClean);
      return;
    }
    const std::vector<std::string_view> path = makePath();
    const std::string what = makeWhat();
    if (!quoting.empty()) {
      add(rule::kNameNeedsQuoting, kind, path, schemaNames,
          what + " needs quoting or renaming: " + quoting);
    }
    if (!length.empty()) {
      add(rule::kNameTooLong, kind, path, schemaNames, what + " is too long: " + length);
    }
  }

  template <class MakeWhat>
  void checkName(const TableInfo& info, LintObjectKind kind, const ZELObject* member,
                 MakeWhat makeWhat) {
    if (!on(rule::kNameNeedsQuoting) && !on(rule::kNameTooLong)) return;
    checkNameAt(
        kind, nameView(member != nullptr ? member : info.table),
        schemas_[info.schema].path.size() - 1, [&] { return pathOf(info, member); }, makeWhat);
  }

  void checkColumnNames(const TableInfo& info, const std::vector<const ZELAttribute*>& columns) {
    const std::string& table = tableName(info);
    const bool view = info.table->getElementType() == ZEL_ET_SQL_VIEW_ENTITY;
    if (!view) checkName(info, LintObjectKind::kTable, nullptr, [&] { return "table " + table; });
    FirstOfLoweredName<ZELAttribute> byLower;
    for (const ZELAttribute* column : columns) {
      const std::string_view name = nameView(column);
      checkName(info, LintObjectKind::kColumn, column,
                [&] { return "column " + shownName(name) + " of " + table; });
      if (!on(rule::kNamesDifferOnlyByCase)) continue;
      const ZELAttribute* first = byLower.firstOr(name, column);
      if (first != nullptr && nameView(first) != name) {
        addOnTable(rule::kNamesDifferOnlyByCase, info, LintObjectKind::kColumn, column,
                   "column " + shownName(name) + " of " + table +
                       " differs only in case from column " + shownName(first));
      }
    }
    if (view) return;
    for (const ZELKey* key : info.table->keys()) {
      checkName(info, LintObjectKind::kKey, key,
                [&] { return "key " + shownName(key) + " of table " + table; });
    }
    for (const ZELIndex* index : writers::catalogIndexes(*info.table)) {
      checkName(info, LintObjectKind::kIndex, index,
                [&] { return "index " + shownName(index) + " of table " + table; });
    }
  }

  void checkSchemaNames(const SchemaInfo& schema) {
    // The schema the import makes for tables placed in a database itself is
    // no name of the catalog's.
    if (schema.path.size() != 2 || schema.path.back() != "Default Schema") {
      checkNameAt(
          LintObjectKind::kSchema, schema.path.back(), schema.path.size() - 1,
          [&] { return schema.path; }, [&] { return "schema " + schema.shownPath; });
    }
    if (!on(rule::kNamesDifferOnlyByCase) || !schema.schema->isInstanceOf(ZEL_ET_DATA_PACKAGE)) {
      return;
    }
    FirstOfLoweredName<ZELModelObject> byLower;
    for (const ZELModelObject* object :
         static_cast<const ZELDataPackage*>(schema.schema)->modelObjects()) {
      const ZELElementType type = object->getElementType();
      if (type != ZEL_ET_CLASS && type != ZEL_ET_SQL_VIEW_ENTITY) continue;
      const std::string_view name = nameView(object);
      const ZELModelObject* first = byLower.firstOr(name, object);
      if (first == nullptr || nameView(first) == name) continue;
      const auto& info = tables_[tableIndex_.at(static_cast<const ZELClass*>(object))];
      addOnTable(rule::kNamesDifferOnlyByCase, info,
                 type == ZEL_ET_CLASS ? LintObjectKind::kTable : LintObjectKind::kView, nullptr,
                 std::string(type == ZEL_ET_CLASS ? "table " : "view ") + tableName(info) +
                     " differs only in case from " + shownName(first));
    }
  }

  // --- relations -----------------------------------------------------------

  // Columns named like the one-column primary key of another table (its own
  // name, or TABLE_KEY with the table's name or the name without a final
  // S), of the same type, in no foreign key of their table.
  void checkImpliedForeignKeys() {
    if (!on(rule::kImpliedForeignKey)) return;
    struct Target {
      size_t table;
      const ZELAttribute* column;
    };
    struct Targets {
      std::unordered_map<size_t, std::vector<Target>> bySchema;
      size_t count = 0;
    };
    // Beyond this many tables with a key of one name (in the column's schema,
    // or in all), the name is too common to imply anything.
    constexpr size_t kMostImpliedTargets = 8;
    std::unordered_map<std::string, Targets> targets;
    for (size_t t = 0; t < tables_.size(); ++t) {
      const ZELCandidateKey* primary = tables_[t].table->getPrimaryKey();
      if (primary == nullptr || primary->attributes().count() != 1) continue;
      const ZELAttribute* column = *primary->attributes().begin();
      if (column == nullptr) continue;
      const std::string key = writers::lowerAscii(nameOf(column));
      std::string table = writers::lowerAscii(nameOf(tables_[t].table));
      std::vector<std::string> names{key, table + "_" + key};
      if (table.size() > 1 && table.back() == 's') {
        table.pop_back();
        names.push_back(table + "_" + key);
      }
      for (const std::string& name : names) {
        Targets& entry = targets[name];
        entry.bySchema[tables_[t].schema].push_back({t, column});
        ++entry.count;
      }
    }
    std::string lowered;  // one buffer for every column's name
    for (size_t t = 0; t < tables_.size(); ++t) {
      const ZELClass& table = *tables_[t].table;
      if (table.getElementType() != ZEL_ET_CLASS) continue;
      std::unordered_set<const ZELAttribute*> inForeignKeys;
      for (const ZELKey* key : table.keys()) {
        if (key->getElementType() != ZEL_ET_FOREIGN_KEY) continue;
        for (const ZELAttribute* column : key->attributes()) inForeignKeys.insert(column);
      }
      // A column that is its table's whole primary key names the table's
      // own rows, whatever other table has a key of that name.
      const ZELCandidateKey* primary = table.getPrimaryKey();
      const ZELAttribute* ownKey = primary != nullptr && primary->attributes().count() == 1
                                       ? *primary->attributes().begin()
                                       : nullptr;
      for (const ZELAttribute* column : columnsOf(table)) {
        if (inForeignKeys.count(column) != 0 || column == ownKey) continue;
        writers::lowerAsciiInto(lowered, nameView(column));
        const auto at = targets.find(lowered);
        if (at == targets.end()) continue;
        // Of the same type, in another table; those in the same schema
        // first. Only one candidate makes a finding: a name many tables'
        // keys share says nothing.
        const Target* found = nullptr;
        const auto matches = [&](const std::vector<Target>& list) {
          int count = 0;
          for (const Target& target : list) {
            if (target.table == t || !sameType(column, target.column)) continue;
            if (++count > 1) return count;
            found = &target;
          }
          return count;
        };
        const auto near = at->second.bySchema.find(tables_[t].schema);
        if (near != at->second.bySchema.end() && near->second.size() > kMostImpliedTargets)
          continue;
        int candidates = near == at->second.bySchema.end() ? 0 : matches(near->second);
        if (candidates == 0 && at->second.count <= kMostImpliedTargets) {
          for (const auto& [schema, list] : at->second.bySchema) {
            candidates += matches(list);
            if (candidates > 1) break;
          }
        }
        if (candidates != 1) continue;
        addOnTable(rule::kImpliedForeignKey, tables_[t], LintObjectKind::kColumn, column,
                   "column " + shownName(column) + " of table " + tableName(tables_[t]) +
                       " looks like a foreign key to " + tableName(tables_[found->table]) + " (" +
                       shownName(found->column) + ") but has none");
      }
    }
  }

  struct Edge {
    size_t from, to;
    const ZELKey* key;
  };

  const ZELModel& model_;
  const LintConfig& config_;
  LintResult result_;
  std::vector<SchemaInfo> schemas_;
  std::vector<TableInfo> tables_;
  // Names without a problem, by kind of object. The names are the model's
  // bytes. Bounded, for catalogs whose names seldom repeat.
  static constexpr size_t kMostCleanNames = size_t{1} << 16;
  static constexpr char kClean = 0;
  ZELFlatMap<std::string_view, const char, zel_hash::TextHash>
      cleanNames_[static_cast<size_t>(LintObjectKind::kIndex) + 1];
  std::unordered_map<const ZELClass*, size_t> tableIndex_;
  std::vector<Edge> edges_;
};

}  // namespace

LintResult lintModel(const ZELModel& model, const LintConfig& config) {
  return Linter(model, config).run();
}

double coveragePercent(const CoverageCount& count) {
  return count.total == 0
             ? 100.0
             : 100.0 * static_cast<double>(count.documented) / static_cast<double>(count.total);
}

CoverageCount coverageSum(const SchemaCoverage& schema) {
  CoverageCount sum;
  for (const CoverageCount* part :
       {&schema.tables, &schema.columns, &schema.views, &schema.procedures}) {
    sum.documented += part->documented;
    sum.total += part->total;
  }
  return sum;
}

}  // namespace pcd::cli
