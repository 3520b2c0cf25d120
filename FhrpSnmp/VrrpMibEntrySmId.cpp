// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/VrrpMibEntrySmId.h"

#include "FhrpSnmp/ValueTextParser.h"

namespace FhrpSnmp {

VrrpMibEntrySmId::VrrpMibEntrySmId(StrepIter& pos, StrepIter end) {
  detail::parseValue(
      pos, end, "VrrpMibEntrySmId",
      [this](const Kiv::String8& name, Kiv::TokenReader& in, StrepIter& p, StrepIter e) {
        if (name == "intfId") {
          in.skipWhiteSpace();
          intfId = Lirex::strepToValue<Lirex::IntfId>(p, e);
        } else if (name == "vrId") {
          vrId = in.readU32();
        } else {
          return false;
        }
        return true;
      });
}

Kiv::String8 valueToStrep(const VrrpMibEntrySmId& v) {
  return "Value('FhrpSnmp::VrrpMibEntrySmId', ** {'intfId': " + Lirex::valueToStrep(v.intfId) +
         ", 'vrId': " + std::to_string(v.vrId) + "})";
}

std::ostream& operator<<(std::ostream& os, const VrrpMibEntrySmId& v) {
  return os << valueToStrep(v);
}

template <>
VrrpMibEntrySmId strepToValue<VrrpMibEntrySmId>(const Kiv::String8& text) {
  return detail::parseWhole<VrrpMibEntrySmId>(text);
}

}  // namespace FhrpSnmp
