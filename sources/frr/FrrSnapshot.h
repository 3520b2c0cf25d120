#pragma once
// What vrrpd, the kernel and the advertisements on the wire say, as one state snapshot: the
// same form a state document parses into, so that it goes through the one publisher.
#include <map>
#include <vector>

#include "lirex/IntfId.h"
#include "lirex/IpAddr.h"
#include "lirex/IpAddrWithMask.h"
#include "sources/adverts/AdvertView.h"
#include "sources/frr/VrrpdReply.h"
#include "zentra/StateDocument.h"

namespace Sources {

// The kernel's interfaces by name: ifIndex and primary IPv4 address.
struct KernelView {
  std::map<Lirex::IntfId, U32> ifIndex;
  std::map<Lirex::IntfId, Lirex::IpAddrWithMask> primary;
  bool operator==(const KernelView&) const = default;
};

struct FrrInputs {
  std::vector<VrrpdRouter> routers;
  std::map<RouterKey, U32> configuredPriority;
  KernelView kernel;
  AdvertView adverts;  // the masters heard on the wire, the errors counted there
  std::map<RouterKey, double> upSince;
};

// A router shows on its parent interface. Routers vrrpd has no configured priority for (not yet
// read) take their effective one.
Zentra::StateDocument frrSnapshot(const FrrInputs& inputs);

// Keeps `upSince` to when each router was first seen out of initialize (`now`), forgetting
// routers that are back in initialize or gone.
void trackUpSince(std::map<RouterKey, double>& upSince, const std::vector<VrrpdRouter>& routers,
                  double now);

}  // namespace Sources
