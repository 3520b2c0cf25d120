// SPDX-License-Identifier: Apache-2.0
#pragma once
// The product wired together, the same for fhrp-snmpd and the plug-in for a stock snmpd: the
// state tree, the publisher, the model and the agent that mirrors the tree into it, the MIB
// module, and one source that feeds the tree. Both start it the same way: construct (nothing is
// read or opened), registerModules(), start(); the plug-in runs start() on snmpd's first loop
// turn, once snmpd runs as its own user.
#include <functional>
#include <memory>

#include "kiv/Entity.h"
#include "sources/Source.h"
#include "zentra/StatePublisher.h"
#include "zentra/StateTree.h"

namespace Host {

class Service {
 public:
  // Makes the source, given the publisher it hands its snapshots to.
  using SourceMaker = std::function<std::unique_ptr<Sources::Source>(Zentra::StatePublisher&)>;

  Service(const SourceMaker& makeSource, bool notifications);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Registers the MIB modules with the agent, in the default context; the models must exist,
  // and do from construction on.
  void registerModules();
  // Starts the source (see Sources::Source::start, which may raise).
  void start();
  // Reads the source anew (SIGHUP, a reloaded snmpd).
  void refresh();

  const Zentra::StateTree& tree() const { return tree_; }

 private:
  void buildModels(bool notifications);

  Zentra::StateTree tree_;
  Zentra::StatePublisher publisher_;
  Kiv::Ptr<Kiv::Entity> model_;
  Kiv::Ptr<Kiv::Entity> agent_;
  Kiv::Ptr<Kiv::PtrInterface> vrrpv3_;       // the VRRPv3-MIB's mirroring
  std::unique_ptr<Sources::Source> source_;  // after the publisher: it holds a reference to it
};

}  // namespace Host
