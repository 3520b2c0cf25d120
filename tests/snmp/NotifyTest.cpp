// SPDX-License-Identifier: Apache-2.0
// The part of the module that the mirroring machines link, linked without the model. The
// notification it sends is caught and checked by the daemon's test.
#include <gtest/gtest.h>

#include "kiv/Exception.h"
#include "snmp/SnmpConversions.h"

namespace {

TEST(SnmpConversionsTest, HintAddressesMustHaveFourOctets) {
  netsnmp_variable_list* vars = nullptr;
  const u_char four[] = {192, 0, 2, 7};
  const u_char five[] = {192, 0, 2, 7, 1};
  snmp_varlist_add_variable(&vars, nullptr, 0, ASN_IPADDRESS, four, sizeof(four));
  snmp_varlist_add_variable(&vars, nullptr, 0, ASN_IPADDRESS, five, sizeof(five));
  snmp_varlist_add_variable(&vars, nullptr, 0, ASN_IPADDRESS, four, 2);
  EXPECT_EQ(AsnIpAddressToLirexIpAddr(vars), Lirex::IpAddr(192, 0, 2, 7));
  EXPECT_THROW(AsnIpAddressToLirexIpAddr(vars->next_variable), Kiv::RangeException);
  EXPECT_THROW(AsnIpAddressToLirexIpAddr(vars->next_variable->next_variable), Kiv::RangeException);
  snmp_free_varbind(vars);
}

}  // namespace
