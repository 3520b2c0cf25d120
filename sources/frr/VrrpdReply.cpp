// SPDX-License-Identifier: Apache-2.0
#include "sources/frr/VrrpdReply.h"

#include <simdjson.h>

#include "zentra/StateDocument.h"

namespace Sources {
namespace {

using simdjson::dom::object;
using value = simdjson::dom::element;

// A member that cannot be read, by its path from the innermost object read by name outwards
// (v4.status).
struct MemberError {
  Kiv::String8 path;
  Kiv::String8 reason;
};

// simdjson's own errors name no member; each read below says which one it was.
template <typename Read>
auto member(object& o, std::string_view name, Read read) {
  try {
    return read(o.at_key(name).value());
  } catch (const MemberError& e) {
    throw MemberError{Kiv::String8(name) + "." + e.path, e.reason};
  } catch (const simdjson::simdjson_error& e) {
    throw MemberError{Kiv::String8(name), e.what()};
  } catch (const Kiv::RangeException& e) {
    throw MemberError{Kiv::String8(name), e.message()};
  }
}

// The bounds the records hold: a reply outside them is vrrpd misbehaving, refused whole.
template <U32 kMin, U32 kMax>
U32 bounded(value v) {
  uint64_t n = v.get_uint64();
  if (n < kMin || n > kMax) {
    throw Kiv::RangeException(std::to_string(n) + " is outside " + std::to_string(kMin) + ".." +
                              std::to_string(kMax));
  }
  return static_cast<U32>(n);
}
constexpr auto vrid = bounded<1, 255>;
constexpr auto priority = bounded<0, 255>;
constexpr auto u32 = bounded<0, 0xffffffffu>;
Kiv::String8 text(value v) {
  return Kiv::String8(std::string_view(v.get_string()));
}

Routing::Fhrp::FhrpState state(value v) {
  std::string_view s = v.get_string();
  if (s == "Master") return Routing::Fhrp::FhrpState::master;
  if (s == "Backup") return Routing::Fhrp::FhrpState::backup;
  if (s == "Initialize") return Routing::Fhrp::FhrpState::initialize;
  throw Kiv::RangeException("unknown state \"" + Kiv::String8(s) + "\"");
}

// vrrpd writes an address of the instance's family, or "" (IPv4) or "::" (IPv6) for none.
template <Lirex::AddrFamily kFamily>
Lirex::InetAddr address(value v) {
  std::string_view s = v.get_string();
  if (s.empty()) return Lirex::InetAddr::zero(kFamily);
  Lirex::InetAddr a = Lirex::strepToValue<Lirex::InetAddr>(Kiv::String8(s));
  if (a.family() != kFamily) {
    throw Kiv::RangeException("\"" + Kiv::String8(s) + "\" is not an " +
                              (kFamily == Lirex::AddrFamily::ipv4 ? "IPv4" : "IPv6") + " address");
  }
  return a;
}

template <Lirex::AddrFamily kFamily>
std::vector<Lirex::InetAddr> addresses(value v) {
  std::vector<Lirex::InetAddr> out;
  for (auto a : v.get_array()) {
    if (out.size() == Zentra::StateDocument::kMaxIpAddrCount) {
      throw Kiv::RangeException("more than 255 addresses");
    }
    out.push_back(address<kFamily>(a));
  }
  return out;
}

Lirex::IntfId interface(value v) {
  Kiv::String8 name = text(v);
  if (name.empty()) throw Kiv::RangeException("empty interface name");
  return Lirex::IntfId(name);
}

template <Lirex::AddrFamily kFamily>
VrrpdInstance instance(value v) {
  object o = v.get_object();
  VrrpdInstance i;
  // "" until vrrpd finds the instance's macvlan.
  i.interface = member(o, "interface", [](value n) { return Lirex::IntfId(text(n)); });
  i.vmac = member(o, "vmac", [](value m) { return Lirex::strepToValue<Lirex::EthAddr>(text(m)); });
  i.primaryAddress = member(o, "primaryAddress", address<kFamily>);
  i.state = member(o, "status", state);
  i.effectivePriority = member(o, "effectivePriority", priority);
  i.addresses = member(o, "addresses", addresses<kFamily>);
  i.advertisementsRcvd = member(o, "stats", [](value s) {
    object stats = s.get_object();
    return member(stats, "adverRx", [](value n) { return U64(n.get_uint64()); });
  });
  return i;
}

template <typename Each>
void parse(std::string_view json, Each each) {
  // One parser and one padded copy for every answer: vrrpd's answer for hundreds of routers is
  // hundreds of kilobytes, and fresh buffers of that size cost more in page faults than the parse
  // itself, once a second. The whole answer is parsed, not read On-Demand: its members are looked
  // up out of order, and On-Demand walks an object again on the word that its first walk found
  // it whole, which text that is no JSON (a missing comma in a part not read yet) breaks.
  static thread_local simdjson::dom::parser parser;
  static thread_local std::string padded;
  padded.reserve(json.size() + simdjson::SIMDJSON_PADDING);
  padded.assign(json);
  try {
    each(value(parser.parse(padded.data(), padded.size(), false)));
  } catch (const MemberError& e) {
    throw VrrpdReplyError("vrrpd's answer: " + e.path + ": " + e.reason);
  } catch (const simdjson::simdjson_error& e) {
    throw VrrpdReplyError(Kiv::String8("vrrpd's answer: ") + e.what());
  }
}

}  // namespace

std::vector<VrrpdRouter> parseShowVrrp(std::string_view json) {
  std::vector<VrrpdRouter> routers;
  parse(json, [&](value document) {
    for (value element : document.get_array()) {
      object o = element.get_object();
      VrrpdRouter r;
      r.vrid = member(o, "vrid", vrid);
      r.version = member(o, "version", u32);
      r.shutdown = member(o, "shutdown", [](value v) { return bool(v.get_bool()); });
      r.preempt = member(o, "preemptMode", [](value v) { return bool(v.get_bool()); });
      r.parent = member(o, "interface", interface);
      r.intervalMs = member(o, "advertisementInterval", u32);
      r.v4 = member(o, "v4", instance<Lirex::AddrFamily::ipv4>);
      r.v6 = member(o, "v6", instance<Lirex::AddrFamily::ipv6>);
      routers.push_back(std::move(r));
    }
  });
  return routers;
}

std::map<RouterKey, U32> parseConfiguredPriorities(std::string_view json) {
  std::map<RouterKey, U32> priorities;
  parse(json, [&](value document) {
    // A daemon without interfaces answers without the subtree.
    auto lib = document.get_object().at_key("frr-interface:lib");
    if (lib.error() == simdjson::NO_SUCH_FIELD) return;
    auto interfaces = lib.get_object().at_key("interface");
    if (interfaces.error() == simdjson::NO_SUCH_FIELD) return;
    for (value element : interfaces.get_array()) {
      object intf = element.get_object();
      Lirex::IntfId name = member(intf, "name", interface);
      auto vrrp = intf.at_key("frr-vrrpd:vrrp");
      if (vrrp.error() == simdjson::NO_SUCH_FIELD) continue;
      for (value group : vrrp.get_object().at_key("vrrp-group").get_array()) {
        object g = group.get_object();
        U32 id = member(g, "virtual-router-id", vrid);
        priorities[{name, id}] = member(g, "priority", priority);
      }
    }
  });
  return priorities;
}

}  // namespace Sources
