// The extract lines of the records that define the model's objects, so
// that a finding names the line of its table, column, key or procedure.
//
// The model keeps neither record ids nor lines, so one pass over the
// extract reads the ids and names of the records that define objects and
// place them (with the reader's own line functions), and objects are
// matched by name path: catalog, innermost schema and table, view or
// procedure name; then the column, key or index by its name within that
// table. Ids of one kind are taken in ascending order, as the import
// builds them, so the first placement of a name is the one the model holds.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lint_findings.h"
#include "zel_keyed_hash.h"

namespace pcd::cli {

class ExtractRecords;

class ExtractLines {
 public:
  ExtractLines();
  ~ExtractLines();

  // Reads the extract at `path`; false and `error` when it cannot be read.
  bool read(const std::string& path, std::string& error);
  // The line of the record that defines the finding's object (a column's
  // TBL_COL or VIEW_COL, a key's or index's KEY, a table's TABLE, ...), or
  // of its table when the member is not found; 0 when nothing matches.
  // A table the import renamed because its schema already had one of that
  // name (NAME_1, NAME_2, ...) is the later placement of NAME.
  long lineOf(const LintFinding& finding) const;

 private:
  struct Place {
    long line = 0;
    long id = 0;  // of the TABLE, VIEW or DBPROC record
  };
  // A name in one location: a schema, or a database itself. Names are the
  // records' own bytes, so a long schema name is held once, not per object.
  struct Named {
    uint32_t location;  // index into locationLines_
    std::string_view name;
    bool operator==(const Named& other) const {
      return location == other.location && name == other.name;
    }
  };
  struct NamedHash {
    size_t operator()(const Named& key) const noexcept {
      return static_cast<size_t>(
          zel_hash::hashWords(key.location, zel_hash::hashBytes(key.name.data(), key.name.size())));
    }
  };
  // The location of "catalog \x1f schema" (schema "" for a database itself).
  long locationOf(std::string_view catalog, std::string_view schema) const;
  std::unordered_map<std::string, uint32_t, zel_hash::TextHash> locations_;
  mutable std::string key_;  // one buffer for the keys of locations_
  // The locations of the last finding's catalog and schema (lineOf).
  mutable std::string_view lastCatalog_, lastSchema_;
  mutable long lastInSchema_ = -1, lastInDatabase_ = -1;
  mutable bool haveLast_ = false;
  std::vector<long> locationLines_;  // a schema's line; 0 for a database
  // Every placement of a name, in the order the import makes them.
  std::unordered_map<Named, std::vector<Place>, NamedHash> objects_;  // tables and views
  std::unordered_map<Named, std::vector<Place>, NamedHash> procedures_;
  struct Member {
    std::string_view name;  // into the records
    long line;
  };
  std::unique_ptr<ExtractRecords> records_;
  std::unordered_map<long, std::vector<Member>, zel_hash::IdHash> members_;  // by TABLE or VIEW id
};

}  // namespace pcd::cli
