#include "model_sql.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "catalog_view.h"
#include "ddl_plan.h"
#include "sql_names.h"
#include "sql_text.h"
#include "string_bytes.h"

namespace pcd::writers {

namespace {

class ScriptBuilder {
 public:
  ScriptBuilder(const ModelSource& source, const SqlDialect& dialect, bool nativeTypes,
                const SqlNames& names)
      : source_(source),
        dialect_(dialect),
        nativeTypes_(nativeTypes),
        names_(names),
        plan_(source.model, dialect, nativeTypes, names) {}

  // Writes the script to `out` as it goes: a table at a time, the foreign
  // keys at the end.
  void build(const std::string& toolVersion, std::FILE* out) {
    out_ = out;
    const std::vector<SchemaOfCatalog>& schemas = plan_.schemas();
    body_ = header(toolVersion, schemas);
    if (dialect_.transactionalDdl()) body_ += "BEGIN;\n";
    for (const SchemaOfCatalog& entry : schemas) writeSchema(entry);
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

  const std::string& name(const ZELObject* object) const { return plan_.name(object); }
  std::string quoted(const ZELObject* object) const { return plan_.quoted(object); }
  std::string tableRef(const ZELClass* table) const { return plan_.tableRef(table); }
  bool hasSchemas() const { return plan_.hasSchemas(); }
  std::string shown(const ZELString& raw) const { return plan_.shown(raw); }
  static std::vector<const ZELAttribute*> columnsOf(const ZELClassifier& classifier) {
    return DdlPlan::columnsOf(classifier);
  }
  const SqlType& typeOf(const ZELFeature* column) { return plan_.typeOf(column); }

  // "SCHEMA." as the script names the schema; a dialect without schemas as
  // the extract does.
  std::string schemaShown(const ZELPackage& schema) const {
    return (hasSchemas() ? quoted(&schema) : shown(schema.getName())) + ".";
  }

  std::string columnList(const std::vector<const ZELAttribute*>& columns) const {
    std::string list;
    for (const ZELAttribute* column : columns) {
      list += list.empty() ? "" : ", ";
      list += quoted(column);
    }
    return list;
  }

  void notWritten(std::string& out, const std::string& what, const std::string& why) {
    out += kNotWrittenMark + what + ": " + why + "\n";
    ++notWrittenCount_;
  }

  void writeSchema(const SchemaOfCatalog& entry) {
    const ZELPackage& schema = *entry.schema;
    body_ += "\n-- Schema " + shown(schema.getName()) + " of catalog " +
             shown(entry.catalog->getName()) + "\n";
    body_ += dialect_.createSchema(quoted(&schema), names_.isEngineSchema(&schema));
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_CLASS)) {
      writeTable(*static_cast<const ZELClass*>(object));
      if (body_.size() > (1u << 16)) flush();
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_SQL_VIEW_ENTITY)) {
      writeView(*static_cast<const ZELSQLViewEntity*>(object), schema);
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_STORED_PROCEDURE)) {
      writeProcedure(*static_cast<const ZELStoredProcedure*>(object), schema);
    }
  }

  void writeTable(const ZELClass& table) {
    const std::vector<const ZELAttribute*> columns = columnsOf(table);
    body_ += "\n";
    const std::string description = validUtf8(bytesOf(table.getDescription()));
    if (!plan_.creates(&table)) {
      notWritten(body_, "table " + tableRef(&table),
                 "a table needs at least one column in " + std::string(dialect_.name()));
      return;
    }
    if (name(&table) != validUtf8(bytesOf(table.getName()))) {
      body_ += "-- Table " + shown(table.getName()) + " of the extract\n";
    }
    if (!description.empty()) body_ += dialect_.tableDescriptionBefore(description);

    // A column of the written primary key is NOT NULL.
    const DdlPlan::TableKeys& keys = plan_.keysOf(&table);
    std::unordered_set<const ZELAttribute*> primaryColumns;
    if (keys.primary != nullptr) {
      primaryColumns.insert(keys.primary->attributes().begin(), keys.primary->attributes().end());
    }
    std::vector<std::string> foreignKeyClauses;  // SQLite: inside CREATE TABLE
    if (dialect_.foreignKeysInCreateTable()) collectForeignKeys(table, foreignKeyClauses);

    for (const DdlPlan::Skipped& key : keys.skipped) notWritten(body_, key.what, key.why);
    body_ += "CREATE TABLE " + tableRef(&table) + " (\n";
    std::vector<std::string> lines;  // each with its trailing comment, if any
    std::vector<std::string> comments;
    std::vector<SqlDialect::ColumnDescription> described;
    for (const ZELAttribute* column : columns) {
      const SqlType& type = typeOf(column);
      std::string line = "  " + quoted(column) + " " + type.text;
      if (!column->isOptional() || primaryColumns.count(column)) line += " NOT NULL";
      std::string note = type.note;
      if (name(column) != validUtf8(bytesOf(column->getName()))) {
        note += std::string(note.empty() ? "" : "; ") + "column " + shown(column->getName()) +
                " of the extract";
      }
      const std::string columnDescription = validUtf8(bytesOf(column->getDescription()));
      if (!columnDescription.empty()) {
        const CarriedDescription carried = dialect_.columnDescriptionClause(columnDescription);
        line += carried.clause;
        if (!carried.note.empty()) note += std::string(note.empty() ? "" : "; ") + carried.note;
        described.push_back({quoted(column), columnDescription});
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
          (dialect_.primaryKeyName().empty() ? "CONSTRAINT " + quoted(keys.primary) + " " : "") +
          "PRIMARY KEY (" + columnList(keyColumns) + ")");
      comments.emplace_back();
    }
    for (const ZELCandidateKey* key : keys.unique) {
      const std::vector<const ZELAttribute*> keyColumns(key->attributes().begin(),
                                                        key->attributes().end());
      lines.push_back("  CONSTRAINT " + quoted(key) + " UNIQUE (" + columnList(keyColumns) + ")");
      comments.emplace_back();
    }
    for (const std::string& clause : foreignKeyClauses) {
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
      body_ += dialect_.descriptionStatements(tableRef(&table), description, described);
    }

    for (const ZELCandidateKey* key : keys.indexed) {
      std::vector<DdlPlan::IndexMember> members;
      for (const ZELAttribute* column : key->attributes()) members.push_back({column, false, 0});
      writeIndex(table, key, members, false);
    }
    writeIndexes(table);
    if (!dialect_.foreignKeysInCreateTable()) {
      std::vector<std::string> unused;
      collectForeignKeys(table, unused);
    }
  }

  void writeIndex(const ZELClass& table, const ZELObject* index,
                  const std::vector<DdlPlan::IndexMember>& members, bool unique) {
    std::string list;
    for (const DdlPlan::IndexMember& member : members) {
      list += list.empty() ? "" : ", ";
      list += quoted(member.column);
      if (member.prefix != 0) list += "(" + std::to_string(member.prefix) + ")";
      if (member.descending) list += " DESC";
    }
    body_ += std::string("CREATE ") + (unique ? "UNIQUE " : "") + "INDEX " + quoted(index) +
             " ON " + tableRef(&table) + " (" + list + ");\n";
  }

  // The catalog's own indexes (index-only keys of the extract).
  void writeIndexes(const ZELClass& table) {
    for (const ZELIndex* index : catalogIndexes(table)) {
      std::vector<DdlPlan::IndexMember> members;
      const std::string problem = plan_.indexMembers(table, *index, members);
      if (!problem.empty()) {
        notWritten(body_, "index " + quoted(index) + " of " + tableRef(&table), problem);
        continue;
      }
      writeIndex(table, index, members, index->indexFlag1);
    }
  }

  // Writes the table's foreign keys: clauses inside CREATE TABLE go into
  // `clauses`, ALTER TABLE statements into the script's last part.
  void collectForeignKeys(const ZELClass& table, std::vector<std::string>& clauses) {
    for (const ZELKey* key : table.keys()) {
      if (!key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) continue;
      const auto& foreignKey = static_cast<const ZELForeignKey&>(*key);
      std::vector<const ZELAttribute*> columns, referencedColumns;
      const std::string problem =
          plan_.foreignKeyProblem(table, foreignKey, columns, referencedColumns);
      const std::string what = "foreign key " + quoted(key) + " of " + tableRef(&table);
      if (!problem.empty()) {
        notWritten(dialect_.foreignKeysInCreateTable() ? body_ : foreignKeys_, what, problem);
        continue;
      }
      const ZELClass* referenced = foreignKey.getCandidateKey()->getAssociatedClass();
      const std::string clause = "CONSTRAINT " + quoted(key) + " FOREIGN KEY (" +
                                 columnList(columns) + ") REFERENCES " + tableRef(referenced) +
                                 " (" + columnList(referencedColumns) + ")";
      if (dialect_.foreignKeysInCreateTable()) {
        clauses.push_back("  " + clause);
      } else {
        foreignKeys_ += "ALTER TABLE " + tableRef(&table) + " ADD " + clause + ";\n";
      }
    }
  }

  void writeView(const ZELSQLViewEntity& view, const ZELPackage& schema) {
    body_ += "\n-- View " + schemaShown(schema) + shown(view.getName()) +
             ": the extract holds no definition, so it is not created.\n";
    const std::string description = commentText(bytesOf(view.getDescription()));
    if (!description.empty()) body_ += "--   " + description + "\n";
    for (const ZELAttribute* column : columnsOf(view)) {
      body_ += "--   column " + std::to_string(column->getPosition()) + " " +
               shown(column->getName()) + " " + typeOf(column).text + "\n";
    }
  }

  void writeProcedure(const ZELStoredProcedure& procedure, const ZELPackage& schema) {
    body_ += "\n-- Procedure " + schemaShown(schema) + shown(procedure.getName()) +
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
  DdlPlan plan_;
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
