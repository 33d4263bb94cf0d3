// SQLite: the file's one schema "main", read through libsqlite3 in one read
// transaction. Columns, indexes and foreign keys come from the table-valued
// pragma functions joined to sqlite_master (one statement per kind of
// object); constraint names and check constraints, which SQLite keeps only in
// the CREATE TABLE text, come from tokenizing that text.
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "catalog_reader.h"

namespace pcd::cli {

namespace {

constexpr const char* kSchema = "main";

std::string lowerAscii(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// SQLite compares names without regard to ASCII case.
bool sameName(const std::string& a, const std::string& b) {
  return lowerAscii(a) == lowerAscii(b);
}

bool sameNames(const std::vector<std::string>& a, const std::vector<std::string>& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (!sameName(a[i], b[i])) return false;
  }
  return true;
}

// ---------------------------------------------------------------------------
// Declared types

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

std::string trimmed(const std::string& text) {
  size_t start = 0;
  size_t end = text.size();
  while (start < end && isBlank(text[start])) ++start;
  while (end > start && isBlank(text[end - 1])) --end;
  return text.substr(start, end - start);
}

// A type argument: an unsigned whole number that fits, else -1.
long typeArgument(const std::string& text) {
  std::string digits = trimmed(text);
  if (!digits.empty() && digits[0] == '+') digits.erase(0, 1);
  if (digits.empty() || digits.size() > 10) return -1;
  for (char c : digits) {
    if (c < '0' || c > '9') return -1;
  }
  const long value = std::strtol(digits.c_str(), nullptr, 10);
  return value <= 0x7fffffffL ? value : -1;
}

// "VARCHAR(20)" -> VARCHAR, length 20; "DECIMAL(10, 2)" -> precision 10,
// scale 2. The name keeps the declared spelling; arguments that are not
// numbers are ignored.
LiveType parseDeclaredType(const std::string& declared) {
  LiveType type;
  const size_t open = declared.find('(');
  type.name = trimmed(declared.substr(0, open));
  if (open == std::string::npos) return type;
  const size_t close = declared.find(')', open);
  if (close == std::string::npos) return type;
  std::vector<long> arguments;
  size_t start = open + 1;
  while (true) {
    const size_t comma = declared.find(',', start);
    const size_t end = comma < close ? comma : close;
    arguments.push_back(typeArgument(declared.substr(start, end - start)));
    if (arguments.back() < 0) return type;
    if (end == close) break;
    start = end + 1;
  }
  const std::string upper = [&] {
    std::string text = type.name;
    for (char& c : text) {
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
  }();
  bool characterType = false;
  for (const char* word : {"CHAR", "CLOB", "TEXT", "BINARY", "BIT"}) {
    if (upper.find(word) != std::string::npos) characterType = true;
  }
  if (characterType) {
    if (arguments.size() == 1) type.length = static_cast<std::int32_t>(arguments[0]);
  } else if (arguments.size() <= 2) {
    type.precision = static_cast<std::int32_t>(arguments[0]);
    if (arguments.size() == 2) type.scale = static_cast<std::int32_t>(arguments[1]);
  }
  return type;
}

// ---------------------------------------------------------------------------
// CREATE TABLE text

struct Token {
  enum Kind { kWord, kQuoted, kPunctuation } kind;
  std::string text;  // unquoted
};

bool isWordByte(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '$' || c >= 0x80;
}

// Words, quoted names and strings ('..', "..", `..`, [..]) and single
// punctuation characters; blanks and comments are dropped.
std::vector<Token> tokenize(const std::string& sql) {
  std::vector<Token> tokens;
  size_t i = 0;
  while (i < sql.size()) {
    const char c = sql[i];
    if (isBlank(c)) {
      ++i;
    } else if (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') {
      i = sql.find('\n', i);
      if (i == std::string::npos) i = sql.size();
    } else if (c == '/' && i + 1 < sql.size() && sql[i + 1] == '*') {
      i = sql.find("*/", i + 2);
      i = i == std::string::npos ? sql.size() : i + 2;
    } else if (c == '\'' || c == '"' || c == '`' || c == '[') {
      const char close = c == '[' ? ']' : c;
      std::string text;
      ++i;
      while (i < sql.size()) {
        if (sql[i] == close) {
          // A doubled quote stands for itself; brackets have no escape.
          if (close != ']' && i + 1 < sql.size() && sql[i + 1] == close) {
            text += close;
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        text += sql[i++];
      }
      tokens.push_back({Token::kQuoted, text});
    } else if (isWordByte(static_cast<unsigned char>(c))) {
      const size_t start = i;
      while (i < sql.size() && isWordByte(static_cast<unsigned char>(sql[i]))) ++i;
      tokens.push_back({Token::kWord, sql.substr(start, i - start)});
    } else {
      tokens.push_back({Token::kPunctuation, std::string(1, c)});
      ++i;
    }
  }
  return tokens;
}

bool isWord(const Token& token, const char* keyword) {
  return token.kind == Token::kWord && sameName(token.text, keyword);
}

bool isPunctuation(const Token& token, char c) {
  return token.kind == Token::kPunctuation && token.text.size() == 1 && token.text[0] == c;
}

// A key as the text declares it; `parent` only for foreign keys.
struct DeclaredKey {
  std::string name;  // empty when the text gives none
  std::vector<std::string> columns;
  std::string parent;
  bool used = false;
};

struct DeclaredTable {
  std::string primaryKeyName;
  std::vector<DeclaredKey> uniqueKeys;
  std::vector<DeclaredKey> foreignKeys;
  long checks = 0;
  bool autoIncrement = false;
};

// Index after the parenthesized group that starts at `open`.
size_t afterGroup(const std::vector<Token>& tokens, size_t open) {
  int depth = 0;
  for (size_t i = open; i < tokens.size(); ++i) {
    if (isPunctuation(tokens[i], '(')) ++depth;
    if (isPunctuation(tokens[i], ')') && --depth == 0) return i + 1;
  }
  return tokens.size();
}

// The names of the next parenthesized column list from `at` on (the first
// token of each member: "a COLLATE x DESC" is column a); moves `at` past it.
std::vector<std::string> columnList(const std::vector<Token>& tokens, size_t& at) {
  std::vector<std::string> names;
  while (at < tokens.size() && !isPunctuation(tokens[at], '(')) ++at;
  if (at == tokens.size()) return names;
  const size_t end = afterGroup(tokens, at);
  bool memberStart = true;
  int depth = 0;
  for (size_t i = at + 1; i + 1 < end; ++i) {
    if (isPunctuation(tokens[i], '(')) ++depth;
    if (isPunctuation(tokens[i], ')')) --depth;
    if (depth == 0 && isPunctuation(tokens[i], ',')) {
      memberStart = true;
    } else if (memberStart) {
      names.push_back(tokens[i].text);
      memberStart = false;
    }
  }
  at = end;
  return names;
}

// One column definition or table constraint. A CONSTRAINT name belongs to
// the constraint clause that follows it.
void readDefinition(const std::vector<Token>& tokens, DeclaredTable& table) {
  if (tokens.empty()) return;
  const Token& first = tokens[0];
  const bool tableConstraint = isWord(first, "CONSTRAINT") || isWord(first, "PRIMARY") ||
                               isWord(first, "UNIQUE") || isWord(first, "CHECK") ||
                               isWord(first, "FOREIGN");
  const std::vector<std::string> column =
      tableConstraint ? std::vector<std::string>() : std::vector<std::string>{first.text};
  std::string name;
  size_t i = tableConstraint ? 0 : 1;
  while (i < tokens.size()) {
    const Token& token = tokens[i];
    if (isPunctuation(token, '(')) {
      i = afterGroup(tokens, i);
    } else if (isWord(token, "CONSTRAINT")) {
      name = i + 1 < tokens.size() ? tokens[i + 1].text : std::string();
      i += 2;
    } else if (isWord(token, "PRIMARY")) {
      ++i;
      if (tableConstraint) columnList(tokens, i);
      table.primaryKeyName = name;
      name.clear();
    } else if (isWord(token, "UNIQUE")) {
      ++i;
      table.uniqueKeys.push_back(
          {name, tableConstraint ? columnList(tokens, i) : column, "", false});
      name.clear();
    } else if (isWord(token, "FOREIGN") || isWord(token, "REFERENCES")) {
      ++i;
      DeclaredKey key{name, column, "", false};
      if (isWord(token, "FOREIGN")) {
        key.columns = columnList(tokens, i);
        if (i < tokens.size() && isWord(tokens[i], "REFERENCES")) ++i;
      }
      if (i < tokens.size()) key.parent = tokens[i++].text;
      table.foreignKeys.push_back(std::move(key));
      name.clear();
    } else {
      // CHECK, NOT NULL, DEFAULT, COLLATE, GENERATED/AS and the rest of a
      // clause: a pending name is not one the catalog keeps.
      if (isWord(token, "CHECK") || isWord(token, "NOT") || isWord(token, "NULL") ||
          isWord(token, "DEFAULT") || isWord(token, "COLLATE") || isWord(token, "GENERATED") ||
          isWord(token, "AS"))
        name.clear();
      ++i;
    }
  }
}

DeclaredTable parseCreateTable(const std::string& sql) {
  DeclaredTable table;
  const std::vector<Token> tokens = tokenize(sql);
  for (const Token& token : tokens) {
    if (isWord(token, "CHECK")) ++table.checks;
    if (isWord(token, "AUTOINCREMENT")) table.autoIncrement = true;
  }
  size_t i = 0;
  while (i < tokens.size() && !isPunctuation(tokens[i], '(')) ++i;
  std::vector<Token> definition;
  int depth = 0;
  for (++i; i < tokens.size(); ++i) {
    const Token& token = tokens[i];
    if (depth == 0 && (isPunctuation(token, ',') || isPunctuation(token, ')'))) {
      readDefinition(definition, table);
      definition.clear();
      if (isPunctuation(token, ')')) break;
      continue;
    }
    if (isPunctuation(token, '(')) ++depth;
    if (isPunctuation(token, ')')) --depth;
    definition.push_back(token);
  }
  return table;
}

// ---------------------------------------------------------------------------
// The connection

struct DatabaseClose {
  void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
struct StatementFinalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalize>;

class Row {
 public:
  explicit Row(sqlite3_stmt* statement) : statement_(statement) {}
  bool isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  std::string text(int column) const {
    const auto* bytes = sqlite3_column_text(statement_, column);
    if (bytes == nullptr) return std::string();
    return std::string(reinterpret_cast<const char*>(bytes),
                       static_cast<size_t>(sqlite3_column_bytes(statement_, column)));
  }
  long long integer(int column) const { return sqlite3_column_int64(statement_, column); }

 private:
  sqlite3_stmt* statement_;
};

class Connection {
 public:
  explicit Connection(const DatabaseUrl& url) : shown_(url.shown()) {
    std::error_code error;
    if (!std::filesystem::exists(url.path, error) && !error)
      throw CatalogReadError("cannot open " + shown_ + ": the SQLite file '" + url.path +
                             "' does not exist");
    if (std::filesystem::is_directory(url.path, error))
      throw CatalogReadError("cannot open " + shown_ + ": '" + url.path +
                             "' is a folder, not a SQLite file");
    sqlite3* db = nullptr;
    const int status = sqlite3_open_v2(url.path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    db_.reset(db);
    if (status != SQLITE_OK) {
      throw CatalogReadError("cannot open the SQLite file '" + url.path + "' (" + shown_ +
                             "): " + (db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(status)));
    }
    sqlite3_busy_timeout(db, 10000);
    // The first read fails on a file that is not a database.
    const int check =
        sqlite3_exec(db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr);
    if (check != SQLITE_OK) {
      throw CatalogReadError("cannot read the SQLite file '" + url.path + "' (" + shown_ +
                             "): " + sqlite3_errmsg(db));
    }
  }

  void execute(const char* sql) {
    if (sqlite3_exec(db_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
  }

  // Calls onRow for each row of `sql` (with `argument` bound to ?1 when
  // given); returns false with the reason in error() when told to.
  template <typename OnRow>
  bool query(const char* sql, OnRow&& onRow, const std::string* argument = nullptr,
             bool throwOnError = true) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(db_.get(), sql, -1, &raw, nullptr) != SQLITE_OK) {
      if (throwOnError) fail();
      return false;
    }
    Statement statement(raw);
    if (argument != nullptr)
      sqlite3_bind_text(raw, 1, argument->data(), static_cast<int>(argument->size()),
                        SQLITE_TRANSIENT);
    int status;
    while ((status = sqlite3_step(raw)) == SQLITE_ROW) onRow(Row(raw));
    if (status == SQLITE_DONE) return true;
    if (throwOnError) fail();
    return false;
  }

  std::string error() const { return sqlite3_errmsg(db_.get()); }
  const std::string& shown() const { return shown_; }

 private:
  [[noreturn]] void fail() const {
    throw CatalogReadError("reading the catalog of " + shown_ + ": " + error());
  }

  std::string shown_;
  std::unique_ptr<sqlite3, DatabaseClose> db_;
};

// ---------------------------------------------------------------------------
// The catalog

struct CatalogIndex {
  std::string name;
  long long seq = 0;
  bool unique = false;
  std::string origin;  // "c" CREATE INDEX, "u" UNIQUE, "pk" PRIMARY KEY
  bool partial = false;
  std::vector<int> columns;  // table column indexes; -1 for an expression
  std::vector<bool> descending;
};

struct CatalogForeignKey {
  long long id = 0;
  std::string parent;
  std::vector<int> columns;
  std::vector<std::string> parentColumns;  // empty names: the parent's primary key
  std::string onUpdate;
  std::string onDelete;
};

struct Relation {
  LiveTable table;
  bool virtualTable = false;
  std::string sql;
  std::vector<int> columnOfCid;     // table_xinfo cid -> column index, -1 when hidden
  std::vector<int> primaryKeyRank;  // per column: position in the key (1..n), 0 if none
  std::vector<CatalogIndex> indexes;
  std::vector<CatalogForeignKey> foreignKeys;
  DeclaredTable declared;  // what the CREATE TABLE text names
};

// Columns of every table and view. A view that names a table that is gone or
// a virtual table whose module this library lacks fails the statement; the
// error then names that object.
void readColumns(Connection& connection, std::unordered_map<std::string, Relation>& relations,
                 LiveCatalog& catalog) {
  const auto onRow = [&](const Row& row) {
    const auto found = relations.find(row.text(0));
    if (found == relations.end()) return;
    Relation& relation = found->second;
    const long long cid = row.integer(1);
    const long long hidden = row.integer(7);
    if (cid < 0) return;
    if (relation.columnOfCid.size() <= static_cast<size_t>(cid))
      relation.columnOfCid.resize(static_cast<size_t>(cid) + 1, -1);
    if (hidden == 1) return;  // a virtual table's hidden column
    if (hidden == 2 || hidden == 3) catalog.countNotCarried(not_carried::kGeneratedColumns);
    if (!row.isNull(5)) catalog.countNotCarried(not_carried::kColumnDefaults);
    LiveColumn column;
    column.name = row.text(2);
    column.type = parseDeclaredType(row.text(3));
    column.nullable = row.integer(4) == 0;
    relation.columnOfCid[static_cast<size_t>(cid)] =
        static_cast<int>(relation.table.columns.size());
    relation.table.columns.push_back(std::move(column));
    relation.primaryKeyRank.push_back(static_cast<int>(row.integer(6)));
  };
  if (connection.query("SELECT m.name, p.cid, p.name, p.type, p.\"notnull\", p.dflt_value, p.pk, "
                       "p.hidden FROM sqlite_master m JOIN pragma_table_xinfo(m.name, 'main') p "
                       "WHERE m.type IN ('table', 'view') ORDER BY m.name, p.cid",
                       onRow, nullptr, false))
    return;
  const std::string reason = connection.error();
  std::vector<const Relation*> ordered;
  for (const auto& entry : relations) ordered.push_back(&entry.second);
  std::sort(ordered.begin(), ordered.end(),
            [](const Relation* a, const Relation* b) { return a->table.name < b->table.name; });
  for (const Relation* relation : ordered) {
    if (!connection.query(
            "SELECT cid FROM pragma_table_xinfo(?1, 'main')", [](const Row&) {},
            &relation->table.name, false)) {
      throw CatalogReadError(
          "reading the columns of " + std::string(relation->table.view ? "view '" : "table '") +
          relation->table.name + "' in " + connection.shown() + ": " + connection.error());
    }
  }
  throw CatalogReadError("reading the columns of " + connection.shown() + ": " + reason);
}

int columnOf(const Relation& relation, long long cid) {
  if (cid < 0 || static_cast<size_t>(cid) >= relation.columnOfCid.size()) return -1;
  return relation.columnOfCid[static_cast<size_t>(cid)];
}

void readIndexes(Connection& connection, std::unordered_map<std::string, Relation>& relations) {
  connection.query(
      "SELECT m.name, il.name, il.seq, il.\"unique\", il.origin, il.partial, x.cid, x.\"desc\" "
      "FROM sqlite_master m JOIN pragma_index_list(m.name, 'main') il "
      "JOIN pragma_index_xinfo(il.name, 'main') x "
      "WHERE m.type = 'table' AND x.\"key\" = 1 ORDER BY m.name, il.seq, x.seqno",
      [&](const Row& row) {
        const auto found = relations.find(row.text(0));
        if (found == relations.end()) return;
        Relation& relation = found->second;
        const std::string name = row.text(1);
        if (relation.indexes.empty() || relation.indexes.back().name != name) {
          CatalogIndex index;
          index.name = name;
          index.seq = row.integer(2);
          index.unique = row.integer(3) != 0;
          index.origin = row.text(4);
          index.partial = row.integer(5) != 0;
          relation.indexes.push_back(std::move(index));
        }
        CatalogIndex& index = relation.indexes.back();
        // cid -2 is an expression, -1 the rowid itself.
        index.columns.push_back(columnOf(relation, row.integer(6)));
        index.descending.push_back(row.integer(7) != 0);
      });
}

void readForeignKeys(Connection& connection, std::unordered_map<std::string, Relation>& relations) {
  connection.query(
      "SELECT m.name, f.id, f.\"table\", f.\"from\", f.\"to\", f.on_update, f.on_delete "
      "FROM sqlite_master m JOIN pragma_foreign_key_list(m.name, 'main') f "
      "WHERE m.type = 'table' ORDER BY m.name, f.id, f.seq",
      [&](const Row& row) {
        const auto found = relations.find(row.text(0));
        if (found == relations.end()) return;
        Relation& relation = found->second;
        const long long id = row.integer(1);
        if (relation.foreignKeys.empty() || relation.foreignKeys.back().id != id) {
          CatalogForeignKey key;
          key.id = id;
          key.parent = row.text(2);
          key.onUpdate = row.text(5);
          key.onDelete = row.text(6);
          relation.foreignKeys.push_back(std::move(key));
        }
        CatalogForeignKey& key = relation.foreignKeys.back();
        // The child column by name: an index into the carried columns.
        int column = -1;
        const std::string from = row.text(3);
        for (size_t i = 0; i < relation.table.columns.size(); ++i) {
          if (sameName(relation.table.columns[i].name, from)) column = static_cast<int>(i);
        }
        key.columns.push_back(column);
        key.parentColumns.push_back(row.text(4));
      });
}

// SQLite names the autoindex of the n-th PRIMARY KEY/UNIQUE clause
// "sqlite_autoindex_<table>_<n>": its number gives declaration order.
long declarationNumber(const CatalogIndex& index) {
  const size_t underscore = index.name.rfind('_');
  if (underscore == std::string::npos) return 0;
  return std::strtol(index.name.c_str() + underscore + 1, nullptr, 10);
}

std::vector<std::string> columnNames(const LiveTable& table, const std::vector<int>& columns) {
  std::vector<std::string> names;
  for (int column : columns) names.push_back(table.columns[static_cast<size_t>(column)].name);
  return names;
}

// The name the text gives the first unused declared key with these columns
// (and parent), or `madeUp`.
std::string keyName(std::vector<DeclaredKey>& declared, const std::vector<std::string>& columns,
                    const std::string* parent, const std::string& madeUp) {
  for (DeclaredKey& key : declared) {
    if (key.used || !sameNames(key.columns, columns)) continue;
    if (parent != nullptr && !sameName(key.parent, *parent)) continue;
    key.used = true;
    return key.name.empty() ? madeUp : key.name;
  }
  return madeUp;
}

// The primary key from the catalog, named from the text; the table's
// checks and AUTOINCREMENT counted.
void completePrimaryKey(Relation& relation, LiveCatalog& catalog) {
  LiveTable& table = relation.table;
  if (table.view) {
    catalog.countNotCarried(not_carried::kViewBodies);
    return;
  }
  if (!relation.virtualTable) relation.declared = parseCreateTable(relation.sql);
  catalog.countNotCarried(not_carried::kCheckConstraints, relation.declared.checks);
  if (relation.declared.autoIncrement) catalog.countNotCarried(not_carried::kIdentityColumns);

  std::vector<std::pair<int, int>> ranked;  // (rank, column)
  for (size_t i = 0; i < relation.primaryKeyRank.size(); ++i) {
    if (relation.primaryKeyRank[i] > 0)
      ranked.emplace_back(relation.primaryKeyRank[i], static_cast<int>(i));
  }
  if (ranked.empty()) return;
  std::sort(ranked.begin(), ranked.end());
  table.hasPrimaryKey = true;
  table.primaryKey.name = relation.declared.primaryKeyName.empty()
                              ? "pk_" + table.name
                              : relation.declared.primaryKeyName;
  for (const auto& [rank, column] : ranked) table.primaryKey.columns.push_back(column);
  // A one-column INTEGER PRIMARY KEY of an ordinary table is the rowid and
  // has no index of its own; it cannot be NULL.
  const bool ownIndex = std::any_of(relation.indexes.begin(), relation.indexes.end(),
                                    [](const CatalogIndex& index) { return index.origin == "pk"; });
  if (!relation.virtualTable && !ownIndex && ranked.size() == 1)
    table.columns[static_cast<size_t>(ranked[0].second)].nullable = false;
}

// Unique constraints, indexes and foreign keys of one table; every table's
// primary key is known by then.
void completeKeys(Relation& relation,
                  const std::unordered_map<std::string, const Relation*>& byLowerName,
                  LiveCatalog& catalog) {
  LiveTable& table = relation.table;
  if (table.view) return;
  DeclaredTable& declared = relation.declared;

  // Unique constraints in declaration order; other indexes by name.
  std::vector<const CatalogIndex*> uniques;
  std::vector<const CatalogIndex*> plain;
  for (const CatalogIndex& index : relation.indexes) {
    if (index.origin == "u") uniques.push_back(&index);
    if (index.origin == "c") plain.push_back(&index);
  }
  std::sort(uniques.begin(), uniques.end(), [](const CatalogIndex* a, const CatalogIndex* b) {
    return declarationNumber(*a) != declarationNumber(*b)
               ? declarationNumber(*a) < declarationNumber(*b)
               : a->seq > b->seq;
  });
  for (const CatalogIndex* index : uniques) {
    if (std::find(index->columns.begin(), index->columns.end(), -1) != index->columns.end())
      continue;  // constraints are on columns only
    LiveKey key;
    key.columns = index->columns;
    key.name = keyName(declared.uniqueKeys, columnNames(table, key.columns), nullptr,
                       "uq_" + table.name + "_" + std::to_string(table.uniqueKeys.size() + 1));
    table.uniqueKeys.push_back(std::move(key));
  }
  std::sort(plain.begin(), plain.end(),
            [](const CatalogIndex* a, const CatalogIndex* b) { return a->name < b->name; });
  for (const CatalogIndex* index : plain) {
    if (index->partial) catalog.countNotCarried(not_carried::kPartialIndexes);
    LiveIndex live;
    live.name = index->name;
    live.unique = index->unique;
    for (size_t i = 0; i < index->columns.size(); ++i) {
      if (index->columns[i] < 0) continue;
      live.columns.push_back(index->columns[i]);
      live.descending.push_back(index->descending[i]);
    }
    if (live.columns.empty()) {
      catalog.countNotCarried(not_carried::kExpressionIndexes);
      continue;
    }
    catalog.countNotCarried(not_carried::kExpressionIndexMembers,
                            static_cast<long>(index->columns.size() - live.columns.size()));
    table.indexes.push_back(std::move(live));
  }

  // Foreign keys in declaration order (the catalog numbers them backwards).
  std::sort(relation.foreignKeys.begin(), relation.foreignKeys.end(),
            [](const CatalogForeignKey& a, const CatalogForeignKey& b) { return a.id > b.id; });
  int number = 0;
  for (const CatalogForeignKey& key : relation.foreignKeys) {
    ++number;
    if (key.onUpdate != "NO ACTION") catalog.countNotCarried(not_carried::kReferentialActions);
    if (key.onDelete != "NO ACTION") catalog.countNotCarried(not_carried::kReferentialActions);
    LiveForeignKey live;
    live.referencedSchema = kSchema;
    live.referencedTable = key.parent;
    live.columns = key.columns;
    live.referencedColumns = key.parentColumns;
    const auto parent = byLowerName.find(lowerAscii(key.parent));
    const Relation* parentRelation = parent != byLowerName.end() ? parent->second : nullptr;
    if (parentRelation != nullptr) live.referencedTable = parentRelation->table.name;
    // No parent columns named: the parent's primary key, in key order.
    if (std::all_of(key.parentColumns.begin(), key.parentColumns.end(),
                    [](const std::string& name) { return name.empty(); })) {
      live.referencedColumns.clear();
      if (parentRelation != nullptr && parentRelation->table.hasPrimaryKey)
        live.referencedColumns =
            columnNames(parentRelation->table, parentRelation->table.primaryKey.columns);
    } else if (parentRelation != nullptr) {
      // The parent's spelling of each referenced column.
      for (std::string& name : live.referencedColumns) {
        for (const LiveColumn& column : parentRelation->table.columns) {
          if (sameName(column.name, name)) name = column.name;
        }
      }
    }
    const bool resolved =
        live.referencedColumns.size() == live.columns.size() &&
        std::find(live.columns.begin(), live.columns.end(), -1) == live.columns.end();
    if (!resolved) {
      // A reference SQLite itself would reject on use ("foreign key
      // mismatch"): no key to point at.
      catalog.countNotCarried(not_carried::kForeignKeysWithoutParentKey);
      continue;
    }
    live.name = keyName(declared.foreignKeys, columnNames(table, live.columns), &key.parent,
                        "fk_" + table.name + "_" + std::to_string(number));
    table.foreignKeys.push_back(std::move(live));
  }
}

}  // namespace

LiveCatalog readSqliteCatalog(const DatabaseUrl& url, const CatalogReadOptions& options) {
  for (const std::string& schema : options.schemas) {
    if (schema != kSchema)
      throw CatalogReadError("schema '" + schema + "' does not exist in " + url.shown() +
                             " (a SQLite file has the one schema main)");
  }
  LiveCatalog catalog;
  catalog.engine = "SQLITE";
  catalog.serverVersion = sqlite3_libversion();
  catalog.majorVersion = std::atoi(catalog.serverVersion.c_str());
  const std::filesystem::path file(url.path);
  catalog.systemName = file.filename().string();
  catalog.databaseName = file.stem().string();

  Connection connection(url);
  // One read transaction: the first read takes the snapshot all others see.
  connection.execute("BEGIN");
  std::unordered_map<std::string, Relation> relations;
  long triggers = 0;
  connection.query("SELECT type, name, rootpage, sql FROM sqlite_master", [&](const Row& row) {
    const std::string type = row.text(0);
    const std::string name = row.text(1);
    if (type == "trigger") ++triggers;
    if ((type != "table" && type != "view") || lowerAscii(name).rfind("sqlite_", 0) == 0) return;
    Relation& relation = relations[name];
    relation.table.name = name;
    relation.table.view = type == "view";
    relation.virtualTable = type == "table" && row.integer(2) == 0;
    relation.sql = row.text(3);
  });
  // A virtual table's own storage tables belong to it, not to the user
  // (libraries older than 3.37 do not tell them apart).
  connection.query(
      "SELECT name FROM pragma_table_list WHERE schema = 'main' AND type = 'shadow'",
      [&](const Row& row) { relations.erase(row.text(0)); }, nullptr, false);
  readColumns(connection, relations, catalog);
  readIndexes(connection, relations);
  readForeignKeys(connection, relations);
  connection.execute("COMMIT");

  catalog.countNotCarried(not_carried::kTriggers, triggers);
  std::unordered_map<std::string, const Relation*> byLowerName;
  for (const auto& [name, relation] : relations) byLowerName[lowerAscii(name)] = &relation;
  std::vector<Relation*> ordered;
  for (auto& entry : relations) ordered.push_back(&entry.second);
  std::sort(ordered.begin(), ordered.end(),
            [](const Relation* a, const Relation* b) { return a->table.name < b->table.name; });
  // Primary keys first: a foreign key without columns names its parent's.
  for (Relation* relation : ordered) completePrimaryKey(*relation, catalog);
  for (Relation* relation : ordered) completeKeys(*relation, byLowerName, catalog);
  LiveSchema schema;
  schema.name = kSchema;
  for (Relation* relation : ordered) schema.tables.push_back(std::move(relation->table));
  catalog.schemas.push_back(std::move(schema));
  return catalog;
}

}  // namespace pcd::cli
