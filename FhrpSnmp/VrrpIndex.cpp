#include "FhrpSnmp/VrrpIndex.h"

#include <cstdio>
#include <sstream>

#include "kiv/Exception.h"
#include "kiv/TokenReader.h"

namespace FhrpSnmp {
namespace {

// Reads "Value('FhrpSnmp::<type>', ** {'name': value, ...})", handing each
// attribute name to readAttribute, which returns false for a name it does not know.
template <class ReadAttribute>
void parseValue(StrepIter& pos, StrepIter end, const char* type, ReadAttribute readAttribute) {
  Kiv::TokenReader in(pos, end);
  in.expect("Value");
  in.expect("(");
  in.expect(Kiv::String8("'FhrpSnmp::") + type + "'");
  in.expect(",");
  in.expect("**");
  in.expect("{");
  for (bool first = true;; first = false) {
    in.skipWhiteSpace();
    if (in.atEnd()) throw Kiv::RangeException(Kiv::String8("premature end of value type ") + type);
    if (in.peek() == '}') {
      in.expect("} ");
      in.expect(") ");
      return;
    }
    if (!first) in.expect(", ");
    Kiv::String8 name = in.readQuoted();
    in.expect(" : ");
    bool known;
    try {
      known = readAttribute(name, in, pos, end);
    } catch (const Kiv::RangeException& e) {
      throw Kiv::RangeException("bad value for attribute " + name + " of " + type + ": " +
                                e.message());
    }
    if (!known) throw Kiv::RangeException(Kiv::String8(type) + " has no such attribute: " + name);
  }
}

template <class T>
T parseWhole(const Kiv::String8& text) {
  StrepIter pos = text.begin();
  T value(pos, text.end());
  if (pos != text.end()) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "junk at column %lld deserializing ",
                  static_cast<long long>(pos - text.begin()));
    throw Kiv::RangeException(buf + text);
  }
  return value;
}

}  // namespace

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
