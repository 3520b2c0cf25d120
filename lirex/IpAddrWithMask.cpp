// SPDX-License-Identifier: Apache-2.0
#include "lirex/IpAddrWithMask.h"

#include <optional>
#include <string_view>

#include "kiv/Exception.h"
#include "kiv/TokenReader.h"

namespace Lirex {

namespace {

bool isAddrWithMaskChar(char c) {
  return detail::isDottedQuadChar(c) || c == '/';
}

std::optional<U32> parseMaskLen(std::string_view text, Kiv::String8& problem) {
  if (text.empty()) {
    problem = "prefix length is empty";
    return std::nullopt;
  }
  if (text.size() > 1 && text[0] == '0') {
    problem = "prefix length '" + Kiv::String8(text) + "' has a leading zero";
    return std::nullopt;
  }
  U32 len = 0;
  for (char c : text) {
    if (c < '0' || c > '9') {
      problem = "prefix length '" + Kiv::String8(text) + "' is not a number";
      return std::nullopt;
    }
    len = len * 10 + static_cast<U32>(c - '0');
    if (len > IpAddrWithMask::kMaxMaskLen) {
      problem = "prefix length '" + Kiv::String8(text) + "' is out of range 0..32";
      return std::nullopt;
    }
  }
  return len;
}

}  // namespace

IpAddrWithMask::IpAddrWithMask(IpAddr addr, U32 maskLen) : addr_(addr), maskLen_(maskLen) {
  if (maskLen > kMaxMaskLen) {
    throw Kiv::RangeException("prefix length " + std::to_string(maskLen) +
                              " is out of range 0..32");
  }
}

std::ostream& operator<<(std::ostream& os, const IpAddrWithMask& value) {
  return os << valueToStrep(value);
}

Kiv::String8 valueToStrep(const IpAddrWithMask& value) {
  return valueToStrep(value.addr()) + '/' + std::to_string(value.maskLen());
}

template <>
IpAddrWithMask strepToValue<IpAddrWithMask>(const Kiv::String8& text) {
  const auto bad = [&](const Kiv::String8& problem) {
    return Kiv::RangeException("bad IPv4 address with mask '" + text + "': " + problem);
  };
  const std::string_view view = text;
  for (std::size_t i = 0; i < view.size(); ++i) {
    if (!isAddrWithMaskChar(view[i])) {
      throw bad(Kiv::String8("unexpected character '") + view[i] + "' at column " +
                std::to_string(i));
    }
  }
  const std::size_t slash = view.find('/');
  if (slash == std::string_view::npos) throw bad("expected '/' and a prefix length");
  if (view.find('/', slash + 1) != std::string_view::npos) throw bad("more than one '/'");
  Kiv::String8 problem;
  const std::optional<IpAddr> addr = detail::parseDottedQuad(view.substr(0, slash), problem);
  if (!addr) throw bad(problem);
  const std::optional<U32> len = parseMaskLen(view.substr(slash + 1), problem);
  if (!len) throw bad(problem);
  return IpAddrWithMask(*addr, *len);
}

template <>
IpAddrWithMask strepToValue<IpAddrWithMask>(StrepIter& pos, StrepIter end) {
  Kiv::TokenReader reader(pos, end);
  return strepToValue<IpAddrWithMask>(reader.readWhile(isAddrWithMaskChar));
}

}  // namespace Lirex
