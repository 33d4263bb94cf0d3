#include "extract_checker.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <unordered_set>

#include "bridge/messages/tav_cards.h"
#include "builder/record_references.h"
#include "pcd/line_cursor.h"
#include "pcd/line_explanation.h"
#include "pcd/record_layouts.h"
#include "table_placement.h"
#include "zel_keyed_hash.h"
#include "zel_text_io.h"

namespace pcd::cli {

namespace {

// Tables keyed by the file's ids, which the file chooses: keyed hashing.
template <class Value>
using IdMap = std::unordered_map<long, Value, zel_hash::IdHash>;
using IdSet = std::unordered_set<long, zel_hash::IdHash>;

using CaRepositoryDsOdbcImport::explainLine;
using CaRepositoryDsOdbcImport::LineCursor;
using CaRepositoryDsOdbcImport::readRecordIds;
using CaRepositoryDsOdbcImport::readTextAttributes;
using CaRepositoryDsOdbcImport::RecordIds;
namespace layout = CaRepositoryDsOdbcImport::layout;

constexpr int kLineChunk = 4096;
constexpr uint8_t kNoKind = 0xff;

// What cross-reference checks need of one record.
struct RecordFacts {
  long id;
  long fromId;
  long toId;
  long line;
  uint8_t kind;  // index into layout::kShapes
};

uint8_t kindOf(const std::string& name) {
  for (int index = 0; index < CaRepositoryDsOdbcImport::kRecordKinds; ++index) {
    if (name == layout::kShapes[index].name) return static_cast<uint8_t>(index);
  }
  return kNoKind;
}

const char* kindName(uint8_t kind) {
  return layout::kShapes[kind].name;
}

std::string text(const ZELString& value) {
  return std::string(value.c_str(), value.length());
}

ZELString number(long value) {
  return ZELString(value);
}

// The catalogued message's code as the import shows it: "[TAV_CARDS_W0013] ".
std::string codePrefix(const ZELMessageLiteral& message) {
  return "[" + text(message.getGlobalCode()) + "] ";
}

class Checker {
 public:
  void readAll(std::istream& in) {
    LineCursor lines(in, kLineChunk);
    while (in.good()) {
      bool tooLong = false;
      try {
        if (!lines.next()) break;
      } catch (const ZELLineTooLong&) {
        tooLong = true;
        in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
      }
      report_.lines = lines.number();
      // Even the first line, which is never data, is refused when too long.
      if (tooLong) {
        lineError("the line is longer than " + std::to_string(maxLineBytes()) +
                  " bytes (see --max-line-bytes)");
        continue;
      }
      if (report_.lines == 1) continue;
      const char* text = lines.line().c_str();
      std::string countNote;
      const std::string why = explainLine(text, lines.lastRecordId(), &countNote);
      if (!why.empty()) {
        lineError(why);
        // Text lines of a rejected record belong to it, not to the record
        // before it; its id is remembered to explain what names it.
        const RecordIds ids = readRecordIds(text);
        if (ids.isRecord) {
          rejected_.try_emplace(ids.id, report_.lines);
          lines.enterRecord(ids.id);
        }
        continue;
      }
      // The import reads the line as it is; a count that ends inside its
      // field loses the rest of the field without a message.
      if (!countNote.empty()) add(report_.lines, false, countNote);
      if (text[0] != 'E' && text[0] != 'R') continue;
      const RecordIds ids = readRecordIds(text);
      addRecord(ids);
      if (ids.name == "KEY" || ids.name == "TABLE" || ids.name == "VIEW") {
        // Names for the messages; a key's kind letter ("P", "A", "F", "I").
        const std::vector<std::string> texts = readTextAttributes(text);
        if (!texts.empty()) names_[ids.id] = texts[0];
        if (ids.name == "KEY" && texts.size() > 1) keyKinds_[ids.id] = texts[1];
      }
      lines.enterRecord(ids.id);
    }
  }

  CheckReport finish() {
    checkReferences();
    std::stable_sort(report_.findings.begin(), report_.findings.end(),
                     [](const CheckFinding& a, const CheckFinding& b) { return a.line < b.line; });
    return std::move(report_);
  }

 private:
  void add(long line, bool error, std::string message) {
    report_.findings.push_back({line, error, std::move(message)});
  }

  void lineError(const std::string& why) {
    add(report_.lines, true,
        text(TAV_CARDS::CAREPOSITORY_I_PCD_ERROR.getMessage(number(report_.lines))) + ": " + why);
  }

  void addRecord(const RecordIds& ids) {
    ++report_.records;
    const uint8_t kind = kindOf(ids.name);
    const auto [at, inserted] = byId_.try_emplace(ids.id, records_.size());
    if (!inserted) {
      const RecordFacts& earlier = records_[at->second];
      add(report_.lines, false,
          "id " + std::to_string(ids.id) + " is defined again (" + ids.name +
              "); this record replaces the " + kindName(earlier.kind) + " record on line " +
              std::to_string(earlier.line) + ", which the import drops");
      at->second = records_.size();
    }
    records_.push_back({ids.id, ids.fromId, ids.toId, report_.lines, kind});
  }

  // The record the import resolves `id` to (the last one defining it), or null.
  const RecordFacts* find(long id) const {
    const auto at = byId_.find(id);
    return at == byId_.end() ? nullptr : &records_[at->second];
  }

  bool isCurrent(const RecordFacts& record) const {
    return &records_[byId_.at(record.id)] == &record;
  }

  // Resolves `id` named by `record` as the import would; reports a missing
  // object or one of the wrong kind (`expected` kNoKind: any kind).
  const RecordFacts* resolve(const RecordFacts& record, const char* role, long id,
                             uint8_t expected) {
    const RecordFacts* target = find(id);
    const std::string who = std::string(kindName(record.kind)) + " record (id " +
                            std::to_string(record.id) + "): its " + role + " ";
    if (target == nullptr) {
      const auto rejected = rejected_.find(id);
      add(record.line, true,
          text(TAV_CARDS::CAREPOSITORY_I_MISSING_OBJECT.getMessage(number(id))) + ": " + who +
              std::to_string(id) +
              (rejected == rejected_.end()
                   ? std::string(" is defined by no record")
                   : " is defined only by the rejected line " + std::to_string(rejected->second)));
      return nullptr;
    }
    if (expected != kNoKind && target->kind != expected) {
      add(record.line, true,
          text(TAV_CARDS::CAREPOSITORY_I_BAD_OBJECT_TYPE.getMessage(
              number(id), kindName(target->kind), kindName(expected))) +
              ": " + who + std::to_string(id) + " is the " + kindName(target->kind) +
              " record on line " + std::to_string(target->line));
      return nullptr;
    }
    return target;
  }

  // The records a record's ids resolve to (null: none, or one of another
  // kind), and whether the import skips the record.
  struct Resolved {
    const RecordFacts* from = nullptr;
    const RecordFacts* to = nullptr;
    bool skipped = false;
  };

  // Resolves every id `record` names as the import does
  // (builder/record_references.h), reporting each that does not resolve.
  Resolved resolveIds(const RecordFacts& record) {
    using CaRepositoryDsOdbcImport::Resolution;
    Resolved found;
    for (const CaRepositoryDsOdbcImport::IdReference& reference :
         CaRepositoryDsOdbcImport::kIdReferences) {
      if (reference.reached || static_cast<uint8_t>(reference.record) != record.kind) continue;
      const bool from = reference.field == CaRepositoryDsOdbcImport::kFromId;
      const uint8_t expected = reference.resolution == Resolution::kKind
                                   ? static_cast<uint8_t>(reference.kind)
                                   : kNoKind;
      const RecordFacts* target =
          resolve(record, from ? "from id" : "to id", from ? record.fromId : record.toId, expected);
      if (reference.resolution == Resolution::kKindOrSkip &&
          (target == nullptr || target->kind != static_cast<uint8_t>(reference.kind))) {
        found.from = target;
        found.skipped = true;
        return found;
      }
      (from ? found.from : found.to) = target;
      if (target == nullptr || reference.resolution == Resolution::kAnyKind) continue;
      if (reference.kind == CaRepositoryDsOdbcImport::RecordKind::REL_COL) {
        placedColumns_.insert(target->id);
      }
      resolveReached(*target);
    }
    return found;
  }

  // Resolves the ids the import resolves on `record` when it reaches it: a
  // column's data type, a foreign key's key.
  void resolveReached(const RecordFacts& record) {
    for (const CaRepositoryDsOdbcImport::IdReference& reference :
         CaRepositoryDsOdbcImport::kIdReferences) {
      if (!reference.reached || static_cast<uint8_t>(reference.record) != record.kind) continue;
      const bool from = reference.field == CaRepositoryDsOdbcImport::kFromId;
      const uint8_t expected = static_cast<uint8_t>(reference.kind);
      const std::string role = std::string(from ? "from id" : "to id") + " (" +
                               (expected == kind("REL_DT") ? "data type"
                                : expected == kind("KEY")  ? "key"
                                                           : kindName(expected)) +
                               ")";
      resolve(record, role.c_str(), from ? record.fromId : record.toId, expected);
    }
  }

  static uint8_t kind(const char* name) { return kindOf(name); }

  void checkReferences() {
    IdMap<int> keyColumns;  // KEY id -> KEY_COL count
    IdSet placed;           // TABLE, VIEW, DBPROC ids placed
    std::vector<const RecordFacts*> parms, indexes;
    // Which records the import makes schemas or catalogs of, where tables
    // may be placed; the tables placed elsewhere, with their locations.
    TableLocations locations;
    for (const RecordFacts& record : records_) {
      if (record.kind != kNoKind && isCurrent(record))
        locations.add(kindName(record.kind), record.id, record.fromId, record.toId);
    }
    std::vector<std::pair<const RecordFacts*, const RecordFacts*>> misplaced;
    std::unordered_set<long> built;  // tables and views placed at a schema or catalog
    for (const RecordFacts& record : records_) {
      if (record.kind == kNoKind || !isCurrent(record)) continue;
      const std::string name = kindName(record.kind);
      if (name == "PARM") {
        parms.push_back(&record);  // once every procedure's placement is known
        continue;
      }
      const Resolved found = resolveIds(record);
      if (name == "TABLE_AT" || name == "OBJ_AT") {
        if (found.from != nullptr) placed.insert(found.from->id);
        if (name == "TABLE_AT" && found.from != nullptr && found.to != nullptr) {
          if (locations.holdsSchemaOrCatalog(found.to->id)) {
            built.insert(found.from->id);
          } else {
            misplaced.emplace_back(&record, found.to);
          }
        }
      } else if (name == "KEY_COL" && found.from != nullptr) {
        ++keyColumns[record.fromId];
      } else if (name == "INDEX_AT" && found.from != nullptr) {
        indexes.push_back(&record);
      }
    }
    for (const RecordFacts* parm : parms) {
      const Resolved found = resolveIds(*parm);
      if (found.from == nullptr) continue;
      if (found.skipped) {
        add(parm->line, false,
            "PARM record (id " + std::to_string(parm->id) + ") belongs to the " +
                kindName(found.from->kind) + " record on line " + std::to_string(found.from->line) +
                ", not to a procedure; the import skips it");
        continue;
      }
      if (placed.count(found.from->id) == 0) {
        add(parm->line, false,
            "PARM record (id " + std::to_string(parm->id) + "): its procedure (line " +
                std::to_string(found.from->line) +
                ") is placed by no OBJ_AT record; the import skips it");
      }
    }
    for (const RecordFacts* index : indexes) {
      if (keyColumns.count(index->fromId) == 0) {
        add(index->line, false,
            "INDEX_AT record (id " + std::to_string(index->id) + "): its KEY " +
                std::to_string(index->fromId) + " has no KEY_COL record; the import skips it");
      }
    }
    reportMisplaced(misplaced, built);
    reportUnplaced(placed);
    checkForeignKeyColumns();
  }

  // TABLE_AT records whose location the import makes neither a schema nor a
  // catalog of: it skips the placement (and the table, when no other
  // placement builds it), and a foreign key to it keeps no referenced table.
  void reportMisplaced(
      const std::vector<std::pair<const RecordFacts*, const RecordFacts*>>& misplaced,
      const std::unordered_set<long>& built) {
    for (const auto& [placement, location] : misplaced) {
      misplacedPlacements_.insert(placement->id);
      const RecordFacts* object = find(placement->fromId);
      if (built.count(object->id) == 0) skippedTables_.insert(object->id);
      if (object->kind != kind("TABLE") && object->kind != kind("VIEW")) continue;
      const std::string what = object->kind == kind("TABLE") ? "table" : "view";
      add(placement->line, false,
          "TABLE_AT record (id " + std::to_string(placement->id) + ") places " + what + " " +
              nameOf(object->id) + " at the " + kindName(location->kind) + " record on line " +
              std::to_string(location->line) + ", which is neither a schema nor a catalog; " +
              (built.count(object->id) != 0 ? std::string("the import ignores this placement")
                                            : "the import skips the " + what + " and its columns"));
    }
  }

  std::string nameOf(long id) const {
    const auto at = names_.find(id);
    return at == names_.end() ? "(id " + std::to_string(id) + ")" : at->second;
  }

  std::string keyKind(long keyId) const {
    const auto at = keyKinds_.find(keyId);
    return at == keyKinds_.end() ? std::string() : at->second;
  }

  // Per key: the table its columns belong to and its columns (TBL_COL ids)
  // in file order.
  struct KeyColumns {
    long table = 0;
    std::vector<long> columns;
  };

  IdMap<KeyColumns> keyColumns() const {
    IdMap<KeyColumns> keys;
    for (const RecordFacts& record : records_) {
      if (record.kind != kind("KEY_COL") || !isCurrent(record)) continue;
      const RecordFacts* column = find(record.toId);
      if (column == nullptr || column->kind != kind("TBL_COL")) continue;
      KeyColumns& key = keys[record.fromId];
      key.table = column->fromId;
      key.columns.push_back(column->id);
    }
    return keys;
  }

  // The primary key of each table: its key of kind "P".
  static IdMap<long> primaryKeys(const IdMap<KeyColumns>& keys, const IdMap<std::string>& kinds) {
    IdMap<long> primary;
    for (const auto& [keyId, key] : keys) {
      const auto kindAt = kinds.find(keyId);
      if (kindAt != kinds.end() && kindAt->second == "P") primary.emplace(key.table, keyId);
    }
    return primary;
  }

  // Foreign keys the import drops: a column count other than that of the
  // referenced table's primary key, or a referenced table without one.
  void checkForeignKeyColumns() {
    const auto keys = keyColumns();
    const auto primary = primaryKeys(keys, keyKinds_);
    for (const RecordFacts& record : records_) {
      if (record.kind != kind("FK_TB_AT") || !isCurrent(record)) continue;
      const RecordFacts* foreignKey = find(record.fromId);
      const RecordFacts* placement = find(record.toId);
      if (foreignKey == nullptr || placement == nullptr || foreignKey->kind != kind("FGN_KEY") ||
          placement->kind != kind("TABLE_AT")) {
        continue;  // reported as a missing or mistyped id
      }
      const long keyId = foreignKey->toId;
      const long referencedTable = placement->fromId;
      const auto keyAt = keys.find(keyId);
      // A key of a table the import skips is never made: the table's
      // warning says so.
      if (keyAt != keys.end() && skippedTables_.count(keyAt->second.table) != 0) continue;
      const size_t columns = keyAt == keys.end() ? 0 : keyAt->second.columns.size();
      const auto primaryAt = primary.find(referencedTable);
      const std::string what =
          "foreign key " + nameOf(keyId) + " (FK_TB_AT id " + std::to_string(record.id) + ")";
      if (misplacedPlacements_.count(placement->id) != 0) {
        add(record.line, false,
            what + ": the TABLE_AT record on line " + std::to_string(placement->line) +
                " places the referenced table at neither a schema nor a catalog; the import "
                "keeps the foreign key without a referenced table");
      } else if (columns == 0) {
        add(record.line, false, what + ": the key has no KEY_COL record; the import skips it");
      } else if (primaryAt == primary.end()) {
        add(record.line, false,
            what + ": the referenced table " + nameOf(referencedTable) +
                " has no primary key; the import skips it");
      } else {
        const size_t referenced = keys.at(primaryAt->second).columns.size();
        if (referenced != columns) {
          add(record.line, false,
              codePrefix(TAV_CARDS::CAREPOSITORY_I_FK_MISMATCH) + what + " has " +
                  std::to_string(columns) + (columns == 1 ? " column" : " columns") +
                  ", the primary key " + nameOf(primaryAt->second) + " of " +
                  nameOf(referencedTable) + " " + std::to_string(referenced) +
                  "; the import drops it");
        }
      }
    }
  }

  void reportUnplaced(const IdSet& placed) {
    for (const RecordFacts& record : records_) {
      if (record.kind == kNoKind || !isCurrent(record)) continue;
      const std::string name = kindName(record.kind);
      const std::string what = name + " record (id " + std::to_string(record.id) + ")";
      if ((name == "TABLE" || name == "VIEW") && placed.count(record.id) == 0) {
        add(record.line, false,
            what + " is placed by no TABLE_AT record; the import skips it and its columns");
      } else if (name == "DBPROC" && placed.count(record.id) == 0) {
        add(record.line, false,
            what + " is placed by no OBJ_AT record; the import skips it and its parameters");
      } else if (name == "REL_COL" && placedColumns_.count(record.id) == 0) {
        add(record.line, false,
            what + " is named by no TBL_COL, VIEW_COL or PARM record; the import skips it");
      }
    }
  }

  CheckReport report_;
  std::vector<RecordFacts> records_;
  IdMap<size_t> byId_;  // id -> the last record defining it
  IdSet placedColumns_;
  IdMap<long> rejected_;         // id of a rejected record line -> its line
  IdMap<std::string> names_;     // TABLE, VIEW, KEY (and REL_COL) names
  IdSet misplacedPlacements_;    // TABLE_AT ids placing at neither
  IdSet skippedTables_;          // tables and views none of them build
  IdMap<std::string> keyKinds_;  // KEY id -> "P", "A", "F", "I"
};

}  // namespace

long CheckReport::errors() const {
  return std::count_if(findings.begin(), findings.end(),
                       [](const CheckFinding& f) { return f.error; });
}

long CheckReport::warnings() const {
  return static_cast<long>(findings.size()) - errors();
}

CheckReport checkExtract(std::istream& in) {
  Checker checker;
  checker.readAll(in);
  return checker.finish();
}

}  // namespace pcd::cli
