#pragma once
// The records, the model and the machine between them, wired as the daemon wires them
// (host/Service.cpp): a state tree fed by a publisher, and the mirroring agent keeping a
// VRRP-MIB model equal to what the tree holds.
#include "FhrpSnmp/Agent.h"
#include "FhrpSnmp/VrrpMib.h"
#include "kiv/Types.h"
#include "zentra/StatePublisher.h"
#include "zentra/StateTree.h"

namespace FhrpFuzz {

struct MirroredState {
  MirroredState();
  ~MirroredState();
  MirroredState(const MirroredState&) = delete;
  MirroredState& operator=(const MirroredState&) = delete;

  // The rows, one per line, with every column that does not move with the clock. Two models
  // with the same text answer every request the same way.
  Kiv::String8 modelText() const;
  std::size_t rows() const;

  Zentra::StateTree tree;
  Zentra::StatePublisher publisher{tree};
  Kiv::Ptr<FhrpSnmp::VrrpMib> mib;
  Kiv::Ptr<FhrpSnmp::Agent> agent;
};

// What the daemon registers before any machine may notify, done once per process: the VRRP
// notification group, notifications on, alarms run from the event loop (never SIGALRM, which
// libFuzzer uses for its time limit) and a sender that only counts what it is handed.
void configureNotifications();
std::size_t notificationsSent();

}  // namespace FhrpFuzz
