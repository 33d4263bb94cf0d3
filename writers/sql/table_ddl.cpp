#include "table_ddl.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <unordered_set>

#include "catalog_view.h"
#include "model_sql.h"
#include "sql_text.h"
#include "string_bytes.h"
#include "utf8_sequence.h"

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

// The columns of a key seen so far. A key has few: they are compared one by
// one, and only a long list goes into a hash set.
class SeenColumns {
 public:
  // False when `column` was seen already.
  bool insert(const ZELAttribute* column) {
    if (set_.empty()) {
      if (std::find(few_, few_ + count_, column) != few_ + count_) return false;
      if (count_ < kFew) {
        few_[count_++] = column;
        return true;
      }
      set_.insert(few_, few_ + count_);
    }
    return set_.insert(column).second;
  }

 private:
  static constexpr size_t kFew = 32;
  const ZELAttribute* few_[kFew];
  size_t count_ = 0;
  std::unordered_set<const ZELAttribute*> set_;
};

}  // namespace

TableDdl::TableDdl(const ZELModel& model, const SqlDialect& dialect, bool nativeTypes,
                   const SqlNames& names)
    : dialect_(dialect), nativeTypes_(nativeTypes), names_(names), schemas_(catalogSchemas(model)) {
  // Which tables the script creates, so that foreign keys can refer only to
  // those; a dialect may need at least one column in a table.
  for (const SchemaOfCatalog& entry : schemas_) {
    for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
      const auto* table = static_cast<const ZELClass*>(object);
      const auto isColumn = [](const ZELFeature* feature) {
        return feature->isInstanceOf(ZEL_ET_ATTRIBUTE);
      };
      const bool created =
          dialect_.tablesWithoutColumns() ||
          std::any_of(table->features().begin(), table->features().end(), isColumn);
      plans_.push_back({table, entry.schema, created, {}});
    }
  }
  tables_.reserve(plans_.size());
  for (TablePlan& plan : plans_) tables_.add(plan.table, &plan);
  // Every table's keys before any table is written, so that foreign keys
  // (SQLite's inside CREATE TABLE) know which referenced keys exist.
  for (TablePlan& plan : plans_) {
    if (plan.created) planKeys(*plan.table, plan.keys);
  }
}

const TableDdl::TablePlan& TableDdl::planOf(const ZELClass* table) const {
  const TablePlan* plan = tables_.find(table);
  if (plan == nullptr) throw std::out_of_range("a table of another model");
  return *plan;
}

namespace {

// "SCHEMA"."NAME" from the quoted parts, in one allocation.
std::string qualifiedName(const std::string& schema, const std::string& name) {
  std::string qualified;
  qualified.reserve(schema.size() + 1 + name.size());
  qualified += schema;
  qualified += '.';
  qualified += name;
  return qualified;
}

}  // namespace

std::string TableDdl::tableRef(const ZELClass* table) const {
  if (dialect_.schemaKind().empty()) return std::string(quoted(table));
  return qualifiedName(std::string(quoted(planOf(table).schema)), std::string(quoted(table)));
}

void TableDdl::appendTableRef(std::string& out, const ZELClass* table) const {
  if (!dialect_.schemaKind().empty()) {
    out += quoted(planOf(table).schema);
    out += '.';
  }
  out += quoted(table);
}

std::string TableDdl::qualified(const ZELClass* table, const ZELObject* object) const {
  if (dialect_.schemaKind().empty()) return std::string(quoted(object));
  return qualifiedName(std::string(quoted(planOf(table).schema)), std::string(quoted(object)));
}

std::string TableDdl::shown(const ZELString& raw) const {
  return dialect_.quoteIdentifier(commentText(bytesOf(raw)));
}

// Cached per model type: the types are merged on import, so a model has
// few, and keys look them up again.
const SqlType& TableDdl::typeOf(const ZELFeature* column) {
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

template <class Columns>
void TableDdl::appendColumnList(std::string& out, const Columns& columns) const {
  bool first = true;
  for (const ZELAttribute* column : columns) {
    if (!first) out += ", ";
    first = false;
    out += quoted(column);
  }
}

// Why the dialect cannot make a key or index of these columns of `table`,
// or "". For a plain index, `prefixes` receives per column the length of
// the prefix that MySQL indexes of a TEXT or BLOB column (0: the whole
// value): the space the other columns leave under the key limit, shared
// evenly, and no more than the column's length. (Only types of a dialect
// with a key limit take a prefix.)
std::string TableDdl::keyProblem(const ZELClass& table,
                                 const std::vector<const ZELAttribute*>& columns, KeyUse use,
                                 std::vector<unsigned>* prefixes) {
  if (columns.empty()) return "it has no columns";
  unsigned bytes = 0;
  size_t prefixed = 0;
  SeenColumns seen;
  for (const ZELAttribute* column : columns) {
    if (column == nullptr) return "a member has no column";
    if (column->getClassifier() != &table) {
      return "column " + shown(column->getName()) + " is not a column of this table";
    }
    if (!seen.insert(column)) {
      return "column " + shown(column->getName()) + " appears twice";
    }
    const SqlType& type = typeOf(column);
    if (!type.indexable && type.prefixUnitBytes != 0 && use == KeyUse::kPlainIndex) {
      ++prefixed;
    } else if (!type.indexable) {
      std::string why = "column " + std::string(quoted(column)) + " is of type " + type.text +
                        ", which " + std::string(dialect_.name()) + " cannot index";
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
             "prefix of column " + std::string(quoted(columns[i]));
    }
    (*prefixes)[i] = units;
  }
  return "";
}

namespace {

std::string notWrittenLine(const std::string& what, const std::string& why) {
  return kNotWrittenMark + what + ": " + why + "\n";
}

}  // namespace

std::string TableDdl::notWritten(const std::string& what, const std::string& why) {
  ++notWrittenCount_;
  return notWrittenLine(what, why);
}

void TableDdl::planKeys(const ZELClass& table, TableKeys& keys) {
  // Keys first: a column of the written primary key is NOT NULL.
  for (const ZELKey* key : table.keys()) {
    if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
    if (!key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) continue;
    const auto* candidate = static_cast<const ZELCandidateKey*>(key);
    const std::vector<const ZELAttribute*> keyColumns(key->attributes().begin(),
                                                      key->attributes().end());
    const std::string problem = keyProblem(table, keyColumns);
    const bool primary = table.getPrimaryKey() == candidate;
    if (!problem.empty()) {
      ++notWrittenCount_;
      keys.skipped.push_back({std::string(primary ? "primary key " : "key ") +
                                  std::string(quoted(key)) + " of " + tableRef(&table),
                              problem});
      continue;
    }
    if (writtenKeys_.find(candidate) == nullptr) writtenKeys_.add(candidate, candidate);
    if (primary) {
      keys.primary = candidate;
    } else if (candidate->uniqueKey) {
      keys.unique.push_back(candidate);
    } else {
      keys.indexed.push_back(candidate);
    }
  }
}

bool TableDdl::isPrimaryColumn(const ZELAttribute& column) const {
  const TablePlan* plan = tables_.find(static_cast<const ZELClass*>(column.getClassifier()));
  if (plan == nullptr || plan->keys.primary == nullptr) return false;
  const auto& members = plan->keys.primary->attributes();
  return std::find(members.begin(), members.end(), &column) != members.end();
}

void TableDdl::appendColumnLine(std::string& out, const ZELAttribute& column,
                                const SqlNames::Name& names, std::string_view description,
                                std::string& note, bool nullable) {
  const SqlType& type = typeOf(&column);
  out += names.quoted;
  out += ' ';
  out += type.text;
  if (!nullable && (!column.isOptional() || isPrimaryColumn(column))) out += " NOT NULL";
  note = type.note;
  if (!isValidUtf8Of(names.name, bytesOf(column.getName()))) {
    note += std::string(note.empty() ? "" : "; ") + "column " + shown(column.getName()) +
            " of the extract";
  }
  if (!description.empty()) {
    const CarriedDescription carried = dialect_.columnDescriptionClause(description);
    out += carried.clause;
    if (!carried.note.empty()) note += std::string(note.empty() ? "" : "; ") + carried.note;
  }
}

std::string TableDdl::columnDefinition(const ZELAttribute& column, bool nullable) {
  std::string line, note, repaired;
  appendColumnLine(line, column, names_.names(&column),
                   validUtf8View(bytesOf(column.getDescription()), repaired), note, nullable);
  return line;
}

std::string TableDdl::keyConstraint(const ZELCandidateKey& key) const {
  std::string text;
  appendKeyConstraint(text, key);
  return text;
}

void TableDdl::appendKeyConstraint(std::string& out, const ZELCandidateKey& key) const {
  const TablePlan* plan = tables_.find(static_cast<const ZELClass*>(key.getAssociatedClass()));
  if (plan == nullptr) return;
  const bool primary = plan->keys.primary == &key;
  if (!primary) {
    const auto& unique = plan->keys.unique;
    if (std::find(unique.begin(), unique.end(), &key) == unique.end()) return;
  }
  // No constraint name where the engine names every primary key itself.
  if (!primary || dialect_.primaryKeyName().empty()) {
    out += "CONSTRAINT ";
    out += quoted(&key);
    out += ' ';
  }
  out += primary ? "PRIMARY KEY (" : "UNIQUE (";
  appendColumnList(out, key.attributes());
  out += ')';
}

void TableDdl::writeTable(const ZELClass& table, std::string& out, std::string& foreignKeys,
                          const std::string& as, bool withIndexes) {
  out += "\n";
  const TablePlan& plan = planOf(&table);
  if (!plan.created) {
    out += notWritten("table " + tableRef(&table),
                      "a table needs at least one column in " + std::string(dialect_.name()));
    return;
  }
  const std::string ref = as.empty() ? tableRef(&table) : as;
  if (!isValidUtf8Of(name(&table), bytesOf(table.getName()))) {
    out += "-- Table " + shown(table.getName()) + " of the extract\n";
  }
  std::string repairedTableDescription;
  const std::string_view description =
      validUtf8View(bytesOf(table.getDescription()), repairedTableDescription);
  if (!description.empty()) out += dialect_.tableDescriptionBefore(std::string(description));

  const TableKeys& keys = plan.keys;
  std::vector<std::string> foreignKeyClauses;
  if (dialect_.foreignKeysInCreateTable()) {
    collectForeignKeys(table, foreignKeyClauses, out, foreignKeys);
  }

  for (const Skipped& key : keys.skipped) out += notWrittenLine(key.what, key.why);
  out += "CREATE TABLE ";
  out += ref;
  out += " (\n";
  // Each line is written as it comes; the comma after it and its comment
  // when the next line begins, since only then is it known not to be last.
  bool first = true;
  std::string note;  // the comment of the line last written
  const auto endLine = [&out, &note] {
    if (!note.empty()) {
      out += "  -- ";
      out += commentText(note);
      note.clear();
    }
    out += '\n';
  };
  const auto beginLine = [&] {
    if (!first) {
      out += ',';
      endLine();
    }
    first = false;
    out += "  ";
  };
  std::vector<SqlDialect::ColumnDescription>& described = described_;
  described.clear();
  std::deque<std::string>& repaired = repairedDescriptions_;
  repaired.clear();
  for (const ZELAttribute* column : columnsInPositionOrder(table)) {
    std::string_view columnDescription = bytesOf(column->getDescription());
    if (!isWellFormed(columnDescription)) {
      columnDescription = repaired.emplace_back(validUtf8(columnDescription));
    }
    beginLine();
    const SqlNames::Name& columnNames = names_.names(column);
    appendColumnLine(out, *column, columnNames, columnDescription, note);
    if (!columnDescription.empty()) described.push_back({columnNames.quoted, columnDescription});
  }
  if (keys.primary != nullptr) {
    beginLine();
    appendKeyConstraint(out, *keys.primary);
  }
  for (const ZELCandidateKey* key : keys.unique) {
    beginLine();
    appendKeyConstraint(out, *key);
  }
  for (const std::string& clause : foreignKeyClauses) {
    beginLine();
    out += clause;
  }
  if (!first) endLine();
  const CarriedDescription carried =
      description.empty() ? CarriedDescription()
                          : dialect_.tableDescriptionClause(std::string(description));
  out += ')';
  out += carried.clause;
  out += ';';
  if (!carried.note.empty()) {
    out += "  -- ";
    out += carried.note;
  }
  out += '\n';
  if (!description.empty() || !described.empty()) {
    dialect_.appendDescriptionStatements(out, ref, description, described);
  }
  if (withIndexes) out += indexStatements(table);
  if (!dialect_.foreignKeysInCreateTable()) {
    collectForeignKeys(table, foreignKeyClauses, out, foreignKeys);
  }
}

bool TableDdl::isWritten(const ZELObject& keyOrIndex) {
  if (keyOrIndex.isInstanceOf(ZEL_ET_FOREIGN_KEY)) {
    const auto& key = static_cast<const ZELForeignKey&>(keyOrIndex);
    std::vector<const ZELAttribute*> columns, referencedColumns;
    const ZELClass* table = key.getAssociatedClass();
    return table != nullptr && isCreated(table) &&
           foreignKeyProblem(*table, key, columns, referencedColumns).empty();
  }
  if (keyOrIndex.isInstanceOf(ZEL_ET_CANDIDATE_KEY)) {
    return writtenKeys_.find(static_cast<const ZELCandidateKey*>(&keyOrIndex)) != nullptr;
  }
  const auto& index = static_cast<const ZELIndex&>(keyOrIndex);
  const ZELClass* table = index.getAssociatedClass();
  if (table == nullptr || !isCreated(table)) return false;
  std::vector<const ZELAttribute*> columns;
  for (const ZELIndexMember* member : index.members()) columns.push_back(member->getAttribute());
  std::vector<unsigned> prefixes;
  return keyProblem(*table, columns, index.indexFlag1 ? KeyUse::kUnique : KeyUse::kPlainIndex,
                    &prefixes)
      .empty();
}

std::string TableDdl::indexStatements(const ZELClass& table) {
  std::string text;
  if (const TablePlan* plan = tables_.find(&table)) {
    for (const ZELCandidateKey* key : plan->keys.indexed) text += indexStatement(table, *key);
  }
  for (const ZELIndex* index : catalogIndexes(table)) text += indexStatement(table, *index);
  return text;
}

std::string TableDdl::indexText(const ZELClass& table, const ZELObject* index,
                                const std::vector<IndexMember>& members, bool unique) const {
  std::string list;
  for (const IndexMember& member : members) {
    list += list.empty() ? "" : ", ";
    list += quoted(member.column);
    if (member.prefix != 0) list += "(" + std::to_string(member.prefix) + ")";
    if (member.descending) list += " DESC";
  }
  return std::string("CREATE ") + (unique ? "UNIQUE " : "") + "INDEX " +
         std::string(quoted(index)) + " ON " + tableRef(&table) + " (" + list + ");\n";
}

std::string TableDdl::indexStatement(const ZELClass& table, const ZELObject& keyOrIndex) {
  if (keyOrIndex.isInstanceOf(ZEL_ET_CANDIDATE_KEY)) {
    const auto& key = static_cast<const ZELCandidateKey&>(keyOrIndex);
    std::vector<IndexMember> members;
    for (const ZELAttribute* column : key.attributes()) members.push_back({column, false, 0});
    return indexText(table, &key, members, false);
  }
  // The catalog's own indexes (index-only keys of the extract).
  const auto& index = static_cast<const ZELIndex&>(keyOrIndex);
  std::vector<IndexMember> members;
  const std::string problem = indexMembers(table, index, members);
  if (!problem.empty()) {
    return notWritten("index " + std::string(quoted(&index)) + " of " + tableRef(&table), problem);
  }
  return indexText(table, &index, members, index.indexFlag1);
}

std::string TableDdl::indexMembers(const ZELClass& table, const ZELIndex& index,
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

// Clauses inside CREATE TABLE go into `clauses` (their NOT WRITTEN comments
// into `out`), ALTER TABLE statements into `foreignKeys`.
void TableDdl::collectForeignKeys(const ZELClass& table, std::vector<std::string>& clauses,
                                  std::string& out, std::string& foreignKeys) {
  const bool inside = dialect_.foreignKeysInCreateTable();
  std::string ref;  // made at the first foreign key
  std::vector<const ZELAttribute*> columns, referencedColumns;
  for (const ZELKey* key : table.keys()) {
    if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
    if (ref.empty()) ref = tableRef(&table);
    const auto& foreignKey = static_cast<const ZELForeignKey&>(*key);
    columns.clear();
    referencedColumns.clear();
    const std::string problem = foreignKeyProblem(table, foreignKey, columns, referencedColumns);
    if (!problem.empty()) {
      (inside ? out : foreignKeys) +=
          notWritten("foreign key " + std::string(quoted(key)) + " of " + ref, problem);
    } else if (inside) {
      appendForeignKeyClause(clauses.emplace_back(), foreignKey, columns, referencedColumns);
    } else {
      foreignKeys += "ALTER TABLE ";
      foreignKeys += ref;
      foreignKeys += " ADD ";
      appendForeignKeyClause(foreignKeys, foreignKey, columns, referencedColumns);
      foreignKeys += ";\n";
    }
  }
}

std::string TableDdl::foreignKeyConstraint(const ZELClass& table, const ZELForeignKey& key,
                                           std::string& problem) {
  std::vector<const ZELAttribute*> columns, referencedColumns;
  problem = foreignKeyProblem(table, key, columns, referencedColumns);
  if (!problem.empty()) return "";
  std::string text;
  appendForeignKeyClause(text, key, columns, referencedColumns);
  return text;
}

void TableDdl::appendForeignKeyClause(
    std::string& out, const ZELForeignKey& key, const std::vector<const ZELAttribute*>& columns,
    const std::vector<const ZELAttribute*>& referencedColumns) const {
  out += "CONSTRAINT ";
  out += quoted(&key);
  out += " FOREIGN KEY (";
  appendColumnList(out, columns);
  out += ") REFERENCES ";
  appendTableRef(out, key.getCandidateKey()->getAssociatedClass());
  out += " (";
  appendColumnList(out, referencedColumns);
  out += ')';
}

// Why the foreign key cannot be written, or "" with its column pairs.
std::string TableDdl::foreignKeyProblem(const ZELClass& table, const ZELForeignKey& key,
                                        std::vector<const ZELAttribute*>& columns,
                                        std::vector<const ZELAttribute*>& referencedColumns) {
  const ZELCandidateKey* referencedKey = key.getCandidateKey();
  if (referencedKey == nullptr) return "it is not linked to a referenced key";
  const ZELClass* referenced = referencedKey->getAssociatedClass();
  if (referenced == nullptr || !isCreated(referenced)) {
    return "the referenced table is not in the script";
  }
  if (writtenKeys_.find(referencedKey) == nullptr) {
    return "the referenced key " + std::string(quoted(referencedKey)) + " is not in the script";
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
    return "its referenced columns are not those of key " + std::string(quoted(referencedKey)) +
           (needsIndexes ? " in their order" : "");
  }
  SeenColumns seen;
  for (size_t i = 0; i < columns.size(); ++i) {
    if (!seen.insert(columns[i])) {
      return "column " + std::string(quoted(columns[i])) + " appears twice";
    }
    const SqlType& own = typeOf(columns[i]);
    const SqlType& other = typeOf(referencedColumns[i]);
    if (own.pairClass != other.pairClass) {
      return "column " + std::string(quoted(columns[i])) + " (" + own.text +
             ") cannot reference column " + std::string(quoted(referencedColumns[i])) + " (" +
             other.text + ") in " + std::string(dialect_.name());
    }
  }
  // The referencing columns are indexed too.
  if (needsIndexes) return keyProblem(table, columns, KeyUse::kForeignKey);
  return "";
}

}  // namespace pcd::writers
