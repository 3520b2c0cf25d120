#pragma once
// The product wired together: the state tree, the model and the agent that mirrors
// the tree into it, and the source that feeds the tree: the state document, or FRR's
// vrrpd and the kernel. Shared by fhrp-snmpd and the plug-in for a stock snmpd.
#include <memory>

#include "kiv/Entity.h"
#include "zentra/StateFile.h"
#include "zentra/StateFileWatcher.h"
#include "zentra/StatePublisher.h"
#include "zentra/StateTree.h"

namespace Host {

class FrrFeed;

class Service {
 public:
  Service(Kiv::String8 stateFile, bool notifications);
  // Follows vrrpd through its vty socket in frrVtyDirectory instead of a state document.
  static std::unique_ptr<Service> following(Kiv::String8 frrVtyDirectory, bool notifications);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Reads, validates and applies the state document, creates the model and the
  // agent, and publishes the model where the SNMP module looks for it. A bad
  // document raises Zentra::StateFileError ("FILE: reason") and nothing starts.
  void start();
  // Follows the state document on the agent's event loop (vrrpd is followed from start()).
  void watch();
  // Re-reads the document, or asks vrrpd anew. A bad document is logged and the last good
  // state stays.
  bool reload();

  const Zentra::StateTree& tree() const { return tree_; }

 private:
  Zentra::StateTree tree_;
  Zentra::StatePublisher publisher_;
  Zentra::StateFile file_;
  std::unique_ptr<Zentra::StateFileWatcher> watcher_;
  Kiv::String8 frrVtyDirectory_;
  std::unique_ptr<FrrFeed> frr_;
  Kiv::Ptr<Kiv::Entity> model_;
  Kiv::Ptr<Kiv::Entity> agent_;
  bool notifications_;
};

}  // namespace Host
