// SPDX-License-Identifier: Apache-2.0
#pragma once
// An IPv4 address, kept as a host-order number so that numeric order is address order.
#include <array>
#include <compare>
#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <string_view>

#include "kiv/Types.h"
#include "lirex/Strep.h"

namespace Lirex {

class IpAddr {
 public:
  IpAddr() = default;
  explicit IpAddr(U32 hostOrder) : value_(hostOrder) {}
  IpAddr(U8 a, U8 b, U8 c, U8 d)
      : value_(static_cast<U32>(a) << 24 | static_cast<U32>(b) << 16 | static_cast<U32>(c) << 8 |
               d) {}

  U32 value() const { return value_; }
  // Most significant first: 10.0.0.1 gives {10, 0, 0, 1}.
  std::array<U8, 4> octets() const;
  U8 octet(std::size_t i) const { return static_cast<U8>(value_ >> (24 - 8 * i)); }
  bool isZero() const { return value_ == 0; }

  auto operator<=>(const IpAddr&) const = default;

 private:
  U32 value_ = 0;
};

std::ostream& operator<<(std::ostream& os, const IpAddr& addr);
// Dotted quad, 10.0.0.1.
Kiv::String8 valueToStrep(const IpAddr& addr);
template <>
IpAddr strepToValue<IpAddr>(const Kiv::String8& text);
// Reads the run of digits and dots at pos, then requires it to be a dotted quad.
template <>
IpAddr strepToValue<IpAddr>(StrepIter& pos, StrepIter end);

namespace detail {
// Shared with the other address parsers so that they report the same problems.
// Returns the address, or nothing with `problem` saying what is wrong.
std::optional<IpAddr> parseDottedQuad(std::string_view text, Kiv::String8& problem);
bool isDottedQuadChar(char c);
}  // namespace detail

}  // namespace Lirex

template <>
struct std::hash<Lirex::IpAddr> {
  std::size_t operator()(const Lirex::IpAddr& addr) const noexcept {
    return std::hash<U32>()(addr.value());
  }
};
