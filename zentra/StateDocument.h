// SPDX-License-Identifier: Apache-2.0
#pragma once
// The state document (format 1) as plain values, and the reader that turns JSON text into it.
// Version 3 routers, their IPv6 status and the statistics came later as optional members and
// sections: a document without them means what it always meant.
//
// Reading is all or nothing: any fault in the text, the JSON or the values raises
// StateDocumentError naming the JSON path and the reason, and nothing of the document is kept.
// Absent members and keys mean absent records; absent optional attributes take the record
// defaults, which the structs below carry as their initial values.
#include <cstddef>
#include <map>
#include <string_view>

#include "kiv/Exception.h"
#include "kiv/Types.h"
#include "lirex/EthAddr.h"
#include "lirex/InetAddr.h"
#include "lirex/IntfId.h"
#include "lirex/IpAddr.h"
#include "lirex/IpAddrWithMask.h"
#include "lirex/VrrpAuthType.h"
#include "platform/Fhrp/FhrpTypes.h"
#include "platform/Interface/IntfStatus.h"

namespace Zentra {

namespace Json {
// Bounds that keep a hostile document from costing more than a big honest one.
struct Limits {
  // Arrays and objects open at once.
  std::size_t maxDepth = 64;
  std::size_t maxDocumentBytes = 16 * 1024 * 1024;
  // A string or key once escapes are decoded.
  std::size_t maxStringBytes = 64 * 1024;
};
}  // namespace Json

struct StateDocument {
  // Bounds that the records do not enforce themselves.
  static constexpr U32 kMaxIfIndex = 0x7fffffff;
  static constexpr U32 kMaxPriority = 255;
  static constexpr U32 kMaxIpAddrCount = 255;
  // Hundredths of a second: room for the 255 s of VRRPv2 and the 40.95 s of VRRPv3.
  static constexpr U32 kMaxAdvertisementInterval = 65535;

  // One Routing::Fhrp::VrrpVirtualRouterConfig; every member is optional in the document.
  struct VirtualRouterConfig {
    U32 version = 2;
    U32 priority = 100;
    bool preempt = true;
    Interface::IntfEnabledState adminState = Interface::IntfEnabledState::enabled;
    Lirex::VrrpAuthType authType = Lirex::VrrpAuthType::noAuthentication;
    Kiv::String8 authKey;
    U32 advertisementInterval = 100;
    bool acceptMode = false;
    bool operator==(const VirtualRouterConfig&) const = default;
  };

  // The counters of one router and family (platform/Fhrp/VrrpStatistics.h); all optional.
  struct RouterStatistics {
    U64 advertisementsRcvd = 0;
    U64 advIntervalErrors = 0;
    U64 ipTtlErrors = 0;
    U64 versionErrors = 0;
    U64 checksumErrors = 0;
    U64 priZeroPktsRcvd = 0;
    U64 priZeroPktsSent = 0;
    U64 invalidTypePktsRcvd = 0;
    U64 addressListErrors = 0;
    U64 packetLengthErrors = 0;
    U32 masterPriority = 0;
    bool operator==(const RouterStatistics&) const = default;
  };

  // One Routing::Fhrp::VirtualRouterStatusV4; only ipAddrCount, upSince and statistics are
  // optional.
  struct VirtualRouterStatus {
    Routing::Fhrp::FhrpState state = Routing::Fhrp::FhrpState::initialize;
    U32 priority = 0;
    Lirex::IpAddr srcAddr;
    Lirex::EthAddr virtualMacAddr;
    std::map<Lirex::IpAddr, bool> ipAddrs;
    U32 ipAddrCount = 0;  // when absent: the number of true entries of ipAddrs
    double upSince = 0.0;
    RouterStatistics statistics;
    bool operator==(const VirtualRouterStatus&) const = default;
  };

  // One Routing::Fhrp::VirtualRouterStatusV6; as the IPv4 status, with IPv6 addresses and the
  // router's own link-local address (primaryAddr, optional).
  struct VirtualRouterStatusV6 {
    Routing::Fhrp::FhrpState state = Routing::Fhrp::FhrpState::initialize;
    U32 priority = 0;
    Lirex::InetAddr srcAddr = Lirex::InetAddr::zero(Lirex::AddrFamily::ipv6);
    Lirex::InetAddr primaryAddr = Lirex::InetAddr::zero(Lirex::AddrFamily::ipv6);
    Lirex::EthAddr virtualMacAddr;
    std::map<Lirex::InetAddr, bool> ipAddrs;
    U32 ipAddrCount = 0;  // when absent: the number of true entries of ipAddrs
    double upSince = 0.0;
    RouterStatistics statistics;
    bool operator==(const VirtualRouterStatusV6&) const = default;
  };

  // Routing::Fhrp::VrrpGlobalStatistics; every member optional.
  struct GlobalStatistics {
    U64 checksumErrors = 0;
    U64 versionErrors = 0;
    U64 vrIdErrors = 0;
    U32 refreshRate = 0;  // milliseconds
    bool operator==(const GlobalStatistics&) const = default;
  };

  using VrConfigs = std::map<Routing::Fhrp::VrId, VirtualRouterConfig>;
  using VrStatuses = std::map<Routing::Fhrp::VrId, VirtualRouterStatus>;
  using VrStatusesV6 = std::map<Routing::Fhrp::VrId, VirtualRouterStatusV6>;

  std::map<Lirex::IntfId, U32> interfaces;  // ifIndex of each interface
  std::map<Lirex::IntfId, Lirex::IpAddrWithMask> ip;
  std::map<Lirex::IntfId, VrConfigs> vrrpConfig;  // an empty map is an interface without VRs
  std::map<Lirex::IntfId, VrStatuses> vrrpStatus;
  std::map<Lirex::IntfId, VrStatusesV6> vrrpStatusV6;
  GlobalStatistics vrrpStatistics;

  bool operator==(const StateDocument&) const = default;
};

// what() is "PATH: REASON" for a value that is wrong, and "line L, column C (at PATH): REASON"
// for text that is not JSON (columns count characters from 1).
class StateDocumentError : public Kiv::RangeException {
 public:
  StateDocumentError(Kiv::String8 path, Kiv::String8 reason);
  StateDocumentError(std::size_t line, std::size_t column, Kiv::String8 path, Kiv::String8 reason);

  const Kiv::String8& path() const { return path_; }
  const Kiv::String8& reason() const { return reason_; }
  bool isSyntaxError() const { return line_ != 0; }
  // Both 0 unless the text is not JSON.
  std::size_t line() const { return line_; }
  std::size_t column() const { return column_; }

 private:
  Kiv::String8 path_;
  Kiv::String8 reason_;
  std::size_t line_ = 0;
  std::size_t column_ = 0;
};

StateDocument parseStateDocument(std::string_view text, const Json::Limits& limits = {});

}  // namespace Zentra
