#include "migration_plan.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "catalog_view.h"
#include "model/zel_model.h"
#include "sql/sql_names.h"

namespace pcd::writers {

namespace {

using Step = MigrationStep;
using Kind = MigrationStep::Kind;

std::string text(const ZELString& value) {
  return {value.c_str(), value.length()};
}

// A key that joins names without ambiguity.
constexpr char kSeparator = '\x1f';

// The parts of a data type that change what a column holds.
struct TypeFacts {
  std::string name;
  long length = 0;
  long scale = 0;
  bool operator==(const TypeFacts& other) const {
    return name == other.name && length == other.length && scale == other.scale;
  }
  bool operator!=(const TypeFacts& other) const { return !(*this == other); }
};

TypeFacts typeOf(const ZELAttribute& column) {
  const ZELType* type = column.getType();
  if (type == nullptr || !type->isInstanceOf(ZEL_ET_DERIVED_TYPE)) return {"", 0, 0};
  const auto& derived = static_cast<const ZELDerivedType&>(*type);
  return {text(derived.DataType), derived.getLength(), derived.getScale()};
}

// Types a value moves to without loss, each group ordered narrow to wide.
const std::vector<std::vector<std::string>> kWidening = {
    {"TINYINT", "SMALLINT", "INTEGER", "BIGINT", "DECIMAL", "NUMERIC"},
    {"REAL", "FLOAT", "DOUBLE"},
    {"CHAR", "NCHAR", "VARCHAR", "NVARCHAR", "LONGVARCHAR", "CLOB", "LONGNVARCHAR", "NCLOB"},
    {"BINARY", "VARBINARY", "LONGVARBINARY", "BLOB"},
    {"DATE", "TIMESTAMP"},
};

// Why a value of `before` may not fit `after`, or "".
std::string narrowing(const TypeFacts& before, const TypeFacts& after) {
  if (before.name != after.name) {
    for (const auto& group : kWidening) {
      const auto from = std::find(group.begin(), group.end(), before.name);
      const auto to = std::find(group.begin(), group.end(), after.name);
      if (from != group.end() && to != group.end() && from <= to &&
          (after.length == 0 || (before.length != 0 && after.length >= before.length))) {
        return "";
      }
    }
    return "type " + before.name + " becomes " + after.name;
  }
  if (after.length != 0 && (before.length == 0 || after.length < before.length)) {
    return "length " + std::to_string(before.length) + " becomes " + std::to_string(after.length);
  }
  if (after.scale < before.scale) {
    return "scale " + std::to_string(before.scale) + " becomes " + std::to_string(after.scale);
  }
  return "";
}

bool isPrimaryColumn(const ZELAttribute& column) {
  const auto* table = static_cast<const ZELClass*>(column.getClassifier());
  const ZELKey* primary = table != nullptr ? table->getPrimaryKey() : nullptr;
  if (primary == nullptr) return false;
  const auto& members = primary->attributes();
  return std::find(members.begin(), members.end(), &column) != members.end();
}

// NOT NULL as a script writes it: also for a primary key's columns.
bool isRequired(const ZELAttribute& column) {
  return !column.isOptional() || isPrimaryColumn(column);
}

// One model's objects by name path.
struct Catalog {
  std::map<std::string, const ZELPackage*> schemas;
  std::map<std::string, const ZELClass*> tables;  // SCHEMA \x1f TABLE
  std::map<std::string, const ZELClass*> views;
  std::map<const ZELObject*, std::string> pathOf;  // schemas and tables
};

std::string schemaPath(const ZELPackage& schema) {
  std::string path;
  for (const ZELObject* at = &schema; at != nullptr; at = at->getOwner()) {
    path = text(at->getName()) + (path.empty() ? "" : kSeparator + path);
    if (at->isInstanceOf(ZEL_ET_DATABASE_CATALOG)) break;
  }
  return path;
}

Catalog catalogOf(const ZELModel& model) {
  Catalog catalog;
  for (const SchemaOfCatalog& entry : catalogSchemas(model)) {
    const std::string path = schemaPath(*entry.schema);
    catalog.schemas.emplace(path, entry.schema);
    catalog.pathOf[entry.schema] = path;
    for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
      const std::string key = path + kSeparator + text(object->getName());
      catalog.tables.emplace(key, static_cast<const ZELClass*>(object));
      catalog.pathOf[object] = key;
    }
    for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_SQL_VIEW_ENTITY)) {
      catalog.views.emplace(path + kSeparator + text(object->getName()),
                            static_cast<const ZELClass*>(object));
    }
  }
  return catalog;
}

template <typename Object>
std::map<std::string, const Object*> byName(const std::vector<const Object*>& objects) {
  std::map<std::string, const Object*> named;
  for (const Object* object : objects) named.emplace(text(object->getName()), object);
  return named;
}

std::vector<const ZELCandidateKey*> candidateKeys(const ZELClass& table) {
  std::vector<const ZELCandidateKey*> keys;
  for (const ZELKey* key : table.keys()) {
    if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY) && key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) {
      keys.push_back(static_cast<const ZELCandidateKey*>(key));
    }
  }
  return keys;
}

std::vector<const ZELForeignKey*> foreignKeys(const ZELClass& table) {
  std::vector<const ZELForeignKey*> keys;
  for (const ZELKey* key : table.keys()) {
    if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY))
      keys.push_back(static_cast<const ZELForeignKey*>(key));
  }
  return keys;
}

// A table's columns, keys and indexes, one text each, for a rename's
// certainty.
std::string shapeOf(const ZELClass& table) {
  std::string shape;
  for (const ZELAttribute* column : columnsInPositionOrder(table)) {
    const TypeFacts type = typeOf(*column);
    shape += text(column->getName()) + kSeparator + type.name + kSeparator +
             std::to_string(type.length) + kSeparator + std::to_string(type.scale) + kSeparator +
             (isRequired(*column) ? "1" : "0") + "\n";
  }
  for (const ZELCandidateKey* key : candidateKeys(table)) {
    shape += "key " + text(key->getName()) + kSeparator + keyColumnNames(*key) + "\n";
  }
  for (const ZELForeignKey* key : foreignKeys(table)) {
    shape += "fk " + text(key->getName()) + kSeparator + keyColumnNames(*key) + "\n";
  }
  for (const ZELIndex* index : catalogIndexes(table)) {
    shape += "index " + text(index->getName()) + kSeparator + indexMemberNames(*index) + "\n";
  }
  return shape;
}

class Planner {
 public:
  Planner(const ZELModel& before, const ZELModel& after)
      : old_(catalogOf(before)), new_(catalogOf(after)) {}

  MigrationPlan run() {
    matchTables();
    for (const auto& [after, before] : kept_) compareTable(*before, *after);
    // A kept foreign key is made again where what it depends on changes.
    for (const auto& [after, before] : kept_) {
      for (const ZELForeignKey* key : foreignKeys(*after)) {
        const ZELForeignKey* old = foreignKeyNamed(*before, *key);
        if (old == nullptr) {
          add(Kind::kAddForeignKey, nullptr, key);
        } else if (foreignKeyText(*old, true) != foreignKeyText(*key, false) ||
                   touched_.count(after) || dependsOnChange(*old)) {
          add(Kind::kDropForeignKey, old, nullptr);
          add(Kind::kAddForeignKey, nullptr, key);
        }
      }
      for (const ZELForeignKey* key : foreignKeys(*before)) {
        if (foreignKeyNamed(*after, *key) == nullptr) add(Kind::kDropForeignKey, key, nullptr);
      }
    }
    for (const ZELClass* table : dropped_) {
      for (const ZELForeignKey* key : foreignKeys(*table)) add(Kind::kDropForeignKey, key, nullptr);
    }
    for (const ZELClass* table : created_) {
      for (const ZELForeignKey* key : foreignKeys(*table)) add(Kind::kAddForeignKey, nullptr, key);
    }
    for (const auto& [path, view] : old_.views) {
      if (!new_.views.count(path)) add(Kind::kDropView, view, nullptr);
    }
    for (const auto& [path, view] : new_.views) {
      if (!old_.views.count(path)) add(Kind::kNoView, nullptr, view);
    }
    for (const auto& [path, schema] : new_.schemas) {
      if (!old_.schemas.count(path)) add(Kind::kCreateSchema, nullptr, schema);
    }
    for (const auto& [path, schema] : old_.schemas) {
      if (!new_.schemas.count(path)) add(Kind::kDropSchema, schema, nullptr);
    }
    MigrationPlan plan;
    // Each kind runs in the order of the enumeration: drops of what
    // depends first, then what is dropped, renamed, made, then what depends.
    std::stable_sort(steps_.begin(), steps_.end(),
                     [](const Step& a, const Step& b) { return a.kind < b.kind; });
    plan.steps = std::move(steps_);
    for (const auto& [after, before] : kept_) plan.keptTables.emplace_back(after, before);
    plan.notes = std::move(notes_);
    return plan;
  }

 private:
  Step& add(Kind kind, const ZELObject* before, const ZELObject* after,
            std::string losesData = "") {
    steps_.push_back({kind, before, after, std::move(losesData)});
    return steps_.back();
  }

  // Tables by path; in a schema where exactly one table went and one came
  // with the same shape, a rename.
  void matchTables() {
    std::map<std::string, std::vector<const ZELClass*>> gone, came;  // by schema path
    for (const auto& [path, table] : old_.tables) {
      const auto found = new_.tables.find(path);
      if (found != new_.tables.end()) {
        kept_.emplace_back(found->second, table);
      } else {
        gone[path.substr(0, path.rfind(kSeparator))].push_back(table);
      }
    }
    for (const auto& [path, table] : new_.tables) {
      if (!old_.tables.count(path)) came[path.substr(0, path.rfind(kSeparator))].push_back(table);
    }
    for (auto& [schema, tables] : gone) {
      const auto added = came.find(schema);
      if (tables.size() == 1 && added != came.end() && added->second.size() == 1 &&
          shapeOf(*tables[0]) == shapeOf(*added->second[0])) {
        add(Kind::kRenameTable, tables[0], added->second[0]);
        kept_.emplace_back(added->second[0], tables[0]);
        renamed_[tables[0]] = added->second[0];
        came.erase(added);
        continue;
      }
      for (const ZELClass* table : tables) {
        dropped_.push_back(table);
        droppedSet_.insert(table);
        add(Kind::kDropTable, table, nullptr, "table dropped with its rows");
      }
      if (added != came.end()) {
        notes_.push_back("no certain match between the " + std::to_string(tables.size()) +
                         " tables gone and the " + std::to_string(added->second.size()) +
                         " new ones of a schema: dropped and created, not renamed");
      }
    }
    for (const auto& [schema, tables] : came) {
      for (const ZELClass* table : tables) {
        created_.push_back(table);
        add(Kind::kCreateTable, nullptr, table);
      }
    }
  }

  void compareTable(const ZELClass& before, const ZELClass& after) {
    if (text(before.getDescription()) != text(after.getDescription())) {
      add(Kind::kSetDescription, &before, &after);
    }
    const std::vector<const ZELAttribute*> oldColumns = columnsInPositionOrder(before);
    const std::vector<const ZELAttribute*> newColumns = columnsInPositionOrder(after);
    const auto oldByName = byName(oldColumns);
    const auto newByName = byName(newColumns);
    std::vector<const ZELAttribute*> gone, came;
    for (const ZELAttribute* column : oldColumns) {
      if (!newByName.count(text(column->getName()))) gone.push_back(column);
    }
    for (const ZELAttribute* column : newColumns) {
      if (!oldByName.count(text(column->getName()))) came.push_back(column);
    }
    std::vector<std::pair<const ZELAttribute*, const ZELAttribute*>> pairs;  // (before, after)
    if (gone.size() == 1 && came.size() == 1 && gone[0]->getPosition() == came[0]->getPosition() &&
        typeOf(*gone[0]) == typeOf(*came[0])) {
      add(Kind::kRenameColumn, gone[0], came[0]);
      columnNames_[gone[0]] = text(came[0]->getName());
      pairs.emplace_back(gone[0], came[0]);
      gone.clear();
      came.clear();
    }
    for (const ZELAttribute* column : gone) {
      add(Kind::kDropColumn, column, nullptr, "column dropped with its values");
      changedColumns_.insert(column);
    }
    for (const ZELAttribute* column : came) {
      add(Kind::kAddColumn, nullptr, column);
      if (isRequired(*column)) {
        add(Kind::kSetNotNull, nullptr, column,
            "NOT NULL on a new column, which holds nulls in the rows already there");
      }
    }
    for (const ZELAttribute* column : oldColumns) {
      const auto found = newByName.find(text(column->getName()));
      if (found != newByName.end()) pairs.emplace_back(column, found->second);
    }
    for (const auto& [old, now] : pairs) {
      Step change{Kind::kAlterColumn, old, now, ""};
      change.typeChanged = typeOf(*old) != typeOf(*now);
      const bool wasRequired = isRequired(*old), required = isRequired(*now);
      change.nullabilityChanged = wasRequired && !required;
      change.descriptionChanged = text(old->getDescription()) != text(now->getDescription());
      if (change.typeChanged) {
        change.losesData = narrowing(typeOf(*old), typeOf(*now));
        changedColumns_.insert(old);
      }
      if (change.typeChanged || change.nullabilityChanged || change.descriptionChanged) {
        steps_.push_back(change);
      }
      if (!wasRequired && required) {
        add(Kind::kSetNotNull, old, now, "NOT NULL on a column that may hold nulls");
      }
    }
    // Keys and indexes by name: a changed one is dropped and made again.
    const auto oldKeys = byName(candidateKeys(before));
    const auto newKeys = byName(candidateKeys(after));
    for (const auto& [name, key] : oldKeys) {
      const auto found = newKeys.find(name);
      if (found == newKeys.end() || keyText(*key, true) != keyText(*found->second, false)) {
        add(isIndexKey(*key) ? Kind::kDropIndex : Kind::kDropKey, key, nullptr);
        droppedKeys_.insert(key);
        touched_.insert(&after);
      }
    }
    for (const auto& [name, key] : newKeys) {
      const auto found = oldKeys.find(name);
      if (found == oldKeys.end() || keyText(*found->second, true) != keyText(*key, false)) {
        add(isIndexKey(*key) ? Kind::kAddIndex : Kind::kAddKey, nullptr, key);
      }
    }
    const auto oldIndexes = byName(catalogIndexes(before));
    const auto newIndexes = byName(catalogIndexes(after));
    for (const auto& [name, index] : oldIndexes) {
      const auto found = newIndexes.find(name);
      if (found == newIndexes.end() ||
          indexText(*index, true) != indexText(*found->second, false)) {
        add(Kind::kDropIndex, index, nullptr);
        touched_.insert(&after);
      }
    }
    for (const auto& [name, index] : newIndexes) {
      const auto found = oldIndexes.find(name);
      if (found == oldIndexes.end() ||
          indexText(*found->second, true) != indexText(*index, false)) {
        add(Kind::kAddIndex, nullptr, index);
      }
    }
  }

  static bool isIndexKey(const ZELCandidateKey& key) {
    const ZELClass* table = key.getAssociatedClass();
    return !key.uniqueKey && (table == nullptr || table->getPrimaryKey() != &key);
  }

  // A column's name in the new model (an old column's after a rename).
  std::string columnName(const ZELAttribute* column, bool old) const {
    if (column == nullptr) return "?";
    if (old) {
      const auto renamed = columnNames_.find(column);
      if (renamed != columnNames_.end()) return renamed->second;
    }
    return text(column->getName());
  }

  std::string columnsText(const ZELKey& key, bool old) const {
    std::string columns;
    for (const ZELAttribute* column : key.attributes()) {
      columns += columnName(column, old) + kSeparator;
    }
    return columns;
  }

  std::string keyText(const ZELCandidateKey& key, bool old) const {
    const ZELClass* table = key.getAssociatedClass();
    const bool primary = table != nullptr && table->getPrimaryKey() == &key;
    return columnsText(key, old) + (primary ? "primary" : key.uniqueKey ? "unique" : "index");
  }

  std::string indexText(const ZELIndex& index, bool old) const {
    std::string members;
    for (const ZELIndexMember* member : index.members()) {
      members += columnName(member->getAttribute(), old) + (member->sortOrder == 2 ? " desc" : "") +
                 kSeparator;
    }
    return members + (index.indexFlag1 ? "unique" : "");
  }

  // The path of the table a foreign key references, in the new model's
  // names.
  std::string referencedPath(const ZELForeignKey& key, bool old) const {
    const ZELCandidateKey* referenced = key.getCandidateKey();
    const ZELClass* table = referenced != nullptr ? referenced->getAssociatedClass() : nullptr;
    if (table == nullptr) return "";
    if (old) {
      const auto renamed = renamed_.find(table);
      if (renamed != renamed_.end())
        table = renamed->second;
      else
        return old_.pathOf.count(table) ? old_.pathOf.at(table) : "";
    }
    return new_.pathOf.count(table) ? new_.pathOf.at(table) : "";
  }

  std::string foreignKeyText(const ZELForeignKey& key, bool old) const {
    std::string pairs;
    for (const ColumnPair& pair : columnPairs(key)) {
      pairs +=
          columnName(pair.referencing, old) + "=" + columnName(pair.referenced, old) + kSeparator;
    }
    const ZELCandidateKey* referenced = key.getCandidateKey();
    return columnsText(key, old) + pairs + referencedPath(key, old) + kSeparator +
           (referenced != nullptr ? text(referenced->getName()) : "");
  }

  const ZELClass* referencedTable(const ZELForeignKey& key) const {
    const ZELCandidateKey* referenced = key.getCandidateKey();
    return referenced != nullptr ? referenced->getAssociatedClass() : nullptr;
  }

  // True when a foreign key of the old model must be made again: a column
  // of it (either side) changes type or goes, its referenced key or table
  // is dropped.
  bool dependsOnChange(const ZELForeignKey& old) const {
    if (droppedSet_.count(referencedTable(old)) || droppedKeys_.count(old.getCandidateKey())) {
      return true;
    }
    for (const ColumnPair& pair : columnPairs(old)) {
      if (changedColumns_.count(pair.referencing) || changedColumns_.count(pair.referenced)) {
        return true;
      }
    }
    return false;
  }

  // The foreign key of `table` named as `key`, or nullptr.
  static const ZELForeignKey* foreignKeyNamed(const ZELClass& table, const ZELForeignKey& key) {
    for (const ZELForeignKey* other : foreignKeys(table)) {
      if (text(other->getName()) == text(key.getName())) return other;
    }
    return nullptr;
  }

  Catalog old_, new_;
  std::vector<std::pair<const ZELClass*, const ZELClass*>> kept_;  // (after, before)
  std::vector<const ZELClass*> dropped_, created_;
  std::set<const ZELClass*> droppedSet_;
  // New tables that lose a key or index (which a foreign key may use).
  std::set<const ZELClass*> touched_;
  std::set<const ZELAttribute*> changedColumns_;            // old columns retyped or dropped
  std::set<const ZELObject*> droppedKeys_;                  // old keys dropped or changed
  std::map<const ZELClass*, const ZELClass*> renamed_;      // old -> new
  std::map<const ZELAttribute*, std::string> columnNames_;  // old column -> new name
  std::vector<Step> steps_;
  std::vector<std::string> notes_;
};

}  // namespace

MigrationPlan planMigration(const ZELModel& before, const ZELModel& after) {
  return Planner(before, after).run();
}

// The table a step's object belongs to (the object itself for a table).
const ZELClass* tableOf(const ZELObject* object) {
  if (object == nullptr) return nullptr;
  if (object->isInstanceOf(ZEL_ET_KEY))
    return static_cast<const ZELKey*>(object)->getAssociatedClass();
  if (object->isInstanceOf(ZEL_ET_INDEX)) {
    return static_cast<const ZELIndex*>(object)->getAssociatedClass();
  }
  if (object->isInstanceOf(ZEL_ET_ATTRIBUTE)) {
    return static_cast<const ZELClass*>(static_cast<const ZELAttribute*>(object)->getClassifier());
  }
  if (object->getElementType() == ZEL_ET_CLASS) return static_cast<const ZELClass*>(object);
  return nullptr;
}

}  // namespace pcd::writers
