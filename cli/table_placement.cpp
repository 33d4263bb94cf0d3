#include "table_placement.h"

#include <cerrno>
#include <fstream>
#include <new>

#include "pcd/line_explanation.h"
#include "zel_text_io.h"

namespace {

using CaRepositoryDsOdbcImport::readRecordIds;
using CaRepositoryDsOdbcImport::readTextAttributes;
using CaRepositoryDsOdbcImport::RecordIds;

// Calls `visit(number, ids, line)` for every record line after the first
// line, reading as the reader does. False when the file cannot be read to
// its end (or holds a line the reader would refuse).
template <class Visit>
bool forEachRecord(const std::string& path, Visit visit) {
  std::ifstream in(path, std::ios::in | std::ios::binary);
  if (!in && errno == ENOMEM) throw std::bad_alloc();
  if (!in) return false;
  // Out of memory inside the stream is thrown as it is, not taken for the
  // end of the file.
  in.exceptions(std::ios::badbit);
  ZELString line;
  long number = 0;
  try {
    while (getFullLine(in, line, 4096)) {
      const char* text = line.c_str();
      if (++number == 1 || (text[0] != 'E' && text[0] != 'R')) continue;
      const RecordIds ids = readRecordIds(text);
      if (ids.isRecord) visit(number, ids, text);
    }
  } catch (const ZELLineTooLong&) {
    return false;
  } catch (const std::ios_base::failure&) {
    return false;  // a read error
  }
  return true;
}

}  // namespace

void TableLocations::add(const std::string& name, long id, long fromId, long toId) {
  Kind kind;
  if (name == "SCHEMA") {
    kind = Kind::kSchema;
  } else if (name == "SCHEM_AT") {
    kind = Kind::kSchemaPlacement;
    placedSchemas_.insert(fromId);
  } else if (name == "DATABASE" || name == "REL_SYS") {
    kind = Kind::kCatalog;
  } else if (name == "DB_AT") {
    kind = Kind::kCatalogPlacement;
    catalogRecords_.insert(fromId);
    catalogRecords_.insert(toId);
  } else if (name == "SERVTYPE") {
    kind = Kind::kServerType;
  } else if (name == "SERVINST") {
    kind = Kind::kServerInstance;
    instanceSystems_[id] = toId;
    serverTypes_.emplace(fromId, toId);
  } else {
    if (!kinds_.empty()) kinds_.erase(id);  // replaced by a record of another kind
    return;
  }
  kinds_[id] = kind;
}

bool TableLocations::holdsSchemaOrCatalog(long id) const {
  const auto at = kinds_.find(id);
  if (at == kinds_.end()) return false;
  switch (at->second) {
    case Kind::kSchemaPlacement:
    case Kind::kCatalogPlacement:
      return true;
    case Kind::kSchema:
      return placedSchemas_.count(id) != 0;
    case Kind::kCatalog:
      return catalogRecords_.count(id) != 0;
    case Kind::kServerInstance:
      return catalogRecords_.count(instanceSystems_.at(id)) != 0;
    case Kind::kServerType: {
      // A server type carries the catalog of a system it describes.
      const auto [first, last] = serverTypes_.equal_range(id);
      for (auto type = first; type != last; ++type) {
        if (catalogRecords_.count(type->second) != 0) return true;
      }
      return false;
    }
  }
  return false;
}

std::vector<MisplacedTable> findMisplacedTables(const std::string& path) {
  struct Placement {
    long from;
    long to;
    long line;
  };
  TableLocations locations;
  std::vector<Placement> placements;
  const bool read = forEachRecord(path, [&](long number, const RecordIds& ids, const char*) {
    locations.add(ids.name, ids.id, ids.fromId, ids.toId);
    if (ids.name == "TABLE_AT") placements.push_back({ids.fromId, ids.toId, number});
  });
  if (!read) return {};

  using IdSet = std::unordered_set<long, TableLocations::IdHash>;
  IdSet built;
  for (const Placement& placement : placements) {
    if (locations.holdsSchemaOrCatalog(placement.to)) built.insert(placement.from);
  }
  // The first placement of each table that none places where it is built.
  std::vector<const Placement*> left;
  IdSet named;
  for (const Placement& placement : placements) {
    if (built.count(placement.from) == 0 && named.insert(placement.from).second) {
      left.push_back(&placement);
    }
  }
  if (left.empty()) return {};

  // Only now the names and kinds of the records concerned, read again.
  IdSet locationIds;
  for (const Placement* placement : left) locationIds.insert(placement->to);
  struct Record {
    std::string kind;
    std::string name;
    long line = 0;
  };
  std::unordered_map<long, Record, TableLocations::IdHash> records;
  forEachRecord(path, [&](long number, const RecordIds& ids, const char* text) {
    const bool table = named.count(ids.id) != 0;
    if (!table && locationIds.count(ids.id) == 0) return;
    Record& record = records[ids.id];
    record = {ids.name, "", number};
    if (table && (ids.name == "TABLE" || ids.name == "VIEW")) {
      const std::vector<std::string> texts = readTextAttributes(text);
      if (!texts.empty()) record.name = texts[0];
    }
  });
  std::vector<MisplacedTable> misplaced;
  for (const Placement* placement : left) {
    const auto table = records.find(placement->from);
    const auto location = records.find(placement->to);
    // A TABLE_AT of anything but a table or a view builds nothing anyway.
    if (table == records.end() || location == records.end() ||
        (table->second.kind != "TABLE" && table->second.kind != "VIEW")) {
      continue;
    }
    misplaced.push_back({table->second.kind, table->second.name, placement->line,
                         "the " + location->second.kind + " record on line " +
                             std::to_string(location->second.line)});
  }
  return misplaced;
}
