#pragma once
// The FRR source (vrrpd and the kernel) on net-snmp's event loop, publishing into the service's
// state tree.
#include <memory>

#include "kiv/Types.h"
#include "zentra/StatePublisher.h"

namespace Sources {
class FrrFeed;
}

namespace Host {

class FrrFeed {
 public:
  // Starts at once: the first snapshot is published before this returns. Kiv::RangeException
  // when rtnetlink cannot be opened.
  FrrFeed(Zentra::StatePublisher& publisher, const Kiv::String8& vtyDirectory);
  ~FrrFeed();
  FrrFeed(const FrrFeed&) = delete;
  FrrFeed& operator=(const FrrFeed&) = delete;

  void refresh();

 private:
  std::unique_ptr<Sources::FrrFeed> feed_;
};

}  // namespace Host
