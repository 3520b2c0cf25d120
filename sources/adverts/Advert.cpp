#include "sources/adverts/Advert.h"

namespace Sources {
namespace {

U8 byte(std::string_view p, std::size_t i) {
  return static_cast<U8>(p[i]);
}

Lirex::IpAddr address(std::string_view p, std::size_t at) {
  return Lirex::IpAddr(byte(p, at), byte(p, at + 1), byte(p, at + 2), byte(p, at + 3));
}

// The IPv4 header: where each field sits.
constexpr std::size_t kIpTotalLength = 2;
constexpr std::size_t kIpTtl = 8;
constexpr std::size_t kIpProtocol = 9;
constexpr std::size_t kIpSource = 12;
constexpr std::size_t kIpDestination = 16;
// The VRRPv2 message after it.
constexpr std::size_t kVrid = 1;
constexpr std::size_t kPriority = 2;
constexpr std::size_t kAddressCount = 3;
constexpr std::size_t kAuthType = 4;
constexpr std::size_t kInterval = 5;

}  // namespace

const char* faultText(AdvertFault fault) {
  switch (fault) {
    case AdvertFault::none:
      return "none";
    case AdvertFault::truncated:
      return "truncated";
    case AdvertFault::notIpv4:
      return "not IPv4";
    case AdvertFault::ipLength:
      return "IP length differs from what arrived";
    case AdvertFault::notVrrp:
      return "not VRRP";
    case AdvertFault::ttl:
      return "TTL below 255";
    case AdvertFault::notToGroup:
      return "not sent to 224.0.0.18";
    case AdvertFault::version:
      return "not version 2";
    case AdvertFault::type:
      return "not an advertisement";
    case AdvertFault::vrid:
      return "router 0";
    case AdvertFault::addressCount:
      return "address count does not match the length";
    case AdvertFault::checksum:
      return "bad checksum";
    case AdvertFault::authType:
      return "authentication type other than none";
    case AdvertFault::interval:
      return "advertisement interval 0";
    case AdvertFault::otherInterface:
      return "not an interface listened to";
    case AdvertFault::foreignSource:
      return "source outside the interface's subnet";
  }
  return "unknown";
}

U16 internetChecksum(std::string_view data) {
  U32 sum = 0;
  for (std::size_t i = 0; i + 1 < data.size(); i += 2)
    sum += static_cast<U32>(byte(data, i) << 8 | byte(data, i + 1));
  if (data.size() % 2) sum += static_cast<U32>(byte(data, data.size() - 1) << 8);
  while (sum >> 16) sum = (sum & 0xffff) + (sum >> 16);
  return static_cast<U16>(~sum);
}

AdvertFault readAdvert(std::string_view packet, Advert& advert) {
  if (packet.size() < kIpv4HeaderSize) return AdvertFault::truncated;
  if (byte(packet, 0) >> 4 != 4) return AdvertFault::notIpv4;
  const std::size_t headerSize = (byte(packet, 0) & 0x0f) * 4u;
  const std::size_t totalLength = static_cast<std::size_t>(byte(packet, kIpTotalLength)) << 8 |
                                  byte(packet, kIpTotalLength + 1);
  if (headerSize < kIpv4HeaderSize || headerSize > packet.size()) return AdvertFault::truncated;
  // The kernel hands over the whole datagram: a length that differs was forged or damaged.
  if (totalLength != packet.size()) return AdvertFault::ipLength;
  if (byte(packet, kIpProtocol) != kVrrpProtocol) return AdvertFault::notVrrp;
  if (byte(packet, kIpTtl) != kVrrpTtl) return AdvertFault::ttl;
  // A raw socket also gets protocol 112 sent to one of this host's own addresses.
  if (address(packet, kIpDestination) != kVrrpGroup) return AdvertFault::notToGroup;

  const std::string_view vrrp = packet.substr(headerSize);
  if (vrrp.size() < kVrrpFixedSize) return AdvertFault::truncated;
  // VRRPv3 has its own checksum (over a pseudo-header too) and interval: not read here.
  if (byte(vrrp, 0) >> 4 != kVrrpVersion2) return AdvertFault::version;
  if ((byte(vrrp, 0) & 0x0f) != kVrrpAdvertisement) return AdvertFault::type;
  if (byte(vrrp, kVrid) == 0) return AdvertFault::vrid;
  const std::size_t count = byte(vrrp, kAddressCount);
  // The fixed part, the addresses and the authentication data, exactly: a router has at least
  // one virtual address.
  if (count == 0 || vrrp.size() != kVrrpFixedSize + 4 * count + kVrrpAuthDataSize) {
    return AdvertFault::addressCount;
  }
  if (internetChecksum(vrrp) != 0) return AdvertFault::checksum;
  // With no authentication, the data that follows is ignored on reception.
  if (byte(vrrp, kAuthType) != kVrrpNoAuthentication) return AdvertFault::authType;
  // An interval of 0 would make its master forgotten the moment it is heard.
  if (byte(vrrp, kInterval) == 0) return AdvertFault::interval;

  advert.source = address(packet, kIpSource);
  advert.vrid = byte(vrrp, kVrid);
  advert.priority = byte(vrrp, kPriority);
  advert.intervalSeconds = byte(vrrp, kInterval);
  advert.addresses.clear();
  for (std::size_t i = 0; i < count; ++i)
    advert.addresses.push_back(address(vrrp, kVrrpFixedSize + 4 * i));
  return AdvertFault::none;
}

}  // namespace Sources
