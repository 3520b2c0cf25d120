// SPDX-License-Identifier: Apache-2.0
#include "lirex/InetAddr.h"

#include <arpa/inet.h>

#include "kiv/Exception.h"
#include "kiv/TokenReader.h"

namespace Lirex {

namespace {

bool isInetAddrChar(char c) {
  return detail::isDottedQuadChar(c) || c == ':' || (c >= 'a' && c <= 'f') ||
         (c >= 'A' && c <= 'F');
}

}  // namespace

std::ostream& operator<<(std::ostream& os, AddrFamily family) {
  switch (family) {
    case AddrFamily::ipv4:
      return os << "ipv4";
    case AddrFamily::ipv6:
      return os << "ipv6";
  }
  return os << "AddrFamily(" << static_cast<int>(family) << ")";
}

InetAddr::InetAddr(IpAddr v4) {
  const auto octets = v4.octets();
  for (std::size_t i = 0; i < octets.size(); ++i) bytes_[i] = octets[i];
}

InetAddr InetAddr::ipv6(const Bytes& octets) {
  InetAddr addr;
  addr.family_ = AddrFamily::ipv6;
  addr.bytes_ = octets;
  return addr;
}

InetAddr InetAddr::zero(AddrFamily family) {
  return family == AddrFamily::ipv6 ? ipv6({}) : InetAddr();
}

IpAddr InetAddr::v4() const {
  if (!isV4()) return IpAddr();
  return IpAddr(bytes_[0], bytes_[1], bytes_[2], bytes_[3]);
}

std::ostream& operator<<(std::ostream& os, const InetAddr& addr) {
  return os << valueToStrep(addr);
}

Kiv::String8 valueToStrep(const InetAddr& addr) {
  if (addr.isV4()) return valueToStrep(addr.v4());
  char text[INET6_ADDRSTRLEN];
  // glibc writes the RFC 5952 form.
  inet_ntop(AF_INET6, addr.bytes().data(), text, sizeof text);
  return text;
}

template <>
InetAddr strepToValue<InetAddr>(const Kiv::String8& text) {
  if (text.find(':') == Kiv::String8::npos) return strepToValue<IpAddr>(text);
  InetAddr::Bytes octets{};
  // inet_pton takes exactly the textual forms of RFC 4291 section 2.2, nothing around them.
  if (inet_pton(AF_INET6, text.c_str(), octets.data()) != 1) {
    throw Kiv::RangeException("bad IPv6 address '" + text + "'");
  }
  return InetAddr::ipv6(octets);
}

template <>
InetAddr strepToValue<InetAddr>(StrepIter& pos, StrepIter end) {
  Kiv::TokenReader reader(pos, end);
  return strepToValue<InetAddr>(reader.readWhile(isInetAddrChar));
}

}  // namespace Lirex
