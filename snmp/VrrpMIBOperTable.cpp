// SPDX-License-Identifier: Apache-2.0
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
    {.column = 2,
     .name = "vrrpOperVirtualMacAddr",
     .writableInMib = false,
     .type = ASN_OCTET_STR,
     .capacity = 6,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return LirexEthAddrToAsnOctetString(r.virtualMacAddr(), b, c); },
     .failure = "LirexEthAddrToAsnOctetString failed for: virtualMacAddr",
     .lengthName = "virtualMacAddr",
     .minLength = 6,
     .maxLength = 6},
    {.column = 3,
     .name = "vrrpOperState",
     .writableInMib = false,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return FhrpStateToAsnVrrpStatus(r.fhrpState(), b, c); },
     .failure = "FhrpStateToAsnVrrpStatus failed for: fhrpState"},
    {.column = 4,
     .name = "vrrpOperAdminState",
     .writableInMib = true,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return IntfEnabledStateToAsnAdminStatus(r.adminState(), b, c); },
     .failure = "IntfEnabledStateToAsnAdminStatus failed for: adminState"},
    {.column = 5,
     .name = "vrrpOperPriority",
     .writableInMib = true,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return U32ToAsnUnsigned(r.priority(), b, c); },
     .failure = "U32ToAsnUnsigned failed for: priority"},
    {.column = 6,
     .name = "vrrpOperIpAddrCount",
     .writableInMib = false,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return U32ToAsnUnsigned(r.ipAddrCount(), b, c); },
     .failure = "U32ToAsnUnsigned failed for: ipAddrCount"},
    {.column = 7,
     .name = "vrrpOperMasterIpAddr",
     .writableInMib = false,
     .type = ASN_IPADDRESS,
     .capacity = 1024,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return LirexIpAddrToAsnOctetString(r.masterIpAddr(), b, c); },
     .failure = "LirexIpAddrToAsnOctetString failed for: masterIpAddr"},
    // Nothing feeds the row's primary address; the column reports 0.0.0.0 for every row.
    {.column = 8,
     .name = "vrrpOperPrimaryIpAddr",
     .writableInMib = true,
     .type = ASN_IPADDRESS,
     .capacity = 1024,
     .encode = [](const OperEntry&, unsigned char* b,
                  S32 c) { return LirexIpAddrToAsnOctetString(Lirex::IpAddr(), b, c); },
     .failure = "LirexIpAddrToAsnOctetString failed for: primaryIpAddr"},
    {.column = 9,
     .name = "vrrpOperAuthType",
     .writableInMib = true,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return VrrpAuthTypeToAsnAuthType(r.authType(), b, c); },
     .failure = "VrrpAuthTypeToAsnAuthType failed for: authType"},
    {.column = 10,
     .name = "vrrpOperAuthKey",
     .writableInMib = true,
     .type = ASN_OCTET_STR,
     .capacity = 16,
     .encode = [](const OperEntry&, unsigned char* b,
                  S32 c) { return StringToAsnOctetString(kNoAuthKey, b, c); },
     .failure = "StringToAsnOctetString failed for: ",
     .lengthName = "",
     .minLength = 0,
     .maxLength = 16},
    {.column = 11,
     .name = "vrrpOperAdvertisementInterval",
     .writableInMib = true,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return U32ToAsnUnsigned(r.advertisementInterval(), b, c); },
     .failure = "U32ToAsnUnsigned failed for: advertisementInterval"},
    {.column = 12,
     .name = "vrrpOperPreemptMode",
     .writableInMib = true,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return BoolToAsnInteger(r.preempt(), b, c); },
     .failure = "BoolToAsnInteger failed for: preempt"},
    {.column = 13,
     .name = "vrrpOperVirtualRouterUpTime",
     .writableInMib = false,
     .type = ASN_TIMETICKS,
     .capacity = 1024,
     .encode = [](const OperEntry& r, unsigned char* b,
                  S32 c) { return SecondsToTimeTicks(r.totalVrUpTime(), b, c); },
     .failure = "SecondsToTimeTicks failed for: totalVrUpTime"},
    {.column = 14,
     .name = "vrrpOperProtocol",
     .writableInMib = true,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode =
         [](const OperEntry&, unsigned char* b, S32 c) {
           const S32 ip = 1;
           return S32ToAsnInteger(ip, b, c);
         },
     .failure = "S32ToAsnInteger failed for: "},
    {.column = 15,
     .name = "vrrpOperRowStatus",
     .writableInMib = true,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode =
         [](const OperEntry&, unsigned char* b, S32 c) {
           const S32 active = 1;
           return S32ToAsnInteger(active, b, c);
         },
     .failure = "S32ToAsnInteger failed for: "},
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

using Hooks = VrrpMIBImpl::TableIterator<OperTableTraits>;

}  // namespace

// The hooks net-snmp's table iterator calls (registered in VrrpMIBTables.cpp).

netsnmp_variable_list* vrrpOperTable_get_first_data_point(void** loopContext, void**,
                                                          netsnmp_variable_list* indexes,
                                                          netsnmp_iterator_info* info) {
  return Hooks::getFirst(loopContext, indexes, info);
}

netsnmp_variable_list* vrrpOperTable_get_next_data_point(void** loopContext, void** dataContext,
                                                         netsnmp_variable_list* indexes,
                                                         netsnmp_iterator_info*) {
  return Hooks::getNext(loopContext, dataContext, indexes);
}

netsnmp_variable_list* vrrpOperTableIterationHelper(const FhrpSnmp::OperTable::Iterator* loop,
                                                    netsnmp_variable_list* indexes) {
  return Hooks::iterationHelper(loop, indexes);
}

void* vrrpOperTable_make_data_context(void* loopContext, netsnmp_iterator_info*) {
  return Hooks::makeDataContext(loopContext);
}

void vrrpOperTable_free_data_context(void* dataContext, netsnmp_iterator_info*) {
  Hooks::freeDataContext(dataContext);
}

void vrrpOperTable_free_loop_context_at_end(void* loopContext, netsnmp_iterator_info*) {
  Hooks::freeLoopContextAtEnd(loopContext);
}

int vrrpOperTable_handler(netsnmp_mib_handler*, netsnmp_handler_registration*,
                          netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
  return Hooks::handler(reqinfo, requests);
}
