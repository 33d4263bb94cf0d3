#include "extract_writer.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <unordered_map>

namespace pcd::cli {

namespace {

// A text line carries at most this many bytes of a comment; longer ones are
// split (at a UTF-8 character boundary) and the import joins the pieces.
constexpr size_t kTextPieceBytes = 200;

// No record or text line may hold a line break: each one (CR LF counting as
// one) becomes a blank.
std::string withoutLineBreaks(std::string_view text) {
  std::string flat;
  flat.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' || text[i] == '\n') {
      if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
      flat += ' ';
    } else {
      flat += text[i];
    }
  }
  return flat;
}

bool hasLineBreak(std::string_view text) {
  return text.find_first_of("\r\n") != std::string_view::npos;
}

// The longest prefix of `text` of at most `limit` bytes that does not cut a
// UTF-8 sequence (a byte that is not valid UTF-8 counts as a character).
size_t pieceLength(std::string_view text, size_t limit) {
  if (text.size() <= limit) return text.size();
  size_t end = limit;
  // Step back over continuation bytes to the start of the cut character.
  size_t back = 0;
  while (end > 0 && back < 3 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
    --end;
    ++back;
  }
  return end > 0 ? end : limit;
}

class RecordWriter {
 public:
  RecordWriter(std::ostream& out, ExtractReport& report) : out_(out), report_(report) {}

  long nextId() { return ++lastId_; }

  // "C<n>,<bytes>", or "C0" for an empty string (nothing follows its count).
  // `what` names the object for the warning about a line break.
  std::string counted(std::string_view value, const std::string& what = "") {
    if (hasLineBreak(value)) {
      report_.warnings.push_back(what + ": a line break in the name was written as a blank");
      return counted(withoutLineBreaks(value));
    }
    if (value.empty()) return "C0";
    return "C" + std::to_string(value.size()) + "," + std::string(value);
  }

  void line(const std::string& text) { out_ << text << '\n'; }

  // Text lines of `name` for record `id`: the text without line breaks, in
  // pieces of at most kTextPieceBytes bytes.
  void texts(long id, const char* name, std::string_view text) {
    if (text.empty()) return;
    const std::string flat = withoutLineBreaks(text);
    std::string_view rest(flat);
    while (!rest.empty()) {
      const size_t length = pieceLength(rest, kTextPieceBytes);
      out_ << "T,1," << id << ",1," << name << ',' << length << ',' << rest.substr(0, length)
           << '\n';
      rest.remove_prefix(length);
    }
  }

 private:
  std::ostream& out_;
  ExtractReport& report_;
  long lastId_ = 0;
};

std::string ids(long a, long b, long c) {
  return std::to_string(a) + "," + std::to_string(b) + "," + std::to_string(c);
}

struct TableIds {
  const LiveSchema* schema = nullptr;
  const LiveTable* table = nullptr;
  long tableId = 0;
  long placementId = 0;              // its TABLE_AT record
  std::vector<long> tableColumnIds;  // TBL_COL records, by column index
  std::unordered_map<std::string, int> columnIndex;
};

std::string objectName(const LiveSchema& schema, const LiveTable& table) {
  return (table.view ? "view " : "table ") + schema.name + "." + table.name;
}

// Positions of a foreign key's columns: the place of each referenced column
// within the referenced table's primary key, or within the unique constraint
// it references, as the import pairs columns by position.
std::vector<int> foreignKeyPositions(const LiveForeignKey& key, const TableIds& referenced) {
  const LiveTable& table = *referenced.table;
  std::vector<int> wanted;
  for (const std::string& name : key.referencedColumns) {
    const auto at = referenced.columnIndex.find(name);
    wanted.push_back(at == referenced.columnIndex.end() ? -1 : at->second);
  }
  auto positionsIn = [&](const LiveKey& candidate) {
    std::vector<int> positions;
    if (candidate.columns.size() != wanted.size()) return positions;
    for (const int column : wanted) {
      const auto at = std::find(candidate.columns.begin(), candidate.columns.end(), column);
      if (at == candidate.columns.end()) return std::vector<int>();
      positions.push_back(static_cast<int>(at - candidate.columns.begin()) + 1);
    }
    return positions;
  };
  if (table.hasPrimaryKey) {
    if (std::vector<int> positions = positionsIn(table.primaryKey); !positions.empty())
      return positions;
  }
  for (const LiveKey& unique : table.uniqueKeys) {
    if (std::vector<int> positions = positionsIn(unique); !positions.empty()) return positions;
  }
  std::vector<int> positions;
  for (size_t i = 0; i < wanted.size(); ++i) positions.push_back(static_cast<int>(i) + 1);
  return positions;
}

}  // namespace

ExtractReport writeExtract(const LiveCatalog& catalog, const std::string& source,
                           std::ostream& out) {
  ExtractReport report;
  report.notCarried = catalog.notCarried;

  // Foreign keys to tables outside the snapshot are found before the first
  // line is written, so that the first line can count them.
  std::map<std::pair<std::string, std::string>, TableIds> tables;
  for (const LiveSchema& schema : catalog.schemas) {
    for (const LiveTable& table : schema.tables) {
      TableIds& entry = tables[{schema.name, table.name}];
      entry.schema = &schema;
      entry.table = &table;
      for (size_t i = 0; i < table.columns.size(); ++i)
        entry.columnIndex.emplace(table.columns[i].name, static_cast<int>(i));
    }
  }
  long outside = 0;
  for (const LiveSchema& schema : catalog.schemas) {
    for (const LiveTable& table : schema.tables) {
      for (const LiveForeignKey& key : table.foreignKeys) {
        if (tables.count({key.referencedSchema, key.referencedTable}) == 0) {
          ++outside;
          report.warnings.push_back("foreign key " + key.name + " of " + objectName(schema, table) +
                                    " references " + key.referencedSchema + "." +
                                    key.referencedTable +
                                    ", which is not in the snapshot; left out");
        }
      }
    }
  }
  countNotCarried(report.notCarried, not_carried::kForeignKeysOutside, outside);

  std::string first = "PCD extract of database " + catalog.databaseName + " (" + catalog.engine +
                      " " + catalog.serverVersion + ") from " + source +
                      ", written by pcd-import snapshot";
  if (!report.notCarried.empty()) {
    first += "; not carried:";
    for (size_t i = 0; i < report.notCarried.size(); ++i) {
      first += (i == 0 ? " " : ", ") + report.notCarried[i].first + " " +
               std::to_string(report.notCarried[i].second);
    }
  }
  RecordWriter w(out, report);
  w.line(withoutLineBreaks(first));

  // The system, its database and its server type.
  const long system = w.nextId();
  w.line("E,REL_SYS," + std::to_string(system) + ",2," +
         w.counted(catalog.systemName, "system " + catalog.systemName) + ",C0");
  const long database = w.nextId();
  w.line("E,DATABASE," + std::to_string(database) + ",1," +
         w.counted(catalog.databaseName, "database " + catalog.databaseName));
  w.line("R,DB_AT," + ids(w.nextId(), database, system) + ",2,C0,C0");
  const long serverType = w.nextId();
  std::string serverLine = "E,SERVTYPE," + std::to_string(serverType) + ",13,C0," +
                           w.counted(catalog.engine) + "," + w.counted(catalog.serverVersion) +
                           ",S" + std::to_string(catalog.majorVersion);
  for (int i = 0; i < 9; ++i) serverLine += ",S0";
  w.line(serverLine);
  w.line("R,SERVINST," + ids(w.nextId(), serverType, system) + ",0");

  // Each native type name once, sorted.
  std::map<std::string, long> typeIds;
  for (const LiveSchema& schema : catalog.schemas) {
    for (const LiveTable& table : schema.tables)
      for (const LiveColumn& column : table.columns) typeIds.emplace(column.type.name, 0);
    for (const LiveProcedure& procedure : schema.procedures)
      for (const LiveArgument& argument : procedure.arguments)
        typeIds.emplace(argument.type.name, 0);
  }
  for (auto& [name, id] : typeIds) {
    id = w.nextId();
    w.line("E,REL_DT," + std::to_string(id) + ",5," + w.counted(name, "type " + name) +
           ",S0,C0,C0,C0");
  }
  auto columnRecord = [&](long id, const std::string& name, const LiveType& type,
                          const std::string& what) {
    w.line("R,REL_COL," + ids(id, 0, typeIds.at(type.name)) + ",7," + w.counted(name, what) +
           ",S0,L" + std::to_string(type.length) + ",L" + std::to_string(type.precision) + ",S" +
           std::to_string(type.scale) + ",C0,C0");
  };

  // Schemas.
  std::vector<long> schemaIds;
  for (const LiveSchema& schema : catalog.schemas) {
    const long id = w.nextId();
    schemaIds.push_back(id);
    w.line("E,SCHEMA," + std::to_string(id) + ",1," +
           w.counted(schema.name, "schema " + schema.name));
    w.line("R,SCHEM_AT," + ids(w.nextId(), id, database) + ",1,C0");
  }

  // Tables and views with their columns.
  for (size_t s = 0; s < catalog.schemas.size(); ++s) {
    const LiveSchema& schema = catalog.schemas[s];
    for (const LiveTable& table : schema.tables) {
      TableIds& entry = tables.at({schema.name, table.name});
      const std::string what = objectName(schema, table);
      entry.tableId = w.nextId();
      const std::string name = w.counted(table.name, what);
      if (table.view) {
        w.line("E,VIEW," + std::to_string(entry.tableId) + ",2," + name + ",C0");
      } else {
        w.line("E,TABLE," + std::to_string(entry.tableId) + ",1," + name);
        w.texts(entry.tableId, "DESCRIPTION", table.comment);
      }
      entry.placementId = w.nextId();
      w.line("R,TABLE_AT," + ids(entry.placementId, entry.tableId, schemaIds[s]) + ",2," +
             w.counted(withoutLineBreaks(table.name)) + ",C0");
      entry.tableColumnIds.reserve(table.columns.size());
      for (size_t c = 0; c < table.columns.size(); ++c) {
        const LiveColumn& column = table.columns[c];
        const long columnId = w.nextId();
        columnRecord(columnId, column.name, column.type, "column " + column.name + " of " + what);
        const std::string position = std::to_string(c + 1);
        if (table.view) {
          // A view column's comment sits on its column record.
          w.texts(columnId, "COLUMN_COMMENTS", column.comment);
          w.line("R,VIEW_COL," + ids(w.nextId(), entry.tableId, columnId) + ",1,L" + position);
          entry.tableColumnIds.push_back(0);
        } else {
          const long tableColumnId = w.nextId();
          w.line("R,TBL_COL," + ids(tableColumnId, entry.tableId, columnId) + ",2,C1," +
                 (column.nullable ? "Y" : "N") + ",L" + position);
          w.texts(tableColumnId, "COLUMN_COMMENTS", column.comment);
          entry.tableColumnIds.push_back(tableColumnId);
        }
      }
    }
  }

  // Keys, foreign keys and indexes, after every table, so that a foreign
  // key can name the placement of a table that comes later.
  auto keyRecord = [&](const std::string& name, char kind, const std::string& what) {
    const long id = w.nextId();
    w.line("E,KEY," + std::to_string(id) + ",3," + w.counted(name, what) + ",C1," +
           std::string(1, kind) + ",C0");
    return id;
  };
  auto keyColumn = [&](long key, const TableIds& entry, int column, int position, bool descending) {
    w.line("R,KEY_COL," + ids(w.nextId(), key, entry.tableColumnIds.at(column)) + ",2,S" +
           std::to_string(position) + ",C1," + (descending ? "D" : "A"));
  };
  for (const LiveSchema& schema : catalog.schemas) {
    for (const LiveTable& table : schema.tables) {
      if (table.view) continue;
      const TableIds& entry = tables.at({schema.name, table.name});
      const std::string what = objectName(schema, table);
      auto candidate = [&](const LiveKey& key, char kind) {
        const long id = keyRecord(key.name, kind, "key " + key.name + " of " + what);
        for (size_t i = 0; i < key.columns.size(); ++i) {
          keyColumn(id, entry, key.columns[i], static_cast<int>(i) + 1,
                    i < key.descending.size() && key.descending[i]);
        }
      };
      if (table.hasPrimaryKey) candidate(table.primaryKey, 'P');
      for (const LiveKey& key : table.uniqueKeys) candidate(key, 'A');
      for (const LiveForeignKey& key : table.foreignKeys) {
        const auto referenced = tables.find({key.referencedSchema, key.referencedTable});
        if (referenced == tables.end()) continue;  // warned above
        const long id = keyRecord(key.name, 'F', "foreign key " + key.name + " of " + what);
        const long link = w.nextId();
        w.line("R,FGN_KEY," + ids(link, entry.tableId, id) + ",2,C1,N,C1,N");
        w.line("R,FK_TB_AT," + ids(w.nextId(), link, referenced->second.placementId) + ",0");
        const std::vector<int> positions = foreignKeyPositions(key, referenced->second);
        for (size_t i = 0; i < key.columns.size(); ++i)
          keyColumn(id, entry, key.columns[i], positions[i], false);
      }
      for (const LiveIndex& index : table.indexes) {
        const long id = keyRecord(index.name, 'I', "index " + index.name + " of " + what);
        for (size_t i = 0; i < index.columns.size(); ++i) {
          keyColumn(id, entry, index.columns[i], static_cast<int>(i) + 1,
                    i < index.descending.size() && index.descending[i]);
        }
        w.line("R,INDEX_AT," + ids(w.nextId(), id, entry.tableId) + ",5,C1," +
               (index.unique ? "Y" : "N") + ",C0,L0,S0,C1,N");
      }
    }
  }

  // Procedures and their arguments.
  for (size_t s = 0; s < catalog.schemas.size(); ++s) {
    const LiveSchema& schema = catalog.schemas[s];
    for (const LiveProcedure& procedure : schema.procedures) {
      const std::string what = "procedure " + schema.name + "." + procedure.name;
      const long id = w.nextId();
      w.line("E,DBPROC," + std::to_string(id) + ",1," + w.counted(procedure.name, what));
      w.texts(id, "DESCRIPTION", procedure.comment);
      w.line("R,OBJ_AT," + ids(w.nextId(), id, schemaIds[s]) + ",0");
      for (size_t a = 0; a < procedure.arguments.size(); ++a) {
        const LiveArgument& argument = procedure.arguments[a];
        const long columnId = w.nextId();
        columnRecord(columnId, argument.name, argument.type,
                     "argument " + argument.name + " of " + what);
        w.line("R,PARM," + ids(w.nextId(), id, columnId) + ",1,L" + std::to_string(a + 1));
      }
    }
  }
  return report;
}

}  // namespace pcd::cli
