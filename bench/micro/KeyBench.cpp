// SPDX-License-Identifier: Apache-2.0
// Key comparison: every map step and every GETNEXT hint lookup is a handful of these.
#include <benchmark/benchmark.h>

#include "bench/micro/ModelData.h"

namespace {

template <class Key>
void compareLess(benchmark::State& state, const std::vector<Key>& keys) {
  const size_t n = keys.size();
  size_t i = 0;
  for (auto _ : state) {
    bool less = keys[i] < keys[(i + 1) % n];
    benchmark::DoNotOptimize(less);
    i = (i + 1) % n;
  }
  state.SetItemsProcessed(state.iterations());
}

template <class Key>
void compareEqual(benchmark::State& state, const std::vector<Key>& keys) {
  const size_t n = keys.size();
  size_t i = 0;
  for (auto _ : state) {
    // Neighbours in a shuffled list: mostly unequal, like a search path.
    bool equal = keys[i] == keys[(i + 1) % n];
    benchmark::DoNotOptimize(equal);
    i = (i + 1) % n;
  }
  state.SetItemsProcessed(state.iterations());
}

// Neighbours in key order share ifIndex (and for addresses vrId too), so the comparison
// reaches its last field: the costly case a walk hits on every step.
void BM_VrrpIndexLessSorted(benchmark::State& state) {
  compareLess(state, Bench::routerKeys(4096));
}
void BM_VrrpIndexLessShuffled(benchmark::State& state) {
  compareLess(state, Bench::shuffled(Bench::routerKeys(4096)));
}
void BM_VrrpIndexEqual(benchmark::State& state) {
  compareEqual(state, Bench::shuffled(Bench::routerKeys(4096)));
}
void BM_VrrpIpIndexLessSorted(benchmark::State& state) {
  compareLess(state, Bench::addressKeys(4096));
}
void BM_VrrpIpIndexLessShuffled(benchmark::State& state) {
  compareLess(state, Bench::shuffled(Bench::addressKeys(4096)));
}
void BM_VrrpIpIndexEqual(benchmark::State& state) {
  compareEqual(state, Bench::shuffled(Bench::addressKeys(4096)));
}

BENCHMARK(BM_VrrpIndexLessSorted);
BENCHMARK(BM_VrrpIndexLessShuffled);
BENCHMARK(BM_VrrpIndexEqual);
BENCHMARK(BM_VrrpIpIndexLessSorted);
BENCHMARK(BM_VrrpIpIndexLessShuffled);
BENCHMARK(BM_VrrpIpIndexEqual);

}  // namespace
