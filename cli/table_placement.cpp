#include "table_placement.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "file_lines.h"
#include "pcd/line_explanation.h"
#include "spare_processor.h"

namespace pcd::cli {

namespace {

using CaRepositoryDsOdbcImport::readRecordId;
using CaRepositoryDsOdbcImport::readRecordIds;
using CaRepositoryDsOdbcImport::readTextAttributes;
using CaRepositoryDsOdbcImport::RecordIds;

// Calls `visit(number, ids, line)` for every record line after the first
// that `wanted(line)` accepts.
template <class Wanted, class Visit>
bool forEachRecord(const std::string& path, const std::atomic<bool>* stop, Wanted wanted,
                   Visit visit, unsigned char* bits = nullptr) {
  return pcd::cli::forEachLine(
      path, stop,
      [&](long number, const char* line) {
        if ((line[0] != 'E' && line[0] != 'R') || line[1] != ',' || !wanted(line)) return;
        const RecordIds ids = readRecordIds(line);
        if (ids.isRecord) visit(number, ids, line);
      },
      bits);
}

bool startsWith(const char* text, const char* prefix, size_t length) {
  return std::strncmp(text, prefix, length) == 0;
}

// Placements and the records a table may be placed at: all the first pass
// reads of a file (the others are most of its lines, so the test is cheap).
bool isLocationOrPlacement(const char* line) {
  const char* name = line + 2;
  switch (name[0]) {
    case 'T':
      return startsWith(name, "TABLE_AT,", 9);
    case 'S':
      return startsWith(name, "SCHEMA,", 7) || startsWith(name, "SCHEM_AT,", 9) ||
             startsWith(name, "SERVTYPE,", 9) || startsWith(name, "SERVINST,", 9);
    case 'D':
      return startsWith(name, "DATABASE,", 9) || startsWith(name, "DB_AT,", 6);
    case 'R':
      return startsWith(name, "REL_SYS,", 8);
    default:
      return false;
  }
}

// Ids of a few records sought among all the records of a file: a bit per
// id's mix, so that most records are passed over without a look-up. The
// mix is not keyed: ids chosen to share bits cost no more than the
// look-ups the filter saves.
class IdFilter {
 public:
  explicit IdFilter(size_t ids) {
    unsigned bits = 16;
    while (bits < 24 && (size_t{1} << bits) < 16 * ids) ++bits;
    shift_ = 64 - bits;
    words_.assign((size_t{1} << bits) / 64, 0);
  }
  void add(long id) {
    const size_t at = slot(id);
    words_[at / 64] |= uint64_t{1} << (at % 64);
  }
  bool mayHold(long id) const {
    const size_t at = slot(id);
    return (words_[at / 64] >> (at % 64) & 1) != 0;
  }

 private:
  size_t slot(long id) const {
    return static_cast<size_t>((static_cast<uint64_t>(id) * 0x9E3779B97F4A7C15ull) >> shift_);
  }
  unsigned shift_;
  std::vector<uint64_t> words_;
};

}  // namespace

bool TableLocations::kindOf(const char* name, Kind& kind) {
  // Every record is asked: the first byte passes over most of them.
  if (name[0] != 'S' && name[0] != 'D' && name[0] != 'R') return false;
  const auto is = [name](const char* kindName) { return std::strcmp(name, kindName) == 0; };
  if (is("SCHEMA")) {
    kind = Kind::kSchema;
  } else if (is("SCHEM_AT")) {
    kind = Kind::kSchemaPlacement;
  } else if (is("DATABASE") || is("REL_SYS")) {
    kind = Kind::kCatalog;
  } else if (is("DB_AT")) {
    kind = Kind::kCatalogPlacement;
  } else if (is("SERVTYPE")) {
    kind = Kind::kServerType;
  } else if (is("SERVINST")) {
    kind = Kind::kServerInstance;
  } else {
    return false;  // never a schema or a catalog
  }
  return true;
}

void TableLocations::link(Kind kind, long id, long fromId, long toId) {
  switch (kind) {
    case Kind::kSchemaPlacement:
      placedSchemas_.insert(fromId);
      break;
    case Kind::kCatalogPlacement:
      catalogRecords_.insert(fromId);
      catalogRecords_.insert(toId);
      break;
    case Kind::kServerInstance:
      *instanceSystems_.insert(id).first = toId;
      serverTypes_.emplace(fromId, toId);
      break;
    default:
      break;
  }
}

void TableLocations::add(const char* name, long id, long fromId, long toId) {
  Kind kind;
  if (!kindOf(name, kind)) return;
  link(kind, id, fromId, toId);
  *kinds_.insert(id).first = kind;
}

void TableLocations::addLinks(const char* name, long id, long fromId, long toId) {
  Kind kind;
  if (kindOf(name, kind)) link(kind, id, fromId, toId);
}

bool TableLocations::holdsSchemaOrCatalog(long id) const {
  const Kind* kind = kinds_.find(id);
  return kind != nullptr && holds(id, *kind);
}

bool TableLocations::holdsSchemaOrCatalog(long id, const char* name) const {
  Kind kind;
  return kindOf(name, kind) && holds(id, kind);
}

bool TableLocations::holds(long id, Kind kind) const {
  switch (kind) {
    case Kind::kSchemaPlacement:
    case Kind::kCatalogPlacement:
      return true;
    case Kind::kSchema:
      return placedSchemas_.find(id) != nullptr;
    case Kind::kCatalog:
      return catalogRecords_.find(id) != nullptr;
    case Kind::kServerInstance:
      return catalogRecords_.find(*instanceSystems_.find(id)) != nullptr;
    case Kind::kServerType: {
      // A server type carries the catalog of a system it describes. Its
      // systems are looked at once, however many tables name it.
      const auto known = serverTypeAnswers_.find(id);
      if (known != serverTypeAnswers_.end()) return known->second;
      bool holds = false;
      const auto [first, last] = serverTypes_.equal_range(id);
      for (auto type = first; type != last && !holds; ++type) {
        holds = catalogRecords_.find(type->second) != nullptr;
      }
      serverTypeAnswers_.emplace(id, holds);
      return holds;
    }
  }
  return false;
}

std::vector<MisplacedTable> findMisplacedTables(const std::string& path,
                                                const std::atomic<bool>* stop, bool* allAscii) {
  struct Placement {
    long from;
    long to;
    long line;
  };
  TableLocations locations;
  std::vector<Placement> placements;
  // A record of another kind that takes the id of one of these is not
  // looked for: the import would then place the table at that record, and
  // `check` reports the repeated id.
  unsigned char bits = 0;
  const bool read = forEachRecord(
      path, stop, isLocationOrPlacement,
      [&](long number, const RecordIds& ids, const char*) {
        locations.add(ids.name.c_str(), ids.id, ids.fromId, ids.toId);
        if (ids.name == "TABLE_AT") placements.push_back({ids.fromId, ids.toId, number});
      },
      allAscii != nullptr ? &bits : nullptr);
  if (allAscii != nullptr) *allAscii = read && (bits & 0x80) == 0;
  if (!read) return {};

  IdTable<bool> built;
  for (const Placement& placement : placements) {
    if (locations.holdsSchemaOrCatalog(placement.to)) built.insert(placement.from);
  }
  // The first placement of each table that none places where it is built.
  std::vector<const Placement*> left;
  IdTable<bool> named;
  for (const Placement& placement : placements) {
    if (built.find(placement.from) == nullptr && named.insert(placement.from).second) {
      left.push_back(&placement);
    }
  }
  if (left.empty()) return {};

  // Only now the names and kinds of the records concerned, read again.
  IdTable<bool> locationIds;
  IdFilter sought(2 * left.size());
  for (const Placement* placement : left) {
    locationIds.insert(placement->to);
    sought.add(placement->from);
    sought.add(placement->to);
  }
  const auto maybeSought = [&sought](const char* line) {
    long id = 0;
    return readRecordId(line, id) && sought.mayHold(id);
  };
  struct Record {
    std::string kind;
    std::string name;
    long line = 0;
  };
  std::unordered_map<long, Record, TableLocations::IdHash> records;
  if (!forEachRecord(path, stop, maybeSought,
                     [&](long number, const RecordIds& ids, const char* text) {
                       const bool table = named.find(ids.id) != nullptr;
                       if (!table && locationIds.find(ids.id) == nullptr) return;
                       Record& record = records[ids.id];
                       record = {ids.name, "", number};
                       if (table && (ids.name == "TABLE" || ids.name == "VIEW")) {
                         const std::vector<std::string> texts = readTextAttributes(text);
                         if (!texts.empty()) record.name = texts[0];
                       }
                     })) {
    return {};
  }
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

}  // namespace pcd::cli
