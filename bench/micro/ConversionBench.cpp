// SPDX-License-Identifier: Apache-2.0
// The platform's encoders and decoders, one call each: the handler runs one encoder per
// column of every row it answers, and the hint parser one decoder per index part.
#include <benchmark/benchmark.h>

#include <cstring>

#include "lirex/EthAddr.h"
#include "lirex/IpAddr.h"
#include "platform/Snmp/Conversions.h"

namespace {

// The handlers' buffer size.
constexpr S32 kCapacity = 1024;

template <class Encoder, class Value>
void encode(benchmark::State& state, Encoder encoder, const Value& value) {
  unsigned char buf[kCapacity];
  for (auto _ : state) {
    benchmark::DoNotOptimize(value);
    S32 len = encoder(value, buf, kCapacity);
    benchmark::DoNotOptimize(len);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_S32ToAsnInteger(benchmark::State& state) {
  encode(state, S32ToAsnInteger, S32{1042});
}
void BM_U32ToAsnUnsigned(benchmark::State& state) {
  encode(state, U32ToAsnUnsigned, U32{200});
}
void BM_BoolToAsnInteger(benchmark::State& state) {
  encode(state, BoolToAsnInteger, true);
}
void BM_SecondsToTimeTicks(benchmark::State& state) {
  encode(state, SecondsToTimeTicks, 86400.0 * 3 + 0.29);
}
void BM_StringToAsnOctetString(benchmark::State& state) {
  // The handler only ever encodes the empty key; a short one shows the copy's cost.
  encode(state, StringToAsnOctetString, Kiv::String8(state.range(0), 'k'));
}
void BM_LirexIpAddrToAsnOctetString(benchmark::State& state) {
  encode(state, LirexIpAddrToAsnOctetString, Lirex::IpAddr(192, 0, 2, 1));
}
void BM_LirexEthAddrToAsnOctetString(benchmark::State& state) {
  encode(state, LirexEthAddrToAsnOctetString, Lirex::EthAddr({0, 0, 0x5e, 0, 1, 5}));
}

void BM_AsnIntegerToS32(benchmark::State& state) {
  netsnmp_variable_list v;
  std::memset(&v, 0, sizeof v);
  long value = 1042;
  snmp_set_var_typed_value(&v, ASN_INTEGER, &value, sizeof value);
  for (auto _ : state) {
    S32 s = AsnIntegerToS32(&v);
    benchmark::DoNotOptimize(s);
  }
  snmp_free_var_internals(&v);
  state.SetItemsProcessed(state.iterations());
}

void BM_AsnIpAddressToU32(benchmark::State& state) {
  netsnmp_variable_list v;
  std::memset(&v, 0, sizeof v);
  const unsigned char octets[4] = {192, 0, 2, 1};
  snmp_set_var_typed_value(&v, ASN_IPADDRESS, octets, sizeof octets);
  for (auto _ : state) {
    U32 a = AsnIpAddressToU32(&v);
    benchmark::DoNotOptimize(a);
  }
  snmp_free_var_internals(&v);
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_S32ToAsnInteger);
BENCHMARK(BM_U32ToAsnUnsigned);
BENCHMARK(BM_BoolToAsnInteger);
BENCHMARK(BM_SecondsToTimeTicks);
BENCHMARK(BM_StringToAsnOctetString)->Arg(0)->Arg(16);
BENCHMARK(BM_LirexIpAddrToAsnOctetString);
BENCHMARK(BM_LirexEthAddrToAsnOctetString);
BENCHMARK(BM_AsnIntegerToS32);
BENCHMARK(BM_AsnIpAddressToU32);

}  // namespace
