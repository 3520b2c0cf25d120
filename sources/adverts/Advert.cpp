#include "sources/adverts/Advert.h"

namespace Sources {
namespace {

constexpr U8 kProtocol = 112;

U8 byte(std::string_view p, std::size_t i) {
  return static_cast<U8>(p[i]);
}

// The Internet checksum; 0 over a message that carries its own correct checksum.
U16 checksum(std::string_view data) {
  U32 sum = 0;
  for (std::size_t i = 0; i + 1 < data.size(); i += 2)
    sum += byte(data, i) << 8 | byte(data, i + 1);
  if (data.size() % 2) sum += byte(data, data.size() - 1) << 8;
  while (sum >> 16) sum = (sum & 0xffff) + (sum >> 16);
  return static_cast<U16>(~sum);
}

}  // namespace

std::optional<Advert> parseAdvert(std::string_view packet) {
  if (packet.size() < 20 || byte(packet, 0) >> 4 != 4) return std::nullopt;
  std::size_t headerLen = (byte(packet, 0) & 0x0f) * 4u;
  std::size_t totalLen = static_cast<std::size_t>(byte(packet, 2)) << 8 | byte(packet, 3);
  if (headerLen < 20 || totalLen > packet.size() || totalLen < headerLen + 8) return std::nullopt;
  if (byte(packet, 8) != 255 || byte(packet, 9) != kProtocol) return std::nullopt;
  std::string_view vrrp = packet.substr(headerLen, totalLen - headerLen);
  Advert a;
  // Only VRRPv2 routers are served; VRRPv3's checksum also covers a pseudo-header.
  if ((byte(vrrp, 0) & 0x0f) != 1 || byte(vrrp, 0) >> 4 != 2) return std::nullopt;
  a.vrid = byte(vrrp, 1);
  a.priority = byte(vrrp, 2);
  std::size_t count = byte(vrrp, 3);
  if (a.vrid == 0 || vrrp.size() < 8 + 4 * count) return std::nullopt;
  if (checksum(vrrp) != 0) return std::nullopt;
  a.source = Lirex::IpAddr(static_cast<U32>(byte(packet, 12)) << 24 | byte(packet, 13) << 16 |
                           byte(packet, 14) << 8 | byte(packet, 15));
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t o = 8 + 4 * i;
    a.addresses.push_back(
        Lirex::IpAddr(byte(vrrp, o), byte(vrrp, o + 1), byte(vrrp, o + 2), byte(vrrp, o + 3)));
  }
  return a;
}

}  // namespace Sources
