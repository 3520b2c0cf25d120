// SPDX-License-Identifier: Apache-2.0
#include "Vrrpv3/Vrrpv3Rows.h"

#include "kiv/Assert.h"
#include "kiv/Clock.h"

namespace Vrrpv3 {

OperationsEntry::OperationsEntry(const OperIndex& index, ConfigPtr config, StatusV4Ptr v4,
                                 StatusV6Ptr v6)
    : index_(index),
      config_(std::move(config)),
      v4_(std::move(v4)),
      v6_(std::move(v6)),
      masterIpAddr_(Lirex::InetAddr::zero(index.family)),
      primaryIpAddr_(Lirex::InetAddr::zero(index.family)) {
  KIV_ASSERT(config_, "a VRRPv3 row needs its router's configuration");
  KIV_ASSERT((index.family == Lirex::AddrFamily::ipv4 ? v4_ && !v6_ : v6_ && !v4_),
             "a VRRPv3 row reads the status of its own family");
}

Routing::Fhrp::FhrpState OperationsEntry::state() const {
  return visitStatus([](const auto& s) { return s.state(); });
}

U32 OperationsEntry::ipAddrCount() const {
  return visitStatus([](const auto& s) { return s.ipAddrCount(); });
}

Lirex::EthAddr OperationsEntry::virtualMacAddr() const {
  return visitStatus([](const auto& s) { return s.virtualMacAddr(); });
}

bool OperationsEntry::active() const {
  return config_->adminState() != Interface::IntfEnabledState::disabled;
}

double OperationsEntry::upTime() const {
  const double upSince = visitStatus([](const auto& s) { return s.upSince(); });
  return upSince == 0.0 ? 0.0 : Kiv::now() - upSince;
}

#define VRRPV3_COUNTER(reader, attribute)                            \
  U64 OperationsEntry::reader() const {                              \
    return visitStatus([](const auto& s) { return s.attribute(); }); \
  }
VRRPV3_COUNTER(rcvdAdvertisements, advertisementsRcvd)
VRRPV3_COUNTER(advIntervalErrors, advIntervalErrors)
VRRPV3_COUNTER(ipTtlErrors, ipTtlErrors)
VRRPV3_COUNTER(rcvdPriZeroPackets, priZeroPktsRcvd)
VRRPV3_COUNTER(sentPriZeroPackets, priZeroPktsSent)
VRRPV3_COUNTER(rcvdInvalidTypePackets, invalidTypePktsRcvd)
VRRPV3_COUNTER(addressListErrors, addressListErrors)
VRRPV3_COUNTER(packetLengthErrors, packetLengthErrors)
#undef VRRPV3_COUNTER

std::ostream& operator<<(std::ostream& os, const OperIndex& index) {
  return os << "ifIndex " << index.ifIndex << ", vrId " << index.vrId << ", " << index.family;
}

std::ostream& operator<<(std::ostream& os, const AddrIndex& index) {
  return os << index.oper() << ", " << index.addr;
}

}  // namespace Vrrpv3
