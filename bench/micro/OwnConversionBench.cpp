// SPDX-License-Identifier: Apache-2.0
// The VRRP-MIB module's own conversions, one call each.
#include <benchmark/benchmark.h>

#include "snmp/SnmpConversions.h"

namespace {

constexpr S32 kCapacity = 1024;

template <class Value, class Encoder>
void encodeAll(benchmark::State& state, Encoder encoder, std::initializer_list<Value> values) {
  const std::vector<Value> all(values);
  unsigned char buf[kCapacity];
  size_t i = 0;
  for (auto _ : state) {
    S32 len = encoder(all[i], buf, kCapacity);
    benchmark::DoNotOptimize(len);
    benchmark::ClobberMemory();
    if (++i == all.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_FhrpStateToAsnVrrpStatus(benchmark::State& state) {
  using S = Routing::Fhrp::FhrpState;
  encodeAll<S>(state, FhrpStateToAsnVrrpStatus, {S::master, S::backup, S::initialize});
}

void BM_VrrpAuthTypeToAsnAuthType(benchmark::State& state) {
  using A = Lirex::VrrpAuthType;
  encodeAll<A>(state, VrrpAuthTypeToAsnAuthType,
               {A::noAuthentication, A::simpleTextPassword, A::ipAuthenticationHeader});
}

void BM_IntfEnabledStateToAsnAdminStatus(benchmark::State& state) {
  using E = Interface::IntfEnabledState;
  encodeAll<E>(state, IntfEnabledStateToAsnAdminStatus, {E::enabled, E::disabled});
}

BENCHMARK(BM_FhrpStateToAsnVrrpStatus);
BENCHMARK(BM_VrrpAuthTypeToAsnAuthType);
BENCHMARK(BM_IntfEnabledStateToAsnAdminStatus);

}  // namespace
