// SPDX-License-Identifier: Apache-2.0
#pragma once
// An IPv4 or IPv6 address, as the VRRPv3-MIB's InetAddress columns hold one: the family and
// the octets in network order. Ordering is by family first (every IPv4 address before every
// IPv6 one), then octet by octet, which is also the order of their SNMP index encodings
// (length sub-identifier first, then the octets).
#include <array>
#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>

#include "kiv/Types.h"
#include "lirex/IpAddr.h"
#include "lirex/Strep.h"

namespace Lirex {

// Numbered as the MIB's InetAddressType.
enum class AddrFamily : U8 { ipv4 = 1, ipv6 = 2 };
std::ostream& operator<<(std::ostream& os, AddrFamily family);

class InetAddr {
 public:
  using Bytes = std::array<U8, 16>;

  // 0.0.0.0.
  InetAddr() = default;
  InetAddr(IpAddr v4);  // NOLINT: every IPv4 address is an InetAddr
  // The 16 octets of an IPv6 address.
  static InetAddr ipv6(const Bytes& octets);
  // The all-zero address of a family (0.0.0.0 or ::).
  static InetAddr zero(AddrFamily family);

  AddrFamily family() const { return family_; }
  bool isV4() const { return family_ == AddrFamily::ipv4; }
  bool isV6() const { return family_ == AddrFamily::ipv6; }
  // 4 or 16.
  std::size_t size() const { return isV4() ? 4 : 16; }
  // The first size() octets are the address.
  const Bytes& bytes() const { return bytes_; }
  bool isZero() const { return bytes_ == Bytes{}; }
  // fe80::/10.
  bool isLinkLocal() const { return isV6() && bytes_[0] == 0xfe && (bytes_[1] & 0xc0) == 0x80; }
  // The IPv4 address; 0.0.0.0 for an IPv6 one.
  IpAddr v4() const;

  auto operator<=>(const InetAddr&) const = default;

 private:
  AddrFamily family_ = AddrFamily::ipv4;
  Bytes bytes_{};  // IPv4: the first four; the rest stay zero
};

std::ostream& operator<<(std::ostream& os, const InetAddr& addr);
// Dotted quad for IPv4; for IPv6 the RFC 5952 form (lower case, the longest run of zero groups
// compressed), 2001:db8::1.
Kiv::String8 valueToStrep(const InetAddr& addr);
// Either form; a text with a ':' is read as IPv6.
template <>
InetAddr strepToValue<InetAddr>(const Kiv::String8& text);
// Reads the run of hex digits, dots and colons at pos, then requires it to be an address.
template <>
InetAddr strepToValue<InetAddr>(StrepIter& pos, StrepIter end);

}  // namespace Lirex

template <>
struct std::hash<Lirex::InetAddr> {
  std::size_t operator()(const Lirex::InetAddr& addr) const noexcept {
    std::size_t h = static_cast<std::size_t>(addr.family());
    for (U8 b : addr.bytes()) h = h * 131 + b;
    return h;
  }
};
