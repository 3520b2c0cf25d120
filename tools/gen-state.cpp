// Writes a state document with N virtual routers to stdout, for benchmarks, soak
// tests and demos. Routers are spread over interfaces, at most 255 per interface;
// each has one to four addresses; states and priorities vary. The same arguments
// always give the same document, so a run can be repeated exactly.
//
//   gen-state N [--seed S] [--flip K] [--all master|backup] [--version3 EVERY]
//     --all STATE     every router in STATE (after --flip): a mass failover or a start
//                     with every router already master
//     --flip K        swap master and backup on every router whose index % K == 0
//                     (K = 1 fails over every router)
//     --version3 E    every E-th router is configured with version 3
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace {

void usage() {
  std::fprintf(
      stderr,
      "usage: gen-state N [--seed S] [--flip K] [--all master|backup] [--version3 EVERY]\n");
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
};

std::string ip(int a, int b, int c, int d) {
  return std::to_string(a) + "." + std::to_string(b) + "." + std::to_string(c) + "." +
         std::to_string(d);
}

// Interface k owns 10.(k/256).(k%256).0/24 style space spread over two octets.
std::string intfAddr(int intf, int host) {
  return ip(10, intf / 250, intf % 250, host);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) usage();
  long n = number(argv[1]);
  long seed = 1, flip = 0, version3 = 0;
  int all = -1;
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
    routers.push_back(x);
  }
  auto section = [&](const char* name, auto body) {
    std::printf("\n  },\n  \"%s\": {", name);
    int open = -1;
    for (size_t r = 0; r < routers.size(); ++r) {
      const Router& x = routers[r];
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
  section("vrrpConfig", [&](size_t r, const Router& x) {
    int version = version3 && (r + 1) % version3 == 0 ? 3 : 2;
    std::printf(
        "{\"version\": %d, \"priority\": %d, \"preempt\": true, \"adminState\": \"enabled\", "
        "\"authType\": \"noAuthentication\", \"authKey\": \"\", \"advertisementInterval\": 100}",
        version, x.priority);
  });
  section("vrrpStatus", [&](size_t, const Router& x) {
    static const char* states[] = {"master", "backup", "initialize"};
    std::string src = x.state == 0   ? intfAddr(x.intf, 2)
                      : x.state == 1 ? intfAddr(x.intf, 3)
                                     : std::string("0.0.0.0");
    std::printf(
        "{\"state\": \"%s\", \"priority\": %d, \"srcAddr\": \"%s\", "
        "\"virtualMacAddr\": \"00:00:5e:00:01:%02x\", \"ipAddrs\": {",
        states[x.state], x.priority, src.c_str(), x.vrId);
    for (int a = 0; a < x.addrs; ++a) {
      // Virtual addresses live in 10.x.y.(4..255), four per router id band.
      int host = 4 + ((x.vrId - 1) % 63) * 4 + a;
      std::printf("%s\"%s\": true", a ? ", " : "", intfAddr(x.intf, host).c_str());
    }
    std::printf("}, \"upSince\": %s}", x.state == 2 ? "0" : "1763760000.5");
  });
  std::printf("\n  }\n}\n");
  return 0;
}
