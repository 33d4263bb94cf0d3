#include "migration_sql.h"

#include <algorithm>
#include <map>
#include <set>

#include "catalog_view.h"
#include "model/zel_model.h"
#include "sql_names.h"
#include "sql_text.h"
#include "string_bytes.h"
#include "table_ddl.h"

namespace pcd::writers {

namespace {

using Kind = MigrationStep::Kind;

// The steps a rebuilt table's new definition carries.
bool rebuildCovers(Kind kind) {
  switch (kind) {
    case Kind::kDropForeignKey:
    case Kind::kDropIndex:
    case Kind::kDropKey:
    case Kind::kDropColumn:
    case Kind::kAddColumn:
    case Kind::kAlterColumn:
    case Kind::kSetNotNull:
    case Kind::kAddKey:
    case Kind::kAddIndex:
    case Kind::kAddForeignKey:
      return true;
    default:
      return false;
  }
}

class MigrationWriter {
 public:
  MigrationWriter(const ZELModel& before, const ZELModel& after, const MigrationPlan& plan,
                  const SqlDialect& dialect, const SqlNames& oldNames, const SqlNames& newNames,
                  const MigrationScriptOptions& options)
      : plan_(plan),
        dialect_(dialect),
        oldNames_(oldNames),
        newNames_(newNames),
        old_(before, dialect, false, oldNames),
        new_(after, dialect, false, newNames),
        options_(options) {
    for (const auto& [now, was] : plan.keptTables) {
      keptOf_[static_cast<const ZELClass*>(was)] = static_cast<const ZELClass*>(now);
      oldOf_[static_cast<const ZELClass*>(now)] = static_cast<const ZELClass*>(was);
    }
  }

  std::string write() {
    findRebuilds();
    findRefits();
    std::string body;
    bool rebuildsWritten = false, refitsDropped = false, refitsMade = false;
    for (const MigrationStep& step : plan_.steps) {
      if (!refitsDropped && step.kind >= Kind::kDropKey) body += dropRefits(refitsDropped);
      if (!rebuildsWritten && step.kind >= Kind::kAddColumn) {
        body += rebuilds();
        rebuildsWritten = true;
      }
      if (!refitsMade && step.kind >= Kind::kAddForeignKey) body += makeRefits(refitsMade);
      const ZELClass* table = newTableOf(step);
      if (table != nullptr && rebuilt_.count(table) && rebuildCovers(step.kind)) continue;
      guarded(body, lossOf(step), what(step), statement(step));
    }
    if (!refitsDropped) body += dropRefits(refitsDropped);
    if (!rebuildsWritten) body += rebuilds();
    if (!refitsMade) body += makeRefits(refitsMade);
    std::string script = header();
    if (body.empty()) {
      return script + (leftOut_.empty() ? "-- The catalogs are equal: nothing to change.\n"
                                        : "-- Nothing to change but what --safe leaves out.\n");
    }
    return script + dialect_.migrationStart() + body + dialect_.migrationEnd();
  }

 private:
  // The table of the new model a step changes; nullptr for a dropped or
  // created one.
  const ZELClass* newTableOf(const MigrationStep& step) const {
    if (step.kind == Kind::kCreateTable || step.kind == Kind::kDropTable) return nullptr;
    if (const ZELClass* now = tableOf(step.after)) return oldOf_.count(now) ? now : nullptr;
    const auto kept = keptOf_.find(tableOf(step.before));
    return kept != keptOf_.end() ? kept->second : nullptr;
  }

  // Indexes that stay but whose fitted name differs between the two models
  // (a name taken by an earlier object gets _2, and the earlier objects
  // changed): made again under the new name, so that the database holds the
  // names the new script gives. All are dropped before any is made: in a
  // dialect whose index names share one namespace, a new name may be an old
  // one of another index.
  void findRefits() {
    std::set<const ZELObject*> planned;
    for (const MigrationStep& step : plan_.steps) {
      if (step.kind == Kind::kDropIndex) planned.insert(step.before);
    }
    for (const auto& [now, was] : plan_.keptTables) {
      const auto indexesOf = [](const ZELClass& table) {
        std::map<std::string, const ZELObject*> indexes;
        for (const ZELIndex* index : catalogIndexes(table)) indexes[text(index->getName())] = index;
        for (const ZELKey* key : table.keys()) {
          if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY) || !key->isInstanceOf(ZEL_ET_CANDIDATE_KEY))
            continue;
          const auto* candidate = static_cast<const ZELCandidateKey*>(key);
          if (!candidate->uniqueKey && table.getPrimaryKey() != candidate)
            indexes[text(key->getName())] = key;
        }
        return indexes;
      };
      const auto newIndexes = indexesOf(*static_cast<const ZELClass*>(now));
      for (const auto& [name, index] : indexesOf(*static_cast<const ZELClass*>(was))) {
        const auto found = newIndexes.find(name);
        if (found == newIndexes.end() || planned.count(index) || !old_.isWritten(*index) ||
            !new_.isWritten(*found->second) || old_.name(index) == new_.name(found->second)) {
          continue;
        }
        refits_.emplace_back(index, found->second);
      }
    }
  }

  std::string dropRefits(bool& done) {
    done = true;
    std::string text;
    for (const auto& [was, now] : refits_) {
      const ZELClass* table = tableOf(was);
      text += dialect_.dropIndex(old_.tableRef(table), old_.qualified(table, was),
                                 std::string(old_.quoted(was)));
    }
    return text;
  }

  std::string makeRefits(bool& done) {
    done = true;
    std::string text;
    for (const auto& [was, now] : refits_) {
      const ZELClass* table = tableOf(now);
      if (!rebuilt_.count(table)) text += new_.indexStatement(*table, *now);
    }
    return text;
  }

  static std::string text(const ZELString& value) { return {value.c_str(), value.length()}; }

  // Where ALTER TABLE cannot make a change, the table is rebuilt; a
  // rebuild that carries a change that may lose data may lose data.
  void findRebuilds() {
    if (dialect_.altersColumnsAndKeys()) return;
    for (const MigrationStep& step : plan_.steps) {
      const ZELClass* table = newTableOf(step);
      if (table == nullptr) continue;
      const bool needed =
          step.kind == Kind::kDropForeignKey || step.kind == Kind::kDropKey ||
          step.kind == Kind::kDropColumn || step.kind == Kind::kAddColumn ||
          step.kind == Kind::kSetNotNull || step.kind == Kind::kAddKey ||
          step.kind == Kind::kAddForeignKey ||
          (step.kind == Kind::kAlterColumn && (typeChanges(step) || step.nullabilityChanged));
      if (needed && rebuilt_.insert(table).second) order_.push_back(table);
    }
    for (const MigrationStep& step : plan_.steps) {
      const ZELClass* table = newTableOf(step);
      if (table == nullptr || !rebuilt_.count(table) || lossOf(step).empty()) continue;
      std::string& reasons = rebuildLosses_[table];
      reasons += (reasons.empty() ? "" : "; ") + what(step) + ": " + lossOf(step);
    }
  }

  std::string rebuilds() {
    std::string text;
    for (const ZELClass* table : order_) {
      const auto losses = rebuildLosses_.find(table);
      guarded(text, losses == rebuildLosses_.end() ? "" : losses->second,
              "table " + new_.tableRef(table) + " rebuilt", rebuild(*table));
    }
    return text;
  }

  // The engine's procedure: a new table under another name, the rows of the
  // columns both have copied, the old table dropped, the new one renamed,
  // its indexes made.
  std::string rebuild(const ZELClass& table) {
    const std::string ref = new_.tableRef(&table);
    const std::string building =
        dialect_.quoteIdentifier("migrating_" + std::string(new_.name(&table)));
    std::string text = "-- Table " + ref + " rebuilt: its columns, keys or foreign keys change.";
    std::string unused;
    new_.writeTable(table, text, unused, building, false);
    // Renames ran before: a kept column has its new name in the old table.
    std::set<std::string> oldColumns;
    for (const ZELAttribute* column : columnsInPositionOrder(*oldOf_.at(&table))) {
      oldColumns.insert(renamedColumns_.count(column) ? renamedColumns_.at(column)
                                                      : std::string(old_.quoted(column)));
    }
    std::string list;
    for (const ZELAttribute* column : columnsInPositionOrder(table)) {
      const std::string name = std::string(new_.quoted(column));
      if (oldColumns.count(name)) list += (list.empty() ? "" : ", ") + name;
    }
    if (!list.empty()) {
      text += "INSERT INTO " + building + " (" + list + ") SELECT " + list + " FROM " + ref + ";\n";
    }
    text += "DROP TABLE " + ref + ";\n";
    text += "ALTER TABLE " + building + " RENAME TO " + std::string(new_.quoted(&table)) + ";\n";
    text += new_.indexStatements(table);
    return text;
  }

  // The statement between the marks of a change that may lose data, or, with
  // --safe, left out and listed.
  void guarded(std::string& out, const std::string& losesData, const std::string& what,
               const std::string& statement) {
    if (statement.empty()) return;
    if (losesData.empty()) {
      out += statement;
      ++statements_;
      return;
    }
    if (options_.safe) {
      leftOut_.push_back(what + ": " + losesData);
      return;
    }
    out += "-- MAY LOSE DATA: " + commentText(what + ": " + losesData) + "\n" + statement +
           "-- END MAY LOSE DATA\n";
    ++statements_;
    ++losing_;
  }

  // What the step may lose; a type the dialect writes as before loses
  // nothing.
  std::string lossOf(const MigrationStep& step) {
    if (step.kind == Kind::kAlterColumn && !typeChanges(step)) return "";
    return step.losesData;
  }

  bool typeChanges(const MigrationStep& step) {
    if (!step.typeChanged) return false;
    const auto* was = static_cast<const ZELAttribute*>(step.before);
    const auto* now = static_cast<const ZELAttribute*>(step.after);
    return old_.typeOf(was).text != new_.typeOf(now).text;
  }

  std::string what(const MigrationStep& step) {
    const ZELObject* object = step.after != nullptr ? step.after : step.before;
    TableDdl& ddl = step.after != nullptr ? new_ : old_;
    const ZELClass* table = tableOf(object);
    switch (step.kind) {
      case Kind::kDropTable:
        return "table " + ddl.tableRef(table) + " dropped";
      case Kind::kDropColumn:
        return "column " + std::string(ddl.quoted(object)) + " of " + ddl.tableRef(table) +
               " dropped";
      case Kind::kAlterColumn:
      case Kind::kSetNotNull:
        return "column " + std::string(ddl.quoted(object)) + " of " + ddl.tableRef(table);
      default:
        return table != nullptr ? "table " + ddl.tableRef(table) : "";
    }
  }

  std::string statement(const MigrationStep& step) {
    const auto* oldTable = tableOf(step.before);
    const auto* newTable = tableOf(step.after);
    switch (step.kind) {
      case Kind::kDropForeignKey:
        if (dialect_.foreignKeysInCreateTable() || !old_.isWritten(*step.before)) return "";
        return dialect_.dropForeignKey(old_.tableRef(oldTable),
                                       std::string(old_.quoted(step.before)));
      case Kind::kDropView: {
        const auto* schema = static_cast<const ZELPackage*>(step.before->getOwner());
        const std::string view =
            dialect_.quoteIdentifier(validUtf8(bytesOf(step.before->getName())));
        return "DROP VIEW IF EXISTS " +
               (dialect_.schemaKind().empty() ? view
                                              : std::string(old_.quoted(schema)) + "." + view) +
               ";\n";
      }
      case Kind::kDropIndex:
        if (!old_.isWritten(*step.before)) return "";
        return dialect_.dropIndex(old_.tableRef(oldTable), old_.qualified(oldTable, step.before),
                                  std::string(old_.quoted(step.before)));
      case Kind::kDropKey:
        if (!old_.isWritten(*step.before)) return "";
        return dialect_.dropKey(old_.tableRef(oldTable), std::string(old_.quoted(step.before)),
                                oldTable->getPrimaryKey() == step.before);
      case Kind::kDropTable:
        return "DROP TABLE " + old_.tableRef(oldTable) + ";\n";
      case Kind::kRenameTable:
        return dialect_.renameTable(old_.tableRef(oldTable), new_.tableRef(newTable),
                                    std::string(new_.quoted(newTable)));
      case Kind::kRenameColumn:
        renamedColumns_[static_cast<const ZELAttribute*>(step.before)] = new_.quoted(step.after);
        return dialect_.renameColumn(new_.tableRef(newTable), std::string(old_.quoted(step.before)),
                                     std::string(new_.quoted(step.after)));
      case Kind::kDropColumn:
        return "ALTER TABLE " + new_.tableRef(keptOf_.at(oldTable)) + " DROP COLUMN " +
               std::string(old_.quoted(step.before)) + ";\n";
      case Kind::kCreateSchema:
        return dialect_.createSchema(
            std::string(new_.quoted(step.after)),
            newNames_.isEngineSchema(static_cast<const ZELPackage*>(step.after)));
      case Kind::kCreateTable: {
        std::string text, foreignKeys;  // foreign keys are steps of their own
        new_.writeTable(*newTable, text, foreignKeys);
        return text;
      }
      case Kind::kAddColumn:
        return dialect_.addColumn(new_.tableRef(newTable),
                                  new_.columnDefinition(column(step.after), true),
                                  previousColumn(column(step.after)));
      case Kind::kAlterColumn: {
        SqlDialect::ColumnChange change = columnChange(step);
        change.type = typeChanges(step);
        change.dropNotNull = step.nullabilityChanged;
        change.description = step.descriptionChanged;
        change.descriptionText = validUtf8(bytesOf(column(step.after).getDescription()));
        // The column stays nullable here where a later step makes it NOT NULL.
        change.definition = new_.columnDefinition(column(step.after), isLaterNotNull(step));
        if (!change.type && !change.dropNotNull && !change.description) return "";
        return dialect_.alterColumn(change);
      }
      case Kind::kSetNotNull: {
        SqlDialect::ColumnChange change = columnChange(step);
        change.setNotNull = true;
        return dialect_.alterColumn(change);
      }
      case Kind::kAddKey: {
        const std::string constraint =
            new_.keyConstraint(static_cast<const ZELCandidateKey&>(*step.after));
        if (constraint.empty()) {
          return new_.notWritten(
              "key " + std::string(new_.quoted(step.after)) + " of " + new_.tableRef(newTable),
              "the dialect cannot make it a key");
        }
        return "ALTER TABLE " + new_.tableRef(newTable) + " ADD " + constraint + ";\n";
      }
      case Kind::kAddIndex:
        return new_.indexStatement(*newTable, *step.after);
      case Kind::kAddForeignKey: {
        if (dialect_.foreignKeysInCreateTable()) return "";
        std::string problem;
        const std::string constraint = new_.foreignKeyConstraint(
            *newTable, static_cast<const ZELForeignKey&>(*step.after), problem);
        const std::string ref = new_.tableRef(newTable);
        if (!problem.empty()) {
          return new_.notWritten(
              "foreign key " + std::string(new_.quoted(step.after)) + " of " + ref, problem);
        }
        return "ALTER TABLE " + ref + " ADD " + constraint + ";\n";
      }
      case Kind::kSetDescription:
        return dialect_.setTableDescription(new_.tableRef(newTable),
                                            validUtf8(bytesOf(newTable->getDescription())));
      case Kind::kNoView:
        return "-- View " + new_.shown(step.after->getName()) +
               ": the extract holds no definition, so it is not created.\n";
      case Kind::kDropSchema: {
        const auto* schema = static_cast<const ZELPackage*>(step.before);
        if (oldNames_.isEngineSchema(schema)) return "";
        return dialect_.dropSchema(std::string(old_.quoted(schema)));
      }
    }
    return "";
  }

  static const ZELAttribute& column(const ZELObject* object) {
    return *static_cast<const ZELAttribute*>(object);
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

  std::string previousColumn(const ZELAttribute& column) const {
    std::string previous;
    for (const ZELAttribute* other : columnsInPositionOrder(*tableOf(&column))) {
      if (other == &column) return previous;
      previous = new_.quoted(other);
    }
    return previous;
  }

  std::string header() const {
    std::string text;
    const auto line = [&](const std::string& content) {
      text += "-- " + commentText(content) + "\n";
    };
    for (const std::string& opening : migrationHeaderOpening("SQL migration", options_, dialect_))
      line(opening);
    line(std::to_string(statements_) + " changes; " + std::to_string(losing_) +
         " may lose data, each between MAY LOSE DATA and END MAY LOSE DATA comments.");
    const std::string_view limits = dialect_.migrationLimits();
    for (size_t at = 0; at <= limits.size();) {
      const size_t end = std::min(limits.find('\n', at), limits.size());
      line(std::string(limits.substr(at, end - at)));
      at = end + 1;
    }
    line("Not carried: view definitions and procedure bodies; what the sql format lists.");
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
  const MigrationScriptOptions& options_;
  std::map<const ZELClass*, const ZELClass*> keptOf_;  // old table -> new
  std::map<const ZELClass*, const ZELClass*> oldOf_;   // new table -> old
  std::set<const ZELClass*> rebuilt_;
  std::vector<const ZELClass*> order_;  // rebuilt tables in plan order
  std::map<const ZELClass*, std::string> rebuildLosses_;
  std::map<const ZELAttribute*, std::string> renamedColumns_;  // old column -> new quoted name
  std::vector<std::pair<const ZELObject*, const ZELObject*>> refits_;  // (old, new) index
  std::vector<std::string> leftOut_;
  long statements_ = 0;
  long losing_ = 0;
};

}  // namespace

std::vector<std::string> migrationHeaderOpening(const std::string& kind,
                                                const MigrationScriptOptions& options,
                                                const SqlDialect& dialect) {
  return {kind + " written by pcd-import" +
              (options.toolVersion.empty() ? std::string() : " " + options.toolVersion),
          "From: " + options.oldSource, "To: " + options.newSource,
          "Dialect: " + std::string(dialect.name())};
}

std::vector<std::string> migrationHeaderClosing(const MigrationPlan& plan,
                                                const MigrationScriptOptions& options,
                                                const std::vector<std::string>& leftOut) {
  std::vector<std::string> lines;
  for (const std::string& note : plan.notes) lines.push_back("Note: " + note);
  if (!options.safe) return lines;
  lines.push_back("Left out (--safe), as they may lose data: " +
                  (leftOut.empty() ? std::string("nothing") : std::to_string(leftOut.size())));
  for (const std::string& item : leftOut) lines.push_back("  " + item);
  return lines;
}

std::string writeMigrationScript(const ZELModel& before, const ZELModel& after,
                                 const MigrationPlan& plan, const SqlDialect& dialect,
                                 const MigrationScriptOptions& options, std::string& script) {
  script.clear();
  SqlNames oldNames, newNames;
  std::string error = oldNames.assign(before, dialect);
  if (error.empty()) error = newNames.assign(after, dialect);
  if (!error.empty()) return error;
  script = MigrationWriter(before, after, plan, dialect, oldNames, newNames, options).write();
  return "";
}

}  // namespace pcd::writers
