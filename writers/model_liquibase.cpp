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
// quotes all names.
//
// SQLite cannot add keys to a table after it is made, and Liquibase offers
// only one-column unique and foreign-key constraints inside createTable:
// there, keys of several columns (and a primary key whose columns are not in
// table order) are left out with a note, as are keys naming a column that
// Liquibase's comma-separated lists cannot hold. A model with a name that
// Liquibase would change is refused. The change kinds are LiquibaseChanges'.
#include <yaml-cpp/yaml.h>

#include <memory>
#include <string>

#include "catalog_view.h"
#include "liquibase_changes.h"
#include "model_writer.h"
#include "sql/sql_text.h"
#include "string_bytes.h"

namespace pcd::writers {

namespace {

class ChangelogBuilder {
 public:
  ChangelogBuilder(const ModelSource& source, const SqlDialect& dialect, bool nativeTypes,
                   const SqlNames& names)
      : source_(source),
        dialect_(dialect),
        nativeTypes_(nativeTypes),
        names_(names),
        ddl_(source.model, dialect, nativeTypes, names),
        changes_(ddl_) {}

  // Why the model cannot be written as a changelog, or "".
  std::string refusal() { return changes_.refusal(); }

  // Writes the changelog to `out` as it goes, a table at a time; the
  // foreign keys at the end.
  void build(const std::string& toolVersion, std::FILE* out) {
    out_ = out;
    bool empty = true;  // Liquibase wants a list, even an empty one
    for (const SchemaOfCatalog& entry : ddl_.schemas()) {
      if (!dialect_.createSchema(std::string(ddl_.quoted(entry.schema)), false).empty())
        empty = false;
      for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
        if (ddl_.isCreated(static_cast<const ZELClass*>(object))) empty = false;
      }
    }
    std::string body = header(toolVersion);
    body += empty ? "databaseChangeLog: []\n" : "databaseChangeLog:\n";
    for (const SchemaOfCatalog& entry : ddl_.schemas()) writeSchema(entry, body);
    body += foreignKeys_;
    writeOut(body, out_);
  }

 private:
  void writeSchema(const SchemaOfCatalog& entry, std::string& body) {
    const ZELPackage& schema = *entry.schema;
    LiquibaseChanges::comment(body, "Schema " + ddl_.shown(schema.getName()) + " of catalog " +
                                        ddl_.shown(entry.catalog->getName()));
    const std::string statements =
        dialect_.createSchema(std::string(ddl_.quoted(&schema)), names_.isEngineSchema(&schema));
    if (!statements.empty()) {
      YAML::Emitter out;
      LiquibaseChanges::beginChangeSet(out, "schema " + std::string(ddl_.quoted(&schema)));
      LiquibaseChanges::sqlChange(out, statements);
      LiquibaseChanges::endChangeSet(out, body);
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_CLASS)) {
      changes_.writeTable(*static_cast<const ZELClass*>(object), body, foreignKeys_);
      writeOutIfFull(body, out_);
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_SQL_VIEW_ENTITY)) {
      LiquibaseChanges::comment(body, "View " + ddl_.shown(schema.getName()) + "." +
                                          ddl_.shown(object->getName()) +
                                          ": the extract holds no definition, so it is not "
                                          "created.");
    }
    for (const ZELModelObject* object : objectsOfType(schema, ZEL_ET_STORED_PROCEDURE)) {
      LiquibaseChanges::comment(body, "Procedure " + ddl_.shown(schema.getName()) + "." +
                                          ddl_.shown(object->getName()) +
                                          ": the extract holds no body, so it is not created.");
    }
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
  LiquibaseChanges changes_;
  std::string foreignKeys_;  // changesets after every table
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
