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
    {2, "vrrpAssoIpAddrRowStatus", true, ASN_INTEGER, 1024,
     [](const AssoIpAddrEntry&, unsigned char* b, S32 c) {
       const S32 active = 1;
       return S32ToAsnInteger(active, b, c);
     },
     "S32ToAsnInteger failed for: "},
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

}  // namespace

VRRPMIB_DEFINE_TABLE_HOOKS(vrrpAssoIpAddrTable, AssoIpAddrTableTraits)
