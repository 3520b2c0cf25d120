// SPDX-License-Identifier: Apache-2.0
#include "zentra/StateTree.h"

namespace Zentra {

StateTree::StateTree()
    : root_(Kiv::make<Kiv::Directory>("state")),
      fhrpConfig_(Kiv::make<Routing::Fhrp::Config>()),
      vrrpConfig_(Kiv::make<Routing::Fhrp::VrrpConfig>()),
      vrrpStatus_(Kiv::make<Routing::Fhrp::StatusV4>()),
      vrrpStatusV6_(Kiv::make<Routing::Fhrp::StatusV6>()),
      vrrpStatistics_(Kiv::make<Routing::Fhrp::VrrpGlobalStatistics>()),
      allIntfStatus_(Kiv::make<Interface::AllIntfStatusDir>()),
      ipStatus_(Kiv::make<Ip::Status>()) {
  fhrpConfig_->vrrpConfigIs(vrrpConfig_);
  root_->bind(kFhrpConfigPath, fhrpConfig_);
  root_->bind(kVrrpStatusPath, vrrpStatus_);
  root_->bind(kVrrpStatusV6Path, vrrpStatusV6_);
  root_->bind(kVrrpStatisticsPath, vrrpStatistics_);
  root_->bind(kAllIntfStatusPath, allIntfStatus_);
  root_->bind(kIpStatusPath, ipStatus_);
}

}  // namespace Zentra
