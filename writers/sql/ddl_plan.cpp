#include "ddl_plan.h"

#include <algorithm>
#include <cctype>

#include "catalog_view.h"
#include "sql_text.h"
#include "string_bytes.h"

namespace pcd::writers {

namespace {

// A native type name that can go into a script as it is: letters, digits,
// blanks, '_' and one balanced "(digits[,digits])".
bool isPlainTypeName(std::string_view name) {
  if (name.empty() || !std::isalpha(static_cast<unsigned char>(name[0]))) return false;
  int depth = 0;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '(') {
      if (++depth > 1) return false;
    } else if (c == ')') {
      if (--depth < 0) return false;
    } else if (depth > 0 ? !(std::isdigit(byte) || c == ',' || c == ' ')
                         : !(std::isalnum(byte) || c == '_' || c == ' ')) {
      return false;
    }
  }
  return depth == 0;
}

}  // namespace

DdlPlan::DdlPlan(const ZELModel& model, const SqlDialect& dialect, bool nativeTypes,
                 const SqlNames& names)
    : dialect_(dialect), nativeTypes_(nativeTypes), names_(names), schemas_(catalogSchemas(model)) {
  // Which tables are created, so that foreign keys can refer only to those;
  // a dialect may need at least one column in a table.
  for (const SchemaOfCatalog& entry : schemas_) {
    for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
      const auto* table = static_cast<const ZELClass*>(object);
      if (dialect_.tablesWithoutColumns() || !columnsOf(*table).empty()) {
        createdTables_.insert(table);
      }
      schemaOf_[table] = entry.schema;
    }
  }
  // Every table's keys before any foreign key, which needs its referenced key.
  for (const SchemaOfCatalog& entry : schemas_) {
    for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
      const auto* table = static_cast<const ZELClass*>(object);
      if (creates(table)) planKeys(*table);
    }
  }
}

std::string DdlPlan::tableRef(const ZELClass* table) const {
  if (!hasSchemas()) return quoted(table);
  return quoted(schemaOf_.at(table)) + "." + quoted(table);
}

std::string DdlPlan::shown(const ZELString& raw) const {
  return dialect_.quoteIdentifier(commentText(bytesOf(raw)));
}

std::vector<const ZELAttribute*> DdlPlan::columnsOf(const ZELClassifier& classifier) {
  std::vector<const ZELAttribute*> columns;
  for (const ZELFeature* feature : classifier.features()) {
    if (feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) {
      columns.push_back(static_cast<const ZELAttribute*>(feature));
    }
  }
  std::stable_sort(columns.begin(), columns.end(),
                   [](const ZELAttribute* a, const ZELAttribute* b) {
                     return a->getPosition() < b->getPosition();
                   });
  return columns;
}

// Cached per model type: the types are merged on import, so a model has
// few, and keys look them up again.
const SqlType& DdlPlan::typeOf(const ZELFeature* column) {
  const ZELType* modelType = column->getType();
  const auto found = types_.find(modelType);
  if (found != types_.end()) return found->second;
  SqlType type;
  if (modelType == nullptr || !modelType->isInstanceOf(ZEL_ET_DERIVED_TYPE)) {
    type = dialect_.generalType();
    type.note = "no type in the extract; written as " + type.text;
  } else {
    const auto& derived = static_cast<const ZELDerivedType&>(*modelType);
    type = dialect_.type(bytesOf(derived.DataType), derived.getLength(), derived.getScale(),
                         bytesOf(derived.NativeDataType));
    if (nativeTypes_) {
      const std::string_view native = bytesOf(derived.NativeDataType);
      if (isPlainTypeName(native)) {
        type.text = std::string(native);
        if (native.find('(') == std::string_view::npos && derived.getLength() > 0) {
          type.text += "(" + std::to_string(derived.getLength());
          if (derived.getScale() > 0) type.text += "," + std::to_string(derived.getScale());
          type.text += ")";
        }
        type.note.clear();
      } else {
        type.note = "native type " + commentText(native) + " cannot be written as it is; " +
                    "written as " + type.text;
      }
    }
  }
  return types_.emplace(modelType, std::move(type)).first->second;
}

// Why the dialect cannot make a key or index of these columns of `table`,
// or "". For a plain index, `prefixes` receives per column the length of
// the prefix that MySQL indexes of a TEXT or BLOB column (0: the whole
// value): the space the other columns leave under the key limit, shared
// evenly, and no more than the column's length. (Only types of a dialect
// with a key limit take a prefix.)
std::string DdlPlan::keyProblem(const ZELClass& table,
                                const std::vector<const ZELAttribute*>& columns, KeyUse use,
                                std::vector<unsigned>* prefixes) {
  if (columns.empty()) return "it has no columns";
  unsigned bytes = 0;
  size_t prefixed = 0;
  std::unordered_set<const ZELAttribute*> seen;
  for (const ZELAttribute* column : columns) {
    if (column == nullptr) return "a member has no column";
    if (column->getClassifier() != &table) {
      return "column " + shown(column->getName()) + " is not a column of this table";
    }
    if (!seen.insert(column).second) {
      return "column " + shown(column->getName()) + " appears twice";
    }
    const SqlType& type = typeOf(column);
    if (!type.indexable && type.prefixUnitBytes != 0 && use == KeyUse::kPlainIndex) {
      ++prefixed;
    } else if (!type.indexable) {
      std::string why = "column " + quoted(column) + " is of type " + type.text + ", which " +
                        std::string(dialect_.name()) + " cannot index";
      if (type.prefixUnitBytes != 0) {
        why += use == KeyUse::kForeignKey
                   ? " but by a prefix, which a foreign key cannot use"
                   : " but by a prefix, and a unique prefix would refuse values that differ "
                     "only after it";
      }
      return why;
    }
    bytes += type.indexBytes;
  }
  const unsigned keyBytes = dialect_.indexKeyBytes();
  if (keyBytes != 0 && bytes > keyBytes) {
    return "its columns take " + std::to_string(bytes) + " bytes, over the " +
           std::to_string(keyBytes) + "-byte limit of an index";
  }
  if (prefixes == nullptr) return "";
  prefixes->assign(columns.size(), 0);
  if (prefixed == 0) return "";
  const unsigned share = (keyBytes - bytes) / static_cast<unsigned>(prefixed);
  for (size_t i = 0; i < columns.size(); ++i) {
    const SqlType& type = typeOf(columns[i]);
    if (type.indexable) continue;
    unsigned units = share / type.prefixUnitBytes;
    if (type.prefixUnits != 0) units = std::min(units, type.prefixUnits);
    if (units == 0) {
      return "its other columns take " + std::to_string(bytes) + " of the " +
             std::to_string(keyBytes) + " bytes of an index, leaving no room for a " +
             "prefix of column " + quoted(columns[i]);
    }
    (*prefixes)[i] = units;
  }
  return "";
}

void DdlPlan::planKeys(const ZELClass& table) {
  TableKeys& keys = plannedKeys_[&table];
  for (const ZELKey* key : table.keys()) {
    if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
    if (!key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) continue;
    const auto* candidate = static_cast<const ZELCandidateKey*>(key);
    const std::vector<const ZELAttribute*> keyColumns(key->attributes().begin(),
                                                      key->attributes().end());
    const std::string problem = keyProblem(table, keyColumns);
    const bool primary = table.getPrimaryKey() == candidate;
    if (!problem.empty()) {
      keys.skipped.push_back(
          {std::string(primary ? "primary key " : "key ") + quoted(key) + " of " + tableRef(&table),
           problem});
      continue;
    }
    writtenKeys_.insert(candidate);
    if (primary) {
      keys.primary = candidate;
    } else if (candidate->uniqueKey) {
      keys.unique.push_back(candidate);
    } else {
      keys.indexed.push_back(candidate);
    }
  }
}

std::string DdlPlan::indexMembers(const ZELClass& table, const ZELIndex& index,
                                  std::vector<IndexMember>& members) {
  std::vector<const ZELAttribute*> columns;
  for (const ZELIndexMember* member : index.members()) columns.push_back(member->getAttribute());
  std::vector<unsigned> prefixes;
  const std::string problem = keyProblem(
      table, columns, index.indexFlag1 ? KeyUse::kUnique : KeyUse::kPlainIndex, &prefixes);
  if (!problem.empty()) return problem;
  for (const ZELIndexMember* member : index.members()) {
    members.push_back({member->getAttribute(), member->sortOrder == 2, prefixes[members.size()]});
  }
  return "";
}

std::string DdlPlan::foreignKeyProblem(const ZELClass& table, const ZELForeignKey& key,
                                       std::vector<const ZELAttribute*>& columns,
                                       std::vector<const ZELAttribute*>& referencedColumns) {
  const ZELCandidateKey* referencedKey = key.getCandidateKey();
  if (referencedKey == nullptr) return "it is not linked to a referenced key";
  const ZELClass* referenced = referencedKey->getAssociatedClass();
  if (referenced == nullptr || !creates(referenced)) {
    return "the referenced table is not in the script";
  }
  if (!writtenKeys_.count(referencedKey)) {
    return "the referenced key " + quoted(referencedKey) + " is not in the script";
  }
  for (const ColumnPair& pair : columnPairs(key)) {
    if (pair.referencing == nullptr || pair.referenced == nullptr) {
      return "a column pair is incomplete";
    }
    if (pair.referencing->getClassifier() != &table ||
        pair.referenced->getClassifier() != referenced) {
      return "a column pair joins columns of other tables";
    }
    columns.push_back(pair.referencing);
    referencedColumns.push_back(pair.referenced);
  }
  if (columns.empty()) return "it has no column pairs";
  const std::vector<const ZELAttribute*> keyColumns(referencedKey->attributes().begin(),
                                                    referencedKey->attributes().end());
  // The key's columns in any order, or where the engine needs an index on
  // them (MySQL), the columns of the index in its order.
  const bool needsIndexes = dialect_.foreignKeysNeedIndexes();
  bool sameColumns = referencedColumns.size() == keyColumns.size();
  if (sameColumns && needsIndexes) {
    sameColumns = referencedColumns == keyColumns;
  } else if (sameColumns) {
    sameColumns =
        std::is_permutation(referencedColumns.begin(), referencedColumns.end(), keyColumns.begin());
  }
  if (!sameColumns) {
    return "its referenced columns are not those of key " + quoted(referencedKey) +
           (needsIndexes ? " in their order" : "");
  }
  std::unordered_set<const ZELAttribute*> seen;
  for (size_t i = 0; i < columns.size(); ++i) {
    if (!seen.insert(columns[i]).second) {
      return "column " + quoted(columns[i]) + " appears twice";
    }
    const SqlType& own = typeOf(columns[i]);
    const SqlType& other = typeOf(referencedColumns[i]);
    if (own.pairClass != other.pairClass) {
      return "column " + quoted(columns[i]) + " (" + own.text + ") cannot reference column " +
             quoted(referencedColumns[i]) + " (" + other.text + ") in " +
             std::string(dialect_.name());
    }
  }
  // The referencing columns are indexed too.
  if (needsIndexes) return keyProblem(table, columns, KeyUse::kForeignKey);
  return "";
}

}  // namespace pcd::writers
