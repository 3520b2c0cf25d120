#include "zentra/StateDocument.h"

#include <cmath>
#include <initializer_list>
#include <map>
#include <utility>
#include <vector>

#include "zentra/JsonCursor.h"

namespace Zentra {

StateDocumentError::StateDocumentError(Kiv::String8 path, Kiv::String8 reason)
    : Kiv::RangeException(path + ": " + reason),
      path_(std::move(path)),
      reason_(std::move(reason)) {}

StateDocumentError::StateDocumentError(const Json::ParseError& error)
    : Kiv::RangeException(error.message()),
      path_(error.path()),
      reason_(error.reason()),
      line_(error.line()),
      column_(error.column()) {}

namespace {

using Json::Cursor;
using Kind = Json::Cursor::Kind;
using Kiv::String8;
using Routing::Fhrp::VrId;

const char* withArticle(Kind kind) {
  switch (kind) {
    case Kind::Null:
      return "null";
    case Kind::Boolean:
      return "a boolean";
    case Kind::Number:
      return "a number";
    case Kind::String:
      return "a string";
    case Kind::Array:
      return "an array";
    case Kind::Object:
      return "an object";
  }
  return "an unknown value";
}

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
constexpr std::string_view kSections[] = {"interfaces", "ip", "vrrpConfig", "vrrpStatus"};
constexpr std::string_view kInterface[] = {"ifIndex"};
constexpr std::string_view kIp[] = {"activeAddrWithMask"};
constexpr std::string_view kConfig[] = {
    "version", "priority", "preempt", "adminState", "authType", "authKey", "advertisementInterval"};
constexpr std::string_view kStatus[] = {"state",   "priority",    "srcAddr", "virtualMacAddr",
                                        "ipAddrs", "ipAddrCount", "upSince"};
constexpr std::size_t kStatusRequired = 5;  // state to ipAddrs
constexpr std::size_t kIpAddrCount = 5;

// Reads the document straight from the text as the cursor walks it, so that nothing but the
// result is built. The first fault ends the walk; where it is comes from the cursor, which
// writes the path only then.
class Reader {
 public:
  Reader(std::string_view text, const Json::Limits& limits) : in_(text, limits) {}

  StateDocument document() {
    StateDocument doc;
    members(kSections, [&](std::size_t section) {
      switch (section) {
        case 0:
          return interfaces(doc.interfaces);
        case 1:
          return perInterface(doc.ip, [&](const Lirex::IntfId&, Lirex::IpAddrWithMask& addr) {
            if (!members(kIp, [&](std::size_t) { addr = strep<Lirex::IpAddrWithMask>(); })) {
              missing(kIp[0]);
            }
          });
        case 2:
          return perInterface(doc.vrrpConfig,
                              [&](const Lirex::IntfId&, StateDocument::VrConfigs& vrs) {
                                perVirtualRouter(vrs, [&](auto& config) { vrConfig(config); });
                              });
        default:
          return perInterface(doc.vrrpStatus,
                              [&](const Lirex::IntfId&, StateDocument::VrStatuses& vrs) {
                                perVirtualRouter(vrs, [&](auto& status) { vrStatus(status); });
                              });
      }
    });
    in_.finish();
    return doc;
  }

 private:
  [[noreturn]] void fail(const String8& reason) const {
    throw StateDocumentError(in_.path(), reason);
  }
  [[noreturn]] void missing(std::string_view key) const {
    fail("missing member " + Json::quote(key));
  }

  Kind expect(Kind kind, const char* what) {
    const Kind found = in_.peek();
    if (found != kind) fail(String8("expected ") + what + ", got " + withArticle(found));
    return found;
  }
  void object() {
    expect(Kind::Object, "an object");
    in_.enterObject();
  }
  bool boolean() {
    expect(Kind::Boolean, "true or false");
    return in_.readBool();
  }
  std::string_view string() {
    expect(Kind::String, "a string");
    return in_.readString();
  }
  U32 integer(U32 min, U32 max) {
    expect(Kind::Number, "an integer");
    const Cursor::Number n = in_.readNumber();
    if (!n.isInteger()) fail("expected an integer, got " + String8(n.text));
    // Exact: the cursor reads integers of up to 15 digits exactly, and longer ones are out of
    // range anyway.
    if (n.value < min || n.value > max) {
      fail(String8(n.text) + " is out of range " + std::to_string(min) + ".." +
           std::to_string(max));
    }
    return static_cast<U32>(n.value);
  }
  // A value type written as text; the type's own parser says what is wrong with it.
  template <class T>
  T strep(std::string_view text) const {
    try {
      return Lirex::strepToValue<T>(String8(text));
    } catch (const Kiv::RangeException& e) {
      fail(e.message());
    }
  }
  template <class T>
  T strep() {
    return strep<T>(string());
  }
  template <class T>
  T named(const char* what, std::initializer_list<std::pair<std::string_view, T>> names) {
    const std::string_view text = string();
    for (const auto& name : names) {
      if (name.first == text) return name.second;
    }
    std::vector<std::string_view> choices;
    for (const auto& name : names) choices.push_back(name.first);
    fail(String8("unknown ") + what + " " + Json::quote(text) + " (expected " +
         alternatives(choices) + ")");
  }

  // An object of the members `names`, each read by `read(its position in names)`. Typos must
  // not pass silently: a member the format does not know is an error. Returns the members
  // seen, bit i for names[i].
  template <std::size_t N, class F>
  unsigned members(const std::string_view (&names)[N], F&& read) {
    static_assert(N <= 32);
    object();
    unsigned seen = 0;
    std::string_view key;
    while (in_.nextMember(key)) {
      std::size_t which = 0;
      while (which < N && names[which] != key) ++which;
      if (which == N) {
        fail("unknown member " + Json::quote(key) + " (expected " + alternatives(names) + ")");
      }
      if (seen & 1u << which) in_.duplicateKey();
      seen |= 1u << which;
      read(which);
    }
    return seen;
  }

  Lirex::IntfId intfId(std::string_view key) const {
    if (key.empty()) fail("empty interface name");
    for (char c : key) {
      if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f) {
        fail("interface name " + Json::quote(key) + " contains white space or a control character");
      }
    }
    return Lirex::IntfId(String8(key));
  }
  VrId vrId(std::string_view key) const {
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

  // An object keyed by `key(name)`, each value read by `read(entry)`. Keys that mean the same
  // are the same text, so a key already in `out` is a repeated key.
  template <class K, class V, class Key, class F>
  void keyed(std::map<K, V>& out, Key&& key, F&& read) {
    object();
    std::string_view name;
    while (in_.nextMember(name)) {
      const std::size_t before = out.size();
      // Documents list their keys in order more often than not, so try the end first.
      const auto entry = out.emplace_hint(out.end(), key(name), V());
      if (out.size() == before) in_.duplicateKey();
      read(*entry);
    }
  }
  template <class V, class F>
  void perInterface(std::map<Lirex::IntfId, V>& out, F&& read) {
    keyed(
        out, [&](std::string_view name) { return intfId(name); },
        [&](auto& entry) { read(entry.first, entry.second); });
  }
  template <class V, class F>
  void perVirtualRouter(std::map<VrId, V>& out, F&& read) {
    keyed(
        out, [&](std::string_view name) { return vrId(name); },
        [&](auto& entry) { read(entry.second); });
  }

  void interfaces(std::map<Lirex::IntfId, U32>& out) {
    // ifIndex names the interface in every MIB table, so two interfaces cannot share one.
    std::map<U32, const Lirex::IntfId*> owners;
    perInterface(out, [&](const Lirex::IntfId& id, U32& ifIndex) {
      const unsigned seen = members(kInterface, [&](std::size_t) {
        ifIndex = integer(1, StateDocument::kMaxIfIndex);
        const auto owner = owners.try_emplace(ifIndex, &id);
        if (!owner.second) {
          fail("ifIndex " + std::to_string(ifIndex) + " is already the ifIndex of " +
               Json::quote(owner.first->second->name()));
        }
      });
      if (!seen) missing(kInterface[0]);
    });
  }

  void vrConfig(StateDocument::VirtualRouterConfig& c) {
    members(kConfig, [&](std::size_t which) {
      using Interface::IntfEnabledState;
      using Lirex::VrrpAuthType;
      switch (which) {
        case 0:
          c.version = integer(1, 0xffffffffu);
          break;
        case 1:
          c.priority = integer(0, StateDocument::kMaxPriority);
          break;
        case 2:
          c.preempt = boolean();
          break;
        case 3:
          c.adminState = named<IntfEnabledState>(
              "adminState",
              {{"enabled", IntfEnabledState::enabled}, {"disabled", IntfEnabledState::disabled}});
          break;
        case 4:
          c.authType = named<VrrpAuthType>(
              "authType", {{"noAuthentication", VrrpAuthType::noAuthentication},
                           {"simpleTextPassword", VrrpAuthType::simpleTextPassword},
                           {"ipAuthenticationHeader", VrrpAuthType::ipAuthenticationHeader}});
          break;
        case 5:
          c.authKey = String8(string());
          break;
        default:
          c.advertisementInterval = integer(1, StateDocument::kMaxAdvertisementInterval);
      }
    });
  }

  void vrStatus(StateDocument::VirtualRouterStatus& s) {
    U32 trueCount = 0;
    const unsigned seen = members(kStatus, [&](std::size_t which) {
      using Routing::Fhrp::FhrpState;
      switch (which) {
        case 0:
          s.state = named<FhrpState>("state", {{"master", FhrpState::master},
                                               {"backup", FhrpState::backup},
                                               {"initialize", FhrpState::initialize}});
          break;
        case 1:
          s.priority = integer(0, StateDocument::kMaxPriority);
          break;
        case 2:
          s.srcAddr = strep<Lirex::IpAddr>();
          break;
        case 3:
          s.virtualMacAddr = strep<Lirex::EthAddr>();
          break;
        case 4:
          trueCount = ipAddrs(s.ipAddrs);
          break;
        case kIpAddrCount:
          s.ipAddrCount = integer(0, StateDocument::kMaxIpAddrCount);
          break;
        default:
          upSince(s.upSince);
      }
    });
    for (std::size_t i = 0; i < kStatusRequired; ++i) {
      if (!(seen & 1u << i)) missing(kStatus[i]);
    }
    if (!(seen & 1u << kIpAddrCount)) s.ipAddrCount = trueCount;
  }

  void upSince(double& out) {
    expect(Kind::Number, "a number");
    const Cursor::Number n = in_.readNumber();
    if (!std::isfinite(n.value) || n.value < 0) {
      fail(String8(n.text) + " is not a time (expected seconds since the epoch, or 0)");
    }
    out = n.value + 0.0;  // -0 reads as 0
  }

  // Returns how many addresses are true.
  U32 ipAddrs(std::map<Lirex::IpAddr, bool>& out) {
    U32 trueCount = 0;
    keyed(
        out, [&](std::string_view name) { return strep<Lirex::IpAddr>(name); },
        [&](auto& entry) {
          entry.second = boolean();
          trueCount += entry.second ? 1 : 0;
        });
    if (trueCount > StateDocument::kMaxIpAddrCount) {
      fail(std::to_string(trueCount) + " addresses are true, more than the " +
           std::to_string(StateDocument::kMaxIpAddrCount) + " a virtual router can have");
    }
    return trueCount;
  }

  Cursor in_;
};

}  // namespace

StateDocument parseStateDocument(std::string_view text, const Json::Limits& limits) {
  try {
    return Reader(text, limits).document();
  } catch (const Json::ParseError& e) {
    throw StateDocumentError(e);
  } catch (const StateDocumentError&) {
    // A wrong value is reported only for text that is JSON throughout: a half-written or
    // garbled document says so, wherever its first wrong value was.
    try {
      Json::check(text, limits);
    } catch (const Json::ParseError& e) {
      throw StateDocumentError(e);
    }
    throw;
  }
}

}  // namespace Zentra
