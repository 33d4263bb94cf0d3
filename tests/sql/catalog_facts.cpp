#include "catalog_facts.h"

#include <sqlite3.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <tuple>
#include <unordered_set>

#include "model_sql.h"
#include "catalog_view.h"
#include "sql_names.h"

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
  ExpectedFacts(SqlDialect dialect, const std::string& script) : dialect_(dialect), script_(script) {}

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
      facts_.push_back("fk " + pending.label +
                       (dialect_ == SqlDialect::kSqlite ? "" : " " + name(pending.key)) + " (" +
                       pending.columns + ") -> " + labelOf(pending.target) + " (" +
                       pending.referencedColumns + ")");
    }
    return sorted(facts_);
  }

 private:
  const std::string& name(const ZELObject* object) const { return names_.of(object); }

  bool notWritten(const std::string& what, const ZELObject* object, const std::string& ref) const {
    return script_.find(kNotWrittenMark + what + quoteIdentifier(dialect_, name(object)) +
                        " of " + ref + ": ") != std::string::npos;
  }

  std::string columns(const std::vector<const ZELAttribute*>& list) const {
    std::vector<std::string> names;
    for (const ZELAttribute* column : list) names.push_back(name(column));
    return joined(names);
  }

  void addTable(const ZELPackage& schema, const ZELClass& table) {
    const bool sqlite = dialect_ == SqlDialect::kSqlite;
    const std::string label = sqlite ? name(&table) : name(&schema) + "." + name(&table);
    const std::string ref = sqlite ? quoteIdentifier(dialect_, name(&table))
                                   : quoteIdentifier(dialect_, name(&schema)) + "." +
                                         quoteIdentifier(dialect_, name(&table));
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
        } else if (dialect_ == SqlDialect::kMySql) {
          facts_.push_back("index " + label + " " + name(key) + " unique (" +
                           columns(keyColumns) + ")");
        } else {
          facts_.push_back("unique " + label + (sqlite ? "" : " " + name(key)) + " (" +
                           columns(keyColumns) + ")");
        }
      }
    }

    std::vector<const ZELAttribute*> tableColumns;
    for (const ZELFeature* feature : table.features()) {
      if (feature->isInstanceOf(ZEL_ET_ATTRIBUTE)) {
        tableColumns.push_back(static_cast<const ZELAttribute*>(feature));
      }
    }
    std::stable_sort(tableColumns.begin(), tableColumns.end(),
                     [](const ZELAttribute* a, const ZELAttribute* b) {
                       return a->getPosition() < b->getPosition();
                     });
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
  SqlDialect dialect_;
  const std::string& script_;
  SqlNames names_;
  Facts facts_;
  std::map<const ZELClass*, std::string> tableLabels_;
  std::vector<PendingForeignKey> pendingForeignKeys_;
};

// "hex,hex DESC" -> "A,B DESC"
std::string decodedList(const std::string& list) {
  std::vector<std::string> items;
  for (const auto& item : rowsOf(list, ',').empty() ? std::vector<std::string>{}
                                                      : rowsOf(list, ',').front()) {
    const size_t blank = item.find(' ');
    items.push_back(fromHex(item.substr(0, blank)) +
                    (blank == std::string::npos ? "" : item.substr(blank)));
  }
  return joined(items);
}

std::string hexOf(const std::string& expression) {
  return "encode(convert_to((" + expression + ")::text, 'UTF8'), 'hex')";
}

using Rows = std::vector<std::vector<std::string>>;

// Tables and their columns through information_schema, which both servers
// have; `hex` gives an expression's bytes as hex digits.
void addTablesAndColumns(const std::function<Rows(const std::string&)>& query,
                         std::string (*hex)(const std::string&), const std::string& ownSchemas,
                         Facts& facts) {
  const std::string names = hex("table_schema") + ", " + hex("table_name");
  for (const auto& row : query("SELECT " + names +
                               " FROM information_schema.tables WHERE table_type = 'BASE TABLE' "
                               "AND " + ownSchemas)) {
    facts.push_back("table " + fromHex(row.at(0)) + "." + fromHex(row.at(1)));
  }
  for (const auto& row : query("SELECT " + names + ", ordinal_position, " + hex("column_name") +
                               ", is_nullable FROM information_schema.columns WHERE " +
                               ownSchemas)) {
    facts.push_back("column " + fromHex(row.at(0)) + "." + fromHex(row.at(1)) + " #" + row.at(2) +
                    " " + fromHex(row.at(3)) + (row.at(4) == "NO" ? " notnull" : " null"));
  }
}

std::string mariaDbHex(const std::string& expression) { return "HEX(" + expression + ")"; }

}  // namespace

Facts expectedFacts(const ZELModel& model, SqlDialect dialect, const std::string& script) {
  return ExpectedFacts(dialect, script).collect(model);
}

Facts postgresFacts(PostgresServer& server, const std::string& database) {
  const auto own = [](const std::string& schema) {
    return schema + " NOT IN ('pg_catalog', 'information_schema') AND " + schema +
           " NOT LIKE 'pg_toast%'";
  };
  const std::string ownSchemas = own("n.nspname");
  Facts facts;
  addTablesAndColumns([&](const std::string& sql) { return server.query(database, sql); }, hexOf,
                      own("table_schema"), facts);
  const auto columnList = [](const std::string& keys, const std::string& table) {
    return "(SELECT string_agg(" + hexOf("a.attname") +
           ", ',' ORDER BY u.ord) FROM unnest(k." + keys +
           ") WITH ORDINALITY u(num, ord) JOIN pg_attribute a ON a.attrelid = k." + table +
           " AND a.attnum = u.num)";
  };
  for (const auto& row : server.query(
           database, "SELECT " + hexOf("n.nspname") + ", " + hexOf("c.relname") + ", k.contype, " +
                         hexOf("k.conname") + ", " + columnList("conkey", "conrelid") +
                         ", coalesce(" + hexOf("fn.nspname") + ", ''), coalesce(" +
                         hexOf("fc.relname") + ", ''), coalesce(" +
                         columnList("confkey", "confrelid") +
                         ", '') FROM pg_constraint k JOIN pg_class c ON c.oid = k.conrelid JOIN "
                         "pg_namespace n ON n.oid = c.relnamespace LEFT JOIN pg_class fc ON "
                         "fc.oid = k.confrelid LEFT JOIN pg_namespace fn ON fn.oid = "
                         "fc.relnamespace WHERE k.contype IN ('p', 'u', 'f') AND " +
                         ownSchemas)) {
    const std::string label = fromHex(row.at(0)) + "." + fromHex(row.at(1));
    const std::string kind = row.at(2);
    if (kind == "p") {
      facts.push_back("pk " + label + " (" + decodedList(row.at(4)) + ")");
    } else if (kind == "u") {
      facts.push_back("unique " + label + " " + fromHex(row.at(3)) + " (" +
                      decodedList(row.at(4)) + ")");
    } else {
      facts.push_back("fk " + label + " " + fromHex(row.at(3)) + " (" + decodedList(row.at(4)) +
                      ") -> " + fromHex(row.at(5)) + "." + fromHex(row.at(6)) + " (" +
                      decodedList(row.at(7)) + ")");
    }
  }
  for (const auto& row : server.query(
           database,
           "SELECT " + hexOf("n.nspname") + ", " + hexOf("t.relname") + ", " + hexOf("i.relname") +
               ", x.indisunique, (SELECT string_agg(" + hexOf("a.attname") +
               " || CASE WHEN ((x.indoption::int2[])[u.ord - 1] & 1) = 1 THEN ' DESC' ELSE '' "
               "END, ',' ORDER BY u.ord) FROM unnest(x.indkey::int2[]) WITH ORDINALITY u(num, "
               "ord) JOIN pg_attribute a ON a.attrelid = x.indrelid AND a.attnum = u.num) FROM "
               "pg_index x JOIN pg_class i ON i.oid = x.indexrelid JOIN pg_class t ON t.oid = "
               "x.indrelid JOIN pg_namespace n ON n.oid = t.relnamespace WHERE " +
               ownSchemas +
               " AND NOT EXISTS (SELECT 1 FROM pg_constraint k WHERE k.conindid = x.indexrelid "
               "AND k.conrelid = x.indrelid AND k.contype IN ('p', 'u'))")) {
    facts.push_back("index " + fromHex(row.at(0)) + "." + fromHex(row.at(1)) + " " +
                    fromHex(row.at(2)) + (row.at(3) == "t" ? " unique (" : " plain (") +
                    decodedList(row.at(4)) + ")");
  }
  return sorted(facts);
}

Facts mariaDbFacts(MariaDbServer& server) {
  const std::string own =
      " TABLE_SCHEMA NOT IN ('mysql', 'information_schema', 'performance_schema', 'sys')";
  Facts facts;
  addTablesAndColumns([&](const std::string& sql) { return server.query(sql); }, mariaDbHex,
                      own, facts);
  // Grouped by (schema, table, name), members in their order.
  using Group = std::map<std::tuple<std::string, std::string, std::string>,
                         std::map<int, std::vector<std::string>>>;
  Group foreignKeys;
  for (const auto& row : server.query(
           "SELECT HEX(TABLE_SCHEMA), HEX(TABLE_NAME), HEX(CONSTRAINT_NAME), ORDINAL_POSITION, "
           "HEX(COLUMN_NAME), HEX(REFERENCED_TABLE_SCHEMA), HEX(REFERENCED_TABLE_NAME), "
           "HEX(REFERENCED_COLUMN_NAME) FROM information_schema.KEY_COLUMN_USAGE WHERE "
           "REFERENCED_TABLE_NAME IS NOT NULL AND" + own)) {
    foreignKeys[{fromHex(row.at(0)), fromHex(row.at(1)), fromHex(row.at(2))}]
               [std::stoi(row.at(3))] = {fromHex(row.at(4)), fromHex(row.at(5)),
                                         fromHex(row.at(6)), fromHex(row.at(7))};
  }
  std::set<std::tuple<std::string, std::string, std::string>> foreignKeyNames;
  for (const auto& [key, members] : foreignKeys) {
    std::vector<std::string> own_columns, referenced;
    std::string target;
    for (const auto& [position, member] : members) {
      own_columns.push_back(member[0]);
      referenced.push_back(member[3]);
      target = member[1] + "." + member[2];
    }
    foreignKeyNames.insert(key);
    facts.push_back("fk " + std::get<0>(key) + "." + std::get<1>(key) + " " + std::get<2>(key) +
                    " (" + joined(own_columns) + ") -> " + target + " (" + joined(referenced) +
                    ")");
  }
  Group indexes;
  std::set<std::tuple<std::string, std::string, std::string>> uniqueIndexes;
  for (const auto& row : server.query(
           "SELECT HEX(TABLE_SCHEMA), HEX(TABLE_NAME), HEX(INDEX_NAME), NON_UNIQUE, "
           "SEQ_IN_INDEX, HEX(COLUMN_NAME), IFNULL(COLLATION, 'A') FROM "
           "information_schema.STATISTICS WHERE" + own)) {
    const auto key = std::make_tuple(fromHex(row.at(0)), fromHex(row.at(1)), fromHex(row.at(2)));
    indexes[key][std::stoi(row.at(4))] = {fromHex(row.at(5)) +
                                          (row.at(6) == "D" ? " DESC" : "")};
    if (row.at(3) == "0") uniqueIndexes.insert(key);
  }
  for (const auto& [key, members] : indexes) {
    // A foreign key's own index is part of the foreign key.
    if (foreignKeyNames.count(key)) continue;
    std::vector<std::string> columns;
    for (const auto& [position, member] : members) columns.push_back(member[0]);
    const std::string label = std::get<0>(key) + "." + std::get<1>(key);
    if (std::get<2>(key) == "PRIMARY") {
      facts.push_back("pk " + label + " (" + joined(columns) + ")");
    } else {
      facts.push_back("index " + label + " " + std::get<2>(key) +
                      (uniqueIndexes.count(key) ? " unique (" : " plain (") + joined(columns) +
                      ")");
    }
  }
  return sorted(facts);
}

namespace {

// Rows of a query with one text parameter; every column as text.
std::vector<std::vector<std::string>> sqliteRows(sqlite3* db, const std::string& sql,
                                                 const std::string& parameter) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    throw std::runtime_error(sqlite3_errmsg(db));
  }
  if (!parameter.empty() || sql.find('?') != std::string::npos) {
    sqlite3_bind_text(statement, 1, parameter.data(), static_cast<int>(parameter.size()),
                      SQLITE_TRANSIENT);
  }
  std::vector<std::vector<std::string>> rows;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    std::vector<std::string> row;
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
      row.emplace_back(text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, i)))
                            : std::string());
    }
    rows.push_back(row);
  }
  sqlite3_finalize(statement);
  return rows;
}

}  // namespace

Facts sqliteFacts(const std::string& databaseFile) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(databaseFile.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    sqlite3_close(db);
    throw std::runtime_error("cannot open " + databaseFile);
  }
  Facts facts;
  for (const auto& table : sqliteRows(
           db, "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' "
               "ESCAPE '\\'", "")) {
    const std::string& label = table.at(0);
    facts.push_back("table " + label);
    std::map<int, std::string> primary;
    for (const auto& column :
         sqliteRows(db, "SELECT cid, name, \"notnull\", pk FROM pragma_table_info(?)", label)) {
      facts.push_back("column " + label + " #" + std::to_string(std::stoi(column.at(0)) + 1) +
                      " " + column.at(1) + (column.at(2) == "1" ? " notnull" : " null"));
      if (column.at(3) != "0") primary[std::stoi(column.at(3))] = column.at(1);
    }
    if (!primary.empty()) {
      std::vector<std::string> columns;
      for (const auto& [order, name] : primary) columns.push_back(name);
      facts.push_back("pk " + label + " (" + joined(columns) + ")");
    }
    for (const auto& index : sqliteRows(
             db, "SELECT name, \"unique\", origin FROM pragma_index_list(?)", label)) {
      if (index.at(2) == "pk") continue;
      std::vector<std::string> members;
      for (const auto& member : sqliteRows(
               db, "SELECT name, \"desc\" FROM pragma_index_xinfo(?) WHERE key = 1 ORDER BY seqno",
               index.at(0))) {
        members.push_back(member.at(0) + (member.at(1) == "1" ? " DESC" : ""));
      }
      if (index.at(2) == "u") {
        facts.push_back("unique " + label + " (" + joined(members) + ")");
      } else {
        facts.push_back("index " + label + " " + index.at(0) +
                        (index.at(1) == "1" ? " unique (" : " plain (") + joined(members) + ")");
      }
    }
    std::map<int, std::vector<std::string>> own, referenced;
    std::map<int, std::string> targets;
    for (const auto& pair : sqliteRows(
             db, "SELECT id, seq, \"table\", \"from\", \"to\" FROM pragma_foreign_key_list(?)",
             label)) {
      const int id = std::stoi(pair.at(0));
      own[id].push_back(pair.at(3));
      referenced[id].push_back(pair.at(4));
      targets[id] = pair.at(2);
    }
    for (const auto& [id, columns] : own) {
      facts.push_back("fk " + label + " (" + joined(columns) + ") -> " + targets[id] + " (" +
                      joined(referenced[id]) + ")");
    }
  }
  sqlite3_close(db);
  return sorted(facts);
}
