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
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

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
  } else {
    std::fprintf(stderr, "unknown case %s\n", argv[1]);
    return 2;
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
