// SPDX-License-Identifier: Apache-2.0
#pragma once
// What the advertisement listener knows, as the FRR source takes it into each snapshot: the
// master heard for each router (a backup's master address and the priority it advertises) and
// the errors counted in what arrived. Keyed by the parent's ifIndex, the vrid and the family,
// as the advertisements arrive: the source names the parent and puts the values into the
// router's records.
#include <compare>
#include <map>

#include "kiv/Types.h"
#include "lirex/InetAddr.h"

namespace Sources {

struct AdvertKey {
  U32 ifIndex = 0;
  U32 vrid = 0;
  Lirex::AddrFamily family = Lirex::AddrFamily::ipv4;
  auto operator<=>(const AdvertKey&) const = default;
};

struct HeardMaster {
  Lirex::InetAddr address;  // the source of its advertisements (IPv6: a link-local)
  U32 priority = 0;         // the priority it advertises
  bool operator==(const HeardMaster&) const = default;
};

// Errors in advertisements that name a router (its parent, vrid and family).
struct RouterErrors {
  U64 advIntervalErrors = 0;
  U64 ipTtlErrors = 0;
  U64 versionErrors = 0;
  U64 checksumErrors = 0;
  U64 priZeroPktsRcvd = 0;
  U64 invalidTypePktsRcvd = 0;
  U64 addressListErrors = 0;
  U64 packetLengthErrors = 0;
  bool operator==(const RouterErrors&) const = default;
};

// Errors counted once for the whole router.
struct GlobalErrors {
  U64 checksumErrors = 0;
  U64 versionErrors = 0;
  U64 vrIdErrors = 0;  // a vrid no router on that parent has
  bool operator==(const GlobalErrors&) const = default;
};

struct AdvertView {
  bool listening = false;  // false: no socket (no CAP_NET_RAW): nothing is heard or counted
  std::map<AdvertKey, HeardMaster> masters;
  std::map<AdvertKey, RouterErrors> errors;
  GlobalErrors global;
  bool operator==(const AdvertView&) const = default;
};

}  // namespace Sources
