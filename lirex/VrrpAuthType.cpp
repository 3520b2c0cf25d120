// SPDX-License-Identifier: Apache-2.0
#include "lirex/VrrpAuthType.h"

#include <array>
#include <utility>

#include "kiv/Exception.h"
#include "kiv/TokenReader.h"

namespace Lirex {

namespace {

constexpr std::array<std::pair<VrrpAuthType, std::string_view>, 3> kNames{{
    {VrrpAuthType::noAuthentication, "noAuthentication"},
    {VrrpAuthType::simpleTextPassword, "simpleTextPassword"},
    {VrrpAuthType::ipAuthenticationHeader, "ipAuthenticationHeader"},
}};

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

}  // namespace

bool isValid(VrrpAuthType type) {
  for (const auto& [value, name] : kNames) {
    if (value == type) return true;
  }
  return false;
}

Kiv::String8 valueToStrep(VrrpAuthType type) {
  for (const auto& [value, name] : kNames) {
    if (value == type) return Kiv::String8(name);
  }
  return "VrrpAuthType(" + std::to_string(static_cast<int>(type)) + ")";
}

std::ostream& operator<<(std::ostream& os, VrrpAuthType type) {
  return os << valueToStrep(type);
}

VrrpAuthType vrrpAuthTypeFromString(std::string_view text) {
  Kiv::String8 allowed;
  for (const auto& [value, name] : kNames) {
    if (name == text) return value;
    if (!allowed.empty()) allowed += ", ";
    allowed += name;
  }
  throw Kiv::RangeException("unknown VRRP authentication type '" + Kiv::String8(text) +
                            "' (allowed: " + allowed + ")");
}

template <>
VrrpAuthType strepToValue<VrrpAuthType>(const Kiv::String8& text) {
  return vrrpAuthTypeFromString(text);
}

template <>
VrrpAuthType strepToValue<VrrpAuthType>(StrepIter& pos, StrepIter end) {
  Kiv::TokenReader reader(pos, end);
  return vrrpAuthTypeFromString(reader.readWhile(isLetter));
}

}  // namespace Lirex
