// SPDX-License-Identifier: Apache-2.0
#pragma once
// The name of a network interface, e.g. Ethernet1. The default (empty) names no interface.
#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>
#include <utility>

#include "kiv/Types.h"
#include "lirex/Strep.h"

namespace Lirex {

class IntfId {
 public:
  IntfId() = default;
  explicit IntfId(Kiv::String8 name) : name_(std::move(name)) {}
  explicit IntfId(const char* name) : name_(name) {}

  const Kiv::String8& name() const { return name_; }
  bool empty() const { return name_.empty(); }

  auto operator<=>(const IntfId&) const = default;

 private:
  Kiv::String8 name_;
};

// The bare name.
std::ostream& operator<<(std::ostream& os, const IntfId& id);
// The quoted name, 'Ethernet1', so that it can stand inside a larger text form.
Kiv::String8 valueToStrep(const IntfId& id);
template <>
IntfId strepToValue<IntfId>(const Kiv::String8& text);
template <>
IntfId strepToValue<IntfId>(StrepIter& pos, StrepIter end);

}  // namespace Lirex

template <>
struct std::hash<Lirex::IntfId> {
  std::size_t operator()(const Lirex::IntfId& id) const noexcept {
    return std::hash<Kiv::String8>()(id.name());
  }
};
