// SPDX-License-Identifier: Apache-2.0
// Writes a state document with N virtual routers to stdout, for benchmarks, soak
// tests and demos. Routers are spread over interfaces, at most 255 per interface;
// each has one to four addresses; states and priorities vary. The same arguments
// always give the same document, so a run can be repeated exactly.
//
//   gen-state N [--seed S] [--flip K] [--all master|backup] [--version3 EVERY]
//               [--family ipv4|ipv6|both]
//     --all STATE     every router in STATE (after --flip): a mass failover or a start
//                     with every router already master
//     --flip K        swap master and backup on every router whose index % K == 0
//                     (K = 1 fails over every router)
//     --version3 E    every E-th router is configured with version 3
//     --family F      the status version 3 routers have: IPv4 (the default), IPv6 or both
//                     (dual-stack: one row of each family in the VRRPv3-MIB); version 2
//                     routers are IPv4 only
//
// `gen-state 2N --version3 2` gives N rows in each MIB's operations table.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace {

void usage() {
  std::fprintf(stderr,
               "usage: gen-state N [--seed S] [--flip K] [--all master|backup] [--version3 EVERY] "
               "[--family ipv4|ipv6|both]\n");
  std::exit(2);
}

long number(const char* s) {
  char* end = nullptr;
  long v = std::strtol(s, &end, 10);
  if (!*s || *end || v < 0) usage();
  return v;
}

struct Router {
  int intf, vrId, state, priority, addrs;
  unsigned seed;
  bool v3 = false;
};

std::string ip(int a, int b, int c, int d) {
  return std::to_string(a) + "." + std::to_string(b) + "." + std::to_string(c) + "." +
         std::to_string(d);
}

// Interface k owns 10.(k/256).(k%256).0/24 style space spread over two octets.
std::string intfAddr(int intf, int host) {
  return ip(10, intf / 250, intf % 250, host);
}

// The same plan for IPv6: 2001:db8:K::/64 for EthernetK, fe80::K:H for its link-locals.
std::string intfAddr6(int intf, int host) {
  char text[48];
  std::snprintf(text, sizeof text, "2001:db8:%x::%x", intf + 1, host);
  return text;
}

std::string linkLocal(int intf, int host) {
  char text[32];
  std::snprintf(text, sizeof text, "fe80::%x:%x", intf + 1, host);
  return text;
}

enum Family { kIpv4 = 1, kIpv6 = 2, kBoth = 3 };

// The end of a router's status: its virtual addresses, hosts 4..255 of its interface's space,
// four per router id band, and its up time.
void addrsAndUpSince(const Router& x, std::string (*addr)(int intf, int host)) {
  for (int a = 0; a < x.addrs; ++a) {
    const int host = 4 + ((x.vrId - 1) % 63) * 4 + a;
    std::printf("%s\"%s\": true", a ? ", " : "", addr(x.intf, host).c_str());
  }
  std::printf("}, \"upSince\": %s}", x.state == 2 ? "0" : "1763760000.5");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) usage();
  long n = number(argv[1]);
  long seed = 1, flip = 0, version3 = 0;
  int all = -1, family = kIpv4;
  for (int i = 2; i < argc; ++i) {
    if (i + 1 >= argc) usage();
    if (!std::strcmp(argv[i], "--seed"))
      seed = number(argv[++i]);
    else if (!std::strcmp(argv[i], "--flip"))
      flip = number(argv[++i]);
    else if (!std::strcmp(argv[i], "--all") && !std::strcmp(argv[i + 1], "master"))
      all = 0, ++i;
    else if (!std::strcmp(argv[i], "--all") && !std::strcmp(argv[i + 1], "backup"))
      all = 1, ++i;
    else if (!std::strcmp(argv[i], "--version3"))
      version3 = number(argv[++i]);
    else if (!std::strcmp(argv[i], "--family") && !std::strcmp(argv[i + 1], "ipv4"))
      family = kIpv4, ++i;
    else if (!std::strcmp(argv[i], "--family") && !std::strcmp(argv[i + 1], "ipv6"))
      family = kIpv6, ++i;
    else if (!std::strcmp(argv[i], "--family") && !std::strcmp(argv[i + 1], "both"))
      family = kBoth, ++i;
    else
      usage();
  }
  std::mt19937 rng(static_cast<unsigned>(seed));
  const int perIntf = 255;
  const int intfs = static_cast<int>((n + perIntf - 1) / perIntf);

  std::printf("{\n  \"interfaces\": {");
  for (int k = 0; k < intfs; ++k) {
    std::printf("%s\n    \"Ethernet%d\": {\"ifIndex\": %d}", k ? "," : "", k + 1, 1000 + k);
  }
  std::printf("\n  },\n  \"ip\": {");
  for (int k = 0; k < intfs; ++k) {
    std::printf("%s\n    \"Ethernet%d\": {\"activeAddrWithMask\": \"%s/16\"}", k ? "," : "", k + 1,
                intfAddr(k, 2).c_str());
  }
  std::vector<Router> routers;
  for (long r = 0; r < n; ++r) {
    Router x{static_cast<int>(r / perIntf),   static_cast<int>(r % perIntf) + 1,
             static_cast<int>(rng() % 3),     1 + static_cast<int>(rng() % 254),
             1 + static_cast<int>(rng() % 4), static_cast<unsigned>(rng())};
    if (flip && r % flip == 0 && x.state != 2) x.state = 1 - x.state;
    if (all >= 0) x.state = all;
    x.v3 = version3 && (r + 1) % version3 == 0;
    routers.push_back(x);
  }
  // One section of the document with the routers `in` takes.
  auto section = [&](const char* name, auto in, auto body) {
    std::printf("\n  },\n  \"%s\": {", name);
    int open = -1;
    for (size_t r = 0; r < routers.size(); ++r) {
      const Router& x = routers[r];
      if (!in(x)) continue;
      if (x.intf != open) {
        std::printf("%s\n    \"Ethernet%d\": {", open < 0 ? "" : "\n    },", x.intf + 1);
        open = x.intf;
      } else {
        std::printf(",");
      }
      std::printf("\n      \"%d\": ", x.vrId);
      body(r, x);
    }
    if (open >= 0) std::printf("\n    }");
  };
  static const char* states[] = {"master", "backup", "initialize"};
  const auto everyRouter = [](const Router&) { return true; };
  section("vrrpConfig", everyRouter, [&](size_t, const Router& x) {
    std::printf(
        "{\"version\": %d, \"priority\": %d, \"preempt\": true, \"adminState\": \"enabled\", "
        "\"authType\": \"noAuthentication\", \"authKey\": \"\", \"advertisementInterval\": 100}",
        x.v3 ? 3 : 2, x.priority);
  });
  const auto ipv4 = [&](const Router& x) { return !x.v3 || (family & kIpv4); };
  section("vrrpStatus", ipv4, [&](size_t, const Router& x) {
    std::string src = x.state == 0   ? intfAddr(x.intf, 2)
                      : x.state == 1 ? intfAddr(x.intf, 3)
                                     : std::string("0.0.0.0");
    std::printf(
        "{\"state\": \"%s\", \"priority\": %d, \"srcAddr\": \"%s\", "
        "\"virtualMacAddr\": \"00:00:5e:00:01:%02x\", \"ipAddrs\": {",
        states[x.state], x.priority, src.c_str(), x.vrId);
    addrsAndUpSince(x, intfAddr);
  });
  if (family & kIpv6) {
    const auto ipv6 = [](const Router& x) { return x.v3; };
    section("vrrpStatusV6", ipv6, [&](size_t, const Router& x) {
      // A backup hears the master's link-local; the router's own is host 2, as for IPv4.
      const std::string src = x.state == 1 ? linkLocal(x.intf, 3) : "::";
      std::printf(
          "{\"state\": \"%s\", \"priority\": %d, \"srcAddr\": \"%s\", \"primaryAddr\": \"%s\", "
          "\"virtualMacAddr\": \"00:00:5e:00:02:%02x\", \"ipAddrs\": {",
          states[x.state], x.priority, src.c_str(), linkLocal(x.intf, 2).c_str(), x.vrId);
      addrsAndUpSince(x, intfAddr6);
    });
  }
  std::printf("\n  }\n}\n");
  return 0;
}
