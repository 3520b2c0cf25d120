// SPDX-License-Identifier: Apache-2.0
// vrrpAssoIpAddrTable: one row per address of a virtual router, indexed by ifIndex,
// vrrpOperVrId and vrrpAssoIpAddr.
#include "kiv/Types.h"
#include "platform/Snmp/Conversions.h"
#include "snmp/VrrpMIBInternal.h"
#include "snmp/VrrpMIBTableIterator.h"

namespace {

using FhrpSnmp::AssoIpAddrEntry;
using VrrpMIBImpl::ColumnDef;

// A row's existence is all the table reports.
constexpr ColumnDef<AssoIpAddrEntry> kAssoColumns[] = {
    {.column = 2,
     .name = "vrrpAssoIpAddrRowStatus",
     .writableInMib = true,
     .type = ASN_INTEGER,
     .capacity = 1024,
     .encode =
         [](const AssoIpAddrEntry&, unsigned char* b, S32 c) {
           const S32 active = 1;
           return S32ToAsnInteger(active, b, c);
         },
     .failure = "S32ToAsnInteger failed for: "},
};

struct AssoIpAddrTableTraits {
  using Table = FhrpSnmp::AssoIpAddrTable;
  using Row = FhrpSnmp::AssoIpAddrEntry;
  using Key = FhrpSnmp::VrrpIpIndex;
  static constexpr const char* kName = "vrrpAssoIpAddrTable";
  static constexpr const char* kKeyType = "FhrpSnmp::VrrpIpIndex";
  static constexpr int kIndexCount = 3;
  static constexpr const auto& kColumns = kAssoColumns;

  static const Kiv::Ptr<Table>& collection(const FhrpSnmp::VrrpMib& mib) {
    return mib.assoIpAddrTableCollection();
  }
  static Key keyFromHint(const VrrpMIBImpl::HintValues& v) {
    return Key(v.ifIndex, static_cast<U32>(v.vrId), v.ipAddr);
  }
  // The address goes out as an implied-length octet string: four sub-identifiers, exactly
  // what an IpAddress index encodes to. net-snmp builds an IpAddress index from the wrong
  // byte order, so it is not written as one.
  static void writeIndexes(const char* helper, const Key& key, netsnmp_variable_list* indexes) {
    netsnmp_variable_list* vrId =
        VrrpMIBImpl::writeVrrpIndex(helper, key.ifIndex, key.vrId, indexes);
    netsnmp_variable_list* addr = vrId ? vrId->next_variable : nullptr;
    KIV_TRACE(Snmp::snmpTrace(), 2,
              helper << " - iterator has another value: ipAddr=" << key.ipAddr);
    unsigned char buf[1024];
    const S32 len = LirexIpAddrToAsnOctetString(key.ipAddr, buf, sizeof(buf));
    if (addr && len >= 0) {
      snmp_set_var_typed_value(addr, ASN_PRIV_IMPLIED_OCTET_STR, buf, static_cast<size_t>(len));
    }
  }
};

using Hooks = VrrpMIBImpl::TableIterator<AssoIpAddrTableTraits>;

}  // namespace

// The hooks net-snmp's table iterator calls (registered in VrrpMIBTables.cpp).

netsnmp_variable_list* vrrpAssoIpAddrTable_get_first_data_point(void** loopContext, void**,
                                                                netsnmp_variable_list* indexes,
                                                                netsnmp_iterator_info* info) {
  return Hooks::getFirst(loopContext, indexes, info);
}

netsnmp_variable_list* vrrpAssoIpAddrTable_get_next_data_point(void** loopContext,
                                                               void** dataContext,
                                                               netsnmp_variable_list* indexes,
                                                               netsnmp_iterator_info*) {
  return Hooks::getNext(loopContext, dataContext, indexes);
}

netsnmp_variable_list* vrrpAssoIpAddrTableIterationHelper(
    const FhrpSnmp::AssoIpAddrTable::Iterator* loop, netsnmp_variable_list* indexes) {
  return Hooks::iterationHelper(loop, indexes);
}

void* vrrpAssoIpAddrTable_make_data_context(void* loopContext, netsnmp_iterator_info*) {
  return Hooks::makeDataContext(loopContext);
}

void vrrpAssoIpAddrTable_free_data_context(void* dataContext, netsnmp_iterator_info*) {
  Hooks::freeDataContext(dataContext);
}

void vrrpAssoIpAddrTable_free_loop_context_at_end(void* loopContext, netsnmp_iterator_info*) {
  Hooks::freeLoopContextAtEnd(loopContext);
}

int vrrpAssoIpAddrTable_handler(netsnmp_mib_handler*, netsnmp_handler_registration*,
                                netsnmp_agent_request_info* reqinfo,
                                netsnmp_request_info* requests) {
  return Hooks::handler(reqinfo, requests);
}
