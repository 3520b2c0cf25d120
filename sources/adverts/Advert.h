#pragma once
// A VRRPv2 advertisement as a raw socket receives it (the IPv4 packet, header included), and
// the receive rules of RFC 3768 section 7.1 that need nothing but the packet. What needs the
// interface it arrived on (the parent's subnet) is the listener's.
#include <string_view>
#include <vector>

#include "kiv/Types.h"
#include "lirex/IpAddr.h"

namespace Sources {

inline constexpr U8 kVrrpProtocol = 112;
inline constexpr U8 kVrrpTtl = 255;  // anything less crossed a router: not from this link
inline const Lirex::IpAddr kVrrpGroup{224, 0, 0, 18};
inline constexpr U8 kVrrpVersion2 = 2;
inline constexpr U8 kVrrpAdvertisement = 1;
inline constexpr U8 kVrrpNoAuthentication = 0;  // the only auth type vrrpd speaks
inline constexpr std::size_t kIpv4HeaderSize = 20;
inline constexpr std::size_t kVrrpFixedSize = 8;  // version/type to checksum
inline constexpr std::size_t kVrrpAuthDataSize = 8;

// Why an advertisement was dropped; `none` for one that was kept. One value per rule, so that
// each can be counted on its own.
enum class AdvertFault : U8 {
  none,
  truncated,     // shorter than its headers say, or than an IPv4 header
  notIpv4,       // IP version other than 4
  ipLength,      // the IP total length is not what arrived
  notVrrp,       // another IP protocol
  ttl,           // TTL below 255
  notToGroup,    // not sent to 224.0.0.18 (unicast)
  version,       // not VRRP version 2
  type,          // not an advertisement
  vrid,          // router 0
  addressCount,  // count of addresses and message length disagree, or no address
  checksum,      // bad VRRP checksum
  authType,      // an authentication type vrrpd does not use
  interval,      // an advertisement interval of 0 s
  // The listener's rules, which need the interface it arrived on:
  otherInterface,  // not one listened to (e.g. a macvlan's copy of the parent's)
  foreignSource,   // sender outside the parent's subnet
};
const char* faultText(AdvertFault fault);

struct Advert {
  Lirex::IpAddr source;  // the sending router's primary address: the master's
  U32 vrid = 0;
  U32 priority = 0;  // 0: the master is giving up
  U32 intervalSeconds = 0;
  std::vector<Lirex::IpAddr> addresses;
  bool operator==(const Advert&) const = default;
};

// Reads `packet` into `advert` when it is a well-formed VRRPv2 advertisement sent on the link
// to the group; otherwise returns the first rule it breaks and leaves `advert` unspecified.
AdvertFault readAdvert(std::string_view packet, Advert& advert);

// The Internet checksum of `data`: 0 over a message that carries its own correct checksum.
U16 internetChecksum(std::string_view data);

}  // namespace Sources
