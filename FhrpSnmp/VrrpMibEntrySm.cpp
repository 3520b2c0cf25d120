// SPDX-License-Identifier: Apache-2.0
#include "FhrpSnmp/VrrpMibEntrySm.h"

#include "FhrpSnmp/MachineSupport.h"
#include "kiv/Assert.h"
#include "kiv/Exception.h"
#include "platform/IntfSnmp/IntfDetails.h"
#include "snmp/VrrpTrapNewMaster.h"

namespace FhrpSnmp {

using Routing::Fhrp::FhrpState;

// --- reactors

class VrrpMibEntrySm::KivVrConfig
    : public MachineReactor<VrrpMibEntrySm, Routing::Fhrp::VrrpVirtualRouterConfig> {
 public:
  using MachineReactor::MachineReactor;

  void onVersion() override { run(); }
  void onNotifier() override { run(); }

 private:
  void run() {
    Hold h = hold();
    if (live()) machine()->handleVersion();
  }
};

class VrrpMibEntrySm::KivVrStatus
    : public MachineReactor<VrrpMibEntrySm, Routing::Fhrp::VirtualRouterStatusV4> {
 public:
  using MachineReactor::MachineReactor;

  void onState() override {
    Hold h = hold();
    if (live()) machine()->handleState();
    if (live()) machine()->handleMasterAddr();
  }
  void onSrcAddr() override {
    Hold h = hold();
    if (live()) machine()->handleMasterAddr();
  }
  void onIpAddrs(const Lirex::IpAddr& addr) override {
    Hold h = hold();
    const Lirex::IpAddr a = addr;
    if (live()) machine()->handleIpAddr(a);
  }
  void onIpAddrs() override {
    Hold h = hold();
    if (live()) machine()->handleIpAddr();
  }
  void onNotifier() override {
    Hold h = hold();
    if (live()) machine()->handleState();
    if (live()) machine()->handleMasterAddr();
    if (live()) machine()->handleIpAddr();
  }
};

// --- the machine

VrrpMibEntrySm::VrrpMibEntrySm(const VrrpMibEntrySmId& id, const IntfStatusPtr& intfStatus,
                               const ConfigPtr& vrConfig, const StatusPtr& vrStatus,
                               const Kiv::Ptr<VrrpMib>& vrrpMib)
    : id_(id), intfStatus_(intfStatus), vrrpMib_(vrrpMib) {
  KIV_ASSERT(vrrpMib_, "a VrrpMibEntrySm needs the model it fills");
  if (vrConfig) vrConfig_ = Kiv::make<KivVrConfig>(vrConfig, this);
  if (vrStatus) vrStatus_ = Kiv::make<KivVrStatus>(vrStatus, this);
  handleInitialized();
}

VrrpMibEntrySm::~VrrpMibEntrySm() {
  if (vrConfig_) vrConfig_->machineDel();
  if (vrStatus_) vrStatus_->machineDel();
  assoIpAddrEntry_.clear();
}

Kiv::Ptr<VrrpMibEntrySm> vrrpMibEntrySmFactory(const VrrpMibEntrySmId& id,
                                               const IntfStatusPtr& intfStatus,
                                               const ConfigPtr& vrConfig, const StatusPtr& vrStatus,
                                               const Kiv::Ptr<VrrpMib>& vrrpMib) {
  return Kiv::make<VrrpMibEntrySm>(id, intfStatus, vrConfig, vrStatus, vrrpMib);
}

ConfigPtr VrrpMibEntrySm::vrConfig() const {
  return vrConfig_ ? vrConfig_->notifier() : nullptr;
}
StatusPtr VrrpMibEntrySm::vrStatus() const {
  return vrStatus_ ? vrStatus_->notifier() : nullptr;
}

// Shared by both watched records: re-point the reactor (which runs the record's
// rules), create one without running anything, or drop it for null.
template <class Reactor, class Record>
static void watch(Kiv::Ptr<Reactor>& reactor, const Kiv::Ptr<const Record>& record,
                  VrrpMibEntrySm* machine) {
  if (reactor && reactor->notifier() == record) return;
  if (!record) {
    if (reactor) std::exchange(reactor, nullptr)->machineDel();
  } else if (reactor) {
    reactor->notifierIs(record);
  } else {
    reactor = Kiv::make<Reactor>(record, machine);
  }
}

void VrrpMibEntrySm::vrConfigIs(const ConfigPtr& record) {
  watch(vrConfig_, record, this);
}
void VrrpMibEntrySm::vrStatusIs(const StatusPtr& record) {
  watch(vrStatus_, record, this);
}

const Routing::Fhrp::VrrpVirtualRouterConfig& VrrpMibEntrySm::config() const {
  KIV_ASSERT(vrConfig_, "the virtual router's configuration record is missing");
  return *vrConfig_->notifier();
}

const Routing::Fhrp::VirtualRouterStatusV4& VrrpMibEntrySm::status() const {
  KIV_ASSERT(vrStatus_, "the virtual router's status record is missing");
  return *vrStatus_->notifier();
}

Kiv::Ptr<AssoIpAddrEntry> VrrpMibEntrySm::assoIpAddrEntry(const Lirex::IpAddr& addr) const {
  auto it = assoIpAddrEntry_.find(addr);
  return it == assoIpAddrEntry_.end() ? nullptr : it->second;
}

void VrrpMibEntrySm::assoIpAddrEntryIs(const Lirex::IpAddr& addr,
                                       const Kiv::Ptr<AssoIpAddrEntry>& row) {
  if (!row) {
    throw Kiv::RangeException(
        "null _assoIpAddrEntry parameter to mutator for "
        "FhrpSnmp::VrrpMibEntrySm::assoIpAddrEntry not allowed\"");
  }
  assoIpAddrEntry_[addr] = row;
}

void VrrpMibEntrySm::assoIpAddrEntryDel(const Lirex::IpAddr& addr) {
  assoIpAddrEntry_.erase(addr);
}

U32 VrrpMibEntrySm::ifIndex() const {
  IntfSnmp::IntfDetails details;
  details.statusIs(intfStatus_);
  return details.ifIndex();
}

VrrpIndex VrrpMibEntrySm::vrrpIndex() const {
  return VrrpIndex(static_cast<S32>(ifIndex()), id_.vrId);
}

Kiv::Ptr<OperEntry> VrrpMibEntrySm::operEntry() const {
  return vrrpMib_->operTable(vrrpIndex());
}

Kiv::Ptr<RouterStatsEntry> VrrpMibEntrySm::routerStatsEntry() const {
  return vrrpMib_->routerStatsTable(vrrpIndex());
}

// --- handlers

void VrrpMibEntrySm::handleInitialized() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibEntrySm::handleInitialized()");
  handleVersion();
  initializedIs(true);
}

void VrrpMibEntrySm::handleVersion() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibEntrySm::handleVersion()");
  if (isVersion2()) {
    createMibEntries();
    handleIpAddr();
    handleState();
    handleMasterAddr();
  } else {
    deleteMibEntries();
  }
}

void VrrpMibEntrySm::handleState() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibEntrySm::handleState()");
  KIV_TRACE(entryTrace(), 7, "New state is " << status().state());
  if (status().state() != FhrpState::master) return;
  if (!isVersion2()) return;
  if (!physicalIpAddr_.isZero()) {
    KIV_TRACE(entryTrace(), 7, "Sending New Master trap with ipAddr=" << physicalIpAddr_);
    Snmp::vrrpTrapNewMasterNotify(physicalIpAddr_, ifIndex(), id_.vrId);
  } else {
    // Owed until the creator tells us our own address.
    sentMasterTrap_ = false;
  }
}

void VrrpMibEntrySm::handleMasterAddr() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibEntrySm::handleMasterAddr()");
  Lirex::IpAddr master;
  switch (status().state()) {
    case FhrpState::master:
      master = physicalIpAddr_;
      break;
    case FhrpState::backup:
      master = status().srcAddr();
      break;
    default:
      break;
  }
  Kiv::Ptr<OperEntry> row = operEntry();
  if (row && row->masterIpAddr() != master) {
    KIV_TRACE(entryTrace(), 7,
              "Master IP Address for ifIndex: " << ifIndex() << " vrId: " << id_.vrId << " is "
                                                << master);
    row->masterIpAddrIs(master);
  }
}

void VrrpMibEntrySm::handlePhysicalIpAddr() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibEntrySm::handlePhysicalIpAddr()");
  if (sentMasterTrap_) return;
  sentMasterTrap_ = true;
  handleState();
}

void VrrpMibEntrySm::physicalIpAddrIs(const Lirex::IpAddr& addr) {
  if (addr == physicalIpAddr_) return;
  physicalIpAddr_ = addr;
  handlePhysicalIpAddr();
  handleMasterAddr();
}

void VrrpMibEntrySm::handleIpAddr() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibEntrySm::handleIpAddr()");
  // Rows of addresses that left the record go with the per-address notification.
  for (const Lirex::IpAddr& addr : keysOf(status().ipAddrs())) handleIpAddr(addr);
}

void VrrpMibEntrySm::handleIpAddr(const Lirex::IpAddr& addr) {
  KIV_TRACE(entryTrace(), 8, "handleIpAddr( " << addr << " )");
  if (status().ipAddrs(addr)) {
    createAssoIpAddrEntry(addr);
  } else {
    deleteAssoIpAddrEntry(addr);
  }
}

// --- rows

void VrrpMibEntrySm::createMibEntries() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibEntrySm::createMibEntries()");
  KIV_ASSERT(vrConfig()->version() == 2, "rows exist only for VRRP version 2");
  if (!operEntry()) {
    KIV_TRACE(entryTrace(), 7, "Creating OperEntry, ifIndex=" << ifIndex() << " vrId=" << id_.vrId);
    vrrpMib_->operTableIs(vrrpIndex(), vrConfig(), vrStatus());
    KIV_ASSERT(operEntry(), "the OperEntry just created is missing");
  }
  if (!routerStatsEntry()) {
    KIV_TRACE(entryTrace(), 7,
              "Creating RouterStatsEntry, ifIndex=" << ifIndex() << " vrId=" << id_.vrId);
    vrrpMib_->routerStatsTableIs(vrrpIndex(), vrStatus());
    KIV_ASSERT(routerStatsEntry(), "the RouterStatsEntry just created is missing");
  }
}

void VrrpMibEntrySm::deleteMibEntries() {
  KIV_TRACE(entryTrace(), 8, "void FhrpSnmp::VrrpMibEntrySm::deleteMibEntries()");
  if (operEntry()) {
    KIV_TRACE(entryTrace(), 7, "Deleting OperEntry, ifIndex=" << ifIndex() << " vrId=" << id_.vrId);
    vrrpMib_->operTableDel(vrrpIndex());
    KIV_ASSERT(!operEntry(), "the OperEntry just deleted is still there");
  }
  if (routerStatsEntry()) {
    KIV_TRACE(entryTrace(), 7,
              "Deleting RouterStatsEntry, ifIndex=" << ifIndex() << " vrId=" << id_.vrId);
    vrrpMib_->routerStatsTableDel(vrrpIndex());
    KIV_ASSERT(!routerStatsEntry(), "the RouterStatsEntry just deleted is still there");
  }
  for (const Lirex::IpAddr& addr : keysOf(assoIpAddrEntry_)) deleteAssoIpAddrEntry(addr);
  KIV_ASSERT(assoIpAddrEntrys() == 0, "associated-address rows are left after deleting all");
}

void VrrpMibEntrySm::createAssoIpAddrEntry(const Lirex::IpAddr& addr) {
  KIV_TRACE(entryTrace(), 8, "createAssoIpAddrEntry( " << addr << " )");
  const VrrpIpIndex index(static_cast<S32>(ifIndex()), id_.vrId, addr);
  if (!isVersion2() || addr.isZero() || assoIpAddrEntry_.contains(addr)) return;
  KIV_TRACE(entryTrace(), 7,
            "Creating AssoIpAddrEntry, ifIndex=" << ifIndex() << " vrId=" << id_.vrId
                                                 << " ipAddr=" << addr);
  assoIpAddrEntryIs(addr, vrrpMib_->assoIpAddrTableIs(index));
}

void VrrpMibEntrySm::deleteAssoIpAddrEntry(const Lirex::IpAddr& addr) {
  KIV_TRACE(entryTrace(), 8, "deleteAssoIpAddrEntry( " << addr << " )");
  Kiv::Ptr<AssoIpAddrEntry> row = assoIpAddrEntry(addr);
  if (!row) return;
  KIV_TRACE(entryTrace(), 7,
            "Deleting AssoIpAddrEntry, ifIndex=" << ifIndex() << " vrId=" << id_.vrId
                                                 << " ipAddr=" << addr);
  assoIpAddrEntryDel(addr);
  // By the index the row was made with: the ifIndex may have changed since.
  vrrpMib_->assoIpAddrTableDel(row->index());
}

}  // namespace FhrpSnmp
