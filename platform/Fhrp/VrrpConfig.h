// SPDX-License-Identifier: Apache-2.0
#pragma once
// VRRP configuration records published by the FHRP agent.
#include "kiv/Record.h"
#include "lirex/IntfId.h"
#include "lirex/VrrpAuthType.h"
#include "platform/Fhrp/FhrpTypes.h"
#include "platform/Interface/IntfStatus.h"

namespace Routing::Fhrp {

#define FHRP_VRRP_VIRTUAL_ROUTER_CONFIG_ATTRS(ATTR, COLL)                                         \
  ATTR(U32, version, Version, 2)                                                                  \
  ATTR(U32, priority, Priority, 100)                                                              \
  ATTR(bool, preempt, Preempt, true)                                                              \
  ATTR(Interface::IntfEnabledState, adminState, AdminState, Interface::IntfEnabledState::enabled) \
  ATTR(Lirex::VrrpAuthType, authType, AuthType, Lirex::VrrpAuthType::noAuthentication)            \
  ATTR(Kiv::String8, authKey, AuthKey, "")                                                        \
  ATTR(U32, advertisementInterval, AdvertisementInterval, 100) /* hundredths of a second */       \
  ATTR(bool, acceptMode, AcceptMode, false) /* VRRPv3; IPv6 only, IPv4 routers never accept */

class VrrpVirtualRouterConfig : public Kiv::NotifierBase {
  KIV_RECORD(VrrpVirtualRouterConfig, VrId, vrId, FHRP_VRRP_VIRTUAL_ROUTER_CONFIG_ATTRS)
};

#define FHRP_VRRP_INTF_CONFIG_ATTRS(ATTR, COLL) \
  COLL(VrId, Kiv::Ptr<VrrpVirtualRouterConfig>, virtualRouterConfig, VirtualRouterConfig)

class VrrpIntfConfig : public Kiv::NotifierBase {
  KIV_RECORD(VrrpIntfConfig, Lirex::IntfId, intfId, FHRP_VRRP_INTF_CONFIG_ATTRS)
};

#define FHRP_VRRP_CONFIG_ATTRS(ATTR, COLL) \
  COLL(Lirex::IntfId, Kiv::Ptr<VrrpIntfConfig>, vrrpIntfConfig, VrrpIntfConfig)

class VrrpConfig : public Kiv::NotifierBase {
  KIV_ROOT_RECORD(VrrpConfig, FHRP_VRRP_CONFIG_ATTRS)
};

#define FHRP_CONFIG_ATTRS(ATTR, COLL) ATTR(Kiv::Ptr<VrrpConfig>, vrrpConfig, VrrpConfig, nullptr)

// The root of the FHRP configuration.
class Config : public Kiv::NotifierBase {
  KIV_ROOT_RECORD(Config, FHRP_CONFIG_ATTRS)
};

}  // namespace Routing::Fhrp
