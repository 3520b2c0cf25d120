#include "host/FrrFeed.h"

#include "platform/Log.h"
#include "platform/Snmp/NetSnmpLoop.h"
#include "sources/frr/FrrFeed.h"

namespace Host {

FrrFeed::FrrFeed(Zentra::StatePublisher& publisher, const Kiv::String8& vtyDirectory) {
  auto publish = [&publisher, vtyDirectory](const Zentra::StateDocument& snapshot) {
    publisher.apply(snapshot, vtyDirectory + "/vrrpd.vty");
  };
  auto log = [](bool warning, const Kiv::String8& line) {
    Log::line(warning ? LOG_WARNING : LOG_INFO, line);
  };
  feed_ = std::make_unique<Sources::FrrFeed>(Snmp::eventLoop(), vtyDirectory, publish, log);
  feed_->start();
}

FrrFeed::~FrrFeed() = default;

void FrrFeed::refresh() {
  feed_->refresh();
}

}  // namespace Host
