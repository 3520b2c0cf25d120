// SPDX-License-Identifier: Apache-2.0
#pragma once
// The rows of vrrpOperTable and vrrpAssoIpAddrTable that a state document yields, computed
// once, as plain values: what the baseline agent serves. The reader follows the mirroring
// rules that decide which rows exist and what they hold (version 2 routers with both
// configuration and status; addresses whose entry is true and not 0.0.0.0; the master address
// is the interface's own address when master, the advertiser's when backup, else 0.0.0.0), so
// both agents answer a walk of the same document with the same varbinds.
#include <array>
#include <string_view>
#include <vector>

#include "kiv/Types.h"

namespace Baseline {

// Column values as the MIB numbers them.
struct OperRow {
  S32 ifIndex = 0;
  U32 vrId = 0;
  std::array<U8, 6> virtualMacAddr{};
  S32 state = 0;       // initialize(1), backup(2), master(3)
  S32 adminState = 0;  // up(1), down(2)
  S32 priority = 0;
  S32 ipAddrCount = 0;
  U32 masterIpAddr = 0;           // host order
  S32 authType = 0;               // noAuthentication(1) ...
  S32 advertisementInterval = 0;  // seconds
  bool preempt = false;
  double upSince = 0;  // Unix time; 0 when not up
};

struct AssoRow {
  S32 ifIndex = 0;
  U32 vrId = 0;
  U32 ipAddr = 0;  // host order
};

// Each table in index order.
struct StateRows {
  std::vector<OperRow> oper;
  std::vector<AssoRow> asso;
};

// Raises Kiv::RangeException (Zentra::StateDocumentError) on a document the daemon would
// reject too, read by the daemon's own reader so that both serve the same documents.
StateRows readStateRows(std::string_view json);
StateRows loadStateRows(const char* path);

}  // namespace Baseline
