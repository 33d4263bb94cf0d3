#include "extract_checker.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "bridge/messages/tav_cards.h"
#include "builder/record_references.h"
#include "id_table.h"
#include "pcd/line_cursor.h"
#include "pcd/line_explanation.h"
#include "pcd/record_layouts.h"
#include "record_facts.h"
#include "record_names.h"
#include "table_placement.h"
#include "zel_text_io.h"

namespace pcd::cli {

namespace {

using CaRepositoryDsOdbcImport::AcceptedRecord;
using CaRepositoryDsOdbcImport::explainLine;
using CaRepositoryDsOdbcImport::LineCursor;
using CaRepositoryDsOdbcImport::readRecordIds;
using CaRepositoryDsOdbcImport::RecordIds;
namespace layout = CaRepositoryDsOdbcImport::layout;

using Index = RecordFacts::Index;
constexpr Index kNone = RecordFacts::kNone;

constexpr int kLineChunk = 4096;
constexpr uint8_t kNoKind = 0xff;

// What the cross-checks learn of a record (RecordFacts flags).
enum : uint8_t {
  kReplaced = 1 << 0,       // a later record has its id
  kPlaced = 1 << 1,         // a TABLE_AT or OBJ_AT places it
  kColumnNamed = 1 << 2,    // a TBL_COL, VIEW_COL or PARM names this REL_COL
  kHasKeyColumns = 1 << 3,  // a KEY_COL names this KEY
  kBuilt = 1 << 4,          // a table placed at a schema or catalog
  kSkippedTable = 1 << 5,   // a table none of whose placements builds it
  kMisplacement = 1 << 6,   // a TABLE_AT placing at neither
};

constexpr uint8_t kindOf(CaRepositoryDsOdbcImport::RecordKind kind) {
  return static_cast<uint8_t>(kind);
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

using K = CaRepositoryDsOdbcImport::RecordKind;

class Checker {
 public:
  void readAll(std::istream& in) {
    LineCursor lines(in, kLineChunk);
    std::string countNote;
    AcceptedRecord record;
    // Names for the messages; a key's kind letter ("P", "A", "F", "I").
    record.textKinds = 1u << kindOf(K::KEY) | 1u << kindOf(K::TABLE) | 1u << kindOf(K::VIEW);
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
      const std::string why = explainLine(text, lines.lastRecordId(), &countNote, &record);
      if (!why.empty()) {
        lineError(why);
        // Text lines of a rejected record belong to it, not to the record
        // before it; its id is remembered to explain what names it.
        const RecordIds ids = readRecordIds(text);
        if (ids.isRecord) {
          const auto [rejected, added] = rejected_.insert(ids.id);
          if (added) rejected->line = report_.lines;
          lines.enterRecord(ids.id);
        }
        continue;
      }
      // The import reads the line as it is; a count that ends inside its
      // field loses the rest of the field without a message.
      if (!countNote.empty()) add(report_.lines, false, countNote);
      if (record.kind < 0) continue;
      addRecord(record);
      const std::vector<std::string>& texts = record.texts;
      const Index added = records_.size() - 1;
      if (!texts.empty()) names_.setName(added, texts[0]);
      if (record.kind == kindOf(K::KEY) && texts.size() > 1) names_.setKeyKind(added, texts[1]);
      lines.enterRecord(record.id);
    }
  }

  CheckReport finish() {
    indexRecords();
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

  void addRecord(const AcceptedRecord& record) {
    ++report_.records;
    records_.add(record.id, record.fromId, record.toId, report_.lines,
                 static_cast<uint8_t>(record.kind));
  }

  // Ids defined again: the later record replaces the earlier as the one
  // its id names. Reported on the later record's line, where findings of
  // the line's reading come first (the sort by line keeps their order).
  void indexRecords() {
    records_.index([this](Index earlier, Index later) {
      records_.set(earlier, kReplaced);
      names_.carryOver(earlier, later);
      add(records_.line(later), false,
          "id " + std::to_string(records_.id(later)) + " is defined again (" +
              kindName(records_.kind(later)) + "); this record replaces the " +
              kindName(records_.kind(earlier)) + " record on line " +
              std::to_string(records_.line(earlier)) + ", which the import drops");
    });
  }

  // The name of the table, view or key `id` names, or "(id N)".
  std::string nameOf(long id) const { return names_.nameOf(id, records_.find(id)); }

  // A record the import keeps: of a known kind, and the last with its id.
  bool isCurrent(Index record) const {
    return records_.kind(record) != kNoKind && !records_.has(record, kReplaced);
  }

  // Resolves `id` named by `record` as the import would; reports a missing
  // object or one of the wrong kind (`expected` kNoKind: any kind). `role`
  // ("from id"), with `detail` ("data type") when not null, names the field.
  Index resolve(Index record, const char* role, const char* detail, long id, uint8_t expected) {
    const Index target = records_.find(id);
    if (target != kNone && (expected == kNoKind || records_.kind(target) == expected)) {
      return target;
    }
    const std::string who = std::string(kindName(records_.kind(record))) + " record (id " +
                            std::to_string(records_.id(record)) + "): its " + role +
                            (detail != nullptr ? std::string(" (") + detail + ")" : "") + " ";
    if (target == kNone) {
      const Rejected* rejected = rejected_.find(id);
      add(records_.line(record), true,
          text(TAV_CARDS::CAREPOSITORY_I_MISSING_OBJECT.getMessage(number(id))) + ": " + who +
              std::to_string(id) +
              (rejected == nullptr
                   ? std::string(" is defined by no record")
                   : " is defined only by the rejected line " + std::to_string(rejected->line)));
      return kNone;
    }
    const uint8_t kind = records_.kind(target);
    add(records_.line(record), true,
        text(TAV_CARDS::CAREPOSITORY_I_BAD_OBJECT_TYPE.getMessage(number(id), kindName(kind),
                                                                  kindName(expected))) +
            ": " + who + std::to_string(id) + " is the " + kindName(kind) + " record on line " +
            std::to_string(records_.line(target)));
    return kNone;
  }

  // The records a record's ids resolve to (kNone: none, or one of another
  // kind), and whether the import skips the record.
  struct Resolved {
    Index from = kNone;
    Index to = kNone;
    bool skipped = false;
  };

  // Resolves every id `record` names as the import does
  // (builder/record_references.h), reporting each that does not resolve.
  Resolved resolveIds(Index record) {
    using CaRepositoryDsOdbcImport::Resolution;
    Resolved found;
    const uint8_t recordKind = records_.kind(record);
    for (const CaRepositoryDsOdbcImport::IdReference& reference :
         CaRepositoryDsOdbcImport::kIdReferences) {
      if (reference.reached || kindOf(reference.record) != recordKind) continue;
      const bool from = reference.field == CaRepositoryDsOdbcImport::kFromId;
      const uint8_t expected =
          reference.resolution == Resolution::kKind ? kindOf(reference.kind) : kNoKind;
      const Index target =
          resolve(record, from ? "from id" : "to id", nullptr,
                  from ? records_.fromId(record) : records_.toId(record), expected);
      if (reference.resolution == Resolution::kKindOrSkip &&
          (target == kNone || records_.kind(target) != kindOf(reference.kind))) {
        found.from = target;
        found.skipped = true;
        return found;
      }
      (from ? found.from : found.to) = target;
      if (target == kNone || reference.resolution == Resolution::kAnyKind) continue;
      if (reference.kind == K::REL_COL) records_.set(target, kColumnNamed);
      resolveReached(target);
    }
    return found;
  }

  // Resolves the ids the import resolves on `record` when it reaches it: a
  // column's data type, a foreign key's key.
  void resolveReached(Index record) {
    const uint8_t recordKind = records_.kind(record);
    for (const CaRepositoryDsOdbcImport::IdReference& reference :
         CaRepositoryDsOdbcImport::kIdReferences) {
      if (!reference.reached || kindOf(reference.record) != recordKind) continue;
      const bool from = reference.field == CaRepositoryDsOdbcImport::kFromId;
      const uint8_t expected = kindOf(reference.kind);
      const char* detail = reference.kind == K::REL_DT ? "data type"
                           : reference.kind == K::KEY  ? "key"
                                                       : kindName(expected);
      resolve(record, from ? "from id" : "to id", detail,
              from ? records_.fromId(record) : records_.toId(record), expected);
    }
  }

  // Resolves the ids of every record the import keeps but parameters, in
  // file order; lists the parameters, the indexes on keys found and the
  // placements at neither a schema nor a catalog. The table of locations
  // is gone before the checks that follow make theirs.
  void resolveAll(std::vector<Index>& parms, std::vector<Index>& indexes,
                  std::vector<std::pair<Index, Index>>& misplaced) {
    // Which records the import makes schemas or catalogs of, where tables
    // may be placed; the tables placed elsewhere, with their locations.
    TableLocations locations;
    const Index count = records_.size();
    for (Index record = 0; record < count; ++record) {
      if (isCurrent(record)) {
        locations.addLinks(kindName(records_.kind(record)), records_.id(record),
                           records_.fromId(record), records_.toId(record));
      }
    }
    for (Index record = 0; record < count; ++record) {
      prefetchIds(record, count);
      if (!isCurrent(record)) continue;
      const uint8_t kind = records_.kind(record);
      if (kind == kindOf(K::PARM)) {
        parms.push_back(record);  // once every procedure's placement is known
        continue;
      }
      const Resolved found = resolveIds(record);
      if (kind == kindOf(K::TABLE_AT) || kind == kindOf(K::OBJ_AT)) {
        if (found.from != kNone) records_.set(found.from, kPlaced);
        if (kind == kindOf(K::TABLE_AT) && found.from != kNone && found.to != kNone) {
          if (locations.holdsSchemaOrCatalog(records_.id(found.to),
                                             kindName(records_.kind(found.to)))) {
            records_.set(found.from, kBuilt);
          } else {
            misplaced.emplace_back(record, found.to);
          }
        }
      } else if (kind == kindOf(K::KEY_COL) && found.from != kNone) {
        records_.set(found.from, kHasKeyColumns);
      } else if (kind == kindOf(K::INDEX_AT) && found.from != kNone) {
        indexes.push_back(record);
      }
    }
  }

  // Fetches ahead what resolving the ids of the records after `record`
  // looks up, so that a pass in file order does not wait on each look-up.
  void prefetchIds(Index record, Index count) const {
    constexpr Index kAhead = 16;
    if (record + 2 * kAhead < count) {
      records_.prefetchSlot(records_.fromId(record + 2 * kAhead));
      records_.prefetchSlot(records_.toId(record + 2 * kAhead));
    }
    if (record + kAhead < count) {
      records_.prefetchRecord(records_.fromId(record + kAhead));
      records_.prefetchRecord(records_.toId(record + kAhead));
    }
  }

  void checkReferences() {
    std::vector<Index> parms, indexes;
    std::vector<std::pair<Index, Index>> misplaced;  // placement, location
    resolveAll(parms, indexes, misplaced);
    for (const Index parm : parms) {
      const Resolved found = resolveIds(parm);
      if (found.from == kNone) continue;
      const std::string what = "PARM record (id " + std::to_string(records_.id(parm)) + ")";
      if (found.skipped) {
        add(records_.line(parm), false,
            what + " belongs to the " + kindName(records_.kind(found.from)) + " record on line " +
                std::to_string(records_.line(found.from)) +
                ", not to a procedure; the import skips it");
        continue;
      }
      if (!records_.has(found.from, kPlaced)) {
        add(records_.line(parm), false,
            what + ": its procedure (line " + std::to_string(records_.line(found.from)) +
                ") is placed by no OBJ_AT record; the import skips it");
      }
    }
    for (const Index index : indexes) {
      const Index key = records_.find(records_.fromId(index));
      if (key == kNone || !records_.has(key, kHasKeyColumns)) {
        add(records_.line(index), false,
            "INDEX_AT record (id " + std::to_string(records_.id(index)) + "): its KEY " +
                std::to_string(records_.fromId(index)) +
                " has no KEY_COL record; the import skips it");
      }
    }
    reportMisplaced(misplaced);
    reportUnplaced();
    checkForeignKeyColumns();
  }

  // TABLE_AT records whose location the import makes neither a schema nor a
  // catalog of: it skips the placement (and the table, when no other
  // placement builds it), and a foreign key to it keeps no referenced table.
  void reportMisplaced(const std::vector<std::pair<Index, Index>>& misplaced) {
    for (const auto& [placement, location] : misplaced) {
      records_.set(placement, kMisplacement);
      const Index object = records_.find(records_.fromId(placement));
      const bool built = records_.has(object, kBuilt);
      if (!built) records_.set(object, kSkippedTable);
      const uint8_t kind = records_.kind(object);
      if (kind != kindOf(K::TABLE) && kind != kindOf(K::VIEW)) continue;
      const std::string what = kind == kindOf(K::TABLE) ? "table" : "view";
      add(records_.line(placement), false,
          "TABLE_AT record (id " + std::to_string(records_.id(placement)) + ") places " + what +
              " " + nameOf(records_.id(object)) + " at the " + kindName(records_.kind(location)) +
              " record on line " + std::to_string(records_.line(location)) +
              ", which is neither a schema nor a catalog; " +
              (built ? std::string("the import ignores this placement")
                     : "the import skips the " + what + " and its columns"));
    }
  }

  // Per key that KEY_COL records name: its last column (the TBL_COL whose
  // from id is the table its columns belong to) and how many it has.
  struct KeyColumns {
    Index column = kNone;
    uint32_t columns = 0;
    long table(const RecordFacts& records) const { return records.fromId(column); }
  };

  // The KEY_COL record's column, when the import adds it to its key: a
  // current record whose to id is a TBL_COL (kNone otherwise).
  Index keyColumnOf(Index record) const {
    if (records_.kind(record) != kindOf(K::KEY_COL) || !isCurrent(record)) return kNone;
    const Index column = records_.find(records_.toId(record));
    return column != kNone && records_.kind(column) == kindOf(K::TBL_COL) ? column : kNone;
  }

  // The keys with their columns; `primaries` counts the primary ones.
  IdTable<KeyColumns> keyColumns(size_t& primaries) const {
    // Made once, at a size for every key a KEY_COL record may name (each
    // KEY, and each id of no KEY), so that no old table lies beside a new.
    const Index count = records_.size();
    size_t bound = 0;
    for (Index record = 0; record < count; ++record) {
      if (!isCurrent(record)) continue;
      const uint8_t kind = records_.kind(record);
      if (kind == kindOf(K::KEY)) {
        ++bound;
      } else if (kind == kindOf(K::KEY_COL)) {
        const Index key = records_.find(records_.fromId(record));
        if (key == kNone || records_.kind(key) != kindOf(K::KEY)) ++bound;
      }
    }
    IdTable<KeyColumns> keys;
    keys.reserve(bound);
    primaries = 0;
    for (Index record = 0; record < count; ++record) {
      const Index column = keyColumnOf(record);
      if (column == kNone) continue;
      const auto [key, added] = keys.insert(records_.fromId(record));
      if (added && names_.isPrimaryKey(records_.find(records_.fromId(record)))) ++primaries;
      key->column = column;
      ++key->columns;
    }
    return keys;
  }

  // Foreign keys the import drops: a column count other than that of the
  // referenced table's primary key, or a referenced table without one.
  void checkForeignKeyColumns() {
    size_t primaries = 0;
    const IdTable<KeyColumns> keys = keyColumns(primaries);
    // The primary key of each table: of its keys of kind "P", the first
    // that a KEY_COL record names.
    IdTable<long> primary;
    primary.reserve(primaries);  // made once: no old table beside the new
    for (Index record = 0; primaries > 0 && record < records_.size(); ++record) {
      if (keyColumnOf(record) == kNone) continue;
      const long keyId = records_.fromId(record);
      if (!names_.isPrimaryKey(records_.find(keyId))) continue;
      const auto [table, added] = primary.insert(keys.find(keyId)->table(records_));
      if (added) *table = keyId;
    }
    const Index count = records_.size();
    for (Index record = 0; record < count; ++record) {
      if (records_.kind(record) != kindOf(K::FK_TB_AT) || !isCurrent(record)) continue;
      const Index foreignKey = records_.find(records_.fromId(record));
      const Index placement = records_.find(records_.toId(record));
      if (foreignKey == kNone || placement == kNone ||
          records_.kind(foreignKey) != kindOf(K::FGN_KEY) ||
          records_.kind(placement) != kindOf(K::TABLE_AT)) {
        continue;  // reported as a missing or mistyped id
      }
      const long keyId = records_.toId(foreignKey);
      const long referencedTable = records_.fromId(placement);
      const KeyColumns* key = keys.find(keyId);
      // A key of a table the import skips is never made: the table's
      // warning says so.
      if (key != nullptr) {
        const Index table = records_.find(key->table(records_));
        if (table != kNone && records_.has(table, kSkippedTable)) continue;
      }
      const size_t columns = key == nullptr ? 0 : key->columns;
      const long* primaryKey = primary.find(referencedTable);
      const std::string what = "foreign key " + nameOf(keyId) + " (FK_TB_AT id " +
                               std::to_string(records_.id(record)) + ")";
      const long line = records_.line(record);
      if (records_.has(placement, kMisplacement)) {
        add(line, false,
            what + ": the TABLE_AT record on line " + std::to_string(records_.line(placement)) +
                " places the referenced table at neither a schema nor a catalog; the import "
                "keeps the foreign key without a referenced table");
      } else if (columns == 0) {
        add(line, false, what + ": the key has no KEY_COL record; the import skips it");
      } else if (primaryKey == nullptr) {
        add(line, false,
            what + ": the referenced table " + nameOf(referencedTable) +
                " has no primary key; the import skips it");
      } else {
        const size_t referenced = keys.find(*primaryKey)->columns;
        if (referenced != columns) {
          add(line, false,
              codePrefix(TAV_CARDS::CAREPOSITORY_I_FK_MISMATCH) + what + " has " +
                  std::to_string(columns) + (columns == 1 ? " column" : " columns") +
                  ", the primary key " + nameOf(*primaryKey) + " of " + nameOf(referencedTable) +
                  " " + std::to_string(referenced) + "; the import drops it");
        }
      }
    }
  }

  void reportUnplaced() {
    const Index count = records_.size();
    for (Index record = 0; record < count; ++record) {
      if (!isCurrent(record)) continue;
      const uint8_t kind = records_.kind(record);
      const bool placed = records_.has(record, kPlaced);
      const char* message = nullptr;
      if ((kind == kindOf(K::TABLE) || kind == kindOf(K::VIEW)) && !placed) {
        message = " is placed by no TABLE_AT record; the import skips it and its columns";
      } else if (kind == kindOf(K::DBPROC) && !placed) {
        message = " is placed by no OBJ_AT record; the import skips it and its parameters";
      } else if (kind == kindOf(K::REL_COL) && !records_.has(record, kColumnNamed)) {
        message = " is named by no TBL_COL, VIEW_COL or PARM record; the import skips it";
      }
      if (message == nullptr) continue;
      add(records_.line(record), false,
          std::string(kindName(kind)) + " record (id " + std::to_string(records_.id(record)) + ")" +
              message);
    }
  }

  struct Rejected {
    long line = 0;
  };

  CheckReport report_;
  RecordFacts records_;
  IdTable<Rejected> rejected_;  // id of a rejected record line -> its first line
  RecordNames names_;
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
