// Tables the import leaves out without a message: a TABLE_AT record places
// a table or view at the record its to id names, and the import builds the
// table only when that record carries a schema or a catalog. Another table,
// its placement, a column or a schema record that no SCHEM_AT places carry
// neither, so the table (with its columns) is skipped, and a foreign key to
// it keeps no referenced table. `check` and the import tell the user by this
// one rule.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "id_table.h"
#include "zel_keyed_hash.h"

namespace pcd::cli {

class TableLocations {
 public:
  // Takes one record's name and ids: the record the import keeps for that
  // id (of records with the same id, the last).
  void add(const char* name, long id, long fromId, long toId);
  // True when the import makes a schema or a catalog of record `id`, so that
  // a table placed there is built. Asked once every record has been added.
  bool holdsSchemaOrCatalog(long id) const;

  // The same for a caller that knows every record's kind: addLinks takes
  // what records say of others (not their own kinds), and the question
  // comes with the name of the record the import keeps for `id`.
  void addLinks(const char* name, long id, long fromId, long toId);
  bool holdsSchemaOrCatalog(long id, const char* name) const;

  // Ids come from the file: hashed with the process's key.
  struct IdHash {
    size_t operator()(long id) const noexcept {
      return static_cast<size_t>(zel_hash::hashWord(static_cast<uint64_t>(id)));
    }
  };

 private:
  enum class Kind : uint8_t {
    kSchema,
    kSchemaPlacement,
    kCatalog,
    kCatalogPlacement,
    kServerType,
    kServerInstance
  };
  // The kind of a record that can carry a schema or a catalog; false: none.
  static bool kindOf(const char* name, Kind& kind);
  // Records what a record of `kind` says of others.
  void link(Kind kind, long id, long fromId, long toId);
  bool holds(long id, Kind kind) const;

  // The records that can carry a schema or a catalog, by id (add's).
  IdTable<Kind> kinds_;
  IdTable<bool> placedSchemas_;    // SCHEMA ids a SCHEM_AT names
  IdTable<bool> catalogRecords_;   // DATABASE and REL_SYS ids a DB_AT names
  IdTable<long> instanceSystems_;  // SERVINST id -> its REL_SYS
  std::unordered_multimap<long, long, IdHash> serverTypes_;  // SERVTYPE id -> a REL_SYS
  mutable std::unordered_map<long, bool, IdHash> serverTypeAnswers_;
};

// A table or view that the import did not build because none of its TABLE_AT
// records places it at a schema or a catalog.
struct MisplacedTable {
  std::string kind;      // "TABLE" or "VIEW"
  std::string name;      // the table's name as the file spells it
  long line = 0;         // the (first) TABLE_AT record placing it
  std::string location;  // e.g. "the TABLE_AT record on line 29"
};

// Reads the extract at `path` (in one pass, and a second one only when a
// table is left out) and lists the tables the import left out, in file
// order. Empty when none, when the file cannot be read, or once `stop` is
// set. With `allAscii`, also tells whether every byte of the file is below
// 0x80 (false when it could not be read to its end). Throws std::bad_alloc
// when memory runs out.
std::vector<MisplacedTable> findMisplacedTables(const std::string& path,
                                                const std::atomic<bool>* stop = nullptr,
                                                bool* allAscii = nullptr);

}  // namespace pcd::cli
