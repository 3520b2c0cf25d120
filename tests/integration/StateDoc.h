#pragma once
// A small builder of state documents for tests that edit the state while the daemon runs.
#include <map>
#include <string>
#include <vector>

namespace Harness {

struct RouterDoc {
  std::string state = "backup";  // master | backup | initialize
  int version = 2;
  int priority = 100;
  std::string srcAddr = "0.0.0.0";
  std::vector<std::string> addrs;
  std::map<std::string, bool> extraAddrFlags;  // addresses with an explicit truth value
  double upSince = 0;
};

struct StateDoc {
  std::map<std::string, int> ifIndex;                       // interface -> ifIndex
  std::map<std::string, std::string> ip;                    // interface -> addr/len
  std::map<std::string, std::map<int, RouterDoc>> routers;  // interface -> vrId -> router
  std::string json() const;
};

}  // namespace Harness
