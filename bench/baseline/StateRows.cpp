// SPDX-License-Identifier: Apache-2.0
#include "bench/baseline/StateRows.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <tuple>

#include "kiv/Exception.h"
#include "zentra/StateDocument.h"

namespace Baseline {
namespace {

using Zentra::StateDocument;

S32 stateNumber(Routing::Fhrp::FhrpState state) {
  switch (state) {
    case Routing::Fhrp::FhrpState::master:
      return 3;
    case Routing::Fhrp::FhrpState::backup:
      return 2;
    default:
      return 1;
  }
}

void addRouter(const StateDocument::VirtualRouterConfig& config,
               const StateDocument::VirtualRouterStatus& status, S32 ifIndex, U32 vrId, U32 ownAddr,
               StateRows& rows) {
  OperRow r;
  r.ifIndex = ifIndex;
  r.vrId = vrId;
  r.virtualMacAddr = status.virtualMacAddr.bytes();
  r.state = stateNumber(status.state);
  r.adminState = config.adminState == Interface::IntfEnabledState::enabled ? 1 : 2;
  r.priority = static_cast<S32>(status.priority);
  r.authType = static_cast<S32>(config.authType) + 1;  // the MIB counts from 1
  r.advertisementInterval = static_cast<S32>(config.advertisementInterval / 100);
  r.preempt = config.preempt;
  r.upSince = status.upSince;
  r.masterIpAddr = r.state == 3 ? ownAddr : r.state == 2 ? status.srcAddr.value() : 0;
  for (const auto& [addr, up] : status.ipAddrs) {
    if (up && !addr.isZero()) rows.asso.push_back({ifIndex, vrId, addr.value()});
  }
  r.ipAddrCount = static_cast<S32>(status.ipAddrCount);
  rows.oper.push_back(r);
}

template <class Map>
const typename Map::mapped_type* find(const Map& map, const typename Map::key_type& key) {
  const auto found = map.find(key);
  return found == map.end() ? nullptr : &found->second;
}

}  // namespace

StateRows readStateRows(std::string_view json) {
  const StateDocument doc = Zentra::parseStateDocument(json);
  StateRows rows;
  for (const auto& [intf, statuses] : doc.vrrpStatus) {
    const StateDocument::VrConfigs* configs = find(doc.vrrpConfig, intf);
    if (!configs) continue;
    // An interface that has no ifIndex record reads as ifIndex 0, as a missing record does.
    const U32* ifIndex = find(doc.interfaces, intf);
    const Lirex::IpAddrWithMask* own = find(doc.ip, intf);
    for (const auto& [vrId, status] : statuses) {
      const StateDocument::VirtualRouterConfig* config = find(*configs, vrId);
      if (!config || config->version != 2) continue;
      addRouter(*config, status, ifIndex ? static_cast<S32>(*ifIndex) : 0, vrId,
                own ? own->addr().value() : 0, rows);
    }
  }
  auto operKey = [](const OperRow& r) { return std::tie(r.ifIndex, r.vrId); };
  auto assoKey = [](const AssoRow& r) { return std::tie(r.ifIndex, r.vrId, r.ipAddr); };
  std::sort(rows.oper.begin(), rows.oper.end(),
            [&](const OperRow& a, const OperRow& b) { return operKey(a) < operKey(b); });
  std::sort(rows.asso.begin(), rows.asso.end(),
            [&](const AssoRow& a, const AssoRow& b) { return assoKey(a) < assoKey(b); });
  return rows;
}

StateRows loadStateRows(const char* path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Kiv::RangeException(Kiv::String8("cannot read ") + path);
  std::ostringstream text;
  text << in.rdbuf();
  return readStateRows(text.str());
}

}  // namespace Baseline
