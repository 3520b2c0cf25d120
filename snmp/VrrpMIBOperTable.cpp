// vrrpOperTable: one row per virtual router, indexed by ifIndex and vrrpOperVrId.
#include "kiv/Types.h"
#include "platform/Snmp/Conversions.h"
#include "snmp/SnmpConversions.h"
#include "snmp/VrrpMIBInternal.h"
#include "snmp/VrrpMIBTableIterator.h"

namespace {

using FhrpSnmp::OperEntry;
using VrrpMIBImpl::ColumnDef;

// The key is never disclosed.
const Kiv::String8 kNoAuthKey;

constexpr ColumnDef<OperEntry> kOperColumns[] = {
    {2, "vrrpOperVirtualMacAddr", false, ASN_OCTET_STR, 6,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return LirexEthAddrToAsnOctetString(r.virtualMacAddr(), b, c);
     },
     "LirexEthAddrToAsnOctetString failed for: virtualMacAddr", "virtualMacAddr", 6, 6},
    {3, "vrrpOperState", false, ASN_INTEGER, 1024,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return FhrpStateToAsnVrrpStatus(r.fhrpState(), b, c);
     },
     "FhrpStateToAsnVrrpStatus failed for: fhrpState"},
    {4, "vrrpOperAdminState", true, ASN_INTEGER, 1024,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return IntfEnabledStateToAsnAdminStatus(r.adminState(), b, c);
     },
     "IntfEnabledStateToAsnAdminStatus failed for: adminState"},
    {5, "vrrpOperPriority", true, ASN_INTEGER, 1024,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return U32ToAsnUnsigned(r.priority(), b, c);
     },
     "U32ToAsnUnsigned failed for: priority"},
    {6, "vrrpOperIpAddrCount", false, ASN_INTEGER, 1024,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return U32ToAsnUnsigned(r.ipAddrCount(), b, c);
     },
     "U32ToAsnUnsigned failed for: ipAddrCount"},
    {7, "vrrpOperMasterIpAddr", false, ASN_IPADDRESS, 1024,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return LirexIpAddrToAsnOctetString(r.masterIpAddr(), b, c);
     },
     "LirexIpAddrToAsnOctetString failed for: masterIpAddr"},
    // Nothing feeds the row's primary address; the column reports 0.0.0.0 for every row.
    {8, "vrrpOperPrimaryIpAddr", true, ASN_IPADDRESS, 1024,
     [](const OperEntry&, unsigned char* b, S32 c) {
       return LirexIpAddrToAsnOctetString(Lirex::IpAddr(), b, c);
     },
     "LirexIpAddrToAsnOctetString failed for: primaryIpAddr"},
    {9, "vrrpOperAuthType", true, ASN_INTEGER, 1024,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return VrrpAuthTypeToAsnAuthType(r.authType(), b, c);
     },
     "VrrpAuthTypeToAsnAuthType failed for: authType"},
    {10, "vrrpOperAuthKey", true, ASN_OCTET_STR, 16,
     [](const OperEntry&, unsigned char* b, S32 c) {
       return StringToAsnOctetString(kNoAuthKey, b, c);
     },
     "StringToAsnOctetString failed for: ", "", 0, 16},
    {11, "vrrpOperAdvertisementInterval", true, ASN_INTEGER, 1024,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return U32ToAsnUnsigned(r.advertisementInterval(), b, c);
     },
     "U32ToAsnUnsigned failed for: advertisementInterval"},
    {12, "vrrpOperPreemptMode", true, ASN_INTEGER, 1024,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return BoolToAsnInteger(r.preempt(), b, c);
     },
     "BoolToAsnInteger failed for: preempt"},
    {13, "vrrpOperVirtualRouterUpTime", false, ASN_TIMETICKS, 1024,
     [](const OperEntry& r, unsigned char* b, S32 c) {
       return SecondsToTimeTicks(r.totalVrUpTime(), b, c);
     },
     "SecondsToTimeTicks failed for: totalVrUpTime"},
    {14, "vrrpOperProtocol", true, ASN_INTEGER, 1024,
     [](const OperEntry&, unsigned char* b, S32 c) {
       const S32 ip = 1;
       return S32ToAsnInteger(ip, b, c);
     },
     "S32ToAsnInteger failed for: "},
    {15, "vrrpOperRowStatus", true, ASN_INTEGER, 1024,
     [](const OperEntry&, unsigned char* b, S32 c) {
       const S32 active = 1;
       return S32ToAsnInteger(active, b, c);
     },
     "S32ToAsnInteger failed for: "},
};

struct OperTableTraits {
  using Table = FhrpSnmp::OperTable;
  using Row = FhrpSnmp::OperEntry;
  using Key = FhrpSnmp::VrrpIndex;
  static constexpr const char* kName = "vrrpOperTable";
  static constexpr const char* kKeyType = "FhrpSnmp::VrrpIndex";
  static constexpr int kIndexCount = 2;
  static constexpr const auto& kColumns = kOperColumns;

  static const Kiv::Ptr<Table>& collection(const FhrpSnmp::VrrpMib& mib) {
    return mib.operTableCollection();
  }
  static Key keyFromHint(const VrrpMIBImpl::HintValues& v) {
    return Key(v.ifIndex, static_cast<U32>(v.vrId));
  }
  static void writeIndexes(const char* helper, const Key& key, netsnmp_variable_list* indexes) {
    VrrpMIBImpl::writeVrrpIndex(helper, key.ifIndex, key.vrId, indexes);
  }
};

}  // namespace

VRRPMIB_DEFINE_TABLE_HOOKS(vrrpOperTable, OperTableTraits)
