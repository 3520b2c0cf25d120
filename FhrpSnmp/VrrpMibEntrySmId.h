// SPDX-License-Identifier: Apache-2.0
#pragma once
// The key of a per-virtual-router mirroring machine: one virtual router on one
// interface, named as the FHRP records name it (not by ifIndex, which may change).
#include <compare>
#include <ostream>

#include "FhrpSnmp/VrrpIndex.h"
#include "lirex/IntfId.h"
#include "platform/Fhrp/FhrpTypes.h"

namespace FhrpSnmp {

struct VrrpMibEntrySmId {
  VrrpMibEntrySmId() = default;
  VrrpMibEntrySmId(Lirex::IntfId intfId, Routing::Fhrp::VrId vrId)
      : intfId(std::move(intfId)), vrId(vrId) {}
  // Reads one text form starting at pos and leaves pos just behind it.
  VrrpMibEntrySmId(StrepIter& pos, StrepIter end);

  // By interface, then by virtual-router id: the machines of one interface are adjacent.
  auto operator<=>(const VrrpMibEntrySmId&) const = default;

  Lirex::IntfId intfId;
  Routing::Fhrp::VrId vrId = 0;
};

Kiv::String8 valueToStrep(const VrrpMibEntrySmId& v);
std::ostream& operator<<(std::ostream& os, const VrrpMibEntrySmId& v);
template <>
VrrpMibEntrySmId strepToValue<VrrpMibEntrySmId>(const Kiv::String8& text);

}  // namespace FhrpSnmp
