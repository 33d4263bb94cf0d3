// Cost of deleting one model object as the model grows from 10^3 to 10^6
// objects: it should stay flat, since a deletion only touches the object's
// own links.
#include <chrono>
#include <map>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "model/zel_model.h"

namespace {

// A model of about `objects` objects: a catalog and schema of classes, each
// with six typed columns, a primary key with its position index, and a
// foreign key to the previous class with a role name map.
struct BenchModel {
  ZELModel model;
  std::vector<ZELClass*> classes;

  explicit BenchModel(long objects) {
    auto* catalog = new ZELDatabaseCatalog;
    auto* schema = new ZELDatabaseSchema;
    model.addChildPackage(catalog);
    catalog->addChildPackage(schema);
    auto* base = new ZELBaseType;
    model.addType(base);
    constexpr long kObjectsPerClass = 20;
    ZELCandidateKey* previousKey = nullptr;
    for (long made = 0; made < objects; made += kObjectsPerClass) {
      auto* table = new ZELClass;
      schema->addModelObject(table);
      std::vector<ZELAttribute*> columns;
      for (int c = 0; c < 6; ++c) {
        auto* column = new ZELAttribute;
        auto* type = new ZELDerivedType;
        table->addFeature(column);
        model.addType(type);
        type->addDerivedFromConcreteType(base);
        column->addType(type);
        columns.push_back(column);
      }
      auto* key = new ZELCandidateKey;
      key->addAssociatedClass(table);
      key->addPrimaryOfClass(table);
      auto* index = new ZELIndex;
      index->addAssociatedClass(table);
      key->addIndex(index);
      for (int c = 0; c < 2; ++c) {
        key->addAttribute(columns[c]);
        auto* member = new ZELIndexMember;
        member->addAttribute(columns[c]);
        index->addIndexMember(member);
      }
      auto* foreign = new ZELForeignKey;
      foreign->addAssociatedClass(table);
      foreign->addAttribute(columns[2]);
      if (previousKey != nullptr) {
        foreign->addCandidateKey(previousKey);
        auto* map = new ZELAssociationRoleNameMap;
        map->addForeignKey(foreign);
        map->addSourceAttribute(columns[0]);
        map->addDestinationAttribute(columns[2]);
      }
      previousKey = key;
      classes.push_back(table);
    }
  }
};

// One model per size, built once.
BenchModel& modelOf(long objects) {
  static std::map<long, std::unique_ptr<BenchModel>> models;
  auto& slot = models[objects];
  if (!slot) slot = std::make_unique<BenchModel>(objects);
  return *slot;
}

constexpr int kBatch = 256;

// Times deleting a batch of `objects` (the iteration's time; the batch is
// built untimed).
template <class T>
void timeDeletions(benchmark::State& state, std::vector<T*>& objects) {
  const auto start = std::chrono::steady_clock::now();
  for (T* object : objects) delete object;
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  state.SetIterationTime(elapsed.count());
  objects.clear();
}

// Reports the model's size and the time of one deletion.
void report(benchmark::State& state) {
  state.counters["objects"] = static_cast<double>(state.range(0));
  state.counters["per_delete"] = benchmark::Counter(
      kBatch, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// A primary key with three columns and its index, that two foreign keys
// refer to. Each key of a batch has a class of its own among the model's.
void BM_DeleteKey(benchmark::State& state) {
  BenchModel& m = modelOf(state.range(0));
  auto* schema = static_cast<ZELDataPackage*>(m.classes.front()->getOwner());
  std::vector<ZELClass*> tables;
  std::vector<ZELForeignKey*> referring;
  for (int i = 0; i < kBatch; ++i) {
    auto* table = new ZELClass;
    schema->addModelObject(table);
    for (int c = 0; c < 3; ++c) table->addFeature(new ZELAttribute);
    (new ZELIndex)->addAssociatedClass(table);
    tables.push_back(table);
    for (int f = 0; f < 2; ++f) {
      auto* foreign = new ZELForeignKey;
      foreign->addAssociatedClass(m.classes.front());
      referring.push_back(foreign);
    }
  }
  std::vector<ZELCandidateKey*> keys;
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) {
      ZELClass* table = tables[i];
      auto* key = new ZELCandidateKey;
      key->addAssociatedClass(table);
      key->addPrimaryOfClass(table);
      for (ZELFeature* column : table->features()) {
        key->addAttribute(static_cast<ZELAttribute*>(column));
      }
      key->addIndex(table->indexes().first());
      referring[2 * i]->addCandidateKey(key);
      referring[2 * i + 1]->addCandidateKey(key);
      keys.push_back(key);
    }
    timeDeletions(state, keys);
  }
  for (ZELClass* table : tables) delete table;
  for (ZELForeignKey* foreign : referring) delete foreign;
  report(state);
}
BENCHMARK(BM_DeleteKey)->RangeMultiplier(10)->Range(1000, 1000000)->UseManualTime();

// A column that both keys of its class list twice, and that an index member
// and a role name map refer to.
void BM_DeleteSharedAttribute(benchmark::State& state) {
  BenchModel& m = modelOf(state.range(0));
  ZELClass* table = m.classes[m.classes.size() / 2];
  ZELIndex* index = table->indexes().first();
  std::vector<ZELKey*> keys(table->keys().begin(), table->keys().end());
  std::vector<ZELAttribute*> columns;
  ZELForeignKey* foreign = nullptr;
  for (ZELKey* key : keys) {
    if (key->isInstanceOf(ZEL_ET_FOREIGN_KEY)) foreign = static_cast<ZELForeignKey*>(key);
  }
  std::vector<ZELModelObject*> members;  // index members and maps
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) {
      auto* column = new ZELAttribute;
      table->addFeature(column);
      for (int round = 0; round < 2; ++round) {
        for (ZELKey* key : keys) key->addAttribute(column);
      }
      auto* member = new ZELIndexMember;
      member->addAttribute(column);
      index->addIndexMember(member);
      members.push_back(member);
      auto* map = new ZELAssociationRoleNameMap;
      map->addForeignKey(foreign);
      map->addSourceAttribute(column);
      map->addDestinationAttribute(column);
      members.push_back(map);
      columns.push_back(column);
    }
    timeDeletions(state, columns);
    for (ZELModelObject* member : members) delete member;  // untimed clean-up
    members.clear();
  }
  report(state);
}
BENCHMARK(BM_DeleteSharedAttribute)->RangeMultiplier(10)->Range(1000, 1000000)->UseManualTime();

}  // namespace
