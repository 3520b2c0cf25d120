// SPDX-License-Identifier: Apache-2.0
// The model's tables at device sizes: building them, looking rows up, and walking them the
// two ways the SNMP side does (one iterator across the table, and one GETNEXT at a time:
// find the requested row, step once). Each of these must cost at most log N per row.
#include <benchmark/benchmark.h>

#include "bench/micro/ModelData.h"

namespace {

using FhrpSnmp::VrrpIndex;
using FhrpSnmp::VrrpIpIndex;

void BM_OperTableInsert(benchmark::State& state) {
  const auto keys = Bench::shuffled(Bench::routerKeys(state.range(0)));
  const auto records = Bench::routerRecords(keys);
  for (auto _ : state) {
    auto mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
    for (size_t i = 0; i < keys.size(); ++i) {
      mib->operTableIs(keys[i], records[i].config, records[i].status);
    }
    state.PauseTiming();
    mib = nullptr;
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_AssoIpAddrTableInsert(benchmark::State& state) {
  const auto keys = Bench::shuffled(Bench::addressKeys(state.range(0)));
  for (auto _ : state) {
    auto mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
    for (const auto& k : keys) mib->assoIpAddrTableIs(k);
    state.PauseTiming();
    mib = nullptr;
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<S64>(keys.size()));
}

template <class Key, class Find>
void findEach(benchmark::State& state, const std::vector<Key>& keys, Find find) {
  const auto order = Bench::shuffled(keys);
  size_t i = 0;
  for (auto _ : state) {
    auto row = find(order[i]);
    benchmark::DoNotOptimize(row.ptr());
    if (++i == order.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_OperTableFind(benchmark::State& state) {
  auto mib = Bench::filledMib(state.range(0));
  findEach(state, Bench::routerKeys(state.range(0)),
           [&](const VrrpIndex& k) { return mib->operTable(k); });
}

void BM_AssoIpAddrTableFind(benchmark::State& state) {
  auto mib = Bench::filledMib(state.range(0));
  findEach(state, Bench::addressKeys(state.range(0)),
           [&](const VrrpIpIndex& k) { return mib->assoIpAddrTable(k); });
}

// One iterator over the whole table, as a single pass of the table iterator takes it.
template <class Iter>
void walkAll(benchmark::State& state, Iter begin, size_t rows) {
  for (auto _ : state) {
    for (auto it = begin(); !it.atEnd(); it.advance()) benchmark::DoNotOptimize(it.value().ptr());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<S64>(rows));
}

void BM_OperTableWalk(benchmark::State& state) {
  auto mib = Bench::filledMib(state.range(0));
  walkAll(
      state, [&] { return mib->operTableIter(); }, mib->operTableCollection()->size());
}

void BM_AssoIpAddrTableWalk(benchmark::State& state) {
  auto mib = Bench::filledMib(state.range(0));
  walkAll(
      state, [&] { return mib->assoIpAddrTableIter(); }, mib->assoIpAddrTableCollection()->size());
}

// A walk as GETNEXT requests see it: each step starts from the requested row's key (the
// hint), positions an iterator on it and advances once.
template <class Table>
void getNextEach(benchmark::State& state, const Kiv::Ptr<Table>& table) {
  std::vector<typename std::remove_cvref_t<decltype(table->begin().key())>> keys;
  for (auto it = table->begin(); !it.atEnd(); it.advance()) keys.push_back(it.key());
  size_t i = 0;
  for (auto _ : state) {
    auto it = table->at(keys[i]);
    it.advance();
    benchmark::DoNotOptimize(it.value().ptr());
    if (++i == keys.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_OperTableGetNextFromHint(benchmark::State& state) {
  auto mib = Bench::filledMib(state.range(0));
  getNextEach(state, mib->operTableCollection());
}

void BM_AssoIpAddrTableGetNextFromHint(benchmark::State& state) {
  auto mib = Bench::filledMib(state.range(0));
  getNextEach(state, mib->assoIpAddrTableCollection());
}

// A router leaving and coming back at a steady table size.
void BM_OperTableDeleteInsert(benchmark::State& state) {
  auto mib = Bench::filledMib(state.range(0));
  const auto keys = Bench::shuffled(Bench::routerKeys(state.range(0)));
  const auto records = Bench::routerRecords(keys);
  size_t i = 0;
  for (auto _ : state) {
    mib->operTableDel(keys[i]);
    mib->operTableIs(keys[i], records[i].config, records[i].status);
    if (++i == keys.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_OperTableInsert)->BENCH_TABLE_SIZES;
BENCHMARK(BM_AssoIpAddrTableInsert)->BENCH_TABLE_SIZES;
BENCHMARK(BM_OperTableFind)->BENCH_TABLE_SIZES;
BENCHMARK(BM_AssoIpAddrTableFind)->BENCH_TABLE_SIZES;
BENCHMARK(BM_OperTableWalk)->BENCH_TABLE_SIZES;
BENCHMARK(BM_AssoIpAddrTableWalk)->BENCH_TABLE_SIZES;
BENCHMARK(BM_OperTableGetNextFromHint)->BENCH_TABLE_SIZES;
BENCHMARK(BM_AssoIpAddrTableGetNextFromHint)->BENCH_TABLE_SIZES;
BENCHMARK(BM_OperTableDeleteInsert)->BENCH_TABLE_SIZES;

}  // namespace
