// SPDX-License-Identifier: Apache-2.0
#pragma once
// Interface records published by the interface agent.
#include <ostream>

#include "kiv/Record.h"
#include "lirex/IntfId.h"

namespace Interface {

// An administrative enabled state. Zero is what a record that is not there reads as.
enum class IntfEnabledState : int { unknownEnabledState = 0, enabled = 1, disabled = 2 };
std::ostream& operator<<(std::ostream& os, IntfEnabledState s);

#define INTERFACE_INTF_STATUS_ATTRS(ATTR, COLL) ATTR(U32, ifIndex, IfIndex, 0)

// One interface's status; the ifIndex is the interface's IF-MIB index.
class IntfStatus : public Kiv::NotifierBase {
  KIV_RECORD(IntfStatus, Lirex::IntfId, intfId, INTERFACE_INTF_STATUS_ATTRS)
};

#define INTERFACE_ALL_INTF_STATUS_DIR_ATTRS(ATTR, COLL) \
  COLL(Lirex::IntfId, Kiv::Ptr<IntfStatus>, intfStatus, IntfStatus)

class AllIntfStatusDir : public Kiv::NotifierBase {
  KIV_ROOT_RECORD(AllIntfStatusDir, INTERFACE_ALL_INTF_STATUS_DIR_ATTRS)
};

}  // namespace Interface
