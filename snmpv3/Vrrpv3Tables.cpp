// SPDX-License-Identifier: Apache-2.0
// The three tables' columns and the registration of the whole module.
#include <algorithm>

#include "kiv/Assert.h"
#include "platform/Log.h"
#include "platform/Snmp/SnmpUtil.h"
#include "snmpv3/Vrrpv3MIB.h"
#include "snmpv3/Vrrpv3Oids.h"
#include "snmpv3/Vrrpv3TableHandler.h"
#include "snmpv3/Vrrpv3Values.h"

namespace Vrrpv3Snmp {
namespace {

using Vrrpv3::AddrIndex;
using Vrrpv3::AssociatedIpAddrEntry;
using Vrrpv3::OperationsEntry;
using Vrrpv3::OperIndex;
using Vrrpv3::Vrrpv3Mib;
using Row = OperationsEntry;
using VB = netsnmp_variable_list*;

// vrrpv3OperationsStatus: initialize(1), backup(2), master(3).
S32 status(Routing::Fhrp::FhrpState state) {
  switch (state) {
    case Routing::Fhrp::FhrpState::master:
      return 3;
    case Routing::Fhrp::FhrpState::backup:
      return 2;
    default:
      return 1;
  }
}

S32 truth(bool value) {
  return value ? 1 : 2;
}

// Column 1 (VrId) and 2 (InetAddrType) are the index and not served.
constexpr Column<Row> kOperationsColumns[] = {
    {3, [](const Row& r, const Vrrpv3Mib&, VB vb) { setInetAddr(vb, r.masterIpAddr()); }},
    {4, [](const Row& r, const Vrrpv3Mib&, VB vb) { setInetAddr(vb, r.primaryIpAddr()); }},
    {5,
     [](const Row& r, const Vrrpv3Mib&, VB vb) {
       const auto mac = r.virtualMacAddr();
       setOctets(vb, mac.bytes().data(), mac.bytes().size());
     }},
    {6, [](const Row& r, const Vrrpv3Mib&, VB vb) { setInteger(vb, status(r.state())); }},
    {7, [](const Row& r, const Vrrpv3Mib&, VB vb) { setUnsigned(vb, ASN_UNSIGNED, r.priority()); }},
    {8, [](const Row& r, const Vrrpv3Mib&,
           VB vb) { setInteger(vb, static_cast<S32>(std::min<U32>(r.ipAddrCount(), 255))); }},
    // TimeInterval (1..4095) centiseconds: VRRPv3's 12-bit interval.
    {9, [](const Row& r, const Vrrpv3Mib&,
           VB vb) { setInteger(vb, static_cast<S32>(std::clamp<U32>(r.advInterval(), 1, 4095))); }},
    {10, [](const Row& r, const Vrrpv3Mib&, VB vb) { setInteger(vb, truth(r.preemptMode())); }},
    {11, [](const Row& r, const Vrrpv3Mib&, VB vb) { setInteger(vb, truth(r.acceptMode())); }},
    {12, [](const Row& r, const Vrrpv3Mib&, VB vb) { setSeconds(vb, r.upTime()); }},
    // RowStatus: active(1); notInService(2) for a router shut down by its configuration.
    {13, [](const Row& r, const Vrrpv3Mib&, VB vb) { setInteger(vb, r.active() ? 1 : 2); }},
};

constexpr Column<Row> kStatisticsColumns[] = {
    {1, [](const Row& r, const Vrrpv3Mib&,
           VB vb) { setUnsigned(vb, ASN_COUNTER, r.masterTransitions()); }},
    {2, [](const Row& r, const Vrrpv3Mib&,
           VB vb) { setInteger(vb, static_cast<S32>(r.newMasterReason())); }},
    {3, [](const Row& r, const Vrrpv3Mib&, VB vb) { setCounter64(vb, r.rcvdAdvertisements()); }},
    {4, [](const Row& r, const Vrrpv3Mib&, VB vb) { setCounter64(vb, r.advIntervalErrors()); }},
    {5, [](const Row& r, const Vrrpv3Mib&, VB vb) { setCounter64(vb, r.ipTtlErrors()); }},
    {6, [](const Row& r, const Vrrpv3Mib&,
           VB vb) { setInteger(vb, static_cast<S32>(r.protoErrReason())); }},
    {7, [](const Row& r, const Vrrpv3Mib&, VB vb) { setCounter64(vb, r.rcvdPriZeroPackets()); }},
    {8, [](const Row& r, const Vrrpv3Mib&, VB vb) { setCounter64(vb, r.sentPriZeroPackets()); }},
    {9,
     [](const Row& r, const Vrrpv3Mib&, VB vb) { setCounter64(vb, r.rcvdInvalidTypePackets()); }},
    {10, [](const Row& r, const Vrrpv3Mib&, VB vb) { setCounter64(vb, r.addressListErrors()); }},
    {11, [](const Row& r, const Vrrpv3Mib&, VB vb) { setCounter64(vb, r.packetLengthErrors()); }},
    {12, [](const Row& r, const Vrrpv3Mib&, VB vb) { setTimeStamp(vb, r.discontinuityAt()); }},
    {13, [](const Row&, const Vrrpv3Mib& mib,
            VB vb) { setUnsigned(vb, ASN_UNSIGNED, mib.globalStatistics()->refreshRate()); }},
};

// Column 1 (the address) is the index; the row's existence is all the table says.
constexpr Column<AssociatedIpAddrEntry> kAssociatedColumns[] = {
    {2, [](const AssociatedIpAddrEntry&, const Vrrpv3Mib&, VB vb) { setInteger(vb, 1); }},
};

struct OperationsTraits {
  using Key = OperIndex;
  using Row = OperationsEntry;
  using Table = Vrrpv3::OperationsTable;
  static constexpr const char* kName = "vrrpv3OperationsTable";
  static constexpr const auto& kColumns = kOperationsColumns;
  static const Table& table(const Vrrpv3Mib& mib) { return *mib.operationsTableCollection(); }
};

struct StatisticsTraits : OperationsTraits {
  static constexpr const char* kName = "vrrpv3StatisticsTable";
  static constexpr const auto& kColumns = kStatisticsColumns;
};

struct AssociatedTraits {
  using Key = AddrIndex;
  using Row = AssociatedIpAddrEntry;
  using Table = Vrrpv3::AssociatedIpAddrTable;
  static constexpr const char* kName = "vrrpv3AssociatedIpAddrTable";
  static constexpr const auto& kColumns = kAssociatedColumns;
  static const Table& table(const Vrrpv3Mib& mib) { return *mib.associatedIpAddrTableCollection(); }
};

// The router-wide statistics, each a scalar (instance .0) under vrrpv3RouterStatistics.
int handleRouterStatistic(netsnmp_mib_handler*, netsnmp_handler_registration* reg,
                          netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
  if (reqinfo->mode != MODE_GET) return SNMP_ERR_NOERROR;
  const auto& mib = *static_cast<const Vrrpv3Mib*>(reg->my_reg_void);
  const auto& g = *mib.globalStatistics();
  // The scalar helper registered the object's OID with its instance .0 behind it.
  const oid which = reg->rootoid[OID_LENGTH(Oids::kRouterStatistics)];
  for (netsnmp_request_info* r = requests; r; r = r->next) {
    switch (which) {
      case 1:
        setCounter64(r->requestvb, g.checksumErrors());
        break;
      case 2:
        setCounter64(r->requestvb, g.versionErrors());
        break;
      case 3:
        setCounter64(r->requestvb, g.vrIdErrors());
        break;
      default:
        setTimeStamp(r->requestvb, mib.globalDiscontinuityAt());
    }
  }
  return SNMP_ERR_NOERROR;
}

// net-snmp owns the registration from here on, also when it refuses it as a duplicate.
void registerHandler(const char* name, Netsnmp_Node_Handler* handler, const oid* root,
                     std::size_t length, const Vrrpv3Mib* mib, bool scalar) {
  netsnmp_handler_registration* reg =
      netsnmp_create_handler_registration(name, handler, root, length, HANDLER_CAN_RONLY);
  KIV_ASSERT(reg, Kiv::String8("cannot create the registration of ") + name);
  reg->my_reg_void = const_cast<Vrrpv3Mib*>(mib);
  const int result = scalar ? netsnmp_register_scalar(reg) : netsnmp_register_handler(reg);
  KIV_TRACE(trace(), 1, "registered " << name << ": " << result);
}

const Vrrpv3Mib* findModel() {
  Kiv::Ptr<Kiv::Entity> entity = SnmpUtil::getEntityRelative(kModelPath);
  const auto* mib = dynamic_cast<const Vrrpv3Mib*>(entity.ptr());
  if (!mib) {
    const Kiv::String8 message = Kiv::String8("no VRRPv3-MIB model at ") + kModelPath;
    Log::error(message);
    KIV_ASSERT(mib, message);
  }
  return mib;
}

}  // namespace
}  // namespace Vrrpv3Snmp

void init_Vrrpv3MIB(Kiv::String8 context) {
  using namespace Vrrpv3Snmp;
  KIV_TRACE(trace(), 1, "init_Vrrpv3MIB in context \"" << context << "\"");
  if (!context.empty()) return;
  const Vrrpv3::Vrrpv3Mib* mib = findModel();
  registerHandler("vrrpv3OperationsTable", TableHandler<OperationsTraits>::handle,
                  Oids::kOperationsTable, OID_LENGTH(Oids::kOperationsTable), mib, false);
  registerHandler("vrrpv3AssociatedIpAddrTable", TableHandler<AssociatedTraits>::handle,
                  Oids::kAssociatedIpAddrTable, OID_LENGTH(Oids::kAssociatedIpAddrTable), mib,
                  false);
  registerHandler("vrrpv3StatisticsTable", TableHandler<StatisticsTraits>::handle,
                  Oids::kStatisticsTable, OID_LENGTH(Oids::kStatisticsTable), mib, false);
  constexpr const char* kScalars[] = {"vrrpv3RouterChecksumErrors", "vrrpv3RouterVersionErrors",
                                      "vrrpv3RouterVrIdErrors",
                                      "vrrpv3GlobalStatisticsDiscontinuityTime"};
  for (oid which = 1; which <= 4; ++which) {
    oid name[OID_LENGTH(Oids::kRouterStatistics) + 1];
    std::copy(std::begin(Oids::kRouterStatistics), std::end(Oids::kRouterStatistics), name);
    name[OID_LENGTH(Oids::kRouterStatistics)] = which;
    registerHandler(kScalars[which - 1], handleRouterStatistic, name, OID_LENGTH(name), mib, true);
  }
}
