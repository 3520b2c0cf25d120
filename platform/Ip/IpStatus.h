// SPDX-License-Identifier: Apache-2.0
#pragma once
// IPv4 status records published by the IP agent.
#include "kiv/Record.h"
#include "lirex/IntfId.h"
#include "lirex/IpAddrWithMask.h"

namespace Ip {

#define IP_IP_INTF_STATUS_ATTRS(ATTR, COLL) \
  ATTR(Lirex::IpAddrWithMask, activeAddrWithMask, ActiveAddrWithMask, Lirex::IpAddrWithMask())

// One interface's primary IPv4 address as the switch uses it now.
class IpIntfStatus : public Kiv::NotifierBase {
  KIV_RECORD(IpIntfStatus, Lirex::IntfId, intfId, IP_IP_INTF_STATUS_ATTRS)
};

#define IP_STATUS_ATTRS(ATTR, COLL) \
  COLL(Lirex::IntfId, Kiv::Ptr<IpIntfStatus>, ipIntfStatus, IpIntfStatus)

class Status : public Kiv::NotifierBase {
  KIV_ROOT_RECORD(Status, IP_STATUS_ATTRS)
};

}  // namespace Ip
