#include "catalog_facts.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <tuple>
#include <unordered_set>

#include "catalog_reader.h"
#include "catalog_view.h"
#include "sql/model_sql.h"
#include "sql/sql_names.h"

using namespace pcd::writers;

namespace {

std::string joined(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ",") + item;
  return text;
}

Facts sorted(Facts facts) {
  std::sort(facts.begin(), facts.end());
  return facts;
}

class ExpectedFacts {
 public:
  ExpectedFacts(const SqlDialect& dialect, const std::string& script)
      : dialect_(dialect), script_(script) {}

  Facts collect(const ZELModel& model) {
    const std::string error = names_.assign(model, dialect_);
    if (!error.empty()) throw std::runtime_error(error);
    for (const SchemaOfCatalog& entry : catalogSchemas(model)) {
      for (const ZELModelObject* object : objectsOfType(*entry.schema, ZEL_ET_CLASS)) {
        addTable(*entry.schema, static_cast<const ZELClass&>(*object));
      }
    }
    // Foreign keys last: the referenced table may come later.
    for (const PendingForeignKey& pending : pendingForeignKeys_) {
      facts_.push_back("fk " + pending.label + (sqlite() ? "" : " " + name(pending.key)) + " (" +
                       pending.columns + ") -> " + labelOf(pending.target) + " (" +
                       pending.referencedColumns + ")");
    }
    return sorted(facts_);
  }

 private:
  std::string name(const ZELObject* object) const { return std::string(names_.of(object)); }
  bool sqlite() const { return dialect_.name() == "sqlite"; }

  bool notWritten(const std::string& what, const ZELObject* object, const std::string& ref) const {
    return script_.find(kNotWrittenMark + what + dialect_.quoteIdentifier(name(object)) + " of " +
                        ref + ": ") != std::string::npos;
  }

  std::string columns(const std::vector<const ZELAttribute*>& list) const {
    std::vector<std::string> names;
    for (const ZELAttribute* column : list) names.push_back(name(column));
    return joined(names);
  }

  void addTable(const ZELPackage& schema, const ZELClass& table) {
    const bool sqlite = this->sqlite();
    const std::string label = sqlite ? name(&table) : name(&schema) + "." + name(&table);
    const std::string ref = sqlite ? dialect_.quoteIdentifier(name(&table))
                                   : dialect_.quoteIdentifier(name(&schema)) + "." +
                                         dialect_.quoteIdentifier(name(&table));
    if (script_.find(std::string(kNotWrittenMark) + "table " + ref + ": ") != std::string::npos) {
      return;
    }
    tableLabels_[&table] = label;
    facts_.push_back("table " + label);

    std::unordered_set<const ZELAttribute*> primaryColumns;
    for (const ZELKey* key : table.keys()) {
      const std::vector<const ZELAttribute*> keyColumns(key->attributes().begin(),
                                                        key->attributes().end());
      if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) {
        if (!notWritten("foreign key ", key, ref)) addForeignKey(label, *key);
      } else if (table.getPrimaryKey() == key) {
        if (notWritten("primary key ", key, ref)) continue;
        facts_.push_back("pk " + label + " (" + columns(keyColumns) + ")");
        primaryColumns.insert(keyColumns.begin(), keyColumns.end());
      } else if (!notWritten("key ", key, ref)) {
        if (!static_cast<const ZELCandidateKey*>(key)->uniqueKey) {
          facts_.push_back("index " + label + " " + name(key) + " plain (" + columns(keyColumns) +
                           ")");
        } else if (dialect_.name() == "mysql") {
          facts_.push_back("index " + label + " " + name(key) + " unique (" + columns(keyColumns) +
                           ")");
        } else {
          facts_.push_back("unique " + label + (sqlite ? "" : " " + name(key)) + " (" +
                           columns(keyColumns) + ")");
        }
      }
    }

    const std::vector<const ZELAttribute*> tableColumns = columnsInPositionOrder(table);
    for (size_t i = 0; i < tableColumns.size(); ++i) {
      const ZELAttribute* column = tableColumns[i];
      const bool notNull = !column->isOptional() || primaryColumns.count(column) != 0;
      facts_.push_back("column " + label + " #" + std::to_string(i + 1) + " " + name(column) +
                       (notNull ? " notnull" : " null"));
    }

    for (const ZELIndex* index : table.indexes()) {
      if (isKeyIndex(table, *index) || notWritten("index ", index, ref)) continue;
      std::vector<std::string> members;
      for (const ZELIndexMember* member : index->members()) {
        members.push_back(name(member->getAttribute()) + (member->sortOrder == 2 ? " DESC" : ""));
      }
      facts_.push_back("index " + label + " " + name(index) +
                       (index->indexFlag1 ? " unique (" : " plain (") + joined(members) + ")");
    }
  }

  void addForeignKey(const std::string& label, const ZELKey& key) {
    const auto& foreignKey = static_cast<const ZELForeignKey&>(key);
    std::vector<const ZELAttribute*> own, referenced;
    for (const ZELAssociationRoleNameMap* map : foreignKey.roleNameMaps()) {
      own.push_back(map->getDestinationAttribute());
      referenced.push_back(map->getSourceAttribute());
    }
    const ZELClass* target = foreignKey.getCandidateKey()->getAssociatedClass();
    pendingForeignKeys_.push_back({label, &key, columns(own), target, columns(referenced)});
  }

  std::string labelOf(const ZELClass* table) const {
    const auto found = tableLabels_.find(table);
    return found != tableLabels_.end() ? found->second : "?";
  }

  struct PendingForeignKey {
    std::string label;
    const ZELKey* key;
    std::string columns;
    const ZELClass* target;
    std::string referencedColumns;
  };
  const SqlDialect& dialect_;
  const std::string& script_;
  SqlNames names_;
  Facts facts_;
  std::map<const ZELClass*, std::string> tableLabels_;
  std::vector<PendingForeignKey> pendingForeignKeys_;
};

}  // namespace

Facts expectedFacts(const ZELModel& model, const SqlDialect& dialect, const std::string& script) {
  return ExpectedFacts(dialect, script).collect(model);
}

namespace {

// What the engine's catalog holds, as the program's own reader gives it.
Facts liveFacts(const pcd::cli::LiveCatalog& catalog, std::string_view dialect) {
  const bool sqlite = dialect == "sqlite";
  Facts facts;
  for (const pcd::cli::LiveSchema& schema : catalog.schemas) {
    for (const pcd::cli::LiveTable& table : schema.tables) {
      if (table.view) continue;
      const std::string label = sqlite ? table.name : schema.name + "." + table.name;
      const auto columns = [&](const std::vector<int>& indexes,
                               const std::vector<bool>& descending = {}) {
        std::vector<std::string> names;
        for (size_t i = 0; i < indexes.size(); ++i) {
          names.push_back(table.columns.at(indexes[i]).name +
                          (i < descending.size() && descending[i] ? " DESC" : ""));
        }
        return joined(names);
      };
      facts.push_back("table " + label);
      for (size_t i = 0; i < table.columns.size(); ++i) {
        facts.push_back("column " + label + " #" + std::to_string(i + 1) + " " +
                        table.columns[i].name + (table.columns[i].nullable ? " null" : " notnull"));
      }
      if (table.hasPrimaryKey)
        facts.push_back("pk " + label + " (" + columns(table.primaryKey.columns) + ")");
      // MySQL holds a unique constraint as a unique index; SQLite keeps no
      // constraint names.
      for (const pcd::cli::LiveKey& key : table.uniqueKeys) {
        facts.push_back(dialect == "mysql" ? "index " + label + " " + key.name + " unique (" +
                                                 columns(key.columns, key.descending) + ")"
                                           : "unique " + label + (sqlite ? "" : " " + key.name) +
                                                 " (" + columns(key.columns) + ")");
      }
      for (const pcd::cli::LiveForeignKey& key : table.foreignKeys) {
        facts.push_back(
            "fk " + label + (sqlite ? "" : " " + key.name) + " (" + columns(key.columns) + ") -> " +
            (sqlite ? key.referencedTable : key.referencedSchema + "." + key.referencedTable) +
            " (" + joined(key.referencedColumns) + ")");
      }
      for (const pcd::cli::LiveIndex& index : table.indexes) {
        facts.push_back("index " + label + " " + index.name +
                        (index.unique ? " unique (" : " plain (") +
                        columns(index.columns, index.descending) + ")");
      }
    }
  }
  return sorted(facts);
}

}  // namespace

Facts postgresFacts(PostgresServer& server, const std::string& database) {
  return liveFacts(pcd::cli::readPostgresqlCatalog(
                       pcd::cli::parseDatabaseUrl("postgresql:///" + database +
                                                  "?host=" + server.socketFolder() + "&user=pcd"),
                       {}),
                   "postgresql");
}

Facts mariaDbFacts(MariaDbServer& server) {
  return liveFacts(
      pcd::cli::readMariadbCatalog(
          pcd::cli::parseDatabaseUrl("mysql://root@localhost/?socket=" + server.socketPath()), {}),
      "mysql");
}

Facts sqliteFacts(const std::string& databaseFile) {
  return liveFacts(
      pcd::cli::readSqliteCatalog(pcd::cli::parseDatabaseUrl("sqlite:" + databaseFile), {}),
      "sqlite");
}
