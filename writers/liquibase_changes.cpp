#include "liquibase_changes.h"

#include <cctype>

#include "catalog_view.h"
#include "sql/sql_text.h"
#include "string_bytes.h"
#include "yaml_plain_word.h"

namespace pcd::writers {

namespace {

constexpr const char* kAuthor = "pcd-import";
constexpr const char* kNotWritten = "# NOT WRITTEN: ";

const ZELCandidateKey* inlineKeyOf(const ZELAttribute* column,
                                   const std::vector<const ZELCandidateKey*>& keys) {
  for (const ZELCandidateKey* key : keys) {
    for (const ZELAttribute* member : key->attributes()) {
      if (member == column) return key;
    }
  }
  return nullptr;
}

const std::pair<const ZELForeignKey*, ForeignKeyColumns>* inlineForeignKeyOf(
    const ZELAttribute* column,
    const std::vector<std::pair<const ZELForeignKey*, ForeignKeyColumns>>& keys) {
  for (const auto& key : keys) {
    if (key.second.columns.front() == column) return &key;
  }
  return nullptr;
}

bool inTableOrder(const std::vector<const ZELAttribute*>& members,
                  const std::vector<const ZELAttribute*>& columns) {
  size_t at = 0;
  for (const ZELAttribute* column : columns) {
    if (at < members.size() && members[at] == column) ++at;
  }
  return at == members.size();
}

}  // namespace

std::string LiquibaseChanges::refusal() {
  for (const SchemaOfCatalog& entry : ddl_.schemas()) {
    name(entry.schema);
    for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
      const auto& table = static_cast<const ZELClass&>(*object);
      name(&table);
      for (const ZELAttribute* column : columnsInPositionOrder(table)) name(column);
      for (const ZELKey* key : table.keys()) name(key);
      for (const ZELIndex* index : catalogIndexes(table)) name(index);
    }
  }
  return refused_;
}

// --- changesets --------------------------------------------------------------

void LiquibaseChanges::beginChangeSet(YAML::Emitter& out, const std::string& id) {
  out.SetOutputCharset(YAML::EscapeNonAscii);
  out << YAML::BeginSeq << YAML::BeginMap << YAML::Key << YamlWord{"changeSet"} << YAML::Value
      << YAML::BeginMap;
  text(out, "id", id);
  text(out, "author", kAuthor);
  out << YAML::Key << YamlWord{"objectQuotingStrategy"} << YAML::Value
      << YamlWord{"QUOTE_ALL_OBJECTS"};
  out << YAML::Key << YamlWord{"changes"} << YAML::Value << YAML::BeginSeq;
}

void LiquibaseChanges::endChangeSet(YAML::Emitter& out, std::string& into) {
  out << YAML::EndSeq << YAML::EndMap << YAML::EndMap << YAML::EndSeq;
  into += out.c_str();
  into += "\n";
}

void LiquibaseChanges::notWritten(std::string& out, const std::string& what,
                                  const std::string& why) {
  out += kNotWritten + commentText(what + ": " + why) + "\n";
}

void LiquibaseChanges::comment(std::string& out, const std::string& line) {
  out += "# " + commentText(line) + "\n";
}

void LiquibaseChanges::writeTable(const ZELClass& table, std::string& body,
                                  std::string& foreignKeys) {
  const std::string ref = ddl_.tableRef(&table);
  if (!ddl_.isCreated(&table)) {
    notWritten(body, "table " + ref,
               "a table needs at least one column in " + std::string(dialect_.name()));
    return;
  }
  const std::vector<const ZELAttribute*> columns = columnsInPositionOrder(table);
  const TableDdl::TableKeys& keys = ddl_.keysOf(&table);
  for (const TableDdl::Skipped& key : keys.skipped) notWritten(body, key.what, key.why);
  std::unordered_set<const ZELAttribute*> notNull;
  for (const ZELAttribute* column : columns) {
    if (!column->isOptional()) notNull.insert(column);
  }
  if (keys.primary != nullptr) {
    notNull.insert(keys.primary->attributes().begin(), keys.primary->attributes().end());
  }
  const bool withTable = dialect_.foreignKeysInCreateTable();  // SQLite: keys inside createTable
  std::vector<const ZELCandidateKey*> inlineKeys, laterKeys;
  const auto placeKey = [&](const ZELCandidateKey* key, bool primary) {
    const std::vector<const ZELAttribute*> members(key->attributes().begin(),
                                                   key->attributes().end());
    if (!listable(members)) {
      notWritten(body,
                 std::string(primary ? "primary key " : "key ") + std::string(ddl_.quoted(key)) +
                     " of " + ref,
                 unlistable());
    } else if (!withTable) {
      laterKeys.push_back(key);
    } else if (primary ? !inTableOrder(members, columns) : members.size() != 1) {
      notWritten(body,
                 std::string(primary ? "primary key " : "key ") + std::string(ddl_.quoted(key)) +
                     " of " + ref,
                 primary ? "Liquibase makes a primary key inside the table in column order"
                         : "Liquibase makes unique constraints of one column only inside "
                           "the table");
    } else {
      inlineKeys.push_back(key);
    }
  };
  if (keys.primary != nullptr) placeKey(keys.primary, true);
  for (const ZELCandidateKey* key : keys.unique) placeKey(key, false);
  std::vector<std::pair<const ZELForeignKey*, ForeignKeyColumns>> inlineFks;
  for (const ZELKey* key : table.keys()) {
    if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
    const auto& foreignKey = static_cast<const ZELForeignKey&>(*key);
    ForeignKeyColumns pairs;
    std::string problem =
        ddl_.foreignKeyProblem(table, foreignKey, pairs.columns, pairs.referenced);
    if (problem.empty() && !(listable(pairs.columns) && listable(pairs.referenced))) {
      problem = unlistable();
    }
    if (problem.empty() && withTable && pairs.columns.size() != 1) {
      problem = "Liquibase makes foreign keys of one column only inside the table";
    }
    const std::string what = "foreign key " + std::string(ddl_.quoted(key)) + " of " + ref;
    if (!problem.empty()) {
      notWritten(withTable ? body : foreignKeys, what, problem);
    } else if (withTable) {
      inlineFks.emplace_back(&foreignKey, std::move(pairs));
    } else {
      YAML::Emitter out;
      beginChangeSet(out, what);
      addForeignKeyConstraint(out, table, foreignKey, pairs);
      endChangeSet(out, foreignKeys);
    }
  }

  YAML::Emitter out;
  beginChangeSet(out, "table " + ref);
  createTable(out, table, columns, notNull, inlineKeys, inlineFks);
  for (const ZELCandidateKey* key : laterKeys) {
    if (key == keys.primary) {
      addPrimaryKey(out, table, *key);
    } else {
      addUniqueConstraint(out, table, *key);
    }
  }
  std::string notes;
  for (const ZELCandidateKey* key : keys.indexed) {
    std::vector<TableDdl::IndexMember> members;
    for (const ZELAttribute* column : key->attributes()) members.push_back({column, false, 0});
    createIndex(out, table, *key, members, false);
  }
  for (const ZELIndex* index : catalogIndexes(table)) {
    std::vector<TableDdl::IndexMember> members;
    const std::string problem = ddl_.indexMembers(table, *index, members);
    if (!problem.empty()) {
      notWritten(notes, "index " + std::string(ddl_.quoted(index)) + " of " + ref, problem);
      continue;
    }
    createIndex(out, table, *index, members, index->indexFlag1);
  }
  body += notes;
  endChangeSet(out, body);
}

// --- change kinds --------------------------------------------------------------

void LiquibaseChanges::sqlChange(YAML::Emitter& out, std::string statements) {
  // Without the last statement's end: Liquibase adds its own.
  while (!statements.empty() && (statements.back() == '\n' || statements.back() == ';')) {
    statements.pop_back();
  }
  out << YAML::BeginMap << YAML::Key << YamlWord{"sql"} << YAML::Value << YAML::BeginMap;
  text(out, "sql", statements);
  out << YAML::Key << YamlWord{"splitStatements"} << YAML::Value << false;
  out << YAML::Key << YamlWord{"stripComments"} << YAML::Value << false;
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::createTable(
    YAML::Emitter& out, const ZELClass& table, const std::vector<const ZELAttribute*>& columns,
    const std::unordered_set<const ZELAttribute*>& notNull,
    const std::vector<const ZELCandidateKey*>& inlineKeys,
    const std::vector<std::pair<const ZELForeignKey*, ForeignKeyColumns>>& inlineFks) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"createTable"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table);
  const std::string description = remarks(table, false);
  if (!description.empty()) text(out, "remarks", description);
  out << YAML::Key << YamlWord{"columns"} << YAML::Value << YAML::BeginSeq;
  for (const ZELAttribute* column : columns) {
    out << YAML::BeginMap << YAML::Key << YamlWord{"column"} << YAML::Value << YAML::BeginMap;
    text(out, "name", name(column));
    text(out, "type", ddl_.typeOf(column).text);
    const std::string columnRemarks = remarks(*column, true);
    if (!columnRemarks.empty()) text(out, "remarks", columnRemarks);
    const ZELCandidateKey* key = inlineKeyOf(column, inlineKeys);
    const auto fk = inlineForeignKeyOf(column, inlineFks);
    if (notNull.count(column) || key != nullptr || fk != nullptr) {
      out << YAML::Key << YamlWord{"constraints"} << YAML::Value << YAML::BeginMap;
      if (notNull.count(column)) out << YAML::Key << YamlWord{"nullable"} << YAML::Value << false;
      if (key != nullptr && key == table.getPrimaryKey()) {
        out << YAML::Key << YamlWord{"primaryKey"} << YAML::Value << true;
        text(out, "primaryKeyName", name(key));
      } else if (key != nullptr) {
        out << YAML::Key << YamlWord{"unique"} << YAML::Value << true;
        text(out, "uniqueConstraintName", name(key));
      }
      if (fk != nullptr) {
        text(out, "foreignKeyName", name(fk->first));
        const ZELClass* referenced = fk->first->getCandidateKey()->getAssociatedClass();
        text(out, "referencedTableName", name(referenced));
        text(out, "referencedColumnNames", name(fk->second.referenced.front()));
      }
      out << YAML::EndMap;
    }
    out << YAML::EndMap << YAML::EndMap;
  }
  out << YAML::EndSeq << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::addPrimaryKey(YAML::Emitter& out, const ZELClass& table,
                                     const ZELCandidateKey& key) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"addPrimaryKey"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table);
  text(out, "columnNames", columnNames(key));
  // Not where the engine names every primary key itself.
  if (dialect_.primaryKeyName().empty()) text(out, "constraintName", name(&key));
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::addUniqueConstraint(YAML::Emitter& out, const ZELClass& table,
                                           const ZELCandidateKey& key) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"addUniqueConstraint"} << YAML::Value
      << YAML::BeginMap;
  tableNames(out, table);
  text(out, "columnNames", columnNames(key));
  text(out, "constraintName", name(&key));
  out << YAML::EndMap << YAML::EndMap;
}

// A prefix (MySQL) is written as the column's quoted name with its length,
// which Liquibase takes as an expression.
void LiquibaseChanges::createIndex(YAML::Emitter& out, const ZELClass& table,
                                   const ZELObject& index,
                                   const std::vector<TableDdl::IndexMember>& members, bool unique) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"createIndex"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table);
  text(out, "indexName", name(&index));
  if (unique) out << YAML::Key << YamlWord{"unique"} << YAML::Value << true;
  out << YAML::Key << YamlWord{"columns"} << YAML::Value << YAML::BeginSeq;
  for (const TableDdl::IndexMember& member : members) {
    out << YAML::BeginMap << YAML::Key << YamlWord{"column"} << YAML::Value << YAML::BeginMap;
    if (member.prefix != 0) {
      text(out, "name",
           std::string(ddl_.quoted(member.column)) + "(" + std::to_string(member.prefix) + ")");
      out << YAML::Key << YamlWord{"computed"} << YAML::Value << true;
    } else {
      text(out, "name", name(member.column));
    }
    if (member.descending) out << YAML::Key << YamlWord{"descending"} << YAML::Value << true;
    out << YAML::EndMap << YAML::EndMap;
  }
  out << YAML::EndSeq << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::addForeignKeyConstraint(YAML::Emitter& out, const ZELClass& table,
                                               const ZELForeignKey& key,
                                               const ForeignKeyColumns& pairs) {
  const ZELClass& referenced = *key.getCandidateKey()->getAssociatedClass();
  out << YAML::BeginMap << YAML::Key << YamlWord{"addForeignKeyConstraint"} << YAML::Value
      << YAML::BeginMap;
  text(out, "constraintName", name(&key));
  tableNames(out, table, "baseTableSchemaName", "baseTableName");
  text(out, "baseColumnNames", nameList(pairs.columns));
  tableNames(out, referenced, "referencedTableSchemaName", "referencedTableName");
  text(out, "referencedColumnNames", nameList(pairs.referenced));
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::dropForeignKeyConstraint(YAML::Emitter& out, const ZELClass& table,
                                                const ZELObject& key) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"dropForeignKeyConstraint"} << YAML::Value
      << YAML::BeginMap;
  tableNames(out, table, "baseTableSchemaName", "baseTableName");
  text(out, "constraintName", name(&key));
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::dropIndex(YAML::Emitter& out, const ZELClass& table,
                                 const ZELObject& index) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"dropIndex"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table);
  text(out, "indexName", name(&index));
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::dropKey(YAML::Emitter& out, const ZELClass& table, const ZELObject& key,
                               bool primary) {
  out << YAML::BeginMap << YAML::Key
      << YamlWord{primary ? "dropPrimaryKey" : "dropUniqueConstraint"} << YAML::Value
      << YAML::BeginMap;
  tableNames(out, table);
  if (!primary || dialect_.primaryKeyName().empty()) text(out, "constraintName", name(&key));
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::dropTable(YAML::Emitter& out, const ZELClass& table) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"dropTable"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table);
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::renameTable(YAML::Emitter& out, const ZELClass& table,
                                   const std::string& newName) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"renameTable"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table, "schemaName", "oldTableName");
  text(out, "newTableName", newName);
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::renameColumn(YAML::Emitter& out, const ZELClass& table,
                                    const std::string& oldName, const ZELAttribute& column) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"renameColumn"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table);
  text(out, "oldColumnName", oldName);
  text(out, "newColumnName", name(&column));
  text(out, "columnDataType", ddl_.typeOf(&column).text);
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::dropColumn(YAML::Emitter& out, const ZELClass& table,
                                  const std::string& columnName) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"dropColumn"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table);
  text(out, "columnName", columnName);
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::addColumn(YAML::Emitter& out, const ZELClass& table,
                                 const ZELAttribute& column) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"addColumn"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table);
  out << YAML::Key << YamlWord{"columns"} << YAML::Value << YAML::BeginSeq;
  out << YAML::BeginMap << YAML::Key << YamlWord{"column"} << YAML::Value << YAML::BeginMap;
  text(out, "name", name(&column));
  text(out, "type", ddl_.typeOf(&column).text);
  const std::string columnRemarks = remarks(column, true);
  if (!columnRemarks.empty()) text(out, "remarks", columnRemarks);
  if (dialect_.placesAddedColumns()) {
    const std::vector<const ZELAttribute*> columns = columnsInPositionOrder(table);
    size_t at = 0;
    while (at < columns.size() && columns[at] != &column) ++at;
    if (at > 0) {
      text(out, "afterColumn", name(columns[at - 1]));
    } else if (columns.size() > 1) {
      text(out, "beforeColumn", name(columns[1]));
    }
  }
  out << YAML::EndMap << YAML::EndMap << YAML::EndSeq << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::modifyDataType(YAML::Emitter& out, const ZELClass& table,
                                      const ZELAttribute& column) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"modifyDataType"} << YAML::Value << YAML::BeginMap;
  tableNames(out, table);
  text(out, "columnName", name(&column));
  text(out, "newDataType", ddl_.typeOf(&column).text);
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::notNullConstraint(YAML::Emitter& out, const ZELClass& table,
                                         const ZELAttribute& column, bool add) {
  out << YAML::BeginMap << YAML::Key
      << YamlWord{add ? "addNotNullConstraint" : "dropNotNullConstraint"} << YAML::Value
      << YAML::BeginMap;
  tableNames(out, table);
  text(out, "columnName", name(&column));
  text(out, "columnDataType", ddl_.typeOf(&column).text);
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::setColumnRemarks(YAML::Emitter& out, const ZELClass& table,
                                        const ZELAttribute& column) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"setColumnRemarks"} << YAML::Value
      << YAML::BeginMap;
  tableNames(out, table);
  text(out, "columnName", name(&column));
  text(out, "remarks", remarks(column, true));
  text(out, "columnDataType", ddl_.typeOf(&column).text);
  out << YAML::EndMap << YAML::EndMap;
}

void LiquibaseChanges::setTableRemarks(YAML::Emitter& out, const ZELClass& table) {
  out << YAML::BeginMap << YAML::Key << YamlWord{"setTableRemarks"} << YAML::Value
      << YAML::BeginMap;
  tableNames(out, table);
  text(out, "remarks", remarks(table, false));
  out << YAML::EndMap << YAML::EndMap;
}

// --- names -------------------------------------------------------------------

// The object's name in the changelog. Liquibase quotes every name with the
// dialect's quote character but doubles an embedded one as "": a name
// holding a quote character other than " (MySQL's `) would change, and the
// first such name is kept as the reason the changelog is refused.
std::string_view LiquibaseChanges::name(const ZELObject* object) {
  const std::string_view text = ddl_.name(object);
  const char quote = dialect_.quoteIdentifier("").front();
  if (quote != '"' && refused_.empty() && text.find(quote) != std::string_view::npos) {
    refused_ = "Liquibase cannot write the name " + dialect_.quoteIdentifier(text) + " in " +
               std::string(dialect_.name()) + ": it quotes a " + quote +
               " in a name as \"\", which changes the name";
  }
  return text;
}

// Liquibase splits column lists at commas and trims blanks: a name holding a
// comma or starting or ending with a blank cannot be listed.
bool LiquibaseChanges::listable(const std::vector<const ZELAttribute*>& columns) const {
  for (const ZELAttribute* column : columns) {
    const std::string_view text = ddl_.name(column);
    if (text.find(',') != std::string_view::npos ||
        std::isspace(static_cast<unsigned char>(text.front())) ||
        std::isspace(static_cast<unsigned char>(text.back()))) {
      return false;
    }
  }
  return true;
}

const char* LiquibaseChanges::unlistable() {
  return "Liquibase cannot list a column whose name holds a comma or starts or ends with a blank";
}

void LiquibaseChanges::text(YAML::Emitter& out, const char* key, std::string_view value) {
  out << YAML::Key << YamlWord{key} << YAML::Value << YAML::DoubleQuoted << std::string(value);
}

// The table's schema (where the dialect has schemas) and name, under the
// keys the change names them by.
void LiquibaseChanges::tableNames(YAML::Emitter& out, const ZELClass& table, const char* schemaKey,
                                  const char* tableKey) {
  if (ddl_.hasSchemas()) text(out, schemaKey, name(ddl_.schemaOf(&table)));
  text(out, tableKey, name(&table));
}

std::string LiquibaseChanges::nameList(const std::vector<const ZELAttribute*>& columns) {
  std::string list;
  for (const ZELAttribute* column : columns) {
    list += list.empty() ? "" : ", ";
    list += name(column);
  }
  return list;
}

std::string LiquibaseChanges::columnNames(const ZELKey& key) {
  return nameList({key.attributes().begin(), key.attributes().end()});
}

// The description as the dialect keeps it (MySQL's cut), or "".
std::string LiquibaseChanges::remarks(const ZELModelObject& object, bool column) const {
  const std::string description = validUtf8(bytesOf(object.getDescription()));
  return description.empty() ? description : dialect_.keptDescription(description, column);
}

}  // namespace pcd::writers
