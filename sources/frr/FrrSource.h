// SPDX-License-Identifier: Apache-2.0
#pragma once
// FRR's vrrpd and the kernel as a source: FrrFeed, publishing into the one publisher and
// logging through the product's log.
#include <memory>

#include "kiv/Types.h"
#include "platform/Loop/EventLoop.h"
#include "sources/Source.h"
#include "zentra/StatePublisher.h"

namespace Sources {

class FrrFeed;

class FrrSource : public Source {
 public:
  FrrSource(Loop::EventLoop& loop, Zentra::StatePublisher& publisher, Kiv::String8 vtyDirectory);
  ~FrrSource() override;
  FrrSource(const FrrSource&) = delete;
  FrrSource& operator=(const FrrSource&) = delete;

  // Opens nothing before: a host that changes its user after its configuration (snmpd) starts
  // the source as that user, who then holds vrrpd's socket and the kernel's.
  void start() override;
  void refresh() override;

 private:
  Loop::EventLoop& loop_;
  Zentra::StatePublisher& publisher_;
  Kiv::String8 vtyDirectory_;
  std::unique_ptr<FrrFeed> feed_;
};

}  // namespace Sources
