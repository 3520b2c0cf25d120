// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/VrrpIndex.h"

#include "FhrpSnmp/ValueTextParser.h"

namespace FhrpSnmp {

using detail::parseValue;
using detail::parseWhole;

VrrpIndex::VrrpIndex(StrepIter& pos, StrepIter end) {
  parseValue(pos, end, "VrrpIndex",
             [this](const Kiv::String8& name, Kiv::TokenReader& in, StrepIter&, StrepIter) {
               if (name == "ifIndex") {
                 ifIndex = in.readS32();
               } else if (name == "vrId") {
                 vrId = in.readU32();
               } else {
                 return false;
               }
               return true;
             });
}

VrrpIpIndex::VrrpIpIndex(StrepIter& pos, StrepIter end) {
  parseValue(pos, end, "VrrpIpIndex",
             [this](const Kiv::String8& name, Kiv::TokenReader& in, StrepIter& p, StrepIter e) {
               if (name == "ifIndex") {
                 ifIndex = in.readS32();
               } else if (name == "vrId") {
                 vrId = in.readU32();
               } else if (name == "ipAddr") {
                 in.skipWhiteSpace();
                 ipAddr = Lirex::strepToValue<Lirex::IpAddr>(p, e);
               } else {
                 return false;
               }
               return true;
             });
}

Kiv::String8 valueToStrep(const VrrpIndex& v) {
  return "Value('FhrpSnmp::VrrpIndex', ** {'ifIndex': " + std::to_string(v.ifIndex) +
         ", 'vrId': " + std::to_string(v.vrId) + "})";
}

Kiv::String8 valueToStrep(const VrrpIpIndex& v) {
  return "Value('FhrpSnmp::VrrpIpIndex', ** {'ifIndex': " + std::to_string(v.ifIndex) +
         ", 'vrId': " + std::to_string(v.vrId) + ", 'ipAddr': " + Lirex::valueToStrep(v.ipAddr) +
         "})";
}

std::ostream& operator<<(std::ostream& os, const VrrpIndex& v) {
  return os << valueToStrep(v);
}
std::ostream& operator<<(std::ostream& os, const VrrpIpIndex& v) {
  return os << valueToStrep(v);
}

template <>
VrrpIndex strepToValue<VrrpIndex>(const Kiv::String8& text) {
  return parseWhole<VrrpIndex>(text);
}
template <>
VrrpIpIndex strepToValue<VrrpIpIndex>(const Kiv::String8& text) {
  return parseWhole<VrrpIpIndex>(text);
}

}  // namespace FhrpSnmp
