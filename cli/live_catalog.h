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
  std::vector<bool> descending;  // per column; empty: all ascending
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

// What the extract cannot carry, each counted under one of these names, in
// the order first counted.
using NotCarriedCounts = std::vector<std::pair<std::string, long>>;

// Adds `count` to the named entry (made on first use).
inline void countNotCarried(NotCarriedCounts& counts, const char* what, long count) {
  if (count == 0) return;
  for (auto& [name, value] : counts) {
    if (name == what) {
      value += count;
      return;
    }
  }
  counts.emplace_back(what, count);
}

namespace not_carried {
inline constexpr char kColumnDefaults[] = "column defaults";
inline constexpr char kIdentityColumns[] = "identity or auto-increment columns";
inline constexpr char kGeneratedColumns[] = "generated columns";
inline constexpr char kSequences[] = "sequences";
inline constexpr char kCheckConstraints[] = "check constraints";
inline constexpr char kExclusionConstraints[] = "exclusion constraints";
inline constexpr char kTriggers[] = "triggers";
inline constexpr char kRules[] = "rules";
inline constexpr char kReferentialActions[] = "referential actions";
inline constexpr char kViewBodies[] = "view bodies";
inline constexpr char kExpressionIndexes[] = "expression indexes";
inline constexpr char kExpressionIndexMembers[] = "expression index members";
inline constexpr char kPartialIndexes[] = "partial indexes";
inline constexpr char kIncludedIndexColumns[] = "included index columns";
inline constexpr char kIndexPrefixLengths[] = "index prefix lengths";
inline constexpr char kEnumOrSetValues[] = "enum or set values";
inline constexpr char kForeignKeysWithoutParentKey[] = "foreign keys without a parent key";
inline constexpr char kForeignKeysOutside[] = "foreign keys to tables outside the snapshot";
}  // namespace not_carried

struct LiveCatalog {
  std::string engine;         // "POSTGRESQL", "MARIADB" or "SQLITE"
  std::string serverVersion;  // as the server reports it ("15.18")
  std::int32_t majorVersion = 0;
  std::string systemName;  // REL_SYS name: --system, or the host or file name
  std::string databaseName;
  std::vector<LiveSchema> schemas;
  // What the format cannot carry, counted by the reader.
  NotCarriedCounts notCarried;
  void countNotCarried(const char* what, long count = 1) {
    pcd::cli::countNotCarried(notCarried, what, count);
  }
};

}  // namespace pcd::cli
