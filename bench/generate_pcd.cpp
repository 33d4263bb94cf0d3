// Writes a realistic PCD file of a given number of tables, the same bytes for
// the same arguments on every machine (its own random generator, no
// standard distributions).
//
//   generate_pcd TABLES [SEED] > FILE.pcd
//
// Per table, on average: 8 columns (REL_COL + TBL_COL, some with comments), a
// primary key, now and then an alternate key, a foreign key to an earlier
// table's primary key, an index-only key; one view in 20 tables and one
// procedure in 25. About 1 KB of file per table.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// splitmix64: small, fast and fully specified.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  // In [low, high].
  long between(long low, long high) {
    return low + static_cast<long>(next() % static_cast<uint64_t>(high - low + 1));
  }
  bool chance(int percent) { return between(1, 100) <= percent; }
  template <class T>
  const T& pick(const std::vector<T>& items) {
    return items[next() % items.size()];
  }

 private:
  uint64_t state_;
};

// A native data type: its name, and how columns of it get a length and scale.
struct NativeType {
  const char* name;
  long minLength, maxLength;  // 0, 0: no length
  long maxScale;
};

const std::vector<NativeType> kNativeTypes = {
    {"VARCHAR", 1, 254, 0},   {"CHAR", 1, 32, 0},  {"INTEGER", 0, 0, 0},    {"SMALLINT", 0, 0, 0},
    {"DECIMAL", 5, 31, 6},    {"DATE", 0, 0, 0},   {"TIMESTAMP", 0, 0, 0},  {"FLOAT", 0, 0, 0},
    {"CLOB", 1024, 65536, 0}, {"BIGINT", 0, 0, 0}, {"VARCHAR2", 1, 4000, 0}};

const std::vector<std::string> kServerTypes = {"DB2", "ORACLE", "SQLSERVER", "SYBASE"};
const std::vector<std::string> kWords = {
    "ORDER",    "CUSTOMER", "ACCOUNT", "INVOICE", "PRODUCT", "LINE",  "ADDRESS", "PAYMENT",
    "STATUS",   "REGION",   "BRANCH",  "LEDGER",  "ENTRY",   "PRICE", "STOCK",   "SUPPLIER",
    "CONTRACT", "CLAIM",    "POLICY",  "EVENT",   "AUDIT",   "CODE",  "RATE",    "ITEM"};
const std::vector<std::string> kTextWords = {
    "the",   "of",       "each",    "record", "kept",     "for",  "one",    "customer",
    "order", "account",  "history", "moved",  "monthly",  "open", "closed", "value",
    "in",    "currency", "as",      "sent",   "received", "by",   "branch", "date"};

// Writes the records of one file. Ids are handed out in file order.
class Generator {
 public:
  Generator(FILE* out, uint64_t seed) : out_(out), random_(seed) {}

  void run(long tables) {
    std::fprintf(out_, "PCD extract generated for benchmarks: %ld tables\n", tables);
    writeNativeTypes();
    // A system with its database for every 10000 tables (the server type of
    // a system describes its one catalog), and a schema for every 40 tables,
    // spread over the databases.
    const long systems = 1 + tables / 10000;
    const long tablesPerSchema = 40;
    std::vector<long> databases;
    for (long system = 0; system < systems; ++system) {
      const long systemId = entity("REL_SYS", {C("SYS" + std::to_string(system)), C("ODBC")});
      const long serverType = entity("SERVTYPE", serverTypeAttributes());
      relation("SERVINST", serverType, systemId, {});
      const long databaseId = entity("DATABASE", {C(word() + "DB" + std::to_string(system))});
      relation("DB_AT", databaseId, systemId, {C(""), C("")});
      databases.push_back(databaseId);
    }
    const long schemaCount = std::max(1L, (tables + tablesPerSchema - 1) / tablesPerSchema);
    for (long s = 0; s < schemaCount; ++s) {
      const long schemaId = entity("SCHEMA", {C(word() + "_" + std::to_string(s))});
      relation("SCHEM_AT", schemaId, databases[static_cast<size_t>(s) % databases.size()], {C("")});
      schemas_.push_back(schemaId);
    }
    for (long table = 0; table < tables; ++table) {
      writeTable(table, schemas_[static_cast<size_t>(table / tablesPerSchema) % schemas_.size()]);
      if (table % 20 == 19) writeView(schemas_[static_cast<size_t>(table) % schemas_.size()]);
      if (table % 25 == 24) writeProcedure(schemas_[static_cast<size_t>(table) % schemas_.size()]);
    }
  }

 private:
  struct Column {
    long tblCol;  // the TBL_COL record's id
  };
  struct Table {
    long tableAt;     // the TABLE_AT record's id, which foreign keys refer to
    long keyColumns;  // columns of its primary key; 0 without one
  };

  static std::string C(const std::string& text) {
    return "C" + std::to_string(text.size()) + (text.empty() ? "" : "," + text);
  }
  static std::string S(long value) { return "S" + std::to_string(value); }
  static std::string L(long value) { return "L" + std::to_string(value); }

  void writeLine(const std::string& head, const std::vector<std::string>& attributes) {
    std::string line = head + "," + std::to_string(attributes.size());
    for (const std::string& attribute : attributes) line += "," + attribute;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), out_);
  }
  long entity(const char* name, const std::vector<std::string>& attributes) {
    const long id = nextId_++;
    writeLine(std::string("E,") + name + "," + std::to_string(id), attributes);
    return id;
  }
  long relation(const char* name, long from, long to, const std::vector<std::string>& attributes) {
    const long id = nextId_++;
    writeLine(std::string("R,") + name + "," + std::to_string(id) + "," + std::to_string(from) +
                  "," + std::to_string(to),
              attributes);
    return id;
  }
  // Text lines; long texts are split over several lines, as extracts do.
  void text(long id, const char* name, const std::string& value) {
    for (size_t at = 0; at < value.size(); at += 200) {
      const std::string piece = value.substr(at, 200);
      std::fprintf(out_, "T,1,%ld,1,%s,%zu,%s\n", id, name, piece.size(), piece.c_str());
    }
  }

  std::string word() { return random_.pick(kWords); }
  std::string name(int words) {
    std::string result = word();
    for (int i = 1; i < words; ++i) result += "_" + word();
    return result;
  }
  std::string sentence(long minWords, long maxWords) {
    std::string result = "The";
    for (long i = random_.between(minWords, maxWords); i > 0; --i) {
      result += " " + random_.pick(kTextWords);
    }
    return result + ".";
  }

  std::vector<std::string> serverTypeAttributes() {
    const std::string& type = random_.pick(kServerTypes);
    std::vector<std::string> attributes = {C("T1"), C(type),
                                           C(std::to_string(random_.between(7, 12)) + ".1"),
                                           S(random_.between(1, 40))};
    for (int i = 0; i < 9; ++i) attributes.push_back(S(0));
    return attributes;
  }

  void writeNativeTypes() {
    for (const NativeType& type : kNativeTypes) {
      nativeTypeIds_.push_back(entity("REL_DT", {C(type.name), S(0), C(""), C(""), C("")}));
    }
  }

  // A REL_COL record of a random native type; returns its id.
  long relCol(const std::string& columnName, bool withComment) {
    const size_t type = random_.next() % kNativeTypes.size();
    const NativeType& native = kNativeTypes[type];
    const long length = native.maxLength ? random_.between(native.minLength, native.maxLength) : 0;
    const long scale = native.maxScale ? random_.between(0, native.maxScale) : 0;
    const long id = relation("REL_COL", 0, nativeTypeIds_[type],
                             {C(columnName), S(0), L(length), L(0), S(scale), C(""), C("")});
    if (withComment) text(id, "COLUMN_COMMENTS", sentence(3, 12));
    return id;
  }

  // A KEY of `kind` over `columns`, with its KEY_COL records; returns its id.
  long key(const std::string& keyName, const char* kind, const std::vector<Column>& columns) {
    const long id = entity("KEY", {C(keyName), C(kind), C("")});
    long position = 1;
    for (const Column& column : columns) {
      relation("KEY_COL", id, column.tblCol, {S(position++), C(random_.chance(90) ? "A" : "D")});
    }
    return id;
  }

  void writeTable(long index, long schemaId) {
    const std::string tableName = name(2) + "_" + std::to_string(index);
    const long tableId = entity("TABLE", {C(tableName)});
    if (random_.chance(70)) text(tableId, "DESCRIPTION", sentence(4, 40));
    const long tableAt = relation("TABLE_AT", tableId, schemaId, {C(tableName), C("")});

    std::vector<Column> columns;
    const long columnCount = random_.between(3, 13);
    for (long position = 1; position <= columnCount; ++position) {
      const long column = relCol(name(1) + "_" + std::to_string(position), random_.chance(15));
      const long tblCol =
          relation("TBL_COL", tableId, column,
                   {C(position == 1 || random_.chance(40) ? "N" : "Y"), L(position)});
      if (random_.chance(10)) text(tblCol, "COLUMN_COMMENTS", sentence(2, 8));
      columns.push_back({tblCol});
    }

    Table table{tableAt, 0};
    if (random_.chance(90)) {
      table.keyColumns = random_.chance(80) ? 1 : 2;
      key("PK_" + tableName, "P", {columns.begin(), columns.begin() + table.keyColumns});
    }
    if (random_.chance(15)) key("AK_" + tableName, "A", {columns.end() - 1, columns.end()});
    // A foreign key on as many columns as the referenced primary key has.
    if (!tables_.empty() && random_.chance(40)) {
      const Table& referenced = tables_[random_.next() % tables_.size()];
      if (referenced.keyColumns > 0 && referenced.keyColumns < columnCount) {
        const long foreignKey =
            key("FK_" + tableName, "F",
                {columns.begin() + 1, columns.begin() + 1 + referenced.keyColumns});
        const long fgnKey =
            relation("FGN_KEY", 0, foreignKey,
                     {C(random_.chance(30) ? "Y" : "N"), C(random_.chance(20) ? "Y" : "N")});
        relation("FK_TB_AT", fgnKey, referenced.tableAt, {});
      }
    }
    if (random_.chance(20)) {
      const long indexKey = key("IX_" + tableName, "I", {columns.begin() + 1, columns.begin() + 2});
      relation("INDEX_AT", indexKey, 0,
               {C(random_.chance(50) ? "Y" : "N"), C(""), L(0), S(0),
                C(random_.chance(50) ? "Y" : "N")});
    }
    tables_.push_back(table);
  }

  void writeView(long schemaId) {
    const std::string viewName = "V_" + name(2) + "_" + std::to_string(nextId_);
    const long viewId = entity("VIEW", {C(viewName), C("")});
    relation("TABLE_AT", viewId, schemaId, {C(viewName), C("")});
    const long columnCount = random_.between(2, 8);
    for (long position = 1; position <= columnCount; ++position) {
      const long column = relCol(name(1) + "_" + std::to_string(position), false);
      relation("VIEW_COL", viewId, column, {L(position)});
    }
  }

  void writeProcedure(long schemaId) {
    const long procedureId = entity("DBPROC", {C("P_" + name(2) + "_" + std::to_string(nextId_))});
    if (random_.chance(60)) text(procedureId, "DESCRIPTION", sentence(4, 20));
    relation("OBJ_AT", procedureId, schemaId, {});
    const long parameters = random_.between(0, 5);
    for (long position = 1; position <= parameters; ++position) {
      const long column = relCol("P_" + word(), false);
      relation("PARM", procedureId, column, {L(position)});
    }
  }

  FILE* out_;
  Random random_;
  long nextId_ = 1000;
  std::vector<long> nativeTypeIds_;
  std::vector<long> schemas_;
  std::vector<Table> tables_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "usage: generate_pcd TABLES [SEED] > FILE.pcd\n");
    return 2;
  }
  char* end = nullptr;
  const long tables = std::strtol(argv[1], &end, 10);
  if (*end != '\0' || tables < 0) {
    std::fprintf(stderr, "generate_pcd: TABLES must be a number >= 0\n");
    return 2;
  }
  const uint64_t seed = argc == 3 ? std::strtoull(argv[2], nullptr, 10) : 1;
  static char buffer[1 << 20];
  std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  Generator(stdout, seed).run(tables);
  return std::fflush(stdout) == 0 ? 0 : 1;
}
