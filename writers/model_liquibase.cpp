// The "liquibase" format: the whole model as a Liquibase changelog (YAML)
// for one SQL dialect, which builds the database the "sql" format's script
// of that dialect builds: the same names, types, keys, indexes, foreign
// keys and descriptions, and the same objects left out (as "# NOT WRITTEN"
// comments that say why). The decisions are the DDL plan's; this file only
// writes them as Liquibase changes.
//
// One changeset per schema (a "sql" change: Liquibase has no change that
// creates one), per table (createTable with its keys and indexes) and per
// foreign key (after every table). Ids are the objects' names as the
// dialect writes them, so they stay the same from run to run and when other
// tables are added; the author is always "pcd-import". Every changeset
// quotes all names, so that names keep their case and any character.
//
// SQLite cannot add keys to a table after it is made, and Liquibase offers
// only one-column unique and foreign-key constraints inside createTable:
// there, keys of several columns (and a primary key whose columns are not in
// table order) are left out with a note, as are keys naming a column that
// Liquibase's comma-separated lists cannot hold. Liquibase would change a
// name holding a quote character other than '"' (MySQL's backtick): such a
// model is refused.
//
// Scalars are YAML double-quoted with every non-ASCII character escaped,
// so that no name can read as YAML syntax or be changed by a reader's line
// breaking.
#include <yaml-cpp/yaml.h>

#include <cctype>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "catalog_view.h"
#include "model_writer.h"
#include "sql/sql_text.h"
#include "sql/table_ddl.h"
#include "string_bytes.h"

namespace pcd::writers {

namespace {

constexpr const char* kAuthor = "pcd-import";
constexpr const char* kNotWritten = "# NOT WRITTEN: ";
constexpr const char* kUnlistable =
    "Liquibase cannot list a column whose name holds a comma or starts or ends with a blank";

// A foreign key's columns and those of the key it references, in pair order.
struct ForeignKeyColumns {
  std::vector<const ZELAttribute*> columns;
  std::vector<const ZELAttribute*> referenced;
};

class ChangelogBuilder {
 public:
  ChangelogBuilder(const ModelSource& source, const SqlDialect& dialect, bool nativeTypes,
                   const SqlNames& names)
      : source_(source),
        dialect_(dialect),
        nativeTypes_(nativeTypes),
        names_(names),
        ddl_(source.model, dialect, nativeTypes, names) {}

  // Why the model cannot be written as a changelog, or "": every name the
  // changelog writes is checked before the first byte.
  std::string refusal() {
    for (const SchemaOfCatalog& entry : ddl_.schemas()) {
      name(entry.schema);
      for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
        const auto& table = static_cast<const ZELClass&>(*object);
        name(&table);
        for (const ZELAttribute* column : TableDdl::columnsOf(table)) name(column);
        for (const ZELKey* key : table.keys()) name(key);
        for (const ZELIndex* index : catalogIndexes(table)) name(index);
      }
    }
    return refused_;
  }

  // Writes the changelog to `out` as it goes, a table at a time; the
  // foreign keys at the end.
  void build(const std::string& toolVersion, std::FILE* out) {
    out_ = out;
    bool empty = true;  // Liquibase wants a list, even an empty one
    for (const SchemaOfCatalog& entry : ddl_.schemas()) {
      if (!dialect_.createSchema(ddl_.quoted(entry.schema), false).empty()) empty = false;
      for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
        if (ddl_.isCreated(static_cast<const ZELClass*>(object))) empty = false;
      }
    }
    std::string body = header(toolVersion);
    body += empty ? "databaseChangeLog: []\n" : "databaseChangeLog:\n";
    for (const SchemaOfCatalog& entry : ddl_.schemas()) writeSchema(entry, body);
    body += foreignKeys_;
    flush(body);
  }

  // --- change kinds: each writes one change into the open changeset --------

  void sqlChange(YAML::Emitter& out, const std::string& statements) {
    out << YAML::BeginMap << YAML::Key << "sql" << YAML::Value << YAML::BeginMap;
    text(out, "sql", statements);
    out << YAML::Key << "splitStatements" << YAML::Value << false;
    out << YAML::Key << "stripComments" << YAML::Value << false;
    out << YAML::EndMap << YAML::EndMap;
  }

  // Columns with their types, NOT NULL and descriptions; on SQLite also the
  // constraints that must be made with the table.
  void createTable(
      YAML::Emitter& out, const ZELClass& table, const std::vector<const ZELAttribute*>& columns,
      const std::unordered_set<const ZELAttribute*>& notNull,
      const std::vector<const ZELCandidateKey*>& inlineKeys,
      const std::vector<std::pair<const ZELForeignKey*, ForeignKeyColumns>>& inlineFks) {
    out << YAML::BeginMap << YAML::Key << "createTable" << YAML::Value << YAML::BeginMap;
    tableNames(out, table);
    const std::string description = validUtf8(bytesOf(table.getDescription()));
    if (!description.empty()) text(out, "remarks", dialect_.keptDescription(description, false));
    out << YAML::Key << "columns" << YAML::Value << YAML::BeginSeq;
    for (const ZELAttribute* column : columns) {
      out << YAML::BeginMap << YAML::Key << "column" << YAML::Value << YAML::BeginMap;
      text(out, "name", name(column));
      text(out, "type", ddl_.typeOf(column).text);
      const std::string remarks = validUtf8(bytesOf(column->getDescription()));
      if (!remarks.empty()) text(out, "remarks", dialect_.keptDescription(remarks, true));
      const ZELCandidateKey* key = inlineKeyOf(column, inlineKeys);
      const auto fk = inlineForeignKeyOf(column, inlineFks);
      if (notNull.count(column) || key != nullptr || fk != nullptr) {
        out << YAML::Key << "constraints" << YAML::Value << YAML::BeginMap;
        if (notNull.count(column)) out << YAML::Key << "nullable" << YAML::Value << false;
        if (key != nullptr && key == table.getPrimaryKey()) {
          out << YAML::Key << "primaryKey" << YAML::Value << true;
          text(out, "primaryKeyName", name(key));
        } else if (key != nullptr) {
          out << YAML::Key << "unique" << YAML::Value << true;
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

  void addPrimaryKey(YAML::Emitter& out, const ZELClass& table, const ZELCandidateKey& key) {
    out << YAML::BeginMap << YAML::Key << "addPrimaryKey" << YAML::Value << YAML::BeginMap;
    tableNames(out, table);
    text(out, "columnNames", columnNames(key));
    // Not where the engine names every primary key itself.
    if (dialect_.primaryKeyName().empty()) text(out, "constraintName", name(&key));
    out << YAML::EndMap << YAML::EndMap;
  }

  void addUniqueConstraint(YAML::Emitter& out, const ZELClass& table, const ZELCandidateKey& key) {
    out << YAML::BeginMap << YAML::Key << "addUniqueConstraint" << YAML::Value << YAML::BeginMap;
    tableNames(out, table);
    text(out, "columnNames", columnNames(key));
    text(out, "constraintName", name(&key));
    out << YAML::EndMap << YAML::EndMap;
  }

  // A prefix (MySQL) is written as the column's quoted name with its
  // length, which Liquibase takes as an expression.
  void createIndex(YAML::Emitter& out, const ZELClass& table, const ZELObject& index,
                   const std::vector<TableDdl::IndexMember>& members, bool unique) {
    out << YAML::BeginMap << YAML::Key << "createIndex" << YAML::Value << YAML::BeginMap;
    tableNames(out, table);
    text(out, "indexName", name(&index));
    if (unique) out << YAML::Key << "unique" << YAML::Value << true;
    out << YAML::Key << "columns" << YAML::Value << YAML::BeginSeq;
    for (const TableDdl::IndexMember& member : members) {
      out << YAML::BeginMap << YAML::Key << "column" << YAML::Value << YAML::BeginMap;
      if (member.prefix != 0) {
        text(out, "name", ddl_.quoted(member.column) + "(" + std::to_string(member.prefix) + ")");
        out << YAML::Key << "computed" << YAML::Value << true;
      } else {
        text(out, "name", name(member.column));
      }
      if (member.descending) out << YAML::Key << "descending" << YAML::Value << true;
      out << YAML::EndMap << YAML::EndMap;
    }
    out << YAML::EndSeq << YAML::EndMap << YAML::EndMap;
  }

  void addForeignKeyConstraint(YAML::Emitter& out, const ZELClass& table, const ZELForeignKey& key,
                               const ForeignKeyColumns& pairs) {
    const ZELClass& referenced = *key.getCandidateKey()->getAssociatedClass();
    out << YAML::BeginMap << YAML::Key << "addForeignKeyConstraint" << YAML::Value
        << YAML::BeginMap;
    text(out, "constraintName", name(&key));
    tableNames(out, table, "baseTableSchemaName", "baseTableName");
    text(out, "baseColumnNames", nameList(pairs.columns));
    tableNames(out, referenced, "referencedTableSchemaName", "referencedTableName");
    text(out, "referencedColumnNames", nameList(pairs.referenced));
    out << YAML::EndMap << YAML::EndMap;
  }

 private:
  // The object's name in the changelog. Liquibase quotes every name with the
  // dialect's quote character but doubles an embedded one as "": a name
  // holding a quote character other than " (MySQL's `) would change, and
  // the first such name is kept as the reason the changelog is refused.
  const std::string& name(const ZELObject* object) {
    const std::string& text = ddl_.name(object);
    const char quote = dialect_.quoteIdentifier("").front();
    if (quote != '"' && refused_.empty() && text.find(quote) != std::string::npos) {
      refused_ = "Liquibase cannot write the name " + dialect_.quoteIdentifier(text) + " in " +
                 std::string(dialect_.name()) + ": it quotes a " + quote +
                 " in a name as \"\", which changes the name";
    }
    return text;
  }

  static void text(YAML::Emitter& out, const char* key, const std::string& value) {
    out << YAML::Key << key << YAML::Value << YAML::DoubleQuoted << value;
  }

  // The table's schema (where the dialect has schemas) and name, under the
  // keys the change names them by.
  void tableNames(YAML::Emitter& out, const ZELClass& table, const char* schemaKey = "schemaName",
                  const char* tableKey = "tableName") {
    if (ddl_.hasSchemas()) text(out, schemaKey, name(ddl_.schemaOf(&table)));
    text(out, tableKey, name(&table));
  }

  // Liquibase splits these lists at commas and trims blanks: a name holding
  // a comma or starting or ending with a blank cannot be listed (the
  // changelog leaves such keys out).
  std::string nameList(const std::vector<const ZELAttribute*>& columns) {
    std::string list;
    for (const ZELAttribute* column : columns) {
      list += list.empty() ? "" : ", ";
      list += name(column);
    }
    return list;
  }
  std::string columnNames(const ZELKey& key) {
    return nameList({key.attributes().begin(), key.attributes().end()});
  }
  bool listable(const std::vector<const ZELAttribute*>& columns) const {
    for (const ZELAttribute* column : columns) {
      const std::string& text = ddl_.name(column);
      if (text.find(',') != std::string::npos ||
          std::isspace(static_cast<unsigned char>(text.front())) ||
          std::isspace(static_cast<unsigned char>(text.back()))) {
        return false;
      }
    }
    return true;
  }

  static const ZELCandidateKey* inlineKeyOf(const ZELAttribute* column,
                                            const std::vector<const ZELCandidateKey*>& keys) {
    for (const ZELCandidateKey* key : keys) {
      for (const ZELAttribute* member : key->attributes()) {
        if (member == column) return key;
      }
    }
    return nullptr;
  }
  static const std::pair<const ZELForeignKey*, ForeignKeyColumns>* inlineForeignKeyOf(
      const ZELAttribute* column,
      const std::vector<std::pair<const ZELForeignKey*, ForeignKeyColumns>>& keys) {
    for (const auto& key : keys) {
      if (key.second.columns.front() == column) return &key;
    }
    return nullptr;
  }

  void notWritten(std::string& out, const std::string& what, const std::string& why) {
    out += kNotWritten + commentText(what + ": " + why) + "\n";
  }
  void comment(std::string& out, const std::string& line) {
    out += "# " + commentText(line) + "\n";
  }

  // Starts a changeset: the emitter is then inside its list of changes.
  void beginChangeSet(YAML::Emitter& out, const std::string& id) {
    out.SetOutputCharset(YAML::EscapeNonAscii);
    out << YAML::BeginSeq << YAML::BeginMap << YAML::Key << "changeSet" << YAML::Value
        << YAML::BeginMap;
    text(out, "id", id);
    text(out, "author", kAuthor);
    out << YAML::Key << "objectQuotingStrategy" << YAML::Value << "QUOTE_ALL_OBJECTS";
    out << YAML::Key << "changes" << YAML::Value << YAML::BeginSeq;
  }
  void endChangeSet(YAML::Emitter& out, std::string& into) {
    out << YAML::EndSeq << YAML::EndMap << YAML::EndMap << YAML::EndSeq;
    into += out.c_str();
    into += "\n";
  }

  void flush(std::string& body) {
    std::fwrite(body.data(), 1, body.size(), out_);  // errors stay in the stream
    body.clear();
  }

  void writeSchema(const SchemaOfCatalog& entry, std::string& body) {
    const ZELPackage& schema = *entry.schema;
    comment(body, "Schema " + ddl_.shown(schema.getName()) + " of catalog " +
                      ddl_.shown(entry.catalog->getName()));
    std::string statements =
        dialect_.createSchema(ddl_.quoted(&schema), names_.isEngineSchema(&schema));
    if (!statements.empty()) {
      // Without the last statement's end: Liquibase adds its own.
      while (!statements.empty() && (statements.back() == '\n' || statements.back() == ';')) {
        statements.pop_back();
      }
      YAML::Emitter out;
      beginChangeSet(out, "schema " + ddl_.quoted(&schema));
      sqlChange(out, statements);
      endChangeSet(out, body);
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_CLASS)) {
      writeTable(*static_cast<const ZELClass*>(object), body);
      if (body.size() > (1u << 16)) flush(body);
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_SQL_VIEW_ENTITY)) {
      comment(body, "View " + ddl_.shown(schema.getName()) + "." + ddl_.shown(object->getName()) +
                        ": the extract holds no definition, so it is not created.");
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_STORED_PROCEDURE)) {
      comment(body, "Procedure " + ddl_.shown(schema.getName()) + "." +
                        ddl_.shown(object->getName()) +
                        ": the extract holds no body, so it is not created.");
    }
  }

  void writeTable(const ZELClass& table, std::string& body) {
    const std::string ref = ddl_.tableRef(&table);
    if (!ddl_.isCreated(&table)) {
      notWritten(body, "table " + ref,
                 "a table needs at least one column in " + std::string(dialect_.name()));
      return;
    }
    const std::vector<const ZELAttribute*> columns = TableDdl::columnsOf(table);
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
                   std::string(primary ? "primary key " : "key ") + ddl_.quoted(key) + " of " + ref,
                   kUnlistable);
      } else if (!withTable) {
        laterKeys.push_back(key);
      } else if (primary ? !inTableOrder(members, columns) : members.size() != 1) {
        notWritten(body,
                   std::string(primary ? "primary key " : "key ") + ddl_.quoted(key) + " of " + ref,
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
        problem = kUnlistable;
      }
      if (problem.empty() && withTable && pairs.columns.size() != 1) {
        problem = "Liquibase makes foreign keys of one column only inside the table";
      }
      const std::string what = "foreign key " + ddl_.quoted(key) + " of " + ref;
      if (!problem.empty()) {
        notWritten(withTable ? body : foreignKeys_, what, problem);
      } else if (withTable) {
        inlineFks.emplace_back(&foreignKey, std::move(pairs));
      } else {
        YAML::Emitter out;
        beginChangeSet(out, what);
        addForeignKeyConstraint(out, table, foreignKey, pairs);
        endChangeSet(out, foreignKeys_);
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
        notWritten(notes, "index " + ddl_.quoted(index) + " of " + ref, problem);
        continue;
      }
      createIndex(out, table, *index, members, index->indexFlag1);
    }
    body += notes;
    endChangeSet(out, body);
  }

  static bool inTableOrder(const std::vector<const ZELAttribute*>& members,
                           const std::vector<const ZELAttribute*>& columns) {
    size_t at = 0;
    for (const ZELAttribute* column : columns) {
      if (at < members.size() && members[at] == column) ++at;
    }
    return at == members.size();
  }

  std::string header(const std::string& toolVersion) const {
    std::string text;
    const auto line = [&](const std::string& content) { text += "# " + content + "\n"; };
    line("Liquibase changelog written by pcd-import" +
         (toolVersion.empty() ? std::string() : " " + commentText(toolVersion)));
    line("Source file: " + commentText(source_.sourceFile));
    line("Model: " + commentText(bytesOf(source_.model.getName())));
    line("Dialect: " + std::string(dialect_.name()) +
         (nativeTypes_ ? ", with the extract's native type names" : ""));
    line("Schemas: " + std::to_string(ddl_.schemas().size()));
    line("Names, types and what is left out are those of the sql format's script of this");
    line("dialect; what a dialect cannot take is a comment marked NOT WRITTEN that says why.");
    line("Not carried: view definitions and procedure bodies (listed as comments); the sort");
    line("order of key columns; referential actions and deferrability; the catalogs' server");
    line("types; design packages and associations.");
    return text;
  }

  const ModelSource& source_;
  const SqlDialect& dialect_;
  bool nativeTypes_;
  const SqlNames& names_;
  TableDdl ddl_;
  std::FILE* out_ = nullptr;
  std::string foreignKeys_;  // changesets after every table
  std::string refused_;
};

class LiquibaseModelWriter final : public ModelWriter {
 public:
  LiquibaseModelWriter(const SqlDialect& dialect, bool nativeTypes, std::string toolVersion)
      : dialect_(dialect), nativeTypes_(nativeTypes), toolVersion_(std::move(toolVersion)) {}
  std::string write(const ModelSource& source, OutputSink& sink) override {
    // Every name is settled before the first byte: a model that cannot be
    // written leaves the output untouched.
    SqlNames names;
    const std::string error = names.assign(source.model, dialect_);
    if (!error.empty()) return error;
    ChangelogBuilder builder(source, dialect_, nativeTypes_, names);
    const std::string refusal = builder.refusal();
    if (!refusal.empty()) return refusal;
    std::FILE* out = sink.file("");
    if (out == nullptr) return "out of memory";
    builder.build(toolVersion_, out);
    return "";
  }

 private:
  const SqlDialect& dialect_;
  bool nativeTypes_;
  std::string toolVersion_;
};

}  // namespace

std::unique_ptr<ModelWriter> makeLiquibaseModelWriter(const WriterOptions& options) {
  // The command line checked the name.
  const SqlDialect* dialect = findSqlDialect(options.dialect);
  return std::make_unique<LiquibaseModelWriter>(
      dialect != nullptr ? *dialect : *sqlDialects().front(), options.nativeTypes,
      options.toolVersion);
}

}  // namespace pcd::writers
