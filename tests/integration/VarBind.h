#pragma once
// Variable bindings as net-snmp's tools and snmptrapd print them with numeric OIDs (-On):
//   .1.3.6.1.2.1.68.1.1.0 = INTEGER: 2
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace Harness {

struct VarBind {
  std::string oid;    // numeric, with the leading dot: ".1.3.6.1.2.1.1.1.0"
  std::string type;   // as printed ("INTEGER", "STRING", "Hex-STRING", "OID", "Timeticks",
                      // "Gauge32", "IpAddress", ...), or "noSuchObject", "noSuchInstance",
                      // "endOfMibView", "NULL"
  std::string value;  // normalised: STRING unquoted and unescaped, Hex-STRING as "00 5E 01"
                      // on one line, Timeticks as the tick count; empty for the exceptions
  std::string text;   // everything after " = ", exactly as printed

  // The octets of a STRING or Hex-STRING value: the tools choose the form by printability.
  std::string octets() const;

  bool operator==(const VarBind& other) const {
    return oid == other.oid && type == other.type && value == other.value;
  }
};

std::ostream& operator<<(std::ostream& out, const VarBind& vb);

// One binding, "OID = value", whose value may span lines.
VarBind parseVarBind(std::string_view text);

// A tool's standard output: bindings in printed order. A quoted string continues to its closing
// quote, other values over lines that do not start a new binding (long Hex-STRINGs wrap every
// 16 octets); lines before the first binding are ignored.
std::vector<VarBind> parseVarBinds(std::string_view output);

}  // namespace Harness
