#include "model_sql.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "catalog_view.h"
#include "sql_names.h"
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

// The position of the first column that repeats an earlier one, or the
// count when none does. Keys have few columns: compared pairwise, without a
// hash set, unless there are many.
size_t firstRepeat(const std::vector<const ZELAttribute*>& columns) {
  constexpr size_t kFew = 16;
  if (columns.size() <= kFew) {
    for (size_t i = 1; i < columns.size(); ++i) {
      for (size_t j = 0; j < i; ++j) {
        if (columns[j] == columns[i]) return i;
      }
    }
    return columns.size();
  }
  std::unordered_set<const ZELAttribute*> seen;
  for (size_t i = 0; i < columns.size(); ++i) {
    if (!seen.insert(columns[i]).second) return i;
  }
  return columns.size();
}

class ScriptBuilder {
 public:
  ScriptBuilder(const ModelSource& source, const SqlDialect& dialect, bool nativeTypes,
                const SqlNames& names)
      : source_(source), dialect_(dialect), nativeTypes_(nativeTypes), names_(names) {}

  // Writes the script to `out` as it goes: a table at a time, the foreign
  // keys at the end.
  void build(const std::string& toolVersion, std::FILE* out) {
    out_ = out;
    const std::vector<SchemaOfCatalog> schemas = catalogSchemas(source_.model);
    // Which tables the script creates, so that foreign keys can refer only to
    // those; a dialect may need at least one column in a table. Tables are
    // counted in the order the names were given.
    for (const SchemaOfCatalog& entry : schemas) {
      for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
        created_.push_back(dialect_.tablesWithoutColumns() ||
                           hasColumns(*static_cast<const ZELClass*>(object)));
      }
    }
    plannedKeys_.resize(created_.size());
    size_t t = 0;
    for (const SchemaOfCatalog& entry : schemas) {
      for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
        if (created_[t]) planKeys(*static_cast<const ZELClass*>(object), t);
        ++t;
      }
    }
    body_ = header(toolVersion, schemas);
    if (dialect_.transactionalDdl()) body_ += "BEGIN;\n";
    t = 0;
    for (size_t s = 0; s < schemas.size(); ++s) writeSchema(schemas[s], s, t);
    if (!foreignKeys_.empty()) {
      body_ += "\n-- Foreign keys, once every table exists.\n\n";
      body_ += foreignKeys_;
    }
    body_ += "\n-- " + std::to_string(notWrittenCount_) +
             " keys, indexes or tables could not be written in " + std::string(dialect_.name()) +
             " (comments marked NOT WRITTEN).\n";
    if (dialect_.transactionalDdl()) body_ += "COMMIT;\n";
    flush();
  }

 private:
  void flush() {
    std::fwrite(body_.data(), 1, body_.size(), out_);  // errors stay in the stream
    body_.clear();
  }

  // Names of table t's objects, quoted.
  const std::string& quoted(size_t t, const ZELAttribute* column) const {
    return names_.column(t, column).quoted;
  }
  const std::string& quoted(size_t t, const ZELKey* key) const { return names_.key(t, key).quoted; }
  // Table t as the script refers to it.
  std::string tableRef(size_t t) const {
    if (!hasSchemas()) return names_.table(t).quoted;
    return names_.schema(names_.schemaOf(t)).quoted + "." + names_.table(t).quoted;
  }
  bool hasSchemas() const { return !dialect_.schemaKind().empty(); }
  // A model name for a comment, quoted as the dialect would (not shortened).
  std::string shown(const ZELString& raw) const {
    return dialect_.quoteIdentifier(commentText(bytesOf(raw)));
  }
  // "SCHEMA." as the script names schema s; a dialect without schemas as
  // the extract does.
  std::string schemaShown(const ZELPackage& schema, size_t s) const {
    return (hasSchemas() ? names_.schema(s).quoted : shown(schema.getName())) + ".";
  }

  static bool hasColumns(const ZELClassifier& classifier) {
    for (const ZELFeature* feature : classifier.features()) {
      if (feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) return true;
    }
    return false;
  }

  static std::vector<const ZELAttribute*> columnsOf(const ZELClassifier& classifier) {
    std::vector<const ZELAttribute*> columns;
    for (const ZELFeature* feature : classifier.features()) {
      if (feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) {
        columns.push_back(static_cast<const ZELAttribute*>(feature));
      }
    }
    // Position order; the model's order among equal positions.
    std::stable_sort(columns.begin(), columns.end(),
                     [](const ZELAttribute* a, const ZELAttribute* b) {
                       return a->getPosition() < b->getPosition();
                     });
    return columns;
  }

  // The column's type in the script. Cached per model type: the types are
  // merged on import, so a model has few, and keys look them up again.
  const SqlType& typeOf(const ZELFeature* column) {
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

  // Columns of table t.
  std::string columnList(size_t t, const std::vector<const ZELAttribute*>& columns) const {
    std::string list;
    for (const ZELAttribute* column : columns) {
      list += list.empty() ? "" : ", ";
      list += quoted(t, column);
    }
    return list;
  }

  // What keyProblem checks columns for: only a MySQL index that is not
  // unique may take a TEXT or BLOB column by a prefix.
  enum class KeyUse { kUnique, kPlainIndex, kForeignKey };

  // Why the dialect cannot make a key or index of these columns of `table`,
  // or "". For a plain index, `prefixes` receives per column the length of
  // the prefix that MySQL indexes of a TEXT or BLOB column (0: the whole
  // value): the space the other columns leave under the key limit, shared
  // evenly, and no more than the column's length. (Only types of a dialect
  // with a key limit take a prefix.)
  std::string keyProblem(const ZELClass& table, size_t t,
                         const std::vector<const ZELAttribute*>& columns,
                         KeyUse use = KeyUse::kUnique, std::vector<unsigned>* prefixes = nullptr) {
    if (columns.empty()) return "it has no columns";
    unsigned bytes = 0;
    size_t prefixed = 0;
    const size_t repeat = firstRepeat(columns);
    for (size_t i = 0; i < columns.size(); ++i) {
      const ZELAttribute* column = columns[i];
      if (column == nullptr) return "a member has no column";
      if (column->getClassifier() != &table) {
        return "column " + shown(column->getName()) + " is not a column of this table";
      }
      if (i == repeat) {
        return "column " + shown(column->getName()) + " appears twice";
      }
      const SqlType& type = typeOf(column);
      if (!type.indexable && type.prefixUnitBytes != 0 && use == KeyUse::kPlainIndex) {
        ++prefixed;
      } else if (!type.indexable) {
        std::string why = "column " + quoted(t, column) + " is of type " + type.text + ", which " +
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
               "prefix of column " + quoted(t, columns[i]);
      }
      (*prefixes)[i] = units;
    }
    return "";
  }

  void notWritten(std::string& out, const std::string& what, const std::string& why) {
    out += kNotWrittenMark + what + ": " + why + "\n";
    ++notWrittenCount_;
  }

  // Schema s, whose first table is table t; t moves past its tables.
  void writeSchema(const SchemaOfCatalog& entry, size_t s, size_t& t) {
    const ZELPackage& schema = *entry.schema;
    body_ += "\n-- Schema " + shown(schema.getName()) + " of catalog " +
             shown(entry.catalog->getName()) + "\n";
    body_ += dialect_.createSchema(names_.schema(s).quoted, names_.isEngineSchema(s));
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_CLASS)) {
      writeTable(*static_cast<const ZELClass*>(object), t++);
      if (body_.size() > (1u << 16)) flush();
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_SQL_VIEW_ENTITY)) {
      writeView(*static_cast<const ZELSQLViewEntity*>(object), schema, s);
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_STORED_PROCEDURE)) {
      writeProcedure(*static_cast<const ZELStoredProcedure*>(object), schema, s);
    }
  }

  // The keys of `table` that the script makes constraints of, with what it
  // writes for each.
  struct TableKeys {
    const ZELCandidateKey* primary = nullptr;
    std::vector<const ZELCandidateKey*> unique;
    std::vector<const ZELCandidateKey*> indexed;  // candidate keys that are not unique
    std::vector<std::string> foreignKeyClauses;   // SQLite: inside CREATE TABLE
    std::string notes;                            // keys not written
  };

  // Decides which candidate keys of `table` become constraints; done for
  // every table before any is written, so that foreign keys (SQLite's inside
  // CREATE TABLE) know which referenced keys exist.
  void planKeys(const ZELClass& table, size_t t) {
    TableKeys& keys = plannedKeys_[t];
    std::string& keyNotes = keys.notes;
    // Keys first: a column of the written primary key is NOT NULL.
    for (const ZELKey* key : table.keys()) {
      if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      if (!key->isInstanceOf(ZEL_ET_CANDIDATE_KEY)) continue;
      const auto* candidate = static_cast<const ZELCandidateKey*>(key);
      const std::vector<const ZELAttribute*> keyColumns(key->attributes().begin(),
                                                        key->attributes().end());
      const std::string problem = keyProblem(table, t, keyColumns);
      const bool primary = table.getPrimaryKey() == candidate;
      if (!problem.empty()) {
        notWritten(
            keyNotes,
            std::string(primary ? "primary key " : "key ") + quoted(t, key) + " of " + tableRef(t),
            problem);
        continue;
      }
      if (primary) {
        keys.primary = candidate;
      } else if (candidate->uniqueKey) {
        keys.unique.push_back(candidate);
      } else {
        keys.indexed.push_back(candidate);
      }
    }
  }

  void writeTable(const ZELClass& table, size_t t) {
    const std::vector<const ZELAttribute*> columns = columnsOf(table);
    body_ += "\n";
    const std::string description = validUtf8(bytesOf(table.getDescription()));
    if (!created_[t]) {
      notWritten(body_, "table " + tableRef(t),
                 "a table needs at least one column in " + std::string(dialect_.name()));
      return;
    }
    if (names_.table(t).renamed) {
      body_ += "-- Table " + shown(table.getName()) + " of the extract\n";
    }
    if (!description.empty()) body_ += dialect_.tableDescriptionBefore(description);

    // A column of the written primary key is NOT NULL.
    TableKeys& keys = plannedKeys_[t];
    // A key has few columns: a sorted array of them, not a hash set.
    std::vector<const ZELAttribute*> primaryColumns;
    if (keys.primary != nullptr) {
      primaryColumns.assign(keys.primary->attributes().begin(), keys.primary->attributes().end());
      std::sort(primaryColumns.begin(), primaryColumns.end(), std::less<const ZELAttribute*>());
    }
    const auto inPrimaryKey = [&primaryColumns](const ZELAttribute* column) {
      return std::binary_search(primaryColumns.begin(), primaryColumns.end(), column,
                                std::less<const ZELAttribute*>());
    };
    if (dialect_.foreignKeysInCreateTable()) collectForeignKeys(table, t, keys.foreignKeyClauses);

    body_ += keys.notes;
    body_ += "CREATE TABLE " + tableRef(t) + " (\n";
    std::vector<std::string> lines;  // each with its trailing comment, if any
    std::vector<std::string> comments;
    std::vector<SqlDialect::ColumnDescription> described;
    for (const ZELAttribute* column : columns) {
      const SqlType& type = typeOf(column);
      const SqlName& columnName = names_.column(t, column);
      std::string line = "  " + columnName.quoted + " " + type.text;
      if (!column->isOptional() || inPrimaryKey(column)) line += " NOT NULL";
      std::string note = type.note;
      if (columnName.renamed) {
        note += std::string(note.empty() ? "" : "; ") + "column " + shown(column->getName()) +
                " of the extract";
      }
      const std::string columnDescription = validUtf8(bytesOf(column->getDescription()));
      if (!columnDescription.empty()) {
        const CarriedDescription carried = dialect_.columnDescriptionClause(columnDescription);
        line += carried.clause;
        if (!carried.note.empty()) note += std::string(note.empty() ? "" : "; ") + carried.note;
        described.push_back({columnName.quoted, columnDescription});
      }
      lines.push_back(line);
      comments.push_back(note);
    }
    if (keys.primary != nullptr) {
      const std::vector<const ZELAttribute*> keyColumns(keys.primary->attributes().begin(),
                                                        keys.primary->attributes().end());
      // No constraint name where the engine names every primary key itself.
      lines.push_back(
          std::string("  ") +
          (dialect_.primaryKeyName().empty() ? "CONSTRAINT " + quoted(t, keys.primary) + " " : "") +
          "PRIMARY KEY (" + columnList(t, keyColumns) + ")");
      comments.emplace_back();
    }
    for (const ZELCandidateKey* key : keys.unique) {
      const std::vector<const ZELAttribute*> keyColumns(key->attributes().begin(),
                                                        key->attributes().end());
      lines.push_back("  CONSTRAINT " + quoted(t, key) + " UNIQUE (" + columnList(t, keyColumns) +
                      ")");
      comments.emplace_back();
    }
    for (const std::string& clause : keys.foreignKeyClauses) {
      lines.push_back(clause);
      comments.emplace_back();
    }
    for (size_t i = 0; i < lines.size(); ++i) {
      body_ += lines[i];
      if (i + 1 < lines.size()) body_ += ",";
      if (!comments[i].empty()) body_ += "  -- " + commentText(comments[i]);
      body_ += "\n";
    }
    const CarriedDescription carried =
        description.empty() ? CarriedDescription() : dialect_.tableDescriptionClause(description);
    body_ +=
        ")" + carried.clause + ";" + (carried.note.empty() ? "" : "  -- " + carried.note) + "\n";
    if (!description.empty() || !described.empty()) {
      body_ += dialect_.descriptionStatements(tableRef(t), description, described);
    }

    for (const ZELCandidateKey* key : keys.indexed) {
      std::vector<IndexMember> members;
      for (const ZELAttribute* column : key->attributes()) members.push_back({column, false, 0});
      writeIndex(t, quoted(t, key), members, false);
    }
    writeIndexes(table, t);
    if (!dialect_.foreignKeysInCreateTable()) {
      std::vector<std::string> unused;
      collectForeignKeys(table, t, unused);
    }
  }

  struct IndexMember {
    const ZELAttribute* column;
    bool descending;
    unsigned prefix;  // MySQL: the length of the prefix indexed; 0: the whole value
  };

  // The index `name` (quoted) on table t.
  void writeIndex(size_t t, const std::string& name, const std::vector<IndexMember>& members,
                  bool unique) {
    std::string list;
    for (const IndexMember& member : members) {
      list += list.empty() ? "" : ", ";
      list += quoted(t, member.column);
      if (member.prefix != 0) list += "(" + std::to_string(member.prefix) + ")";
      if (member.descending) list += " DESC";
    }
    body_ += std::string("CREATE ") + (unique ? "UNIQUE " : "") + "INDEX " + name + " ON " +
             tableRef(t) + " (" + list + ");\n";
  }

  // The catalog's own indexes (index-only keys of the extract).
  void writeIndexes(const ZELClass& table, size_t t) {
    for (const ZELIndex* index : catalogIndexes(table)) {
      std::vector<const ZELAttribute*> columns;
      for (const ZELIndexMember* member : index->members()) {
        columns.push_back(member->getAttribute());
      }
      std::vector<unsigned> prefixes;
      const std::string& name = names_.index(t, index).quoted;
      const std::string problem = keyProblem(
          table, t, columns, index->indexFlag1 ? KeyUse::kUnique : KeyUse::kPlainIndex, &prefixes);
      if (!problem.empty()) {
        notWritten(body_, "index " + name + " of " + tableRef(t), problem);
        continue;
      }
      std::vector<IndexMember> members;
      for (const ZELIndexMember* member : index->members()) {
        members.push_back(
            {member->getAttribute(), member->sortOrder == 2, prefixes[members.size()]});
      }
      writeIndex(t, name, members, index->indexFlag1);
    }
  }

  // Writes the table's foreign keys: clauses inside CREATE TABLE go into
  // `clauses`, ALTER TABLE statements into the script's last part.
  void collectForeignKeys(const ZELClass& table, size_t t, std::vector<std::string>& clauses) {
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      const auto& foreignKey = static_cast<const ZELForeignKey&>(*key);
      std::vector<const ZELAttribute*> columns, referencedColumns;
      size_t referenced = 0;
      const std::string problem =
          foreignKeyProblem(table, t, foreignKey, columns, referencedColumns, referenced);
      if (!problem.empty()) {
        notWritten(dialect_.foreignKeysInCreateTable() ? body_ : foreignKeys_,
                   "foreign key " + quoted(t, key) + " of " + tableRef(t), problem);
        continue;
      }
      const std::string clause = "CONSTRAINT " + quoted(t, key) + " FOREIGN KEY (" +
                                 columnList(t, columns) + ") REFERENCES " + tableRef(referenced) +
                                 " (" + columnList(referenced, referencedColumns) + ")";
      if (dialect_.foreignKeysInCreateTable()) {
        clauses.push_back("  " + clause);
      } else {
        foreignKeys_ += "ALTER TABLE " + tableRef(t) + " ADD " + clause + ";\n";
      }
    }
  }

  // Whether the script writes `key`, a key of table t.
  bool isWritten(size_t t, const ZELCandidateKey* key) const {
    const TableKeys& keys = plannedKeys_[t];
    return keys.primary == key ||
           std::find(keys.unique.begin(), keys.unique.end(), key) != keys.unique.end() ||
           std::find(keys.indexed.begin(), keys.indexed.end(), key) != keys.indexed.end();
  }

  // Why the foreign key of table t cannot be written, or "" with its column
  // pairs and the position of the referenced table.
  std::string foreignKeyProblem(const ZELClass& table, size_t t, const ZELForeignKey& key,
                                std::vector<const ZELAttribute*>& columns,
                                std::vector<const ZELAttribute*>& referencedColumns,
                                size_t& referencedAt) {
    const ZELCandidateKey* referencedKey = key.getCandidateKey();
    if (referencedKey == nullptr) return "it is not linked to a referenced key";
    const ZELClass* referenced = referencedKey->getAssociatedClass();
    const long position = referenced != nullptr ? names_.positionOf(referenced) : -1;
    if (position < 0 || !created_[static_cast<size_t>(position)]) {
      return "the referenced table is not in the script";
    }
    referencedAt = static_cast<size_t>(position);
    if (!isWritten(referencedAt, referencedKey)) {
      return "the referenced key " + quoted(referencedAt, referencedKey) + " is not in the script";
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
      sameColumns = std::is_permutation(referencedColumns.begin(), referencedColumns.end(),
                                        keyColumns.begin());
    }
    if (!sameColumns) {
      return "its referenced columns are not those of key " + quoted(referencedAt, referencedKey) +
             (needsIndexes ? " in their order" : "");
    }
    const size_t repeat = firstRepeat(columns);
    for (size_t i = 0; i < columns.size(); ++i) {
      if (i == repeat) {
        return "column " + quoted(t, columns[i]) + " appears twice";
      }
      const SqlType& own = typeOf(columns[i]);
      const SqlType& other = typeOf(referencedColumns[i]);
      if (own.pairClass != other.pairClass) {
        return "column " + quoted(t, columns[i]) + " (" + own.text + ") cannot reference column " +
               quoted(referencedAt, referencedColumns[i]) + " (" + other.text + ") in " +
               std::string(dialect_.name());
      }
    }
    // The referencing columns are indexed too.
    if (needsIndexes) return keyProblem(table, t, columns, KeyUse::kForeignKey);
    return "";
  }

  void writeView(const ZELSQLViewEntity& view, const ZELPackage& schema, size_t s) {
    body_ += "\n-- View " + schemaShown(schema, s) + shown(view.getName()) +
             ": the extract holds no definition, so it is not created.\n";
    const std::string description = commentText(bytesOf(view.getDescription()));
    if (!description.empty()) body_ += "--   " + description + "\n";
    for (const ZELAttribute* column : columnsOf(view)) {
      body_ += "--   column " + std::to_string(column->getPosition()) + " " +
               shown(column->getName()) + " " + typeOf(column).text + "\n";
    }
  }

  void writeProcedure(const ZELStoredProcedure& procedure, const ZELPackage& schema, size_t s) {
    body_ += "\n-- Procedure " + schemaShown(schema, s) + shown(procedure.getName()) +
             ": the extract holds no body, so it is not created.\n";
    const std::string description = commentText(bytesOf(procedure.getDescription()));
    if (!description.empty()) body_ += "--   " + description + "\n";
    for (const ZELArgument* argument : procedure.arguments()) {
      body_ += "--   argument " + std::to_string(argument->getPosition()) + " " +
               shown(argument->getName()) + " " + typeOfArgument(*argument) + "\n";
    }
  }

  std::string typeOfArgument(const ZELArgument& argument) const {
    const ZELType* type = argument.getType();
    if (type == nullptr || !type->isInstanceOf(ZEL_ET_DERIVED_TYPE)) return "(no type)";
    const auto& derived = static_cast<const ZELDerivedType&>(*type);
    return dialect_
        .type(bytesOf(derived.DataType), derived.getLength(), derived.getScale(),
              bytesOf(derived.NativeDataType))
        .text;
  }

  std::string header(const std::string& toolVersion, const std::vector<SchemaOfCatalog>& schemas) {
    std::string text;
    const auto line = [&](const std::string& content) { text += "-- " + content + "\n"; };
    line("SQL DDL written by pcd-import" +
         (toolVersion.empty() ? std::string() : " " + commentText(toolVersion)));
    line("Source file: " + commentText(source_.sourceFile));
    line("Model: " + commentText(bytesOf(source_.model.getName())));
    line("Dialect: " + std::string(dialect_.name()) +
         (nativeTypes_ ? ", with the extract's native type names" : ""));
    line("Schemas: " + std::to_string(schemas.size()));
    line(std::string(dialect_.schemaPlacement()));
    line("Names: bytes that are not UTF-8 become U+FFFD; an empty name gets a generated one;");
    const ReservedNames& reserved = dialect_.reservedNames();
    std::string kept;
    for (const std::string_view name : reserved.systemSchemas)
      kept += (kept.empty() ? "" : ", ") + std::string(name);
    const std::string schemaKinds = std::string(dialect_.schemaKind()) + "s";
    if (!kept.empty()) kept = "the " + schemaKinds + " " + kept;
    if (!reserved.prefix.empty()) {
      kept += (kept.empty() ? "" : " and ") +
              (hasSchemas() ? schemaKinds + " and tables" : std::string("tables")) + " named " +
              std::string(reserved.prefix) + "...";
    }
    line("a name the engine keeps for itself gets an x in front (" + kept + ");");
    if (!reserved.usersSchema.empty()) {
      line("a schema named " + std::string(reserved.usersSchema) +
           " is the database's own: created if missing, used as it is;");
    }
    line("a name taken in its scope (schema names across catalogs included) gets _2, _3, ...;");
    line("a name over the dialect's length limit is cut and ends in a hash of the whole name.");
    line("Not carried: view definitions and procedure bodies (listed as comments);");
    line("the sort order of key columns; referential actions and deferrability;");
    line("the catalogs' server types; design packages and associations.");
    line("What a dialect cannot take is a comment marked NOT WRITTEN that says why;");
    line("their count is at the end.");
    text += dialect_.scriptStart();
    return text;
  }

  const ModelSource& source_;
  const SqlDialect& dialect_;
  bool nativeTypes_;
  const SqlNames& names_;
  std::FILE* out_ = nullptr;
  std::string body_;  // written out a table at a time
  std::string foreignKeys_;
  unsigned notWrittenCount_ = 0;
  // By table position, in the order the names were given.
  std::vector<bool> created_;
  std::vector<TableKeys> plannedKeys_;
  std::unordered_map<const ZELType*, SqlType> types_;  // the model's few types
};

class SqlModelWriter final : public ModelWriter {
 public:
  SqlModelWriter(const SqlDialect& dialect, bool nativeTypes, std::string toolVersion)
      : dialect_(dialect), nativeTypes_(nativeTypes), toolVersion_(std::move(toolVersion)) {}
  std::string write(const ModelSource& source, OutputSink& sink) override {
    std::FILE* out = sink.file("");
    if (out == nullptr) return "out of memory";
    return detail::writeSqlScript(source, dialect_, nativeTypes_, toolVersion_, out);
  }

 private:
  const SqlDialect& dialect_;
  bool nativeTypes_;
  std::string toolVersion_;
};

}  // namespace

std::string detail::writeSqlScript(const ModelSource& source, const SqlDialect& dialect,
                                   bool nativeTypes, const std::string& toolVersion,
                                   std::FILE* out) {
  // Every name is settled before the first byte: a model that cannot be
  // written leaves the stream untouched.
  SqlNames names;
  const std::string error = names.assign(source.model, dialect);
  if (error.empty()) ScriptBuilder(source, dialect, nativeTypes, names).build(toolVersion, out);
  return error;
}

std::unique_ptr<ModelWriter> makeSqlModelWriter(const WriterOptions& options) {
  // The command line checked the name.
  const SqlDialect* dialect = findSqlDialect(options.dialect);
  return std::make_unique<SqlModelWriter>(dialect != nullptr ? *dialect : *sqlDialects().front(),
                                          options.nativeTypes, options.toolVersion);
}

}  // namespace pcd::writers
