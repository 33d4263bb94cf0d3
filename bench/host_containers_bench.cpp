// Hash table cost per operation at growing sizes: add and find should stay
// flat from 10^3 to 10^6 entries.
#include <algorithm>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "zel_hashtable.h"

namespace {

struct Record {
  long id;
};

// Keyed by id, hashed to itself, duplicates allowed: like the reader's id registry.
class IdRegistry : public ZELHashtable {
 public:
  IdRegistry() : ZELHashtable(1000) {}
  int compare2Object(const void* a, const void* b) const override {
    return idOf(a) == idOf(b) ? 0 : 1;
  }
  int compare2Key(const void* entry, const void* key) const override {
    return idOf(entry) == *static_cast<const long*>(key) ? 0 : 1;
  }
  unsigned long hashObject(const void* entry) const override {
    return static_cast<unsigned long>(idOf(entry));
  }
  unsigned long hashKey(const void* key) const override {
    return static_cast<unsigned long>(*static_cast<const long*>(key));
  }

 private:
  static long idOf(const void* entry) { return static_cast<const Record*>(entry)->id; }
};

std::vector<Record> makeRecords(long count) {
  std::vector<Record> records(static_cast<size_t>(count));
  for (long i = 0; i < count; ++i) records[i].id = 100000 + 3 * i;
  return records;
}

// Reports the time of one operation (the inverse of the rate).
void reportPerOperation(benchmark::State& state, long operationsPerIteration) {
  state.counters["per_op"] = benchmark::Counter(
      static_cast<double>(operationsPerIteration) * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_HashtableAdd(benchmark::State& state) {
  const long count = state.range(0);
  const std::vector<Record> records = makeRecords(count);
  for (auto _ : state) {
    IdRegistry table;
    for (const Record& record : records) table.add(&record, true, nullptr);
    benchmark::DoNotOptimize(table.count());
  }
  reportPerOperation(state, count);
}

void BM_HashtableFind(benchmark::State& state) {
  const long count = state.range(0);
  const std::vector<Record> records = makeRecords(count);
  IdRegistry table;
  for (const Record& record : records) table.add(&record, true, nullptr);
  // Looked up in random order, so the cache sees the table's real size.
  std::vector<long> keys;
  for (const Record& record : records) keys.push_back(record.id);
  std::shuffle(keys.begin(), keys.end(), std::mt19937_64(7));
  for (auto _ : state) {
    for (const long& key : keys) benchmark::DoNotOptimize(table.findFirst(&key, nullptr));
  }
  reportPerOperation(state, count);
}

}  // namespace

BENCHMARK(BM_HashtableAdd)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_HashtableFind)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMicrosecond);
