// SPDX-License-Identifier: Apache-2.0
#include "lirex/EthAddr.h"

#include <string_view>

#include "kiv/Exception.h"
#include "kiv/TokenReader.h"

namespace Lirex {

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isEthAddrChar(char c) {
  return c == ':' || hexDigit(c) >= 0;
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const EthAddr& addr) {
  return os << valueToStrep(addr);
}

Kiv::String8 valueToStrep(const EthAddr& addr) {
  static constexpr char kDigits[] = "0123456789abcdef";
  Kiv::String8 text;
  text.reserve(17);
  for (U8 b : addr.bytes()) {
    if (!text.empty()) text += ':';
    text += kDigits[b >> 4];
    text += kDigits[b & 0xf];
  }
  return text;
}

template <>
EthAddr strepToValue<EthAddr>(const Kiv::String8& text) {
  const auto bad = [&](const Kiv::String8& problem) {
    return Kiv::RangeException("bad Ethernet address '" + text + "': " + problem);
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isEthAddrChar(text[i])) {
      throw bad(Kiv::String8("unexpected character '") + text[i] + "' at column " +
                std::to_string(i));
    }
  }
  EthAddr::Bytes bytes{};
  std::size_t count = 0;
  std::size_t start = 0;
  const std::string_view view = text;
  while (true) {
    const std::size_t colon = view.find(':', start);
    const std::string_view group = view.substr(start, colon - start);
    if (count < bytes.size()) {
      if (group.size() != 2) {
        throw bad("group " + std::to_string(count + 1) + " '" + Kiv::String8(group) +
                  "' is not 2 hex digits");
      }
      bytes[count] = static_cast<U8>(hexDigit(group[0]) << 4 | hexDigit(group[1]));
    }
    ++count;
    if (colon == std::string_view::npos) break;
    start = colon + 1;
  }
  if (count != bytes.size()) throw bad("expected 6 groups of 2 hex digits");
  return EthAddr(bytes);
}

template <>
EthAddr strepToValue<EthAddr>(StrepIter& pos, StrepIter end) {
  Kiv::TokenReader reader(pos, end);
  return strepToValue<EthAddr>(reader.readWhile(isEthAddrChar));
}

}  // namespace Lirex
