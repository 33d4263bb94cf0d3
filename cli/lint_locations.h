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

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lint_findings.h"

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
  // catalog \x1f schema \x1f name; schema "" for objects placed in a
  // database itself.
  // Every placement of a name, in the order the import makes them.
  std::unordered_map<std::string, std::vector<Place>> objects_;  // tables and views
  std::unordered_map<std::string, std::vector<Place>> procedures_;
  std::unordered_map<std::string, long> schemas_;  // catalog \x1f schema -> line
  struct Member {
    std::string_view name;  // into the records
    long line;
  };
  std::unique_ptr<ExtractRecords> records_;
  std::unordered_map<long, std::vector<Member>> members_;  // by TABLE or VIEW id
};

}  // namespace pcd::cli
