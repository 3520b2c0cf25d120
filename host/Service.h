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
  // As start(), but with nothing read yet: the model starts empty, reload() reads the document
  // and watch() follows it. For a host that must not fail on a missing or bad document.
  void startEmpty();
  // Follows the state document on the agent's event loop (vrrpd is followed from start()). When its
  // directory cannot be watched (not there yet, or gone), it is looked for again every few seconds.
  void watch();
  // Re-reads the document, or asks vrrpd anew. A bad document is logged and the last good
  // state stays.
  bool reload();
  // Follows another document from now on, and applies it.
  void followIs(Kiv::String8 stateFile);

  const Kiv::String8& path() const { return file_.path(); }
  const Zentra::StateTree& tree() const { return tree_; }

 private:
  void build();
  void unwatch();
  void rejected(const Kiv::RangeException& error);

  Zentra::StateTree tree_;
  Zentra::StatePublisher publisher_;
  Zentra::StateFile file_;
  std::unique_ptr<Zentra::StateFileWatcher> watcher_;
  unsigned int rewatchAlarm_ = 0;
  Kiv::String8 frrVtyDirectory_;
  std::unique_ptr<FrrFeed> frr_;
  Kiv::Ptr<Kiv::Entity> model_;
  Kiv::Ptr<Kiv::Entity> agent_;
  Kiv::Ptr<Kiv::PtrInterface> vrrpv3_;  // the VRRPv3-MIB's mirroring
  bool notifications_;
  Kiv::String8 goodSince_;  // when the served state was last applied; empty: never
  bool good_ = true;        // false while the document on disk is rejected or missing
};

}  // namespace Host
