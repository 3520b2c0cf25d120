// SPDX-License-Identifier: Apache-2.0
#include "zentra/StateDocument.h"

#include <cmath>
#include <initializer_list>
#include <map>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "zentra/JsonReader.h"

namespace Zentra {

StateDocumentError::StateDocumentError(Kiv::String8 path, Kiv::String8 reason)
    : Kiv::RangeException(path + ": " + reason),
      path_(std::move(path)),
      reason_(std::move(reason)) {}

StateDocumentError::StateDocumentError(std::size_t line, std::size_t column, Kiv::String8 path,
                                       Kiv::String8 reason)
    : Kiv::RangeException("line " + std::to_string(line) + ", column " + std::to_string(column) +
                          " (at " + path + "): " + reason),
      path_(std::move(path)),
      reason_(std::move(reason)),
      line_(line),
      column_(column) {}

namespace {

using Json::Type;
using Json::Value;
using Kiv::String8;
using Routing::Fhrp::VrId;

// "a, b or c"
template <class Names>
String8 alternatives(const Names& names) {
  String8 text;
  std::size_t i = 0;
  for (std::string_view name : names) {
    if (i != 0) text += i + 1 == std::size(names) ? " or " : ", ";
    text += name;
    ++i;
  }
  return text;
}

// The members of each object whose members are fixed. Absent required members are reported
// in this order.
constexpr std::string_view kSections[] = {"interfaces", "ip",           "vrrpConfig",
                                          "vrrpStatus", "vrrpStatusV6", "vrrpStatistics"};
constexpr std::string_view kInterface[] = {"ifIndex"};
constexpr std::string_view kIp[] = {"activeAddrWithMask"};
constexpr std::string_view kConfig[] = {"version",
                                        "priority",
                                        "preempt",
                                        "adminState",
                                        "authType",
                                        "authKey",
                                        "advertisementInterval",
                                        "acceptMode"};
// The IPv6 status has one member more, the router's own address.
constexpr std::string_view kStatus[] = {"state",          "priority",   "srcAddr",
                                        "virtualMacAddr", "ipAddrs",    "ipAddrCount",
                                        "upSince",        "statistics", "primaryAddr"};
constexpr std::size_t kStatusRequired = 5;  // state to ipAddrs
constexpr std::size_t kIpAddrCount = 5;
constexpr std::size_t kStatusV4Members = 8;
constexpr std::string_view kStatistics[] = {
    "advertisementsRcvd", "advIntervalErrors",  "ipTtlErrors",     "versionErrors",
    "checksumErrors",     "priZeroPktsRcvd",    "priZeroPktsSent", "invalidTypePktsRcvd",
    "addressListErrors",  "packetLengthErrors", "masterPriority"};
constexpr std::string_view kGlobalStatistics[] = {"checksumErrors", "versionErrors", "vrIdErrors",
                                                  "refreshRate"};

// Reads the document straight from the text as simdjson walks it, so that nothing but the
// result is built. The first fault ends the walk.
class Reader {
 public:
  Reader(std::string_view text, const Json::Limits& limits) : in_(text, limits) {}

  StateDocument document() {
    StateDocument doc;
    Value root = in_.root();
    members(root, kSections, [&](std::size_t section, Value& v) {
      switch (section) {
        case 0:
          return interfaces(v, doc.interfaces);
        case 1:
          return perInterface(v, doc.ip, [&](Value& ip, Lirex::IpAddrWithMask& addr) {
            const auto read = [&](std::size_t, Value& a) {
              addr = strep<Lirex::IpAddrWithMask>(a);
            };
            if (!members(ip, kIp, read)) missing(kIp[0]);
          });
        case 2:
          return perInterface(v, doc.vrrpConfig, [&](Value& vrs, StateDocument::VrConfigs& out) {
            perVirtualRouter(vrs, out, [&](Value& c, auto& config) { vrConfig(c, config); });
          });
        case 3:
          return perInterface(v, doc.vrrpStatus, [&](Value& vrs, StateDocument::VrStatuses& out) {
            perVirtualRouter(vrs, out, [&](Value& s, auto& status) { vrStatus(s, status); });
          });
        case 4:
          return perInterface(
              v, doc.vrrpStatusV6, [&](Value& vrs, StateDocument::VrStatusesV6& out) {
                perVirtualRouter(vrs, out, [&](Value& s, auto& status) { vrStatus(s, status); });
              });
        default:
          return globalStatistics(v, doc.vrrpStatistics);
      }
    });
    in_.finish();
    return doc;
  }

 private:
  [[noreturn]] void fail(const String8& reason) { in_.fail(reason); }
  [[noreturn]] void missing(std::string_view key) { fail("missing member " + Json::quote(key)); }

  U32 integer(Value& v, U32 min, U32 max) { return in_.integer(v, min, max); }
  // A value type written as text; the type's own parser says what is wrong with it.
  template <class T>
  T strep(std::string_view text) {
    try {
      return Lirex::strepToValue<T>(String8(text));
    } catch (const Kiv::RangeException& e) {
      fail(e.message());
    }
  }
  template <class T>
  T strep(Value& v) {
    return strep<T>(in_.string(v));
  }
  template <class T>
  T named(Value& v, const char* what, std::initializer_list<std::pair<std::string_view, T>> names) {
    const std::string_view text = in_.string(v);
    for (const auto& name : names) {
      if (name.first == text) return name.second;
    }
    std::vector<std::string_view> choices;
    for (const auto& name : names) choices.push_back(name.first);
    fail(String8("unknown ") + what + " " + Json::quote(text) + " (expected " +
         alternatives(choices) + ")");
  }

  // An object of the members `names`, each read by `read(its position in names, value)`. Typos
  // must not pass silently: a member the format does not know is an error. Returns the members
  // seen, bit i for names[i].
  template <class F>
  unsigned members(Value& v, std::span<const std::string_view> names, F&& read) {
    const std::size_t N = names.size();
    unsigned seen = 0;
    in_.members(v, [&](std::string_view key, Value value) {
      std::size_t which = 0;
      while (which < N && names[which] != key) ++which;
      if (which == N) {
        fail("unknown member " + Json::quote(key) + " (expected " + alternatives(names) + ")");
      }
      if (seen & 1u << which) in_.duplicateKey(key);
      seen |= 1u << which;
      read(which, value);
    });
    return seen;
  }

  Lirex::IntfId intfId(std::string_view key) {
    if (key.empty()) fail("empty interface name");
    for (char c : key) {
      if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f) {
        fail("interface name " + Json::quote(key) + " contains white space or a control character");
      }
    }
    return Lirex::IntfId(String8(key));
  }
  VrId vrId(std::string_view key) {
    bool ok = !key.empty() && key.size() <= 3 && key[0] != '0';
    VrId id = 0;
    for (char c : key) {
      ok = ok && c >= '0' && c <= '9';
      id = id * 10 + static_cast<VrId>(c - '0');
    }
    if (!ok || id > 255) {
      fail("bad virtual router id " + Json::quote(key) +
           " (expected a decimal number 1..255 without sign or leading zeros)");
    }
    return id;
  }

  // An object keyed by `key(name)`, each value read by `read(value, entry)`. Keys that mean the
  // same are the same text, so a key already in `out` is a repeated key.
  template <class K, class V, class Key, class F>
  void keyed(Value& v, std::map<K, V>& out, Key&& key, F&& read) {
    in_.members(v, [&](std::string_view name, Value value) {
      const std::size_t before = out.size();
      // Documents list their keys in order more often than not, so try the end first.
      const auto entry = out.emplace_hint(out.end(), key(name), V());
      if (out.size() == before) in_.duplicateKey(name);
      read(value, *entry);
    });
  }
  template <class V, class F>
  void perInterface(Value& v, std::map<Lirex::IntfId, V>& out, F&& read) {
    keyed(
        v, out, [&](std::string_view name) { return intfId(name); },
        [&](Value& value, auto& entry) { read(value, entry.second); });
  }
  template <class V, class F>
  void perVirtualRouter(Value& v, std::map<VrId, V>& out, F&& read) {
    keyed(
        v, out, [&](std::string_view name) { return vrId(name); },
        [&](Value& value, auto& entry) { read(value, entry.second); });
  }

  void interfaces(Value& v, std::map<Lirex::IntfId, U32>& out) {
    // ifIndex names the interface in every MIB table, so two interfaces cannot share one.
    std::map<U32, const Lirex::IntfId*> owners;
    keyed(
        v, out, [&](std::string_view name) { return intfId(name); },
        [&](Value& intf, auto& entry) {
          const unsigned seen = members(intf, kInterface, [&](std::size_t, Value& i) {
            entry.second = integer(i, 1, StateDocument::kMaxIfIndex);
            const auto owner = owners.try_emplace(entry.second, &entry.first);
            if (!owner.second) {
              fail("ifIndex " + std::to_string(entry.second) + " is already the ifIndex of " +
                   Json::quote(owner.first->second->name()));
            }
          });
          if (!seen) missing(kInterface[0]);
        });
  }
  void vrConfig(Value& v, StateDocument::VirtualRouterConfig& c) {
    members(v, kConfig, [&](std::size_t which, Value& m) {
      using Interface::IntfEnabledState;
      using Lirex::VrrpAuthType;
      switch (which) {
        case 0:
          c.version = integer(m, 1, 0xffffffffu);
          break;
        case 1:
          c.priority = integer(m, 0, StateDocument::kMaxPriority);
          break;
        case 2:
          c.preempt = in_.boolean(m);
          break;
        case 3:
          c.adminState = named<IntfEnabledState>(
              m, "adminState",
              {{"enabled", IntfEnabledState::enabled}, {"disabled", IntfEnabledState::disabled}});
          break;
        case 4:
          c.authType = named<VrrpAuthType>(
              m, "authType",
              {{"noAuthentication", VrrpAuthType::noAuthentication},
               {"simpleTextPassword", VrrpAuthType::simpleTextPassword},
               {"ipAuthenticationHeader", VrrpAuthType::ipAuthenticationHeader}});
          break;
        case 5:
          c.authKey = String8(in_.string(m));
          break;
        case 6:
          c.advertisementInterval = integer(m, 1, StateDocument::kMaxAdvertisementInterval);
          break;
        default:
          c.acceptMode = in_.boolean(m);
      }
    });
  }

  // The IPv4 and the IPv6 status share their members, but for the IPv6 one's own address.
  template <class Status>
  void vrStatus(Value& v, Status& s) {
    constexpr bool v6 = std::is_same_v<Status, StateDocument::VirtualRouterStatusV6>;
    constexpr std::size_t known = v6 ? std::size(kStatus) : kStatusV4Members;
    U32 trueCount = 0;
    const auto names = std::span(kStatus).first(known);
    const unsigned seen = members(v, names, [&](std::size_t which, Value& m) {
      using Routing::Fhrp::FhrpState;
      switch (which) {
        case 0:
          s.state = named<FhrpState>(m, "state",
                                     {{"master", FhrpState::master},
                                      {"backup", FhrpState::backup},
                                      {"initialize", FhrpState::initialize}});
          break;
        case 1:
          s.priority = integer(m, 0, StateDocument::kMaxPriority);
          break;
        case 2:
          if constexpr (v6) {
            s.srcAddr = ipv6(in_.string(m));
          } else {
            s.srcAddr = strep<Lirex::IpAddr>(m);
          }
          break;
        case 3:
          s.virtualMacAddr = strep<Lirex::EthAddr>(m);
          break;
        case 4:
          trueCount = ipAddrs(m, s.ipAddrs);
          break;
        case kIpAddrCount:
          s.ipAddrCount = integer(m, 0, StateDocument::kMaxIpAddrCount);
          break;
        case 6:
          upSince(m, s.upSince);
          break;
        case 7:
          statistics(m, s.statistics);
          break;
        default:
          if constexpr (v6) s.primaryAddr = ipv6(in_.string(m));
      }
    });
    for (std::size_t i = 0; i < kStatusRequired; ++i) {
      if (!(seen & 1u << i)) missing(kStatus[i]);
    }
    if (!(seen & 1u << kIpAddrCount)) s.ipAddrCount = trueCount;
  }

  Lirex::InetAddr ipv6(std::string_view text) {
    const auto addr = strep<Lirex::InetAddr>(text);
    if (!addr.isV6()) fail("expected an IPv6 address, got " + Json::quote(text));
    return addr;
  }

  void statistics(Value& v, StateDocument::RouterStatistics& s) {
    U64* counters[] = {&s.advertisementsRcvd, &s.advIntervalErrors,   &s.ipTtlErrors,
                       &s.versionErrors,      &s.checksumErrors,      &s.priZeroPktsRcvd,
                       &s.priZeroPktsSent,    &s.invalidTypePktsRcvd, &s.addressListErrors,
                       &s.packetLengthErrors};
    members(v, kStatistics, [&](std::size_t which, Value& m) {
      if (which < std::size(counters)) {
        *counters[which] = in_.counter(m);
      } else {
        s.masterPriority = integer(m, 0, StateDocument::kMaxPriority);
      }
    });
  }

  void globalStatistics(Value& v, StateDocument::GlobalStatistics& s) {
    U64* counters[] = {&s.checksumErrors, &s.versionErrors, &s.vrIdErrors};
    members(v, kGlobalStatistics, [&](std::size_t which, Value& m) {
      if (which < std::size(counters)) {
        *counters[which] = in_.counter(m);
      } else {
        s.refreshRate = integer(m, 0, 0xffffffffu);
      }
    });
  }

  void upSince(Value& v, double& out) {
    std::string_view text;
    const double value = in_.number(v, text);
    if (value < 0) {
      fail(String8(text) + " is not a time (expected seconds since the epoch, or 0)");
    }
    out = value + 0.0;  // -0 reads as 0
  }

  // Returns how many addresses are true.
  template <class Addr>
  U32 ipAddrs(Value& v, std::map<Addr, bool>& out) {
    U32 trueCount = 0;
    keyed(
        v, out,
        [&](std::string_view name) {
          if constexpr (std::is_same_v<Addr, Lirex::InetAddr>) {
            return ipv6(name);
          } else {
            return strep<Addr>(name);
          }
        },
        [&](Value& b, auto& entry) {
          entry.second = in_.boolean(b);
          trueCount += entry.second ? 1 : 0;
        });
    if (trueCount > StateDocument::kMaxIpAddrCount) {
      fail(std::to_string(trueCount) + " addresses are true, more than the " +
           std::to_string(StateDocument::kMaxIpAddrCount) + " a virtual router can have");
    }
    return trueCount;
  }

  Json::Reader in_;
};

}  // namespace

StateDocument parseStateDocument(std::string_view text, const Json::Limits& limits) {
  return Reader(text, limits).document();
}

}  // namespace Zentra
