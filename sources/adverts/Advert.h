// SPDX-License-Identifier: Apache-2.0
#pragma once
// A VRRP advertisement as the listener's raw sockets receive it, and the receive rules that need
// nothing but the packet: RFC 3768 section 7.1 for version 2 (IPv4 only), RFC 5798 section 7.1
// for version 3 (IPv4 and IPv6). What needs the interface it arrived on and the configuration of
// its routers is the listener's.
//
// A packet is read IP header included. The IPv4 raw socket hands over the whole datagram; the
// IPv6 one only the payload, with the source, destination and hop limit beside it, which
// AdvertSocket writes back into a header in front: both families are read, tested and fuzzed as
// one kind of input.
#include <string_view>
#include <vector>

#include "kiv/Types.h"
#include "lirex/InetAddr.h"
#include "lirex/IpAddr.h"

namespace Sources {

inline constexpr U8 kVrrpProtocol = 112;
inline constexpr U8 kVrrpTtl = 255;  // TTL or hop limit: anything less crossed a router
inline const Lirex::IpAddr kVrrpGroup{224, 0, 0, 18};
inline const Lirex::InetAddr kVrrpGroupV6 =
    Lirex::InetAddr::ipv6({0xff, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x12});
inline constexpr U8 kVrrpVersion2 = 2;
inline constexpr U8 kVrrpVersion3 = 3;
inline constexpr U8 kVrrpAdvertisement = 1;
inline constexpr U8 kVrrpNoAuthentication = 0;  // the only auth type vrrpd speaks
inline constexpr std::size_t kIpv4HeaderSize = 20;
inline constexpr std::size_t kIpv6HeaderSize = 40;
inline constexpr std::size_t kVrrpFixedSize = 8;     // version/type to checksum, either version
inline constexpr std::size_t kVrrpAuthDataSize = 8;  // version 2 only
inline constexpr std::size_t kVrrpMaxAddresses = 255;
// The largest advertisement either family can carry, IP header included (IPv4's with options).
inline constexpr std::size_t kMaxAdvertSize = kIpv6HeaderSize + kVrrpFixedSize + 16 * 255;

// Why an advertisement was dropped; `none` for one that was kept. One value per rule, so that
// each can be counted on its own.
enum class AdvertFault : U8 {
  none,
  // Before the VRRP message: nothing in the packet names a router yet.
  truncated,   // shorter than its IP header, or no room for the VRRP version and vrid
  notIp,       // IP version other than 4 or 6
  ipLength,    // the IP length is not what arrived
  notVrrp,     // another IP protocol
  notToGroup,  // not sent to 224.0.0.18 or ff02::12 (unicast)
  // The family, version, vrid and source are read from here on: these name a router.
  ttl,           // TTL or hop limit below 255
  version,       // not version 3, nor version 2 over IPv4
  shortMessage,  // shorter than the VRRP message's fixed part
  checksum,      // bad VRRP checksum (version 3: over the pseudo-header too)
  type,          // not an advertisement
  addressCount,  // count of addresses and message length disagree, or no address
  vrid,          // router 0
  authType,      // version 2: an authentication type vrrpd does not use
  interval,      // an advertisement interval of 0
  // The listener's rules, which need the interface it arrived on and its routers:
  otherInterface,  // not one listened to (e.g. a macvlan's copy of the parent's)
  foreignSource,   // IPv4: sender outside the parent's subnet
  notLinkLocal,    // IPv6: sender not a link-local address
  unknownRouter,   // no router of that family on the parent has the vrid
  otherVersion,    // the router there runs the other VRRP version
};
const char* faultText(AdvertFault fault);

struct Advert {
  Lirex::InetAddr source;  // the sending router's own address (IPv6: its link-local)
  U32 version = 0;
  U32 vrid = 0;
  U32 priority = 0;              // 0: the master is giving up
  U32 intervalCentiseconds = 0;  // version 2's whole seconds, in centiseconds
  std::vector<Lirex::InetAddr> addresses;
  bool operator==(const Advert&) const = default;
};

// Reads `packet` into `advert` when it is a well-formed advertisement sent on the link to the
// group; otherwise returns the first rule it breaks. From `ttl` on, the source, version and vrid
// are read (the router the packet claims to be for); the rest is unspecified.
AdvertFault readAdvert(std::string_view packet, Advert& advert);

// The checksum a VRRP message carries, computed as its sender does: over the message with its
// checksum field as 0, and for version 3 over the pseudo-header of `source`, `destination` and
// protocol 112 first (RFC 5798 5.2.8).
U16 vrrpChecksum(const Lirex::InetAddr& source, const Lirex::InetAddr& destination,
                 std::string_view message);

}  // namespace Sources
