// SPDX-License-Identifier: Apache-2.0
#include "lirex/IpAddr.h"

#include "kiv/Exception.h"
#include "kiv/TokenReader.h"

namespace Lirex {

namespace detail {

bool isDottedQuadChar(char c) {
  return (c >= '0' && c <= '9') || c == '.';
}

std::optional<IpAddr> parseDottedQuad(std::string_view text, Kiv::String8& problem) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isDottedQuadChar(text[i])) {
      problem =
          Kiv::String8("unexpected character '") + text[i] + "' at column " + std::to_string(i);
      return std::nullopt;
    }
  }
  std::array<std::string_view, 4> parts;
  std::size_t count = 0;
  std::size_t start = 0;
  while (true) {
    const std::size_t dot = text.find('.', start);
    const std::string_view part = text.substr(start, dot - start);
    if (count < parts.size()) parts[count] = part;
    ++count;
    if (dot == std::string_view::npos) break;
    start = dot + 1;
  }
  if (count != parts.size()) {
    problem = "expected 4 octets";
    return std::nullopt;
  }
  U32 value = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const std::string_view part = parts[i];
    if (part.empty()) {
      problem = "octet " + std::to_string(i + 1) + " is empty";
      return std::nullopt;
    }
    // A leading zero reads as octal to some parsers; refuse rather than guess.
    if (part.size() > 1 && part[0] == '0') {
      problem = "octet '" + Kiv::String8(part) + "' has a leading zero";
      return std::nullopt;
    }
    U32 octet = 0;
    for (char c : part) {
      octet = octet * 10 + static_cast<U32>(c - '0');
      if (octet > 255) break;
    }
    if (octet > 255) {
      problem = "octet '" + Kiv::String8(part) + "' is out of range 0..255";
      return std::nullopt;
    }
    value = value << 8 | octet;
  }
  return IpAddr(value);
}

}  // namespace detail

std::array<U8, 4> IpAddr::octets() const {
  return {octet(0), octet(1), octet(2), octet(3)};
}

std::ostream& operator<<(std::ostream& os, const IpAddr& addr) {
  return os << valueToStrep(addr);
}

Kiv::String8 valueToStrep(const IpAddr& addr) {
  Kiv::String8 text;
  for (std::size_t i = 0; i < 4; ++i) {
    if (i != 0) text += '.';
    text += std::to_string(addr.octet(i));
  }
  return text;
}

template <>
IpAddr strepToValue<IpAddr>(const Kiv::String8& text) {
  Kiv::String8 problem;
  if (auto addr = detail::parseDottedQuad(text, problem)) return *addr;
  throw Kiv::RangeException("bad IPv4 address '" + text + "': " + problem);
}

template <>
IpAddr strepToValue<IpAddr>(StrepIter& pos, StrepIter end) {
  Kiv::TokenReader reader(pos, end);
  return strepToValue<IpAddr>(reader.readWhile(detail::isDottedQuadChar));
}

}  // namespace Lirex
