#include "tests/integration/StateDoc.h"

#include <cstdio>
#include <sstream>

namespace Harness {

std::string StateDoc::json() const {
  std::ostringstream o;
  auto list = [&o](const auto& map, auto body) {
    bool first = true;
    for (const auto& [key, value] : map) {
      o << (first ? "" : ",") << "\n    \"" << key << "\": ";
      body(value);
      first = false;
    }
  };
  o << "{\n  \"interfaces\": {";
  list(ifIndex, [&o](int i) { o << "{\"ifIndex\": " << i << "}"; });
  o << "},\n  \"ip\": {";
  list(ip, [&o](const std::string& a) { o << "{\"activeAddrWithMask\": \"" << a << "\"}"; });
  o << "},\n  \"vrrpConfig\": {";
  list(routers, [&o](const std::map<int, RouterDoc>& vrs) {
    o << "{";
    bool first = true;
    for (const auto& [vrId, r] : vrs) {
      o << (first ? "" : ", ") << "\"" << vrId << "\": {\"version\": " << r.version
        << ", \"priority\": " << r.priority << "}";
      first = false;
    }
    o << "}";
  });
  o << "},\n  \"vrrpStatus\": {";
  list(routers, [&o](const std::map<int, RouterDoc>& vrs) {
    o << "{";
    bool first = true;
    for (const auto& [vrId, r] : vrs) {
      char mac[32];
      std::snprintf(mac, sizeof mac, "00:00:5e:00:01:%02x", vrId & 0xff);
      o << (first ? "" : ", ") << "\"" << vrId << "\": {\"state\": \"" << r.state
        << "\", \"priority\": " << r.priority << ", \"srcAddr\": \"" << r.srcAddr
        << "\", \"virtualMacAddr\": \"" << mac << "\", \"upSince\": " << r.upSince
        << ", \"ipAddrs\": {";
      bool firstAddr = true;
      for (const auto& a : r.addrs) {
        o << (firstAddr ? "" : ", ") << "\"" << a << "\": true";
        firstAddr = false;
      }
      for (const auto& [a, on] : r.extraAddrFlags) {
        o << (firstAddr ? "" : ", ") << "\"" << a << "\": " << (on ? "true" : "false");
        firstAddr = false;
      }
      o << "}}";
      first = false;
    }
    o << "}";
  });
  o << "}\n}\n";
  return o.str();
}

}  // namespace Harness
