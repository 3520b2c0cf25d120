// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/TypeRegistration.h"

#include "FhrpSnmp/Agent.h"
#include "kiv/TypeRegistry.h"

namespace FhrpSnmp {
namespace {

void registerOnce(Kiv::TypeInfo info) {
  Kiv::TypeRegistry& registry = Kiv::TypeRegistry::instance();
  if (!registry.hasType(info.name)) registry.typeIs(std::move(info));
}

Agent& agentOf(Kiv::Entity& e) {
  return static_cast<Agent&>(e);
}
const Agent& agentOf(const Kiv::Entity& e) {
  return static_cast<const Agent&>(e);
}

// One constructor parameter of the machine out of the attribute's list.
template <class T>
Kiv::Ptr<const T> parameter(const std::vector<Kiv::Ptr<Kiv::PtrInterface>>& list, size_t i,
                            const char* name) {
  if (!list[i]) return nullptr;
  if (auto p = Kiv::ptrCast<const T>(list[i])) return p;
  throw Kiv::RangeException(Kiv::String8("wrong kind of value for FhrpSnmp::Agent::vrrpMibSm "
                                         "parameter ") +
                            name);
}

void setVrrpMibSm(Kiv::Entity& e, const Kiv::AttrValue& v) {
  Agent& agent = agentOf(e);
  if (std::holds_alternative<std::monostate>(v)) {
    agent.vrrpMibSmDel();
    return;
  }
  const auto* list = std::get_if<std::vector<Kiv::Ptr<Kiv::PtrInterface>>>(&v);
  if (!list || list->size() != 5) {
    throw Kiv::RangeException(
        "FhrpSnmp::Agent::vrrpMibSm takes the list fhrpConfig, vrrpStatus, allIntfStatus, "
        "ipStatus, vrrpMib");
  }
  agent.vrrpMibSmIs(parameter<Routing::Fhrp::Config>(*list, 0, "fhrpConfig"),
                    parameter<Routing::Fhrp::StatusV4>(*list, 1, "vrrpStatus"),
                    parameter<Interface::AllIntfStatusDir>(*list, 2, "allIntfStatus"),
                    parameter<Ip::Status>(*list, 3, "ipStatus"),
                    Kiv::constPtrCast<VrrpMib>(parameter<VrrpMib>(*list, 4, "vrrpMib")));
}

}  // namespace

void kivInitFhrpSnmp() {
  registerOnce({.name = "FhrpSnmp::VrrpMib",
                .newEntity = [](const Kiv::Name& name, const Kiv::Ptr<Kiv::Directory>&)
                    -> Kiv::Ptr<Kiv::Entity> { return vrrpMibFactory(name); },
                .attributes = {}});
}

void kivInitFhrpSnmpAgent() {
  Kiv::AttributeInfo vrrpMib{
      .name = "vrrpMib",
      .id = Agent::vrrpMibId,
      .get = [](const Kiv::Entity& e) -> Kiv::AttrValue {
        return Kiv::Ptr<Kiv::PtrInterface>(agentOf(e).vrrpMib());
      },
      .set =
          [](Kiv::Entity& e, const Kiv::AttrValue& v) {
            agentOf(e).vrrpMibIs(Kiv::attrPtr<VrrpMib>(v, "FhrpSnmp::Agent::vrrpMib"));
          }};
  Kiv::AttributeInfo vrrpMibSm{.name = "vrrpMibSm",
                               .id = Agent::vrrpMibSmId,
                               .get = [](const Kiv::Entity& e) -> Kiv::AttrValue {
                                 return Kiv::Ptr<Kiv::PtrInterface>(agentOf(e).vrrpMibSm());
                               },
                               .set = setVrrpMibSm};
  registerOnce({.name = "FhrpSnmp::Agent",
                .newEntity = [](const Kiv::Name& name, const Kiv::Ptr<Kiv::Directory>&)
                    -> Kiv::Ptr<Kiv::Entity> { return agentFactory(name); },
                .attributes = {vrrpMib, vrrpMibSm}});
}

void kivInitFhrpSnmpEntry() {
  registerOnce({.name = "FhrpSnmp::VrrpMibSm", .newEntity = nullptr, .attributes = {}});
}

}  // namespace FhrpSnmp
