// SPDX-License-Identifier: Apache-2.0
#pragma once
// A 48-bit Ethernet (MAC) address, written 00:00:5e:00:01:05.
#include <array>
#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>

#include "kiv/Types.h"
#include "lirex/Strep.h"

namespace Lirex {

class EthAddr {
 public:
  using Bytes = std::array<U8, 6>;

  EthAddr() = default;
  explicit EthAddr(const Bytes& bytes) : bytes_(bytes) {}

  const Bytes& bytes() const { return bytes_; }
  bool isZero() const { return bytes_ == Bytes{}; }

  // Byte by byte, first byte most significant.
  auto operator<=>(const EthAddr&) const = default;

 private:
  Bytes bytes_{};
};

std::ostream& operator<<(std::ostream& os, const EthAddr& addr);
// Lower-case hex, two digits per byte, ':' between bytes.
Kiv::String8 valueToStrep(const EthAddr& addr);
// Accepts upper- and lower-case hex digits.
template <>
EthAddr strepToValue<EthAddr>(const Kiv::String8& text);
// Reads the run of hex digits and colons at pos, then requires it to be an address.
template <>
EthAddr strepToValue<EthAddr>(StrepIter& pos, StrepIter end);

}  // namespace Lirex

template <>
struct std::hash<Lirex::EthAddr> {
  std::size_t operator()(const Lirex::EthAddr& addr) const noexcept {
    U64 packed = 0;
    for (U8 b : addr.bytes()) packed = packed << 8 | b;
    return std::hash<U64>()(packed);
  }
};
