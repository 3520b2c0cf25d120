// SPDX-License-Identifier: Apache-2.0
#include "sources/adverts/Advert.h"

namespace Sources {
namespace {

using Lirex::AddrFamily;
using Lirex::InetAddr;

U8 byte(std::string_view p, std::size_t i) {
  return static_cast<U8>(p[i]);
}

U16 word(std::string_view p, std::size_t i) {
  return static_cast<U16>(byte(p, i) << 8 | byte(p, i + 1));
}

InetAddr address(std::string_view p, std::size_t at, AddrFamily family) {
  if (family == AddrFamily::ipv4) {
    return Lirex::IpAddr(byte(p, at), byte(p, at + 1), byte(p, at + 2), byte(p, at + 3));
  }
  InetAddr::Bytes octets{};
  for (std::size_t i = 0; i < octets.size(); ++i) octets[i] = byte(p, at + i);
  return InetAddr::ipv6(octets);
}

// The IPv4 header: where each field sits.
constexpr std::size_t kIpTotalLength = 2;
constexpr std::size_t kIpTtl = 8;
constexpr std::size_t kIpProtocol = 9;
constexpr std::size_t kIpSource = 12;
constexpr std::size_t kIpDestination = 16;
// The IPv6 header.
constexpr std::size_t kIp6PayloadLength = 4;
constexpr std::size_t kIp6NextHeader = 6;
constexpr std::size_t kIp6HopLimit = 7;
constexpr std::size_t kIp6Source = 8;
constexpr std::size_t kIp6Destination = 24;
// The VRRP message after it.
constexpr std::size_t kVrid = 1;
constexpr std::size_t kPriority = 2;
constexpr std::size_t kAddressCount = 3;
constexpr std::size_t kAuthType = 4;     // version 2
constexpr std::size_t kInterval = 5;     // version 2: whole seconds
constexpr std::size_t kMaxAdverInt = 4;  // version 3: centiseconds, the low 12 bits
constexpr U16 kMaxAdverIntMask = 0x0fff;
constexpr std::size_t kChecksum = 6;

// The one's complement sum the Internet checksum folds, over 16-bit words in network order.
class OnesSum {
 public:
  // `data` of odd length only last: its final octet is padded with a zero.
  void add(std::string_view data, std::size_t skip = std::string_view::npos) {
    for (std::size_t i = 0; i < data.size(); i += 2) {
      if (i == skip) continue;
      sum_ += static_cast<U32>(byte(data, i) << 8);
      if (i + 1 < data.size()) sum_ += byte(data, i + 1);
    }
  }
  void add(const InetAddr& a) {
    add(std::string_view(reinterpret_cast<const char*>(a.bytes().data()), a.size()));
  }
  void addNumber(U32 value) { sum_ += (value >> 16) + (value & 0xffff); }
  U16 checksum() const {
    U32 s = sum_;
    while (s >> 16) s = (s & 0xffff) + (s >> 16);
    return static_cast<U16>(~s);
  }

 private:
  U32 sum_ = 0;
};

}  // namespace

const char* faultText(AdvertFault fault) {
  switch (fault) {
    case AdvertFault::none:
      return "none";
    case AdvertFault::truncated:
      return "truncated";
    case AdvertFault::notIp:
      return "neither IPv4 nor IPv6";
    case AdvertFault::ipLength:
      return "IP length differs from what arrived";
    case AdvertFault::notVrrp:
      return "not VRRP";
    case AdvertFault::notToGroup:
      return "not sent to 224.0.0.18 or ff02::12";
    case AdvertFault::ttl:
      return "TTL or hop limit below 255";
    case AdvertFault::version:
      return "neither version 3 nor version 2 over IPv4";
    case AdvertFault::shortMessage:
      return "shorter than a VRRP header";
    case AdvertFault::checksum:
      return "bad checksum";
    case AdvertFault::type:
      return "not an advertisement";
    case AdvertFault::addressCount:
      return "address count does not match the length";
    case AdvertFault::vrid:
      return "router 0";
    case AdvertFault::authType:
      return "authentication type other than none";
    case AdvertFault::interval:
      return "advertisement interval 0";
    case AdvertFault::otherInterface:
      return "not an interface listened to";
    case AdvertFault::foreignSource:
      return "source outside the interface's subnet";
    case AdvertFault::notLinkLocal:
      return "IPv6 source not link-local";
    case AdvertFault::unknownRouter:
      return "no such router on the interface";
    case AdvertFault::otherVersion:
      return "the router runs the other version";
  }
  return "unknown";
}

U16 vrrpChecksum(const InetAddr& source, const InetAddr& destination, std::string_view message) {
  OnesSum sum;
  if (!message.empty() && byte(message, 0) >> 4 == kVrrpVersion3) {
    // The pseudo-header's fields sum the same in IPv4's order and IPv6's: the addresses, the
    // protocol and the message's length.
    sum.add(source);
    sum.add(destination);
    sum.addNumber(kVrrpProtocol);
    sum.addNumber(static_cast<U32>(message.size()));
  }
  sum.add(message, kChecksum);
  return sum.checksum();
}

AdvertFault readAdvert(std::string_view packet, Advert& advert) {
  if (packet.empty()) return AdvertFault::truncated;
  AddrFamily family;
  std::size_t headerSize, length, sourceAt, destinationAt;
  U8 protocol, hops;
  switch (byte(packet, 0) >> 4) {
    case 4:
      if (packet.size() < kIpv4HeaderSize) return AdvertFault::truncated;
      family = AddrFamily::ipv4;
      headerSize = (byte(packet, 0) & 0x0f) * 4u;
      if (headerSize < kIpv4HeaderSize || headerSize > packet.size()) {
        return AdvertFault::truncated;
      }
      length = word(packet, kIpTotalLength);
      protocol = byte(packet, kIpProtocol);
      hops = byte(packet, kIpTtl);
      sourceAt = kIpSource;
      destinationAt = kIpDestination;
      break;
    case 6:
      if (packet.size() < kIpv6HeaderSize) return AdvertFault::truncated;
      family = AddrFamily::ipv6;
      headerSize = kIpv6HeaderSize;
      length = kIpv6HeaderSize + word(packet, kIp6PayloadLength);
      protocol = byte(packet, kIp6NextHeader);
      hops = byte(packet, kIp6HopLimit);
      sourceAt = kIp6Source;
      destinationAt = kIp6Destination;
      break;
    default:
      return AdvertFault::notIp;
  }
  // The kernel hands over the whole datagram: a length that differs was forged or damaged.
  if (length != packet.size()) return AdvertFault::ipLength;
  if (protocol != kVrrpProtocol) return AdvertFault::notVrrp;
  // A raw socket also gets protocol 112 sent to one of this host's own addresses.
  const InetAddr destination = address(packet, destinationAt, family);
  if (destination != (family == AddrFamily::ipv4 ? InetAddr(kVrrpGroup) : kVrrpGroupV6)) {
    return AdvertFault::notToGroup;
  }

  const std::string_view vrrp = packet.substr(headerSize);
  if (vrrp.size() <= kVrid) return AdvertFault::truncated;
  advert.source = address(packet, sourceAt, family);
  advert.version = byte(vrrp, 0) >> 4;
  advert.vrid = byte(vrrp, kVrid);
  // RFC 5798's order: what crossed a router, then what another version may lay out otherwise.
  if (hops != kVrrpTtl) return AdvertFault::ttl;
  const bool v2 = advert.version == kVrrpVersion2;
  if (!(advert.version == kVrrpVersion3 || (v2 && family == AddrFamily::ipv4))) {
    return AdvertFault::version;
  }
  if (vrrp.size() < kVrrpFixedSize) return AdvertFault::shortMessage;
  // Before the fields: a damaged message is a checksum error, whatever its bytes then say.
  if (word(vrrp, kChecksum) != vrrpChecksum(advert.source, destination, vrrp)) {
    return AdvertFault::checksum;
  }
  if ((byte(vrrp, 0) & 0x0f) != kVrrpAdvertisement) return AdvertFault::type;
  const std::size_t count = byte(vrrp, kAddressCount);
  const std::size_t addressSize = family == AddrFamily::ipv4 ? 4 : 16;
  // The fixed part, the addresses and (version 2) the authentication data, exactly: a router has
  // at least one virtual address.
  if (count == 0 ||
      vrrp.size() != kVrrpFixedSize + addressSize * count + (v2 ? kVrrpAuthDataSize : 0)) {
    return AdvertFault::addressCount;
  }
  if (advert.vrid == 0) return AdvertFault::vrid;
  // With no authentication, the data that follows is ignored on reception.
  if (v2 && byte(vrrp, kAuthType) != kVrrpNoAuthentication) return AdvertFault::authType;
  advert.intervalCentiseconds =
      v2 ? 100u * byte(vrrp, kInterval) : word(vrrp, kMaxAdverInt) & kMaxAdverIntMask;
  // An interval of 0 would make its master forgotten the moment it is heard.
  if (advert.intervalCentiseconds == 0) return AdvertFault::interval;

  advert.priority = byte(vrrp, kPriority);
  advert.addresses.clear();
  for (std::size_t i = 0; i < count; ++i) {
    advert.addresses.push_back(address(vrrp, kVrrpFixedSize + addressSize * i, family));
  }
  return AdvertFault::none;
}

}  // namespace Sources
