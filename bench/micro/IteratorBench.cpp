// SPDX-License-Identifier: Apache-2.0
// A walk in flight while the mirroring half changes the table: an iterator whose table
// changed since it last moved searches again from its key instead of stepping. That search
// must stay logarithmic, so a busy table never makes a walk quadratic.
#include <benchmark/benchmark.h>

#include "bench/micro/ModelData.h"

namespace {

using FhrpSnmp::OperTable;

// The row after which the walk stands, and a router far from it that comes and goes.
struct Scene {
  explicit Scene(long n)
      : mib(Bench::filledMib(n)),
        standAt(Bench::routerKey(n / 2)),
        other(Bench::routerKey(n / 4)),
        records{Kiv::make<Routing::Fhrp::VrrpVirtualRouterConfig>(other.vrId),
                Kiv::make<Routing::Fhrp::VirtualRouterStatusV4>(other.vrId)} {}
  Kiv::Ptr<FhrpSnmp::VrrpMib> mib;
  FhrpSnmp::VrrpIndex standAt, other;
  Bench::RouterRecords records;
};

// Baseline: stepping with no change in between.
void BM_IteratorAdvanceUnchanged(benchmark::State& state) {
  Scene s(state.range(0));
  const auto& table = s.mib->operTableCollection();
  for (auto _ : state) {
    OperTable::Iterator it = table->at(s.standAt);
    it.advance();
    benchmark::DoNotOptimize(it.value().ptr());
  }
  state.SetItemsProcessed(state.iterations());
}

// Inserting elsewhere, then stepping. The insert and its matching delete are timed too
// (they are what the mirroring half pays); BM_OperTableDeleteInsert gives them alone.
void BM_IteratorAdvanceAfterInsert(benchmark::State& state) {
  Scene s(state.range(0));
  s.mib->operTableDel(s.other);
  const auto& table = s.mib->operTableCollection();
  for (auto _ : state) {
    OperTable::Iterator it = table->at(s.standAt);
    s.mib->operTableIs(s.other, s.records.config, s.records.status);
    it.advance();
    benchmark::DoNotOptimize(it.value().ptr());
    s.mib->operTableDel(s.other);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_IteratorAdvanceAfterDelete(benchmark::State& state) {
  Scene s(state.range(0));
  const auto& table = s.mib->operTableCollection();
  for (auto _ : state) {
    OperTable::Iterator it = table->at(s.standAt);
    s.mib->operTableDel(s.other);
    it.advance();
    benchmark::DoNotOptimize(it.value().ptr());
    s.mib->operTableIs(s.other, s.records.config, s.records.status);
  }
  state.SetItemsProcessed(state.iterations());
}

// The iterator's own row goes away under it (the walk must still find the successor).
void BM_IteratorAdvanceAfterOwnRowDeleted(benchmark::State& state) {
  Scene s(state.range(0));
  const auto& table = s.mib->operTableCollection();
  auto row = s.mib->operTable(s.standAt);
  for (auto _ : state) {
    OperTable::Iterator it = table->at(s.standAt);
    s.mib->operTableDel(s.standAt);
    it.advance();
    benchmark::DoNotOptimize(it.value().ptr());
    s.mib->operTableIs(s.standAt, row->config(), row->status());
  }
  state.SetItemsProcessed(state.iterations());
}

// A whole walk during which every step finds the table changed.
void BM_IteratorWalkWithChangeEveryStep(benchmark::State& state) {
  Scene s(state.range(0));
  s.mib->operTableDel(s.other);
  const auto& table = s.mib->operTableCollection();
  bool present = false;
  for (auto _ : state) {
    for (auto it = table->begin(); !it.atEnd(); it.advance()) {
      if (present)
        s.mib->operTableDel(s.other);
      else
        s.mib->operTableIs(s.other, s.records.config, s.records.status);
      present = !present;
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<S64>(table->size()));
}

BENCHMARK(BM_IteratorAdvanceUnchanged)->BENCH_TABLE_SIZES;
BENCHMARK(BM_IteratorAdvanceAfterInsert)->BENCH_TABLE_SIZES;
BENCHMARK(BM_IteratorAdvanceAfterDelete)->BENCH_TABLE_SIZES;
BENCHMARK(BM_IteratorAdvanceAfterOwnRowDeleted)->BENCH_TABLE_SIZES;
BENCHMARK(BM_IteratorWalkWithChangeEveryStep)->BENCH_TABLE_SIZES;

}  // namespace
