// SPDX-License-Identifier: Apache-2.0
#pragma once
// The host's state database: one directory in which the input record trees live at fixed
// paths. All the roots exist from construction on, empty until a publisher fills them, so
// that the mirroring machines can be built on them before any source has been read; the SNMP
// side binds its model into the same directory.
#include <string_view>

#include "kiv/Directory.h"
#include "platform/Fhrp/VrrpConfig.h"
#include "platform/Fhrp/VrrpStatistics.h"
#include "platform/Fhrp/VrrpStatus.h"
#include "platform/Fhrp/VrrpStatusV6.h"
#include "platform/Interface/IntfStatus.h"
#include "platform/Ip/IpStatus.h"

namespace Zentra {

class StateTree {
 public:
  static constexpr std::string_view kFhrpConfigPath = "fhrp/config";
  static constexpr std::string_view kVrrpStatusPath = "fhrp/status/v4";
  static constexpr std::string_view kVrrpStatusV6Path = "fhrp/status/v6";
  static constexpr std::string_view kVrrpStatisticsPath = "fhrp/statistics";
  static constexpr std::string_view kAllIntfStatusPath = "interface/status/all";
  static constexpr std::string_view kIpStatusPath = "ip/status";

  StateTree();
  StateTree(const StateTree&) = delete;
  StateTree& operator=(const StateTree&) = delete;

  const Kiv::Ptr<Kiv::Directory>& root() const { return root_; }

  const Kiv::Ptr<Routing::Fhrp::Config>& fhrpConfig() const { return fhrpConfig_; }
  // The vrrpConfig of fhrpConfig(): created with the tree and never replaced, so reactors on
  // it stay valid for the tree's lifetime.
  const Kiv::Ptr<Routing::Fhrp::VrrpConfig>& vrrpConfig() const { return vrrpConfig_; }
  const Kiv::Ptr<Routing::Fhrp::StatusV4>& vrrpStatus() const { return vrrpStatus_; }
  const Kiv::Ptr<Routing::Fhrp::StatusV6>& vrrpStatusV6() const { return vrrpStatusV6_; }
  const Kiv::Ptr<Routing::Fhrp::VrrpGlobalStatistics>& vrrpStatistics() const {
    return vrrpStatistics_;
  }
  const Kiv::Ptr<Interface::AllIntfStatusDir>& allIntfStatus() const { return allIntfStatus_; }
  const Kiv::Ptr<Ip::Status>& ipStatus() const { return ipStatus_; }

 private:
  Kiv::Ptr<Kiv::Directory> root_;
  Kiv::Ptr<Routing::Fhrp::Config> fhrpConfig_;
  Kiv::Ptr<Routing::Fhrp::VrrpConfig> vrrpConfig_;
  Kiv::Ptr<Routing::Fhrp::StatusV4> vrrpStatus_;
  Kiv::Ptr<Routing::Fhrp::StatusV6> vrrpStatusV6_;
  Kiv::Ptr<Routing::Fhrp::VrrpGlobalStatistics> vrrpStatistics_;
  Kiv::Ptr<Interface::AllIntfStatusDir> allIntfStatus_;
  Kiv::Ptr<Ip::Status> ipStatus_;
};

}  // namespace Zentra
