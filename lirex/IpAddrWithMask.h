// SPDX-License-Identifier: Apache-2.0
#pragma once
// An IPv4 address with a prefix length, e.g. an interface address 192.0.2.2/24. Host bits are
// kept as given.
#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>

#include "kiv/Types.h"
#include "lirex/IpAddr.h"
#include "lirex/Strep.h"

namespace Lirex {

class IpAddrWithMask {
 public:
  static constexpr U32 kMaxMaskLen = 32;

  IpAddrWithMask() = default;
  // Throws Kiv::RangeException when maskLen exceeds 32.
  IpAddrWithMask(IpAddr addr, U32 maskLen);

  IpAddr addr() const { return addr_; }
  U32 maskLen() const { return maskLen_; }

  // By address, then by prefix length.
  auto operator<=>(const IpAddrWithMask&) const = default;

 private:
  IpAddr addr_;
  U32 maskLen_ = 0;
};

std::ostream& operator<<(std::ostream& os, const IpAddrWithMask& value);
// 192.0.2.2/24.
Kiv::String8 valueToStrep(const IpAddrWithMask& value);
template <>
IpAddrWithMask strepToValue<IpAddrWithMask>(const Kiv::String8& text);
// Reads the run of digits, dots and slashes at pos, then requires it to be address/length.
template <>
IpAddrWithMask strepToValue<IpAddrWithMask>(StrepIter& pos, StrepIter end);

}  // namespace Lirex

template <>
struct std::hash<Lirex::IpAddrWithMask> {
  std::size_t operator()(const Lirex::IpAddrWithMask& value) const noexcept {
    return std::hash<U64>()(static_cast<U64>(value.addr().value()) << 6 | value.maskLen());
  }
};
