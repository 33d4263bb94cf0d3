// A live database's catalog as the snapshot reads it: engine-neutral plain
// values that each engine's reader fills and the extract writer turns into
// PCD records. Names and texts are the engine's bytes (UTF-8).
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace pcd::cli {

// A type as a column or argument declares it.
struct LiveType {
  std::string name;            // the engine's spelling without modifiers ("character varying")
  std::int32_t length = 0;     // declared character or bit length, else 0
  std::int32_t precision = 0;  // declared numeric precision, else 0
  std::int32_t scale = 0;      // declared numeric scale, else 0
};

struct LiveColumn {
  std::string name;
  LiveType type;
  bool nullable = true;
  std::string comment;
};

// A primary key or unique constraint: the table's column indexes (0-based,
// into LiveTable::columns) in key order.
struct LiveKey {
  std::string name;
  std::vector<int> columns;
};

struct LiveForeignKey {
  std::string name;
  std::vector<int> columns;  // referencing columns, in constraint order
  std::string referencedSchema;
  std::string referencedTable;
  // The referenced column of each referencing column, by name, same order.
  std::vector<std::string> referencedColumns;
};

// An index that backs no constraint, reduced to its plain columns.
struct LiveIndex {
  std::string name;
  bool unique = false;
  std::vector<int> columns;      // table column indexes, in index order
  std::vector<bool> descending;  // one per column
};

struct LiveTable {
  std::string name;
  bool view = false;
  std::string comment;
  std::vector<LiveColumn> columns;  // in position order, without dropped ones
  bool hasPrimaryKey = false;
  LiveKey primaryKey;
  std::vector<LiveKey> uniqueKeys;
  std::vector<LiveForeignKey> foreignKeys;
  std::vector<LiveIndex> indexes;
};

struct LiveArgument {
  std::string name;  // empty for an unnamed argument
  LiveType type;
};

struct LiveProcedure {
  std::string name;
  std::string comment;
  std::vector<LiveArgument> arguments;  // in declaration order
};

struct LiveSchema {
  std::string name;
  std::vector<LiveTable> tables;  // tables and views
  std::vector<LiveProcedure> procedures;
};

struct LiveCatalog {
  std::string engine;         // "POSTGRESQL", "MARIADB" or "SQLITE"
  std::string serverVersion;  // as the server reports it ("15.18")
  std::int32_t majorVersion = 0;
  std::string systemName;  // REL_SYS name: --system, or the host or file name
  std::string databaseName;
  std::vector<LiveSchema> schemas;
  // What the format cannot carry, as (what, count): "defaults", "checks", ...
  // Counted by the reader; zero counts are left out when written.
  std::vector<std::pair<std::string, long>> notCarried;
  // Adds `count` to the named entry (made on first use, in order of use).
  void countNotCarried(const std::string& what, long count = 1) {
    if (count == 0) return;
    for (auto& [name, value] : notCarried) {
      if (name == what) {
        value += count;
        return;
      }
    }
    notCarried.emplace_back(what, count);
  }
};

}  // namespace pcd::cli
