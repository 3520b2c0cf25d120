// SPDX-License-Identifier: Apache-2.0
#pragma once
// Makes the records of a state tree equal to a state document, change by change.
//
// Each difference becomes one attribute setter or one collection insert or delete, so a change
// of one router's state fires that router's reactors and nothing else, and applying a document
// that is already in place notifies nobody. Records whose key stays are updated in place.
//
// Order matters to the mirroring machines: interfaces and addresses come first, then VRRP
// configuration, then VRRP status (IPv4, then IPv6), then the statistics, so that a virtual router
// finds its interface when it appears; removals run the other way round. A new record is filled
// completely before it is inserted, so no reactor ever sees it half made. Within one virtual
// router's status the state is set last: reactors on it then read the router's other attributes
// already current.
//
// The machines read an interface's ifIndex only when they build a router's machine, so an
// interface whose status comes, goes or changes its ifIndex has its VRRP status withdrawn before
// that change and published anew after it (counted as records removed and added).
#include <cstddef>
#include <ostream>
#include <string_view>

#include "kiv/Ptr.h"
#include "zentra/StateDocument.h"
#include "zentra/StateTree.h"

namespace Zentra {

struct PublishSummary {
  // Records of every level: a new interface configuration with two virtual routers is three.
  std::size_t recordsAdded = 0;
  std::size_t recordsRemoved = 0;
  // Attributes of records that stayed, each member of an address collection counting as one.
  std::size_t attributesChanged = 0;

  bool unchanged() const {
    return recordsAdded == 0 && recordsRemoved == 0 && attributesChanged == 0;
  }
  bool operator==(const PublishSummary&) const = default;
};
// "3 records added, 0 removed, 2 attributes changed"
std::ostream& operator<<(std::ostream& os, const PublishSummary& summary);

class StatePublisher {
 public:
  explicit StatePublisher(const StateTree& tree);

  // `source` names the document in the trace line (a file name).
  PublishSummary apply(const StateDocument& document, std::string_view source = "document");

 private:
  Kiv::Ptr<Interface::AllIntfStatusDir> allIntfStatus_;
  Kiv::Ptr<Ip::Status> ipStatus_;
  Kiv::Ptr<Routing::Fhrp::VrrpConfig> vrrpConfig_;
  Kiv::Ptr<Routing::Fhrp::StatusV4> vrrpStatus_;
  Kiv::Ptr<Routing::Fhrp::StatusV6> vrrpStatusV6_;
  Kiv::Ptr<Routing::Fhrp::VrrpGlobalStatistics> vrrpStatistics_;
};

}  // namespace Zentra
