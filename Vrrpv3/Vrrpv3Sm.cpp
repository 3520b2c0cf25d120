// SPDX-License-Identifier: Apache-2.0
#include "Vrrpv3/Vrrpv3Sm.h"

#include <set>

#include "FhrpSnmp/MachineSupport.h"
#include "kiv/Assert.h"
#include "platform/Fhrp/VrrpConfig.h"

namespace Vrrpv3 {

using FhrpSnmp::entryTrace;
using Lirex::IntfId;
using Routing::Fhrp::VrId;

namespace {

constexpr U32 kMaxIfIndex = 0x7fffffff;

// The member of a record collection under key, as a const record, or null.
template <class Map>
auto member(const Map& map, const typename Map::key_type& key) {
  using Record = std::remove_pointer_t<decltype(map.begin()->second.ptr())>;
  auto it = map.find(key);
  return Kiv::Ptr<const Record>(it == map.end() ? nullptr : it->second.ptr());
}

}  // namespace

// A reactor on one record that reconciles an interface (or, on a root, the interface a member
// change names).
template <class Record>
class Vrrpv3Sm::Watch : public FhrpSnmp::MachineReactor<Vrrpv3Sm, Record> {
 public:
  Watch(const Kiv::Ptr<const Record>& record, Vrrpv3Sm* sm, IntfId intfId)
      : FhrpSnmp::MachineReactor<Vrrpv3Sm, Record>(record, sm), intfId_(std::move(intfId)) {}

 protected:
  void reconcile(const IntfId& intfId) {
    auto h = this->hold();
    if (this->live()) this->machine()->reconcile(intfId);
  }
  void reconcile() { reconcile(intfId_); }
  void reconcileAll() {
    auto h = this->hold();
    if (this->live()) this->machine()->reconcileAll();
  }

 private:
  const IntfId intfId_;
};

namespace {

#define VRRPV3_ROOT_WATCH(Name, Record, member)                                   \
  class Name : public Vrrpv3Sm::Watch<Record> {                                   \
   public:                                                                        \
    using Watch::Watch;                                                           \
    void on##member(const IntfId& intfId) override { reconcile(IntfId(intfId)); } \
    void on##member() override { reconcileAll(); }                                \
  };
VRRPV3_ROOT_WATCH(ConfigRoot, Routing::Fhrp::VrrpConfig, VrrpIntfConfig)
VRRPV3_ROOT_WATCH(StatusV4Root, Routing::Fhrp::StatusV4, VrIntfStatus)
VRRPV3_ROOT_WATCH(StatusV6Root, Routing::Fhrp::StatusV6, VrIntfStatus)
VRRPV3_ROOT_WATCH(IntfRoot, Interface::AllIntfStatusDir, IntfStatus)
VRRPV3_ROOT_WATCH(IpRoot, Ip::Status, IpIntfStatus)
#undef VRRPV3_ROOT_WATCH

#define VRRPV3_INTF_WATCH(Name, Record, member)            \
  class Name : public Vrrpv3Sm::Watch<Record> {            \
   public:                                                 \
    using Watch::Watch;                                    \
    void on##member(const VrId&) override { reconcile(); } \
    void on##member() override { reconcile(); }            \
  };
VRRPV3_INTF_WATCH(IntfConfigWatch, Routing::Fhrp::VrrpIntfConfig, VirtualRouterConfig)
VRRPV3_INTF_WATCH(IntfStatusV4Watch, Routing::Fhrp::VirtualRouterIntfStatusV4, VrStatus)
VRRPV3_INTF_WATCH(IntfStatusV6Watch, Routing::Fhrp::VirtualRouterIntfStatusV6, VrStatus)
#undef VRRPV3_INTF_WATCH

class IfIndexWatch : public Vrrpv3Sm::Watch<Interface::IntfStatus> {
 public:
  using Watch::Watch;
  void onIfIndex() override { reconcile(); }
};

class IpWatch : public Vrrpv3Sm::Watch<Ip::IpIntfStatus> {
 public:
  using Watch::Watch;
  void onActiveAddrWithMask() override { reconcile(); }
};

class VersionWatch : public Vrrpv3Sm::Watch<Routing::Fhrp::VrrpVirtualRouterConfig> {
 public:
  using Watch::Watch;
  void onVersion() override { reconcile(); }
};

class GlobalWatch : public Vrrpv3Sm::Watch<Routing::Fhrp::VrrpGlobalStatistics> {
 public:
  using Watch::Watch;
  void onChecksumErrors() override { handle(); }
  void onVersionErrors() override { handle(); }
  void onVrIdErrors() override { handle(); }

 private:
  void handle() {
    if (live()) machine()->handleGlobalStatistics();
  }
};

}  // namespace

Vrrpv3Sm::Vrrpv3Sm(const Inputs& inputs, const Kiv::Ptr<Vrrpv3Mib>& mib, Loop::EventLoop& loop)
    : inputs_(inputs), mib_(mib), loop_(loop) {
  KIV_ASSERT(mib_, "the VRRPv3 mirroring needs the model it fills");
  const IntfId none;
  if (inputs_.vrrpConfig) roots_.push_back(Kiv::make<ConfigRoot>(inputs_.vrrpConfig, this, none));
  if (inputs_.statusV4) roots_.push_back(Kiv::make<StatusV4Root>(inputs_.statusV4, this, none));
  if (inputs_.statusV6) roots_.push_back(Kiv::make<StatusV6Root>(inputs_.statusV6, this, none));
  if (inputs_.allIntfStatus) {
    roots_.push_back(Kiv::make<IntfRoot>(inputs_.allIntfStatus, this, none));
  }
  if (inputs_.ipStatus) roots_.push_back(Kiv::make<IpRoot>(inputs_.ipStatus, this, none));
  roots_.push_back(Kiv::make<GlobalWatch>(mib_->globalStatistics(), this, none));
  const auto& g = *mib_->globalStatistics();
  lastGlobal_ = {g.checksumErrors(), g.versionErrors(), g.vrIdErrors()};
  reconcileAll();
  startup_ = false;
}

Vrrpv3Sm::~Vrrpv3Sm() {
  for (auto& root : roots_) root->teardown();
  for (auto& [intfId, w] : watches_) {
    for (auto* slot : {&w.config, &w.statusV4, &w.statusV6, &w.intfStatus, &w.ip}) {
      if (*slot) (*slot)->teardown();
    }
    for (auto& [vrId, v] : w.vrConfig) v->teardown();
  }
  entries_.clear();
}

template <class W, class R>
void Vrrpv3Sm::watch(Kiv::Ptr<Kiv::NotifieeBase>& slot, const Kiv::Ptr<const R>& record,
                     const IntfId& intfId) {
  if (auto* current = static_cast<W*>(slot.ptr()); current && current->notifier() == record) {
    return;
  }
  if (slot) slot->teardown();
  slot = nullptr;
  if (record) slot = Kiv::make<W>(record, this, intfId);
}

void Vrrpv3Sm::reconcileAll() {
  KIV_TRACE(entryTrace(), 8, "void Vrrpv3::Vrrpv3Sm::reconcileAll()");
  std::set<IntfId> intfs;
  for (const auto& [intfId, w] : watches_) intfs.insert(intfId);
  if (inputs_.vrrpConfig) {
    for (const auto& [intfId, r] : inputs_.vrrpConfig->vrrpIntfConfig()) intfs.insert(intfId);
  }
  if (inputs_.statusV4) {
    for (const auto& [intfId, r] : inputs_.statusV4->vrIntfStatus()) intfs.insert(intfId);
  }
  if (inputs_.statusV6) {
    for (const auto& [intfId, r] : inputs_.statusV6->vrIntfStatus()) intfs.insert(intfId);
  }
  for (const IntfId& intfId : intfs) reconcile(intfId);
}

void Vrrpv3Sm::reconcile(const IntfId& intfId) {
  KIV_TRACE(entryTrace(), 8, "Vrrpv3Sm::reconcile( " << intfId << " )");
  const auto config =
      inputs_.vrrpConfig ? member(inputs_.vrrpConfig->vrrpIntfConfig(), intfId) : nullptr;
  const auto v4 = inputs_.statusV4 ? member(inputs_.statusV4->vrIntfStatus(), intfId) : nullptr;
  const auto v6 = inputs_.statusV6 ? member(inputs_.statusV6->vrIntfStatus(), intfId) : nullptr;
  const auto intf =
      inputs_.allIntfStatus ? member(inputs_.allIntfStatus->intfStatus(), intfId) : nullptr;
  const auto ip = inputs_.ipStatus ? member(inputs_.ipStatus->ipIntfStatus(), intfId) : nullptr;

  IntfWatch& w = watches_[intfId];
  watch<IntfConfigWatch>(w.config, config, intfId);
  watch<IntfStatusV4Watch>(w.statusV4, v4, intfId);
  watch<IntfStatusV6Watch>(w.statusV6, v6, intfId);
  watch<IfIndexWatch>(w.intfStatus, intf, intfId);
  watch<IpWatch>(w.ip, ip, intfId);

  // What the interface's records call for: each version 3 router's status of each family.
  struct Wanted {
    ConfigPtr config;
    StatusV4Ptr v4;
    StatusV6Ptr v6;
  };
  std::map<Key, Wanted> wanted;
  const U32 ifIndex = intf ? intf->ifIndex() : 0;
  std::map<VrId, Kiv::Ptr<Kiv::NotifieeBase>> versionWatches;
  if (config) {
    for (const auto& [vrId, unused] : config->virtualRouterConfig()) {
      const auto vr = member(config->virtualRouterConfig(), vrId);
      if (!vr) continue;
      auto& slot = versionWatches[vrId];
      if (auto it = w.vrConfig.find(vrId); it != w.vrConfig.end()) slot = std::move(it->second);
      watch<VersionWatch>(slot, vr, intfId);
      if (vr->version() != 3 || ifIndex == 0 || ifIndex > kMaxIfIndex || vrId == 0 || vrId > 255) {
        continue;
      }
      if (auto s = v4 ? member(v4->vrStatus(), vrId) : nullptr) {
        wanted[{intfId, vrId, Lirex::AddrFamily::ipv4}] = {vr, s, nullptr};
      }
      if (auto s = v6 ? member(v6->vrStatus(), vrId) : nullptr) {
        wanted[{intfId, vrId, Lirex::AddrFamily::ipv6}] = {vr, nullptr, s};
      }
    }
  }
  for (auto& [vrId, gone] : w.vrConfig) {
    if (gone) gone->teardown();
  }
  w.vrConfig = std::move(versionWatches);

  // Machines that no longer match go first, so that a rebuilt one finds its index free.
  for (auto it = entries_.lower_bound({intfId, 0, Lirex::AddrFamily::ipv4});
       it != entries_.end() && it->first.intfId == intfId;) {
    const auto want = wanted.find(it->first);
    const auto& row = *it->second->row();
    const bool keep = want != wanted.end() && row.index().ifIndex == ifIndex &&
                      row.config() == want->second.config && row.statusV4() == want->second.v4 &&
                      row.statusV6() == want->second.v6;
    if (keep) {
      wanted.erase(want);
      ++it;
      continue;
    }
    const Kiv::Ptr<EntrySm> gone = it->second;
    it = entries_.erase(it);
    gone->deleteRows();
  }
  for (const auto& [key, want] : wanted) {
    const OperIndex index{ifIndex, key.vrId, key.family};
    entries_[key] = Kiv::make<EntrySm>(index, want.config, want.v4, want.v6, mib_, loop_, startup_);
  }
  const Lirex::IpAddr addr = ip ? ip->activeAddrWithMask().addr() : Lirex::IpAddr();
  for (auto it = entries_.lower_bound({intfId, 0, Lirex::AddrFamily::ipv4});
       it != entries_.end() && it->first.intfId == intfId; ++it) {
    it->second->interfaceAddrIs(addr);
  }
  if (!config && !v4 && !v6 && !intf && !ip) watches_.erase(intfId);
}

void Vrrpv3Sm::handleGlobalStatistics() {
  const auto& g = *mib_->globalStatistics();
  const std::array<U64, 3> now{g.checksumErrors(), g.versionErrors(), g.vrIdErrors()};
  const std::array<U64, 3> before = std::exchange(lastGlobal_, now);
  for (std::size_t i = 0; i < now.size(); ++i) {
    if (now[i] < before[i]) {
      mib_->globalDiscontinuityAtIs(loop_.now());
      return;
    }
  }
}

}  // namespace Vrrpv3
