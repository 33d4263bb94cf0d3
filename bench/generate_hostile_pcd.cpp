// Writes PCD files that are hard on an importer, for the linear-growth
// benchmarks (bench/hostile.sh): each case at N and 10*N must take about
// ten times as long.
//
//   generate_hostile_pcd CASE N > FILE
//
//   duplicate-ids      N tables that all carry id 77
//   adversarial-ids    N tables whose ids a fixed multiplicative hash puts
//                      into a few neighbouring lines of slots
//   deep-nesting       N schemas, each nested in the one before
//   text-lines         one table with N text lines
//   foreign-keys       N tables, each with a foreign key to one table
//
// Cases for the writers and subcommands (also bench/hostile.sh):
//   same-columns       one table of N columns that share one name
//   same-fk-names      N tables, each with a foreign key named FK to one table
//   same-schemas       N schemas named S, each nested in the one before
//   colliding-tables   N tables whose names the standard library's string
//                      hash maps to one value
//   chosen-ids         N tables whose ids are multiples of the bucket count
//                      a standard hash map of N ids ends with
//   long-names         a hub table whose schema, table, column and key names
//                      are 1 MB each, and N small tables referencing it
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <unordered_map>

namespace {

void header() {
  std::puts("PCD extract written by generate_hostile_pcd");
}

// A catalog (database 20 on system 10) with schema 60, type 200 (INTEGER),
// and table 100 "T0" placed as 120, with column 400 as its primary key 500.
// The table's record comes last, so that text lines may follow it.
void catalogWithKeyedTable() {
  std::puts("E,REL_SYS,10,2,C3,SYS,C4,ODBC");
  std::puts("E,DATABASE,20,1,C2,DB");
  std::puts("R,DB_AT,30,20,10,2,C0,C0");
  std::puts("E,SCHEMA,60,1,C2,S0");
  std::puts("R,SCHEM_AT,70,60,20,1,C0");
  std::puts("E,REL_DT,200,5,C7,INTEGER,S4,C0,C0,C0");
  std::puts("R,TABLE_AT,120,100,60,2,C2,T0,C0");
  std::puts("R,REL_COL,300,0,200,7,C2,ID,S0,L0,L0,S0,C0,C0");
  std::puts("R,TBL_COL,400,100,300,2,C1,N,L1");
  std::puts("E,KEY,500,3,C2,PK,C1,P,C0");
  std::puts("R,PRIM_KEY,515,500,100,1,L1");
  std::puts("R,KEY_COL,540,500,400,2,S1,C1,A");
  std::puts("E,TABLE,100,1,C2,T0");
}

void duplicateIds(long count) {
  for (long i = 0; i < count; ++i) std::puts("E,TABLE,77,1,C1,T");
}

// Ids x * 8 + low whose x, times the golden-ratio multiplier, has its top
// twelve bits clear: a hash that picks lines by those top bits puts them all
// into the first 1/4096 of its lines, one long probe run.
void adversarialIds(long count) {
  long written = 0;
  for (uint64_t x = 1; written < count && x < (uint64_t{1} << 28); ++x) {
    if (((x * 0x9E3779B97F4A7C15ull) >> 52) != 0) continue;
    for (uint64_t low = 0; low < 8 && written < count; ++low, ++written) {
      std::printf("E,TABLE,%llu,1,C1,T\n", static_cast<unsigned long long>(x * 8 + low));
    }
  }
  if (written < count) std::fprintf(stderr, "only %ld adversarial ids below 2^31\n", written);
}

void deepNesting(long count) {
  std::puts("E,REL_SYS,10,2,C3,SYS,C4,ODBC");
  std::puts("E,DATABASE,20,1,C2,DB");
  std::puts("R,DB_AT,30,20,10,2,C0,C0");
  // Schema 1000 + 2i is placed by 1001 + 2i in the schema before it.
  for (long i = 0; i < count; ++i) {
    const std::string name = "S" + std::to_string(i);
    std::printf("E,SCHEMA,%ld,1,C%zu,%s\n", 1000 + 2 * i, name.size(), name.c_str());
    std::printf("R,SCHEM_AT,%ld,%ld,%ld,1,C0\n", 1001 + 2 * i, 1000 + 2 * i,
                i == 0 ? 20L : 998 + 2 * i);
  }
}

void textLines(long count) {
  catalogWithKeyedTable();
  for (long i = 0; i < count; ++i) std::puts("T,1,100,1,DESCRIPTION,13,one line more");
}

void foreignKeys(long count) {
  catalogWithKeyedTable();
  for (long i = 1; i <= count; ++i) {
    const long b = 1000 + 10 * i;
    const std::string table = "T" + std::to_string(i);
    const std::string key = "FK" + std::to_string(i);
    std::printf("E,TABLE,%ld,1,C%zu,%s\n", b, table.size(), table.c_str());
    std::printf("R,TABLE_AT,%ld,%ld,60,2,C%zu,%s,C0\n", b + 1, b, table.size(), table.c_str());
    std::printf("R,REL_COL,%ld,0,200,7,C2,ID,S0,L0,L0,S0,C0,C0\n", b + 2);
    std::printf("R,TBL_COL,%ld,%ld,%ld,2,C1,N,L1\n", b + 3, b, b + 2);
    std::printf("E,KEY,%ld,3,C%zu,%s,C1,F,C0\n", b + 4, key.size(), key.c_str());
    std::printf("R,FGN_KEY,%ld,%ld,%ld,2,C1,N,C1,Y\n", b + 5, b, b + 4);
    std::printf("R,FK_TB_AT,%ld,%ld,120,0\n", b + 6, b + 5);
    std::printf("R,KEY_COL,%ld,%ld,%ld,2,S1,C1,A\n", b + 7, b + 4, b + 3);
  }
}

// Table T<i> (id b) in schema 60, with column ID (its primary key when
// `primaryKey`) of type 200.
void smallTable(long b, const std::string& name, bool primaryKey) {
  std::printf("E,TABLE,%ld,1,C%zu,%s\n", b, name.size(), name.c_str());
  std::printf("R,TABLE_AT,%ld,%ld,60,2,C%zu,%s,C0\n", b + 1, b, name.size(), name.c_str());
  std::printf("R,REL_COL,%ld,0,200,7,C2,ID,S0,L0,L0,S0,C0,C0\n", b + 2);
  std::printf("R,TBL_COL,%ld,%ld,%ld,2,C1,N,L1\n", b + 3, b, b + 2);
  if (primaryKey) {
    std::printf("E,KEY,%ld,3,C2,PK,C1,P,C0\n", b + 8);
    std::printf("R,PRIM_KEY,%ld,%ld,%ld,1,L1\n", b + 9, b + 8, b);
    std::printf("R,KEY_COL,%ld,%ld,%ld,2,S1,C1,A\n", b + 10, b + 8, b + 3);
  }
}

// A foreign key named `key` from table b (column b + 3) to the table placed as 120.
void foreignKeyToHub(long b, const std::string& key) {
  std::printf("E,KEY,%ld,3,C%zu,%s,C1,F,C0\n", b + 4, key.size(), key.c_str());
  std::printf("R,FGN_KEY,%ld,%ld,%ld,2,C1,N,C1,Y\n", b + 5, b, b + 4);
  std::printf("R,FK_TB_AT,%ld,%ld,120,0\n", b + 6, b + 5);
  std::printf("R,KEY_COL,%ld,%ld,%ld,2,S1,C1,A\n", b + 7, b + 4, b + 3);
}

void sameColumns(long count) {
  catalogWithKeyedTable();
  for (long i = 0; i < count; ++i) {
    const long b = 1000 + 2 * i;
    std::printf("R,REL_COL,%ld,0,200,7,C1,C,S0,L0,L0,S0,C0,C0\n", b);
    std::printf("R,TBL_COL,%ld,100,%ld,2,C1,Y,L%ld\n", b + 1, b, i + 2);
  }
}

void sameForeignKeyNames(long count) {
  catalogWithKeyedTable();
  for (long i = 1; i <= count; ++i) {
    const long b = 1000 + 20 * i;
    smallTable(b, "T" + std::to_string(i), false);
    foreignKeyToHub(b, "FK");
  }
}

void sameSchemas(long count) {
  std::puts("E,REL_SYS,10,2,C3,SYS,C4,ODBC");
  std::puts("E,DATABASE,20,1,C2,DB");
  std::puts("R,DB_AT,30,20,10,2,C0,C0");
  std::puts("E,REL_DT,200,5,C7,INTEGER,S4,C0,C0,C0");
  for (long i = 0; i < count; ++i) {
    const long b = 1000 + 10 * i;
    std::printf("E,SCHEMA,%ld,1,C1,S\n", b);
    std::printf("R,SCHEM_AT,%ld,%ld,%ld,1,C0\n", b + 1, b, i == 0 ? 20L : b - 10);
    // A table in each, so that every format writes the schema.
    std::printf("E,TABLE,%ld,1,C1,T\n", b + 2);
    std::printf("R,TABLE_AT,%ld,%ld,%ld,2,C1,T,C0\n", b + 3, b + 2, b);
    std::printf("R,REL_COL,%ld,0,200,7,C2,ID,S0,L0,L0,S0,C0,C0\n", b + 4);
    std::printf("R,TBL_COL,%ld,%ld,%ld,2,C1,N,L1\n", b + 5, b + 2, b + 4);
  }
}

// 16-byte names in printable ASCII with one value of std::hash<std::string>:
// the second word of each is solved for from the first, the hash's step
// being invertible; the result is checked against std::hash itself.
void collidingTables(long count) {
  const uint64_t mul = (uint64_t{0xc6a4a793} << 32) + 0x5bd1e995;
  uint64_t inverse = mul;  // Newton's iteration for the inverse modulo 2^64
  for (int i = 0; i < 6; ++i) inverse *= 2 - mul * inverse;
  const auto mix = [](uint64_t v) { return v ^ (v >> 47); };  // its own inverse for 47 >= 32
  const auto step = [&](uint64_t word) { return mix(word * mul) * mul; };
  const auto unstep = [&](uint64_t data) { return mix(data * inverse) * inverse; };
  const uint64_t start = 0xc70f6907ull ^ (16 * mul);
  const uint64_t target = 0x0123456789abcdefull;
  catalogWithKeyedTable();
  long written = 0;
  std::string first(8, 'a');
  for (uint64_t n = 0; written < count; ++n) {
    for (int i = 0; i < 8; ++i)
      first[i] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ012345"[(n >> (5 * i)) % 58];
    uint64_t a = 0;
    for (int i = 0; i < 8; ++i) a |= uint64_t{static_cast<unsigned char>(first[i])} << (8 * i);
    const uint64_t second = unstep(target ^ ((start ^ step(a)) * mul));
    std::string name = first;
    bool printable = true;
    for (int i = 0; i < 8; ++i) {
      const char c = static_cast<char>(second >> (8 * i));
      printable = printable && c >= '0' && c <= 'z';
      name += c;
    }
    if (!printable) continue;
    static const size_t expected = std::hash<std::string>()(name);
    if (std::hash<std::string>()(name) != expected) {
      std::fprintf(stderr, "the names do not collide under this library's hash\n");
      std::exit(1);
    }
    smallTable(1000 + 20 * written, name, false);
    ++written;
  }
}

void chosenIds(long count) {
  std::unordered_map<long, size_t> probe;
  for (long i = 0; i < count; ++i) probe.emplace(i, 0);
  const long buckets = static_cast<long>(probe.bucket_count());
  for (long i = 1; i <= count; ++i) std::printf("E,TABLE,%ld,1,C1,T\n", i * buckets);
}

void longNames(long count) {
  const std::string longName(1 << 20, 'N');
  std::puts("E,REL_SYS,10,2,C3,SYS,C4,ODBC");
  std::puts("E,DATABASE,20,1,C2,DB");
  std::puts("R,DB_AT,30,20,10,2,C0,C0");
  std::printf("E,SCHEMA,60,1,C%zu,%s\n", longName.size(), longName.c_str());
  std::puts("R,SCHEM_AT,70,60,20,1,C0");
  std::puts("E,REL_DT,200,5,C7,INTEGER,S4,C0,C0,C0");
  std::printf("R,TABLE_AT,120,100,60,2,C%zu,%s,C0\n", longName.size(), longName.c_str());
  std::printf("R,REL_COL,300,0,200,7,C%zu,%s,S0,L0,L0,S0,C0,C0\n", longName.size(),
              longName.c_str());
  std::puts("R,TBL_COL,400,100,300,2,C1,N,L1");
  std::printf("E,KEY,500,3,C%zu,%s,C1,P,C0\n", longName.size(), longName.c_str());
  std::puts("R,PRIM_KEY,515,500,100,1,L1");
  std::puts("R,KEY_COL,540,500,400,2,S1,C1,A");
  std::printf("E,TABLE,100,1,C%zu,%s\n", longName.size(), longName.c_str());
  for (long i = 1; i <= count; ++i) {
    const long b = 1000 + 20 * i;
    smallTable(b, "T" + std::to_string(i), true);
    foreignKeyToHub(b, "FK" + std::to_string(i));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s CASE N\n", argv[0]);
    return 2;
  }
  const long count = std::atol(argv[2]);
  const std::string which = argv[1];
  header();
  if (which == "duplicate-ids") {
    duplicateIds(count);
  } else if (which == "adversarial-ids") {
    adversarialIds(count);
  } else if (which == "deep-nesting") {
    deepNesting(count);
  } else if (which == "text-lines") {
    textLines(count);
  } else if (which == "foreign-keys") {
    foreignKeys(count);
  } else if (which == "same-columns") {
    sameColumns(count);
  } else if (which == "same-fk-names") {
    sameForeignKeyNames(count);
  } else if (which == "same-schemas") {
    sameSchemas(count);
  } else if (which == "colliding-tables") {
    collidingTables(count);
  } else if (which == "chosen-ids") {
    chosenIds(count);
  } else if (which == "long-names") {
    longNames(count);
  } else {
    std::fprintf(stderr, "unknown case %s\n", argv[1]);
    return 2;
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
