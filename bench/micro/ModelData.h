// SPDX-License-Identifier: Apache-2.0
#pragma once
// Keys and records shaped like a device's: 255 virtual routers per interface, interfaces
// numbered from ifIndex 1000, one to four addresses per router (as tools/gen-state writes).
// Fixed seeds, so every run measures the same data.
#include <algorithm>
#include <random>
#include <vector>

#include "FhrpSnmp/VrrpMib.h"

namespace Bench {

constexpr int kRoutersPerIntf = 255;

inline FhrpSnmp::VrrpIndex routerKey(long r) {
  return FhrpSnmp::VrrpIndex(1000 + static_cast<S32>(r / kRoutersPerIntf),
                             static_cast<U32>(r % kRoutersPerIntf) + 1);
}

inline std::vector<FhrpSnmp::VrrpIndex> routerKeys(long n) {
  std::vector<FhrpSnmp::VrrpIndex> keys;
  keys.reserve(static_cast<size_t>(n));
  for (long r = 0; r < n; ++r) keys.push_back(routerKey(r));
  return keys;
}

// The addresses of router r: 10.x.y.(4 + 4 * band + a), as gen-state spreads them.
inline std::vector<FhrpSnmp::VrrpIpIndex> addressKeys(long n) {
  std::vector<FhrpSnmp::VrrpIpIndex> keys;
  for (long r = 0; r < n; ++r) {
    FhrpSnmp::VrrpIndex k = routerKey(r);
    int intf = k.ifIndex - 1000;
    for (U32 a = 0; a < 1 + r % 4; ++a) {
      U8 host = static_cast<U8>(4 + ((k.vrId - 1) % 63) * 4 + a);
      keys.emplace_back(
          k.ifIndex, k.vrId,
          Lirex::IpAddr(10, static_cast<U8>(intf / 250), static_cast<U8>(intf % 250), host));
    }
  }
  return keys;
}

template <class T>
std::vector<T> shuffled(std::vector<T> v, unsigned seed = 7) {
  std::mt19937 rng(seed);
  std::shuffle(v.begin(), v.end(), rng);
  return v;
}

struct RouterRecords {
  FhrpSnmp::ConfigPtr config;
  FhrpSnmp::StatusPtr status;
};

inline std::vector<RouterRecords> routerRecords(const std::vector<FhrpSnmp::VrrpIndex>& keys) {
  std::vector<RouterRecords> records;
  records.reserve(keys.size());
  for (const auto& k : keys) {
    records.push_back({Kiv::make<Routing::Fhrp::VrrpVirtualRouterConfig>(k.vrId),
                       Kiv::make<Routing::Fhrp::VirtualRouterStatusV4>(k.vrId)});
  }
  return records;
}

// A model with n routers and their address rows.
inline Kiv::Ptr<FhrpSnmp::VrrpMib> filledMib(long n) {
  auto mib = FhrpSnmp::vrrpMibFactory("vrrpMIB");
  auto keys = routerKeys(n);
  auto records = routerRecords(keys);
  for (size_t i = 0; i < keys.size(); ++i) {
    mib->operTableIs(keys[i], records[i].config, records[i].status);
  }
  for (const auto& k : addressKeys(n)) mib->assoIpAddrTableIs(k);
  return mib;
}

// Table sizes for the model benchmarks: 16 .. 16384 routers.
#define BENCH_TABLE_SIZES RangeMultiplier(4)->Range(16, 16384)

}  // namespace Bench
