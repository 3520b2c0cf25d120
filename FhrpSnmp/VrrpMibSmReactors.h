// SPDX-License-Identifier: Apache-2.0
#pragma once
// The reactors of VrrpMibSm. Each holds its record and a back pointer to the
// machine; the per-interface ones that scan a collection also wait for the
// machine to be initialized before they act.
#include "FhrpSnmp/MachineSupport.h"
#include "FhrpSnmp/VrrpMibSm.h"

namespace FhrpSnmp {

template <class Record>
class VrrpMibSmReactor : public MachineReactor<VrrpMibSm, Record> {
 public:
  using MachineReactor<VrrpMibSm, Record>::MachineReactor;
  VrrpMibSm* vrrpMibSm() const { return this->machine(); }
};

// --- roots

class VrrpMibSm::KivFhrpConfig : public VrrpMibSmReactor<Routing::Fhrp::Config> {
 public:
  using VrrpMibSmReactor::VrrpMibSmReactor;
  void onVrrpConfig() override { handleVrrpConfig(); }
  void onNotifier() override { handleVrrpConfig(); }
  void handleVrrpConfig();
};

class VrrpMibSm::KivVrrpConfig : public VrrpMibSmReactor<Routing::Fhrp::VrrpConfig> {
 public:
  using VrrpMibSmReactor::VrrpMibSmReactor;
  void onVrrpIntfConfig(const Lirex::IntfId& intfId) override { handleVrrpIntfConfig(intfId); }
  void onVrrpIntfConfig() override { handleVrrpIntfConfig(); }
  void onNotifier() override { handleVrrpIntfConfig(); }
  void handleVrrpIntfConfig(Lirex::IntfId intfId);
  void handleVrrpIntfConfig();
};

class VrrpMibSm::KivVrrpStatus : public VrrpMibSmReactor<Routing::Fhrp::StatusV4> {
 public:
  using VrrpMibSmReactor::VrrpMibSmReactor;
  void onVrIntfStatus(const Lirex::IntfId& intfId) override { handleVrIntfStatus(intfId); }
  void onVrIntfStatus() override { handleVrIntfStatus(); }
  void onNotifier() override { handleVrIntfStatus(); }
  void handleVrIntfStatus(Lirex::IntfId intfId);
  void handleVrIntfStatus();
};

class VrrpMibSm::KivIpStatus : public VrrpMibSmReactor<Ip::Status> {
 public:
  using VrrpMibSmReactor::VrrpMibSmReactor;
  void onIpIntfStatus(const Lirex::IntfId& intfId) override { handleIpIntfStatus(intfId); }
  void onIpIntfStatus() override { handleIpIntfStatus(); }
  void onNotifier() override { handleIpIntfStatus(); }
  void handleIpIntfStatus(Lirex::IntfId intfId);
  void handleIpIntfStatus();
};

// --- one interface

class VrrpMibSm::KivIpIntfStatus : public VrrpMibSmReactor<Ip::IpIntfStatus> {
 public:
  using VrrpMibSmReactor::VrrpMibSmReactor;
  // Not run at construction: the creator pushes the address itself.
  void onActiveAddrWithMask() override { handleActiveAddrWithMask(); }
  void onNotifier() override { handleActiveAddrWithMask(); }
  void handleActiveAddrWithMask();
};

// What KivVrIntfConfig and KivVrIntfStatus share: each follows one interface's
// collection of virtual routers (Traits::members) and creates or deletes the entry
// machine of a vrId as that collection holds it or not.
template <class Record, class Traits>
class VrIntfReactor : public VrrpMibSmReactor<Record> {
 public:
  // Scans the interface at once when the machine is already initialized.
  VrIntfReactor(const Kiv::Ptr<const Record>& record, VrrpMibSm* vrrpMibSm)
      : VrrpMibSmReactor<Record>(record, vrrpMibSm) {
    handleInitialized();
  }
  bool initialized() const { return initialized_; }
  void handleInitialized();

 protected:
  void handleVr(Routing::Fhrp::VrId vrId);
  void handleVr();

 private:
  bool initialized_ = false;
};

struct VrIntfConfigTraits {
  static constexpr const char* reactor = "KivVrIntfConfig";
  static constexpr const char* handler = "handleVrConfig";
  static const auto& members(const Routing::Fhrp::VrrpIntfConfig& r) {
    return r.virtualRouterConfig();
  }
};

struct VrIntfStatusTraits {
  static constexpr const char* reactor = "KivVrIntfStatus";
  static constexpr const char* handler = "handleVrStatus";
  static const auto& members(const Routing::Fhrp::VirtualRouterIntfStatusV4& r) {
    return r.vrStatus();
  }
};

class VrrpMibSm::KivVrIntfConfig
    : public VrIntfReactor<Routing::Fhrp::VrrpIntfConfig, VrIntfConfigTraits> {
 public:
  using VrIntfReactor::VrIntfReactor;
  void onVirtualRouterConfig(const Routing::Fhrp::VrId& vrId) override {
    Hold h = hold();
    handleVrConfig(vrId);
  }
  void onVirtualRouterConfig() override {
    Hold h = hold();
    handleVrConfig();
  }
  void onNotifier() override {
    Hold h = hold();
    handleVrConfig();
  }
  void handleVrConfig(Routing::Fhrp::VrId vrId) { handleVr(vrId); }
  void handleVrConfig() { handleVr(); }
};

class VrrpMibSm::KivVrIntfStatus
    : public VrIntfReactor<Routing::Fhrp::VirtualRouterIntfStatusV4, VrIntfStatusTraits> {
 public:
  using VrIntfReactor::VrIntfReactor;
  void onVrStatus(const Routing::Fhrp::VrId& vrId) override {
    Hold h = hold();
    handleVrStatus(vrId);
  }
  void onVrStatus() override {
    Hold h = hold();
    handleVrStatus();
  }
  void onNotifier() override {
    Hold h = hold();
    handleVrStatus();
  }
  void handleVrStatus(Routing::Fhrp::VrId vrId) { handleVr(vrId); }
  void handleVrStatus() { handleVr(); }
};

}  // namespace FhrpSnmp
