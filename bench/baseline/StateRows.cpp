#include "bench/baseline/StateRows.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <tuple>

#include "kiv/Exception.h"
#include "lirex/EthAddr.h"
#include "lirex/IpAddr.h"
#include "zentra/Json.h"

namespace Baseline {
namespace {

using Zentra::Json::Value;

const Value& member(const Value& object, std::string_view key) {
  static const Value null;
  const Value* v = object.isObject() ? object.find(key) : nullptr;
  return v ? *v : null;
}

// An absent member is an empty object: a document may leave any section out.
const std::vector<Zentra::Json::Member>& members(const Value& object) {
  static const std::vector<Zentra::Json::Member> none;
  return object.isNull() ? none : object.members();
}

S64 integer(const Value& object, std::string_view key, S64 absent) {
  const Value& v = member(object, key);
  return v.isNull() ? absent : v.asInt64();
}

Kiv::String8 text(const Value& object, std::string_view key, const char* absent) {
  const Value& v = member(object, key);
  return v.isNull() ? Kiv::String8(absent) : v.asString();
}

U32 address(const Kiv::String8& text) {
  return Lirex::strepToValue<Lirex::IpAddr>(text).value();
}

S32 stateNumber(const Kiv::String8& state) {
  if (state == "master") return 3;
  if (state == "backup") return 2;
  if (state == "initialize") return 1;
  throw Kiv::RangeException("unknown state " + state);
}

S32 authTypeNumber(const Kiv::String8& type) {
  if (type == "noAuthentication") return 1;
  if (type == "simpleTextPassword") return 2;
  if (type == "ipAuthenticationHeader") return 3;
  throw Kiv::RangeException("unknown authType " + type);
}

void addRouter(const Value& config, const Value& status, S32 ifIndex, U32 vrId, U32 ownAddr,
               StateRows& rows) {
  if (integer(config, "version", 2) != 2) return;
  OperRow r;
  r.ifIndex = ifIndex;
  r.vrId = vrId;
  r.virtualMacAddr =
      Lirex::strepToValue<Lirex::EthAddr>(text(status, "virtualMacAddr", "")).bytes();
  r.state = stateNumber(text(status, "state", ""));
  r.adminState = text(config, "adminState", "enabled") == "enabled" ? 1 : 2;
  r.priority = static_cast<S32>(integer(status, "priority", 0));
  r.authType = authTypeNumber(text(config, "authType", "noAuthentication"));
  r.advertisementInterval = static_cast<S32>(integer(config, "advertisementInterval", 100) / 100);
  const Value& preempt = member(config, "preempt");
  r.preempt = preempt.isNull() ? true : preempt.asBool();
  const Value& upSince = member(status, "upSince");
  r.upSince = upSince.isNull() ? 0 : upSince.asDouble();
  r.masterIpAddr = r.state == 3   ? ownAddr
                   : r.state == 2 ? address(text(status, "srcAddr", "0.0.0.0"))
                                  : 0;
  S64 trueAddrs = 0;
  for (const auto& a : members(member(status, "ipAddrs"))) {
    if (!a.value.asBool()) continue;
    ++trueAddrs;
    U32 addr = address(a.key);
    if (addr != 0) rows.asso.push_back({ifIndex, vrId, addr});
  }
  r.ipAddrCount = static_cast<S32>(integer(status, "ipAddrCount", trueAddrs));
  rows.oper.push_back(r);
}

}  // namespace

StateRows readStateRows(std::string_view json) {
  const Value doc = Zentra::Json::parse(json);
  std::map<Kiv::String8, S32> ifIndex;
  for (const auto& intf : members(member(doc, "interfaces"))) {
    ifIndex[intf.key] = static_cast<S32>(integer(intf.value, "ifIndex", 0));
  }
  std::map<Kiv::String8, U32> ownAddr;
  for (const auto& intf : members(member(doc, "ip"))) {
    Kiv::String8 withMask = text(intf.value, "activeAddrWithMask", "0.0.0.0/0");
    ownAddr[intf.key] = address(withMask.substr(0, withMask.find('/')));
  }
  StateRows rows;
  const Value& configs = member(doc, "vrrpConfig");
  for (const auto& intf : members(member(doc, "vrrpStatus"))) {
    const Value& intfConfig = member(configs, intf.key);
    // An interface that has no ifIndex record reads as ifIndex 0, as a missing record does.
    S32 index = ifIndex.count(intf.key) ? ifIndex[intf.key] : 0;
    U32 own = ownAddr.count(intf.key) ? ownAddr[intf.key] : 0;
    for (const auto& vr : members(intf.value)) {
      const Value& config = member(intfConfig, vr.key);
      if (config.isNull()) continue;
      addRouter(config, vr.value, index, static_cast<U32>(std::stoul(vr.key)), own, rows);
    }
  }
  auto operKey = [](const OperRow& r) { return std::tie(r.ifIndex, r.vrId); };
  auto assoKey = [](const AssoRow& r) { return std::tie(r.ifIndex, r.vrId, r.ipAddr); };
  std::sort(rows.oper.begin(), rows.oper.end(),
            [&](const OperRow& a, const OperRow& b) { return operKey(a) < operKey(b); });
  std::sort(rows.asso.begin(), rows.asso.end(),
            [&](const AssoRow& a, const AssoRow& b) { return assoKey(a) < assoKey(b); });
  return rows;
}

StateRows loadStateRows(const char* path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Kiv::RangeException(Kiv::String8("cannot read ") + path);
  std::ostringstream text;
  text << in.rdbuf();
  return readStateRows(text.str());
}

}  // namespace Baseline
