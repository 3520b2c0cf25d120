#include "zentra/StateDocument.h"

#include <cmath>
#include <initializer_list>
#include <utility>
#include <vector>

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

using Json::Value;
using Kiv::String8;
using Routing::Fhrp::VrId;

const char* withArticle(Value::Type type) {
  switch (type) {
    case Value::Type::Null:
      return "null";
    case Value::Type::Boolean:
      return "a boolean";
    case Value::Type::Number:
      return "a number";
    case Value::Type::String:
      return "a string";
    case Value::Type::Array:
      return "an array";
    case Value::Type::Object:
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

// Walks one document, keeping the keys that lead to the value being read so that every
// complaint says where it is. Any complaint ends the walk: there is nothing to recover, so the
// path is written out only then.
class Reader {
 public:
  StateDocument document(const Value& root) {
    StateDocument doc;
    object(root);
    onlyMembers(root, {"interfaces", "ip", "vrrpConfig", "vrrpStatus"});
    optional(root, "interfaces", [&](const Value& v) { interfaces(v, doc.interfaces); });
    optional(root, "ip", [&](const Value& v) {
      perInterface(v, doc.ip, [&](const Value& intf, Lirex::IpAddrWithMask& addr) {
        onlyMembers(intf, {"activeAddrWithMask"});
        required(intf, "activeAddrWithMask",
                 [&](const Value& a) { addr = strep<Lirex::IpAddrWithMask>(a); });
      });
    });
    optional(root, "vrrpConfig", [&](const Value& v) {
      perInterface(v, doc.vrrpConfig, [&](const Value& intf, StateDocument::VrConfigs& vrs) {
        perVirtualRouter(intf, vrs, [&](const Value& vr, auto& config) { vrConfig(vr, config); });
      });
    });
    optional(root, "vrrpStatus", [&](const Value& v) {
      perInterface(v, doc.vrrpStatus, [&](const Value& intf, StateDocument::VrStatuses& vrs) {
        perVirtualRouter(intf, vrs, [&](const Value& vr, auto& status) { vrStatus(vr, status); });
      });
    });
    return doc;
  }

 private:
  // The path names the member while `this` lives. Keys are views of the document's own
  // strings or of literals, both of which outlive the walk.
  class Step {
   public:
    Step(std::vector<std::string_view>& keys, std::string_view key) : keys_(keys) {
      keys_.push_back(key);
    }
    ~Step() { keys_.pop_back(); }
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

   private:
    std::vector<std::string_view>& keys_;
  };

  [[noreturn]] void fail(const String8& reason) const {
    Json::Path path;
    for (std::string_view key : keys_) path.pushKey(key);
    throw StateDocumentError(path.str(), reason);
  }
  [[noreturn]] void outOfRange(const Value& v, U32 min, U32 max) const {
    fail(v.numberText() + " is out of range " + std::to_string(min) + ".." + std::to_string(max));
  }

  void expect(const Value& v, Value::Type type, const char* what) const {
    if (v.type() != type) fail(String8("expected ") + what + ", got " + withArticle(v.type()));
  }
  const Value& object(const Value& v) const {
    expect(v, Value::Type::Object, "an object");
    return v;
  }
  bool boolean(const Value& v) const {
    expect(v, Value::Type::Boolean, "true or false");
    return v.asBool();
  }
  const String8& string(const Value& v) const {
    expect(v, Value::Type::String, "a string");
    return v.asString();
  }
  U32 integer(const Value& v, U32 min, U32 max) const {
    expect(v, Value::Type::Number, "an integer");
    if (!v.isInteger()) fail("expected an integer, got " + v.numberText());
    S64 n = 0;
    try {
      n = v.asInt64();
    } catch (const Kiv::RangeException&) {
      outOfRange(v, min, max);
    }
    if (n < min || n > max) outOfRange(v, min, max);
    return static_cast<U32>(n);
  }
  // A value type written as text; the type's own parser says what is wrong with it.
  template <class T>
  T strep(const Value& v) const {
    const String8& text = string(v);
    try {
      return Lirex::strepToValue<T>(text);
    } catch (const Kiv::RangeException& e) {
      fail(e.message());
    }
  }
  template <class T>
  T named(const Value& v, const char* what,
          std::initializer_list<std::pair<std::string_view, T>> names) const {
    const String8& text = string(v);
    for (const auto& [name, value] : names) {
      if (name == text) return value;
    }
    std::vector<std::string_view> choices;
    for (const auto& [name, value] : names) choices.push_back(name);
    fail(String8("unknown ") + what + " " + Json::quote(text) + " (expected " +
         alternatives(choices) + ")");
  }

  // Typos must not pass silently: a member the format does not know is an error.
  void onlyMembers(const Value& obj, std::initializer_list<std::string_view> known) {
    for (const Json::Member& m : obj.members()) {
      bool found = false;
      for (std::string_view k : known) found = found || k == m.key;
      if (found) continue;
      Step step(keys_, m.key);
      fail("unknown member " + Json::quote(m.key) + " (expected " + alternatives(known) + ")");
    }
  }
  template <class F>
  bool optional(const Value& obj, std::string_view key, F&& read) {
    const Value* v = obj.find(key);
    if (!v) return false;
    Step step(keys_, key);
    read(*v);
    return true;
  }
  template <class F>
  void required(const Value& obj, std::string_view key, F&& read) {
    if (!optional(obj, key, std::forward<F>(read))) fail("missing member " + Json::quote(key));
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

  // Every member of an object keyed by interface name, read by `read(value, entry)`.
  template <class V, class F>
  void perInterface(const Value& obj, std::map<Lirex::IntfId, V>& out, F&& read) {
    object(obj);
    for (const Json::Member& m : obj.members()) {
      Step step(keys_, m.key);
      V& entry = out[intfId(m.key)];
      read(object(m.value), entry);
    }
  }
  template <class V, class F>
  void perVirtualRouter(const Value& obj, std::map<VrId, V>& out, F&& read) {
    for (const Json::Member& m : obj.members()) {
      Step step(keys_, m.key);
      V& entry = out[vrId(m.key)];
      read(object(m.value), entry);
    }
  }

  void interfaces(const Value& v, std::map<Lirex::IntfId, U32>& out) {
    // ifIndex names the interface in every MIB table, so two interfaces cannot share one.
    std::map<U32, std::string_view> owners;
    object(v);
    for (const Json::Member& m : v.members()) {
      Step step(keys_, m.key);
      const Lirex::IntfId id = intfId(m.key);
      const Value& intf = object(m.value);
      onlyMembers(intf, {"ifIndex"});
      required(intf, "ifIndex", [&](const Value& i) {
        const U32 ifIndex = integer(i, 1, StateDocument::kMaxIfIndex);
        const auto [owner, added] = owners.try_emplace(ifIndex, m.key);
        if (!added) {
          fail("ifIndex " + std::to_string(ifIndex) + " is already the ifIndex of " +
               Json::quote(owner->second));
        }
        out[id] = ifIndex;
      });
    }
  }

  void vrConfig(const Value& vr, StateDocument::VirtualRouterConfig& c) {
    onlyMembers(vr, {"version", "priority", "preempt", "adminState", "authType", "authKey",
                     "advertisementInterval"});
    optional(vr, "version", [&](const Value& v) { c.version = integer(v, 1, 0xffffffffu); });
    optional(vr, "priority",
             [&](const Value& v) { c.priority = integer(v, 0, StateDocument::kMaxPriority); });
    optional(vr, "preempt", [&](const Value& v) { c.preempt = boolean(v); });
    optional(vr, "adminState", [&](const Value& v) {
      using Interface::IntfEnabledState;
      c.adminState = named<IntfEnabledState>(
          v, "adminState",
          {{"enabled", IntfEnabledState::enabled}, {"disabled", IntfEnabledState::disabled}});
    });
    optional(vr, "authType", [&](const Value& v) {
      using Lirex::VrrpAuthType;
      c.authType =
          named<VrrpAuthType>(v, "authType",
                              {{"noAuthentication", VrrpAuthType::noAuthentication},
                               {"simpleTextPassword", VrrpAuthType::simpleTextPassword},
                               {"ipAuthenticationHeader", VrrpAuthType::ipAuthenticationHeader}});
    });
    optional(vr, "authKey", [&](const Value& v) { c.authKey = string(v); });
    optional(vr, "advertisementInterval", [&](const Value& v) {
      c.advertisementInterval = integer(v, 1, StateDocument::kMaxAdvertisementInterval);
    });
  }

  void vrStatus(const Value& vr, StateDocument::VirtualRouterStatus& s) {
    onlyMembers(vr, {"state", "priority", "srcAddr", "virtualMacAddr", "ipAddrs", "ipAddrCount",
                     "upSince"});
    required(vr, "state", [&](const Value& v) {
      using Routing::Fhrp::FhrpState;
      s.state = named<FhrpState>(v, "state",
                                 {{"master", FhrpState::master},
                                  {"backup", FhrpState::backup},
                                  {"initialize", FhrpState::initialize}});
    });
    required(vr, "priority",
             [&](const Value& v) { s.priority = integer(v, 0, StateDocument::kMaxPriority); });
    required(vr, "srcAddr", [&](const Value& v) { s.srcAddr = strep<Lirex::IpAddr>(v); });
    required(vr, "virtualMacAddr",
             [&](const Value& v) { s.virtualMacAddr = strep<Lirex::EthAddr>(v); });
    required(vr, "ipAddrs", [&](const Value& v) { ipAddrs(v, s.ipAddrs); });
    U32 trueCount = 0;
    for (const auto& [addr, up] : s.ipAddrs) trueCount += up ? 1 : 0;
    s.ipAddrCount = trueCount;
    optional(vr, "ipAddrCount", [&](const Value& v) {
      s.ipAddrCount = integer(v, 0, StateDocument::kMaxIpAddrCount);
    });
    optional(vr, "upSince", [&](const Value& v) {
      expect(v, Value::Type::Number, "a number");
      const double seconds = v.asDouble();
      if (!std::isfinite(seconds) || seconds < 0) {
        fail(v.numberText() + " is not a time (expected seconds since the epoch, or 0)");
      }
      s.upSince = seconds + 0.0;  // -0 reads as 0
    });
  }

  void ipAddrs(const Value& v, std::map<Lirex::IpAddr, bool>& out) {
    object(v);
    U32 trueCount = 0;
    for (const Json::Member& m : v.members()) {
      Step step(keys_, m.key);
      Lirex::IpAddr addr;
      try {
        addr = Lirex::strepToValue<Lirex::IpAddr>(m.key);
      } catch (const Kiv::RangeException& e) {
        fail(e.message());
      }
      const bool up = boolean(m.value);
      out[addr] = up;
      trueCount += up ? 1 : 0;
    }
    if (trueCount > StateDocument::kMaxIpAddrCount) {
      fail(std::to_string(trueCount) + " addresses are true, more than the " +
           std::to_string(StateDocument::kMaxIpAddrCount) + " a virtual router can have");
    }
  }

  std::vector<std::string_view> keys_;
};

}  // namespace

StateDocument parseStateDocument(std::string_view text, const Json::Limits& limits) {
  Value root;
  try {
    root = Json::parse(text, limits);
  } catch (const Json::ParseError& e) {
    throw StateDocumentError(e);
  }
  return Reader().document(root);
}

}  // namespace Zentra
