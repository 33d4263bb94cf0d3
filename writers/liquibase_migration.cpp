#include "liquibase_migration.h"

#include <functional>
#include <map>
#include <vector>

#include "liquibase_changes.h"
#include "model/zel_model.h"
#include "sql/sql_names.h"
#include "sql/sql_text.h"
#include "sql/table_ddl.h"
#include "string_bytes.h"

namespace pcd::writers {

namespace {

using Kind = MigrationStep::Kind;

const ZELAttribute& column(const ZELObject* object) {
  return *static_cast<const ZELAttribute*>(object);
}

class ChangelogWriter {
 public:
  ChangelogWriter(const ZELModel& before, const ZELModel& after, const MigrationPlan& plan,
                  const SqlDialect& dialect, const SqlNames& oldNames, const SqlNames& newNames,
                  const MigrationScriptOptions& options)
      : plan_(plan),
        dialect_(dialect),
        oldNames_(oldNames),
        newNames_(newNames),
        old_(before, dialect, false, oldNames),
        new_(after, dialect, false, newNames),
        oldChanges_(old_),
        newChanges_(new_),
        options_(options) {
    for (const auto& [now, was] : plan.keptTables) {
      keptOf_[static_cast<const ZELClass*>(was)] = static_cast<const ZELClass*>(now);
    }
  }

  std::string refusal() {
    std::string refused = oldChanges_.refusal();
    return refused.empty() ? newChanges_.refusal() : refused;
  }

  std::string write() {
    std::string body;
    for (const MigrationStep& step : plan_.steps) write(step, body);
    return header() + (changeSets_ == 0 ? "databaseChangeLog: []\n" : "databaseChangeLog:\n") +
           body;
  }

 private:
  using Changes = std::function<void(YAML::Emitter&)>;

  // One changeset of `id`, after its MAY LOSE DATA comment, or, with
  // --safe, left out and listed.
  void changeSet(std::string& out, const std::string& id, const std::string& losesData,
                 const Changes& changes) {
    if (!losesData.empty() && options_.safe) {
      leftOut_.push_back(id + ": " + losesData);
      return;
    }
    if (!losesData.empty()) {
      out += "# MAY LOSE DATA: " + commentText(id + ": " + losesData) + "\n";
      ++losing_;
    }
    YAML::Emitter emitter;
    LiquibaseChanges::beginChangeSet(emitter, id);
    changes(emitter);
    LiquibaseChanges::endChangeSet(emitter, out);
    ++changeSets_;
  }

  void sqlChangeSet(std::string& out, const std::string& id, const std::string& losesData,
                    const std::string& statements) {
    if (statements.empty()) return;
    changeSet(out, id, losesData,
              [&](YAML::Emitter& emitter) { LiquibaseChanges::sqlChange(emitter, statements); });
  }

  void write(const MigrationStep& step, std::string& out) {
    const ZELClass* oldTable = tableOf(step.before);
    const ZELClass* newTable = tableOf(step.after);
    const std::string oldOf = oldTable ? " of " + old_.tableRef(oldTable) : "";
    const std::string newOf = newTable ? " of " + new_.tableRef(newTable) : "";
    const std::string loss = lossOf(step);
    switch (step.kind) {
      case Kind::kDropForeignKey:
        if (!old_.isWritten(*step.before)) return;
        return changeSet(out, "drop foreign key " + std::string(old_.quoted(step.before)) + oldOf,
                         loss, [&](YAML::Emitter& e) {
                           oldChanges_.dropForeignKeyConstraint(e, *oldTable, *step.before);
                         });
      case Kind::kDropView:
        return LiquibaseChanges::comment(
            out, "View " + old_.shown(step.before->getName()) +
                     ": the changelogs create no views, so none is dropped.");
      case Kind::kDropIndex:
        if (!old_.isWritten(*step.before)) return;
        return changeSet(
            out, "drop index " + std::string(old_.quoted(step.before)) + oldOf, loss,
            [&](YAML::Emitter& e) { oldChanges_.dropIndex(e, *oldTable, *step.before); });
      case Kind::kDropKey:
        if (!old_.isWritten(*step.before)) return;
        return changeSet(out, "drop key " + std::string(old_.quoted(step.before)) + oldOf, loss,
                         [&](YAML::Emitter& e) {
                           oldChanges_.dropKey(e, *oldTable, *step.before,
                                               oldTable->getPrimaryKey() == step.before);
                         });
      case Kind::kDropTable:
        return changeSet(out, "drop table " + old_.tableRef(oldTable), loss,
                         [&](YAML::Emitter& e) { oldChanges_.dropTable(e, *oldTable); });
      case Kind::kRenameTable:
        return changeSet(
            out, "rename table " + old_.tableRef(oldTable) + " to " + new_.tableRef(newTable), loss,
            [&](YAML::Emitter& e) {
              oldChanges_.renameTable(e, *oldTable, std::string(new_.name(newTable)));
            });
      case Kind::kRenameColumn: {
        const std::string id = "rename column " + std::string(old_.quoted(step.before)) + newOf +
                               " to " + std::string(new_.quoted(step.after));
        // Liquibase renames a MySQL column by restating it, without its
        // NOT NULL and description: the dialect's own statement instead.
        if (dialect_.restatesAlteredColumns()) {
          return sqlChangeSet(
              out, id, loss,
              dialect_.renameColumn(new_.tableRef(newTable), std::string(old_.quoted(step.before)),
                                    std::string(new_.quoted(step.after))));
        }
        return changeSet(out, id, loss, [&](YAML::Emitter& e) {
          newChanges_.renameColumn(e, *newTable, std::string(old_.name(step.before)),
                                   column(step.after));
        });
      }
      case Kind::kDropColumn: {
        const ZELClass& table = *keptOf_.at(oldTable);
        return changeSet(
            out,
            "drop column " + std::string(old_.quoted(step.before)) + " of " + new_.tableRef(&table),
            loss, [&](YAML::Emitter& e) {
              newChanges_.dropColumn(e, table, std::string(old_.name(step.before)));
            });
      }
      case Kind::kCreateSchema: {
        const auto* schema = static_cast<const ZELPackage*>(step.after);
        return sqlChangeSet(out, "schema " + std::string(new_.quoted(schema)), loss,
                            dialect_.createSchema(std::string(new_.quoted(schema)),
                                                  newNames_.isEngineSchema(schema)));
      }
      case Kind::kCreateTable: {
        std::string foreignKeys;  // foreign keys are steps of their own
        const size_t before = out.size();
        newChanges_.writeTable(*newTable, out, foreignKeys);
        changeSets_ += out.find("- changeSet:", before) != std::string::npos;
        return;
      }
      case Kind::kAddColumn:
        return changeSet(
            out, "add column " + std::string(new_.quoted(step.after)) + newOf, loss,
            [&](YAML::Emitter& e) { newChanges_.addColumn(e, *newTable, column(step.after)); });
      case Kind::kAlterColumn:
        return alterColumn(step, out,
                           "alter column " + std::string(new_.quoted(step.after)) + newOf, loss);
      case Kind::kSetNotNull: {
        const std::string id = "set not null " + std::string(new_.quoted(step.after)) + newOf;
        if (dialect_.restatesAlteredColumns()) {
          SqlDialect::ColumnChange change = columnChange(step);
          change.setNotNull = true;
          return sqlChangeSet(out, id, loss, dialect_.alterColumn(change));
        }
        return changeSet(out, id, loss, [&](YAML::Emitter& e) {
          newChanges_.notNullConstraint(e, *newTable, column(step.after), true);
        });
      }
      case Kind::kAddKey:
        return addKey(step, out, *newTable, newOf, loss);
      case Kind::kAddIndex:
        return addIndex(step, out, *newTable, newOf, loss);
      case Kind::kAddForeignKey: {
        const auto& key = static_cast<const ZELForeignKey&>(*step.after);
        const std::string id = "foreign key " + std::string(new_.quoted(&key)) + newOf;
        ForeignKeyColumns pairs;
        std::string problem =
            new_.foreignKeyProblem(*newTable, key, pairs.columns, pairs.referenced);
        if (problem.empty() &&
            !(newChanges_.listable(pairs.columns) && newChanges_.listable(pairs.referenced))) {
          problem = LiquibaseChanges::unlistable();
        }
        if (!problem.empty()) return LiquibaseChanges::notWritten(out, id, problem);
        return changeSet(out, id, loss, [&](YAML::Emitter& e) {
          newChanges_.addForeignKeyConstraint(e, *newTable, key, pairs);
        });
      }
      case Kind::kSetDescription:
        return changeSet(out, "description of table " + new_.tableRef(newTable), loss,
                         [&](YAML::Emitter& e) { newChanges_.setTableRemarks(e, *newTable); });
      case Kind::kNoView:
        return LiquibaseChanges::comment(
            out, "View " + new_.shown(step.after->getName()) +
                     ": the extract holds no definition, so it is not created.");
      case Kind::kDropSchema: {
        const auto* schema = static_cast<const ZELPackage*>(step.before);
        if (oldNames_.isEngineSchema(schema)) return;
        return sqlChangeSet(out, "drop schema " + std::string(old_.quoted(schema)), loss,
                            dialect_.dropSchema(std::string(old_.quoted(schema))));
      }
    }
  }

  void alterColumn(const MigrationStep& step, std::string& out, const std::string& id,
                   const std::string& loss) {
    const bool type = typeChanges(step);
    if (!type && !step.nullabilityChanged && !step.descriptionChanged) return;
    if (dialect_.restatesAlteredColumns()) {
      SqlDialect::ColumnChange change = columnChange(step);
      change.type = type;
      change.dropNotNull = step.nullabilityChanged;
      change.description = step.descriptionChanged;
      change.descriptionText = validUtf8(bytesOf(column(step.after).getDescription()));
      // The column stays nullable here where a later step makes it NOT NULL.
      change.definition = new_.columnDefinition(column(step.after), isLaterNotNull(step));
      return sqlChangeSet(out, id, loss, dialect_.alterColumn(change));
    }
    const ZELClass& table = *tableOf(step.after);
    const ZELAttribute& now = column(step.after);
    changeSet(out, id, loss, [&](YAML::Emitter& e) {
      if (type) newChanges_.modifyDataType(e, table, now);
      if (step.nullabilityChanged) newChanges_.notNullConstraint(e, table, now, false);
      if (step.descriptionChanged) newChanges_.setColumnRemarks(e, table, now);
    });
  }

  void addKey(const MigrationStep& step, std::string& out, const ZELClass& table,
              const std::string& of, const std::string& loss) {
    const auto& key = static_cast<const ZELCandidateKey&>(*step.after);
    const std::string id = "key " + std::string(new_.quoted(&key)) + of;
    if (new_.keyConstraint(key).empty()) {
      return LiquibaseChanges::notWritten(out, id, "the dialect cannot make it a key");
    }
    if (!newChanges_.listable({key.attributes().begin(), key.attributes().end()})) {
      return LiquibaseChanges::notWritten(out, id, LiquibaseChanges::unlistable());
    }
    changeSet(out, id, loss, [&](YAML::Emitter& e) {
      if (table.getPrimaryKey() == &key) {
        newChanges_.addPrimaryKey(e, table, key);
      } else {
        newChanges_.addUniqueConstraint(e, table, key);
      }
    });
  }

  // A catalog index, or a candidate key that is not unique.
  void addIndex(const MigrationStep& step, std::string& out, const ZELClass& table,
                const std::string& of, const std::string& loss) {
    const std::string id = "index " + std::string(new_.quoted(step.after)) + of;
    std::vector<TableDdl::IndexMember> members;
    bool unique = false;
    if (step.after->isInstanceOf(ZEL_ET_INDEX)) {
      const auto& index = static_cast<const ZELIndex&>(*step.after);
      const std::string problem = new_.indexMembers(table, index, members);
      if (!problem.empty()) return LiquibaseChanges::notWritten(out, id, problem);
      unique = index.indexFlag1;
    } else {
      if (!new_.isWritten(*step.after)) {
        return LiquibaseChanges::notWritten(out, id, "the dialect cannot index it");
      }
      for (const ZELAttribute* member : static_cast<const ZELKey*>(step.after)->attributes()) {
        members.push_back({member, false, 0});
      }
    }
    changeSet(out, id, loss, [&](YAML::Emitter& e) {
      newChanges_.createIndex(e, table, *step.after, members, unique);
    });
  }

  // What the step may lose; a type the dialect writes as before loses
  // nothing.
  std::string lossOf(const MigrationStep& step) {
    if (step.kind == Kind::kAlterColumn && !typeChanges(step)) return "";
    return step.losesData;
  }

  bool typeChanges(const MigrationStep& step) {
    if (!step.typeChanged) return false;
    return old_.typeOf(&column(step.before)).text != new_.typeOf(&column(step.after)).text;
  }

  SqlDialect::ColumnChange columnChange(const MigrationStep& step) {
    const ZELAttribute& now = column(step.after);
    SqlDialect::ColumnChange change;
    change.tableRef = new_.tableRef(tableOf(step.after));
    change.quotedName = new_.quoted(&now);
    change.definition = new_.columnDefinition(now);
    change.typeText = new_.typeOf(&now).text;
    return change;
  }

  bool isLaterNotNull(const MigrationStep& step) const {
    for (const MigrationStep& later : plan_.steps) {
      if (later.kind == Kind::kSetNotNull && later.after == step.after) return true;
    }
    return false;
  }

  std::string header() const {
    std::string text;
    const auto line = [&](const std::string& content) { LiquibaseChanges::comment(text, content); };
    for (const std::string& opening :
         migrationHeaderOpening("Liquibase migration changelog", options_, dialect_))
      line(opening);
    line(std::to_string(changeSets_) + " changesets; " + std::to_string(losing_) +
         " may lose data, each after a MAY LOSE DATA comment.");
    line("Not carried: view definitions and procedure bodies; what the liquibase format lists.");
    for (const std::string& closing : migrationHeaderClosing(plan_, options_, leftOut_))
      line(closing);
    return text;
  }

  const MigrationPlan& plan_;
  const SqlDialect& dialect_;
  const SqlNames& oldNames_;
  const SqlNames& newNames_;
  TableDdl old_;
  TableDdl new_;
  LiquibaseChanges oldChanges_;
  LiquibaseChanges newChanges_;
  const MigrationScriptOptions& options_;
  std::map<const ZELClass*, const ZELClass*> keptOf_;  // old table -> new
  std::vector<std::string> leftOut_;
  long changeSets_ = 0;
  long losing_ = 0;
};

}  // namespace

std::string writeMigrationChangelog(const ZELModel& before, const ZELModel& after,
                                    const MigrationPlan& plan, const SqlDialect& dialect,
                                    const MigrationScriptOptions& options, std::string& changelog) {
  changelog.clear();
  if (!dialect.altersColumnsAndKeys()) {
    return "Liquibase cannot change a table of " + std::string(dialect.name()) +
           " in place (it has no ALTER TABLE for columns and keys): write the migration with "
           "--format sql, which rebuilds such tables";
  }
  SqlNames oldNames, newNames;
  std::string error = oldNames.assign(before, dialect);
  if (error.empty()) error = newNames.assign(after, dialect);
  if (!error.empty()) return error;
  ChangelogWriter writer(before, after, plan, dialect, oldNames, newNames, options);
  error = writer.refusal();
  if (!error.empty()) return error;
  changelog = writer.write();
  return "";
}

}  // namespace pcd::writers
