#pragma once
// A VRRP advertisement as received on a raw socket: the IPv4 packet with its header.
#include <optional>
#include <string_view>
#include <vector>

#include "kiv/Types.h"
#include "lirex/IpAddr.h"

namespace Sources {

struct Advert {
  Lirex::IpAddr source;  // the sending router's own address: the master's
  U32 vrid = 0;
  U32 priority = 0;  // 0: the master is giving up
  std::vector<Lirex::IpAddr> addresses;
  bool operator==(const Advert&) const = default;
};

// nullopt for anything that is not a well-formed advertisement: too short, not protocol 112,
// a TTL other than 255 (it crossed a router), not a VRRPv2 advertisement, or a bad checksum.
std::optional<Advert> parseAdvert(std::string_view packet);

}  // namespace Sources
