#include "model_sql.h"

#include <cstdio>
#include <vector>

#include "catalog_view.h"
#include "sql_names.h"
#include "sql_text.h"
#include "string_bytes.h"
#include "table_ddl.h"

namespace pcd::writers {

namespace {

class ScriptBuilder {
 public:
  ScriptBuilder(const ModelSource& source, const SqlDialect& dialect, bool nativeTypes,
                const SqlNames& names)
      : source_(source),
        dialect_(dialect),
        nativeTypes_(nativeTypes),
        ddl_(source.model, dialect, nativeTypes, names),
        names_(names) {}

  // Writes the script to `out` as it goes: a table at a time, the foreign
  // keys at the end.
  void build(const std::string& toolVersion, std::FILE* out) {
    out_ = out;
    const std::vector<SchemaOfCatalog>& schemas = ddl_.schemas();
    body_ = header(toolVersion, schemas);
    if (dialect_.transactionalDdl()) body_ += "BEGIN;\n";
    for (const SchemaOfCatalog& entry : schemas) writeSchema(entry);
    if (!foreignKeys_.empty()) {
      body_ += "\n-- Foreign keys, once every table exists.\n\n";
      writeOut(body_, out_);
      writeOut(foreignKeys_, out_);
    }
    body_ += "\n-- " + std::to_string(ddl_.notWrittenCount()) +
             " keys, indexes or tables could not be written in " + std::string(dialect_.name()) +
             " (comments marked NOT WRITTEN).\n";
    if (dialect_.transactionalDdl()) body_ += "COMMIT;\n";
    writeOut(body_, out_);
  }

 private:
  bool hasSchemas() const { return !dialect_.schemaKind().empty(); }
  // "SCHEMA." as the script names the schema; a dialect without schemas as
  // the extract does.
  std::string schemaShown(const ZELPackage& schema) const {
    return (hasSchemas() ? std::string(ddl_.quoted(&schema)) : ddl_.shown(schema.getName())) + ".";
  }

  void writeSchema(const SchemaOfCatalog& entry) {
    const ZELPackage& schema = *entry.schema;
    body_ += "\n-- Schema " + ddl_.shown(schema.getName()) + " of catalog " +
             ddl_.shown(entry.catalog->getName()) + "\n";
    body_ +=
        dialect_.createSchema(std::string(ddl_.quoted(&schema)), names_.isEngineSchema(&schema));
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_CLASS)) {
      ddl_.writeTable(*static_cast<const ZELClass*>(object), body_, foreignKeys_);
      writeOutIfFull(body_, out_);
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_SQL_VIEW_ENTITY)) {
      writeView(*static_cast<const ZELSQLViewEntity*>(object), schema);
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_STORED_PROCEDURE)) {
      writeProcedure(*static_cast<const ZELStoredProcedure*>(object), schema);
    }
  }

  void writeView(const ZELSQLViewEntity& view, const ZELPackage& schema) {
    body_ += "\n-- View " + schemaShown(schema) + ddl_.shown(view.getName()) +
             ": the extract holds no definition, so it is not created.\n";
    const std::string description = commentText(bytesOf(view.getDescription()));
    if (!description.empty()) body_ += "--   " + description + "\n";
    for (const ZELAttribute* column : columnsInPositionOrder(view)) {
      body_ += "--   column " + std::to_string(column->getPosition()) + " " +
               ddl_.shown(column->getName()) + " " + ddl_.typeOf(column).text + "\n";
    }
  }

  void writeProcedure(const ZELStoredProcedure& procedure, const ZELPackage& schema) {
    body_ += "\n-- Procedure " + schemaShown(schema) + ddl_.shown(procedure.getName()) +
             ": the extract holds no body, so it is not created.\n";
    const std::string description = commentText(bytesOf(procedure.getDescription()));
    if (!description.empty()) body_ += "--   " + description + "\n";
    for (const ZELArgument* argument : procedure.arguments()) {
      body_ += "--   argument " + std::to_string(argument->getPosition()) + " " +
               ddl_.shown(argument->getName()) + " " + typeOfArgument(*argument) + "\n";
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
  TableDdl ddl_;
  const SqlNames& names_;
  std::FILE* out_ = nullptr;
  std::string body_;  // written out a table at a time
  std::string foreignKeys_;
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
