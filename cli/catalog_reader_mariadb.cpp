// The MariaDB/MySQL catalog from information_schema, read through
// libmariadb. The server is the system and each user database a schema;
// a few queries over all chosen databases, joined here by name.
#include <mysql.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "catalog_reader.h"

namespace pcd::cli {

namespace {

// A row's values as bytes; a SQL NULL is told apart from an empty string.
class Row {
 public:
  Row(MYSQL_ROW values, const unsigned long* lengths, unsigned count)
      : values_(values), lengths_(lengths), count_(count) {}
  bool isNull(unsigned column) const { return column >= count_ || values_[column] == nullptr; }
  std::string text(unsigned column) const {
    return isNull(column) ? std::string() : std::string(values_[column], lengths_[column]);
  }
  long number(unsigned column) const {
    return isNull(column) ? 0 : std::strtol(text(column).c_str(), nullptr, 10);
  }
  std::int32_t length(unsigned column) const {
    const long value = number(column);
    return value < 0 ? 0 : static_cast<std::int32_t>(std::min<long>(value, INT32_MAX));
  }

 private:
  MYSQL_ROW values_;
  const unsigned long* lengths_;
  unsigned count_;
};

class Connection {
 public:
  explicit Connection(const DatabaseUrl& url) : where_(describe(url)) {
    mysql_ = mysql_init(nullptr);
    if (mysql_ == nullptr)
      throw CatalogReadError("cannot connect to " + where_ + ": out of memory");
    // No option files are read: the URL alone says where to connect.
    mysql_options(mysql_, MYSQL_SET_CHARSET_NAME, "utf8mb4");
    const unsigned timeoutSeconds = 30;
    mysql_options(mysql_, MYSQL_OPT_CONNECT_TIMEOUT, &timeoutSeconds);
    const auto orNull = [](const std::string& text) {
      return text.empty() ? nullptr : text.c_str();
    };
    // An empty user is the login user, as the client library takes it.
    if (mysql_real_connect(mysql_, orNull(url.host), orNull(url.user), orNull(url.password),
                           orNull(url.database), url.port, orNull(url.socket), 0) == nullptr) {
      const std::string reason = mysql_error(mysql_);
      mysql_close(mysql_);
      mysql_ = nullptr;
      throw CatalogReadError("cannot connect to " + where_ + ": " + reason);
    }
  }
  ~Connection() {
    if (mysql_ != nullptr) mysql_close(mysql_);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void execute(const std::string& sql) {
    if (mysql_real_query(mysql_, sql.data(), sql.size()) != 0) fail(sql);
    // A statement that returns no rows has no result to free.
    if (MYSQL_RES* result = mysql_store_result(mysql_)) mysql_free_result(result);
  }

  // Runs a query and hands each row to `visit`, streaming the rows.
  template <typename Visit>
  void forEachRow(const std::string& sql, Visit visit) {
    if (mysql_real_query(mysql_, sql.data(), sql.size()) != 0) fail(sql);
    std::unique_ptr<MYSQL_RES, decltype(&mysql_free_result)> result(mysql_use_result(mysql_),
                                                                    mysql_free_result);
    if (!result) fail(sql);
    const unsigned count = mysql_num_fields(result.get());
    while (MYSQL_ROW values = mysql_fetch_row(result.get())) {
      visit(Row(values, mysql_fetch_lengths(result.get()), count));
    }
    if (mysql_errno(mysql_) != 0) fail(sql);
  }

  // A quoted string literal of `text`.
  std::string literal(const std::string& text) {
    std::string escaped(text.size() * 2 + 1, '\0');
    escaped.resize(mysql_real_escape_string(mysql_, escaped.data(), text.data(), text.size()));
    return "'" + escaped + "'";
  }

  const std::string& where() const { return where_; }

 private:
  // "database 'shop' on db.example.com:3306", for messages.
  static std::string describe(const DatabaseUrl& url) {
    std::string text = url.database.empty() ? "the server" : "database '" + url.database + "'";
    if (!url.socket.empty()) return text + " on socket " + url.socket;
    text += " on " + (url.host.empty() ? std::string("localhost") : url.host);
    if (url.port != 0) text += ":" + std::to_string(url.port);
    return text;
  }

  [[noreturn]] void fail(const std::string& sql) {
    const std::string first = sql.substr(0, std::min<size_t>(sql.find(" WHERE "), 120));
    throw CatalogReadError("reading the catalog of " + where_ + " failed: " + mysql_error(mysql_) +
                           " (in " + first + ")");
  }

  std::string where_;
  MYSQL* mysql_ = nullptr;
};

bool isSystemSchema(const std::string& name) {
  return name == "mysql" || name == "information_schema" || name == "performance_schema" ||
         name == "sys";
}

std::string lowered(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

bool contains(const std::string& text, const char* part) {
  return lowered(text).find(part) != std::string::npos;
}

// DATA_TYPE with the declared length, precision and scale that the format
// carries; other sizes are implicit in the type name.
LiveType typeOf(const Row& row, unsigned typeColumn) {
  LiveType type;
  type.name = row.text(typeColumn);
  const std::string name = lowered(type.name);
  const unsigned characterLength = typeColumn + 1;
  const unsigned precision = typeColumn + 2;
  const unsigned scale = typeColumn + 3;
  if (name == "char" || name == "varchar" || name == "binary" || name == "varbinary") {
    type.length = row.length(characterLength);
  } else if (name == "bit") {
    type.length = row.length(precision);
  } else if (name == "decimal" || name == "numeric") {
    type.precision = row.length(precision);
    type.scale = row.length(scale);
  }
  return type;
}

// The NUL cannot occur in names, so it joins parts of a key unambiguously.
std::string keyOf(const std::string& a, const std::string& b) {
  return a + '\0' + b;
}
std::string keyOf(const std::string& a, const std::string& b, const std::string& c) {
  return a + '\0' + b + '\0' + c;
}

struct TableState {
  std::string schema;
  LiveTable table;
  std::unordered_map<std::string, int> columnIndex;
  // Column name folded to lower case -> index: the server matches column
  // names without regard to case.
  std::unordered_map<std::string, int> foldedIndex;

  int columnNamed(const std::string& name) const {
    if (auto found = columnIndex.find(name); found != columnIndex.end()) return found->second;
    if (auto found = foldedIndex.find(lowered(name)); found != foldedIndex.end()) {
      return found->second;
    }
    return -1;
  }
};

struct ConstraintMember {
  long position = 0;
  std::string column;
  std::string referencedSchema;
  std::string referencedTable;
  std::string referencedColumn;
};

struct IndexMember {
  long position = 0;
  bool expression = false;  // no column: a functional key part
  std::string column;
  bool descending = false;
};

struct IndexState {
  TableState* owner = nullptr;
  std::string name;
  bool unique = false;
  std::vector<IndexMember> members;
};

struct ProcedureState {
  std::string schema;
  std::string routineType;
  LiveProcedure procedure;
  std::vector<std::pair<long, LiveArgument>> arguments;
};

// "10.11.6-MariaDB-0+deb12u1" -> "10.11.6"
std::string versionNumber(const std::string& reported) {
  return reported.substr(0, reported.find('-'));
}

}  // namespace

LiveCatalog readMariadbCatalog(const DatabaseUrl& url, const CatalogReadOptions& options) {
  Connection connection(url);
  LiveCatalog catalog;
  catalog.engine = "MARIADB";
  catalog.systemName = url.host.empty() || !url.socket.empty() ? "localhost" : url.host;
  catalog.databaseName = url.database.empty() ? "def" : url.database;

  connection.execute("SET NAMES utf8mb4");
  connection.execute("SET SESSION TRANSACTION ISOLATION LEVEL REPEATABLE READ");
  connection.execute("START TRANSACTION WITH CONSISTENT SNAPSHOT, READ ONLY");

  connection.forEachRow("SELECT VERSION()", [&](const Row& row) {
    catalog.serverVersion = versionNumber(row.text(0));
    catalog.majorVersion = static_cast<std::int32_t>(row.number(0));
  });

  // The chosen databases.
  std::set<std::string> existing;
  connection.forEachRow("SELECT SCHEMA_NAME FROM information_schema.SCHEMATA",
                        [&](const Row& row) { existing.insert(row.text(0)); });
  std::set<std::string> chosen;
  if (options.schemas.empty()) {
    for (const std::string& name : existing) {
      if (!isSystemSchema(name)) chosen.insert(name);
    }
  } else {
    for (const std::string& name : options.schemas) {
      if (existing.count(name) == 0) {
        throw CatalogReadError("no database '" + name + "' in " + connection.where());
      }
      chosen.insert(name);
    }
  }
  if (chosen.empty()) {
    connection.execute("COMMIT");
    return catalog;
  }
  std::string inChosen;
  for (const std::string& name : chosen) {
    inChosen += (inChosen.empty() ? " IN (" : ", ") + connection.literal(name);
  }
  inChosen += ")";

  // Tables and views.
  std::deque<TableState> tables;
  std::unordered_map<std::string, TableState*> tableByKey;
  long sequences = 0;
  connection.forEachRow(
      "SELECT TABLE_SCHEMA, TABLE_NAME, TABLE_TYPE, TABLE_COMMENT FROM information_schema.TABLES "
      "WHERE TABLE_SCHEMA" +
          inChosen,
      [&](const Row& row) {
        const std::string type = row.text(2);
        if (type == "SEQUENCE") {
          ++sequences;
          return;
        }
        if (type == "SYSTEM VIEW") return;
        TableState& state = tables.emplace_back();
        state.schema = row.text(0);
        state.table.name = row.text(1);
        state.table.view = type == "VIEW";
        // A view's comment is always the word "VIEW".
        if (!state.table.view) state.table.comment = row.text(3);
        tableByKey[keyOf(state.schema, state.table.name)] = &state;
      });
  catalog.countNotCarried(not_carried::kSequences, sequences);

  const auto tableOf = [&](const Row& row, unsigned schemaColumn) -> TableState* {
    const auto found = tableByKey.find(keyOf(row.text(schemaColumn), row.text(schemaColumn + 1)));
    return found == tableByKey.end() ? nullptr : found->second;
  };

  // Columns, collected with their positions and put in order per table.
  {
    std::unordered_map<TableState*, std::vector<std::pair<long, LiveColumn>>> columns;
    long defaults = 0, autoIncrements = 0, generated = 0, enumerations = 0;
    connection.forEachRow(
        "SELECT TABLE_SCHEMA, TABLE_NAME, COLUMN_NAME, ORDINAL_POSITION, IS_NULLABLE, "
        "COLUMN_COMMENT, COLUMN_DEFAULT, EXTRA, DATA_TYPE, CHARACTER_MAXIMUM_LENGTH, "
        "NUMERIC_PRECISION, NUMERIC_SCALE FROM information_schema.COLUMNS WHERE TABLE_SCHEMA" +
            inChosen,
        [&](const Row& row) {
          TableState* state = tableOf(row, 0);
          if (state == nullptr) return;
          LiveColumn column;
          column.name = row.text(2);
          column.nullable = row.text(4) == "YES";
          column.comment = row.text(5);
          column.type = typeOf(row, 8);
          columns[state].emplace_back(row.number(3), std::move(column));
          // A view's columns show their tables' defaults and extras.
          if (state->table.view) return;
          // MariaDB shows the text NULL for a nullable column without a
          // default; a string default is quoted.
          if (!row.isNull(6) && row.text(6) != "NULL") ++defaults;
          const std::string extra = row.text(7);
          if (contains(extra, "auto_increment")) ++autoIncrements;
          if (contains(extra, "virtual") || contains(extra, "stored") ||
              contains(extra, "persistent")) {
            ++generated;
          }
          const std::string type = lowered(row.text(8));
          if (type == "enum" || type == "set") ++enumerations;
        });
    for (auto& [state, list] : columns) {
      std::sort(list.begin(), list.end(),
                [](const auto& a, const auto& b) { return a.first < b.first; });
      for (auto& [position, column] : list) {
        const int index = static_cast<int>(state->table.columns.size());
        state->columnIndex.emplace(column.name, index);
        state->foldedIndex.emplace(lowered(column.name), index);
        state->table.columns.push_back(std::move(column));
      }
    }
    catalog.countNotCarried(not_carried::kColumnDefaults, defaults);
    catalog.countNotCarried(not_carried::kIdentityColumns, autoIncrements);
    catalog.countNotCarried(not_carried::kGeneratedColumns, generated);
    catalog.countNotCarried(not_carried::kEnumOrSetValues, enumerations);
  }

  // Constraints: their kinds, then their columns.
  std::unordered_map<std::string, std::string> constraintType;  // schema, table, name -> type
  {
    long checks = 0;
    connection.forEachRow(
        "SELECT TABLE_SCHEMA, TABLE_NAME, CONSTRAINT_NAME, CONSTRAINT_TYPE FROM "
        "information_schema.TABLE_CONSTRAINTS WHERE TABLE_SCHEMA" +
            inChosen,
        [&](const Row& row) {
          const std::string type = row.text(3);
          if (type == "CHECK") {
            ++checks;
          } else if (tableOf(row, 0) != nullptr) {
            constraintType[keyOf(row.text(0), row.text(1), row.text(2))] = type;
          }
        });
    catalog.countNotCarried(not_carried::kCheckConstraints, checks);
  }
  std::map<std::string, std::vector<ConstraintMember>> constraintMembers;
  connection.forEachRow(
      "SELECT TABLE_SCHEMA, TABLE_NAME, CONSTRAINT_NAME, ORDINAL_POSITION, COLUMN_NAME, "
      "REFERENCED_TABLE_SCHEMA, REFERENCED_TABLE_NAME, REFERENCED_COLUMN_NAME FROM "
      "information_schema.KEY_COLUMN_USAGE WHERE TABLE_SCHEMA" +
          inChosen,
      [&](const Row& row) {
        const std::string key = keyOf(row.text(0), row.text(1), row.text(2));
        if (constraintType.count(key) == 0) return;
        constraintMembers[key].push_back(
            {row.number(3), row.text(4), row.text(5), row.text(6), row.text(7)});
      });
  {
    long actions = 0;
    const auto isAction = [](const std::string& rule) {
      return rule != "RESTRICT" && rule != "NO ACTION";
    };
    connection.forEachRow(
        "SELECT UPDATE_RULE, DELETE_RULE FROM information_schema.REFERENTIAL_CONSTRAINTS WHERE "
        "CONSTRAINT_SCHEMA" +
            inChosen,
        [&](const Row& row) { actions += isAction(row.text(0)) + isAction(row.text(1)); });
    catalog.countNotCarried(not_carried::kReferentialActions, actions);
  }

  // Indexes with their members.
  std::map<std::string, IndexState> indexes;  // schema, table, index name
  long prefixLengths = 0;
  connection.forEachRow(
      "SELECT TABLE_SCHEMA, TABLE_NAME, INDEX_NAME, NON_UNIQUE, SEQ_IN_INDEX, COLUMN_NAME, "
      "COLLATION, SUB_PART FROM information_schema.STATISTICS WHERE TABLE_SCHEMA" +
          inChosen,
      [&](const Row& row) {
        TableState* state = tableOf(row, 0);
        if (state == nullptr) return;
        IndexState& index = indexes[keyOf(row.text(0), row.text(1), row.text(2))];
        index.owner = state;
        index.name = row.text(2);
        index.unique = row.number(3) == 0;
        index.members.push_back({row.number(4), row.isNull(5), row.text(5), row.text(6) == "D"});
        if (!row.isNull(7)) ++prefixLengths;
      });
  catalog.countNotCarried(not_carried::kIndexPrefixLengths, prefixLengths);
  for (auto& [key, index] : indexes) {
    std::sort(index.members.begin(), index.members.end(),
              [](const IndexMember& a, const IndexMember& b) { return a.position < b.position; });
  }
  const auto hasExpression = [](const IndexState& index) {
    return std::any_of(index.members.begin(), index.members.end(),
                       [](const IndexMember& member) { return member.expression; });
  };

  // Keys and foreign keys, in name order per table (the maps' order).
  std::unordered_set<std::string> constraintIndexes;  // indexes that back a key
  std::unordered_map<std::string, std::vector<std::string>> foreignKeyColumns;
  for (auto& [key, members] : constraintMembers) {
    const std::string& type = constraintType[key];
    const std::string name = key.substr(key.rfind('\0') + 1);
    TableState& state = *tableByKey[key.substr(0, key.rfind('\0'))];
    std::sort(members.begin(), members.end(),
              [](const ConstraintMember& a, const ConstraintMember& b) {
                return a.position < b.position;
              });
    std::vector<int> columns;
    for (const ConstraintMember& member : members) {
      columns.push_back(state.columnNamed(member.column));
    }
    if (std::find(columns.begin(), columns.end(), -1) != columns.end()) continue;
    if (type == "PRIMARY KEY" || type == "UNIQUE") {
      // A unique key with a functional part (MySQL) is an index, not a key.
      const auto index = indexes.find(key);
      if (index != indexes.end() && hasExpression(index->second)) continue;
      constraintIndexes.insert(key);
      if (type == "PRIMARY KEY") {
        state.table.hasPrimaryKey = true;
        state.table.primaryKey = {name, columns, {}};
      } else {
        // The server holds a unique index as a unique key: its sort order
        // comes with it.
        LiveKey unique{name, columns, {}};
        if (index != indexes.end()) {
          for (const IndexMember& member : index->second.members)
            unique.descending.push_back(member.descending);
        }
        state.table.uniqueKeys.push_back(std::move(unique));
      }
    } else if (type == "FOREIGN KEY") {
      LiveForeignKey foreignKey{
          name, columns, members.front().referencedSchema, members.front().referencedTable, {}};
      std::vector<std::string>& own = foreignKeyColumns[key];
      for (const ConstraintMember& member : members) {
        foreignKey.referencedColumns.push_back(member.referencedColumn);
        own.push_back(lowered(member.column));
      }
      state.table.foreignKeys.push_back(std::move(foreignKey));
    }
  }

  // Indexes that back no constraint. The server names the index it makes
  // for a foreign key after the key, on the key's columns.
  {
    long expressionIndexes = 0, expressionMembers = 0;
    for (const auto& [key, index] : indexes) {
      if (constraintIndexes.count(key)) continue;
      if (const auto foreignKey = foreignKeyColumns.find(key);
          foreignKey != foreignKeyColumns.end() &&
          foreignKey->second.size() <= index.members.size() &&
          std::equal(foreignKey->second.begin(), foreignKey->second.end(), index.members.begin(),
                     [](const std::string& column, const IndexMember& member) {
                       return !member.expression && lowered(member.column) == column;
                     })) {
        continue;
      }
      LiveIndex live;
      live.name = index.name;
      live.unique = index.unique;
      long expressions = 0;
      for (const IndexMember& member : index.members) {
        const int column = member.expression ? -1 : index.owner->columnNamed(member.column);
        if (column < 0) {
          ++expressions;
          continue;
        }
        live.columns.push_back(column);
        live.descending.push_back(member.descending);
      }
      if (live.columns.empty()) {
        ++expressionIndexes;
        continue;
      }
      expressionMembers += expressions;
      index.owner->table.indexes.push_back(std::move(live));
    }
    catalog.countNotCarried(not_carried::kExpressionIndexes, expressionIndexes);
    catalog.countNotCarried(not_carried::kExpressionIndexMembers, expressionMembers);
  }

  // Functions and procedures with their arguments; position 0 is a
  // function's result.
  std::deque<ProcedureState> procedures;
  std::unordered_map<std::string, ProcedureState*> procedureByKey;
  connection.forEachRow(
      "SELECT ROUTINE_SCHEMA, ROUTINE_TYPE, SPECIFIC_NAME, ROUTINE_NAME, ROUTINE_COMMENT FROM "
      "information_schema.ROUTINES WHERE ROUTINE_TYPE IN ('FUNCTION', 'PROCEDURE') AND "
      "ROUTINE_SCHEMA" +
          inChosen,
      [&](const Row& row) {
        ProcedureState& state = procedures.emplace_back();
        state.schema = row.text(0);
        state.routineType = row.text(1);
        state.procedure.name = row.text(3);
        state.procedure.comment = row.text(4);
        procedureByKey[keyOf(row.text(0), row.text(1), row.text(2))] = &state;
      });
  connection.forEachRow(
      "SELECT SPECIFIC_SCHEMA, ROUTINE_TYPE, SPECIFIC_NAME, ORDINAL_POSITION, PARAMETER_NAME, "
      "DATA_TYPE, CHARACTER_MAXIMUM_LENGTH, NUMERIC_PRECISION, NUMERIC_SCALE FROM "
      "information_schema.PARAMETERS WHERE ORDINAL_POSITION > 0 AND SPECIFIC_SCHEMA" +
          inChosen,
      [&](const Row& row) {
        const auto found = procedureByKey.find(keyOf(row.text(0), row.text(1), row.text(2)));
        if (found == procedureByKey.end()) return;
        found->second->arguments.emplace_back(row.number(3),
                                              LiveArgument{row.text(4), typeOf(row, 5)});
      });

  long triggers = 0;
  connection.forEachRow(
      "SELECT COUNT(*) FROM information_schema.TRIGGERS WHERE TRIGGER_SCHEMA" + inChosen,
      [&](const Row& row) { triggers = row.number(0); });
  catalog.countNotCarried(not_carried::kTriggers, triggers);
  connection.execute("COMMIT");

  // Into the catalog, sorted.
  std::map<std::string, LiveSchema> schemas;
  for (const std::string& name : chosen) schemas[name].name = name;
  long views = 0;
  for (TableState& state : tables) {
    views += state.table.view;
    schemas[state.schema].tables.push_back(std::move(state.table));
  }
  catalog.countNotCarried(not_carried::kViewBodies, views);
  const auto typeNames = [](const LiveProcedure& procedure) {
    std::vector<std::string> names;
    for (const LiveArgument& argument : procedure.arguments) names.push_back(argument.type.name);
    return names;
  };
  // A function and a procedure may share a name: functions first.
  std::map<std::string, std::vector<std::pair<std::string, LiveProcedure>>> routinesBySchema;
  for (ProcedureState& state : procedures) {
    std::sort(state.arguments.begin(), state.arguments.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [position, argument] : state.arguments) {
      state.procedure.arguments.push_back(std::move(argument));
    }
    routinesBySchema[state.schema].emplace_back(state.routineType, std::move(state.procedure));
  }
  for (auto& [schemaName, routines] : routinesBySchema) {
    std::sort(routines.begin(), routines.end(), [&](const auto& a, const auto& b) {
      if (a.second.name != b.second.name) return a.second.name < b.second.name;
      const auto typesA = typeNames(a.second), typesB = typeNames(b.second);
      if (typesA != typesB) return typesA < typesB;
      return a.first < b.first;
    });
    for (auto& [routineType, procedure] : routines) {
      schemas[schemaName].procedures.push_back(std::move(procedure));
    }
  }
  for (auto& [name, schema] : schemas) {
    std::sort(schema.tables.begin(), schema.tables.end(),
              [](const LiveTable& a, const LiveTable& b) { return a.name < b.name; });
    catalog.schemas.push_back(std::move(schema));
  }
  return catalog;
}

}  // namespace pcd::cli
