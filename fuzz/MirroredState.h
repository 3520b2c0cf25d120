// SPDX-License-Identifier: Apache-2.0
#pragma once
// The records, the models and the machines between them, wired as the daemon wires them
// (host/Service.cpp, host/Vrrpv3MibModule.cpp): a state tree fed by a publisher, the mirroring
// agent keeping a VRRP-MIB model equal to what the tree holds, and the VRRPv3 mirroring keeping
// the VRRPv3-MIB model.
#include "FhrpSnmp/Agent.h"
#include "FhrpSnmp/VrrpMib.h"
#include "Vrrpv3/Vrrpv3Sm.h"
#include "kiv/Types.h"
#include "zentra/StatePublisher.h"
#include "zentra/StateTree.h"

namespace FhrpFuzz {

struct MirroredState {
  MirroredState();
  ~MirroredState();
  MirroredState(const MirroredState&) = delete;
  MirroredState& operator=(const MirroredState&) = delete;

  // The rows of both models, one per line, with every column that does not move with the
  // clock. Two models with the same text answer every request the same way, but for the VRRPv3
  // columns that tell the rows' history (transitions, reasons, discontinuities).
  Kiv::String8 modelText() const;
  std::size_t rows() const;

  Zentra::StateTree tree;
  Zentra::StatePublisher publisher{tree};
  Kiv::Ptr<FhrpSnmp::VrrpMib> mib;
  Kiv::Ptr<FhrpSnmp::Agent> agent;
  Kiv::Ptr<Vrrpv3::Vrrpv3Mib> v3mib;
  Kiv::Ptr<Vrrpv3::Vrrpv3Sm> v3;
};

// What the daemon registers before any machine may notify, done once per process: the VRRP
// and VRRPv3 notification groups, notifications on, alarms run from the event loop (never SIGALRM,
// which libFuzzer uses for its time limit) and a sender that only counts what it is handed.
void configureNotifications();
std::size_t notificationsSent();

}  // namespace FhrpFuzz
