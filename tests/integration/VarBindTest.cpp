// The parser against output captured from net-snmp 5.9.3's tools and snmptrapd.
#include <gtest/gtest.h>

#include "tests/integration/SnmpTrapReceiver.h"
#include "tests/integration/VarBind.h"

namespace Harness {
namespace {

TEST(VarBindTest, ParsesEachPrintedTypeAndException) {
  auto vbs = parseVarBinds(
      ".1.3.6.1.2.1.68.1.1.0 = INTEGER: 2\n"
      ".1.3.6.1.2.1.1.3.0 = Timeticks: (24251) 0:04:02.51\n"
      ".1.3.6.1.2.1.1.2.0 = OID: .1.3.6.1.4.1.8072.3.2.10\n"
      ".1.3.6.1.2.1.2.2.1.6.1 = \"\"\n"
      ".1.3.6.1.2.1.4.20.1.1.1 = IpAddress: 192.0.2.1\n"
      ".1.3.6.1.2.1.1.9.1.2.99 = No Such Instance currently exists at this OID\n"
      ".1.3.6.1.2.1.1.99 = No Such Object available on this agent at this OID\n"
      ".1.3.6.1.9 = No more variables left in this MIB View (It is past the end of the MIB "
      "tree)\n");
  ASSERT_EQ(vbs.size(), 8u);
  EXPECT_EQ(vbs[0], (VarBind{".1.3.6.1.2.1.68.1.1.0", "INTEGER", "2", ""}));
  EXPECT_EQ(vbs[1], (VarBind{".1.3.6.1.2.1.1.3.0", "Timeticks", "24251", ""}));
  EXPECT_EQ(vbs[1].text, "Timeticks: (24251) 0:04:02.51");
  EXPECT_EQ(vbs[2].value, ".1.3.6.1.4.1.8072.3.2.10");
  EXPECT_EQ(vbs[3], (VarBind{".1.3.6.1.2.1.2.2.1.6.1", "STRING", "", ""}));
  EXPECT_EQ(vbs[4], (VarBind{".1.3.6.1.2.1.4.20.1.1.1", "IpAddress", "192.0.2.1", ""}));
  EXPECT_EQ(vbs[5].type, "noSuchInstance");
  EXPECT_EQ(vbs[6].type, "noSuchObject");
  EXPECT_EQ(vbs[7].type, "endOfMibView");
  EXPECT_EQ(vbs[7].value, "");
}

TEST(VarBindTest, QuotedStringsKeepNewlinesAndLookalikeLines) {
  auto vbs = parseVarBinds(
      ".1.3.6.1.2.1.1.1.0 = STRING: \"multi\n"
      ".1.3.6.1.2.1.1.5.0 = INTEGER: 7\n"
      "a\\\\b\\\"c\"\n"
      ".1.3.6.1.2.1.1.5.0 = STRING: \"x\"\n");
  ASSERT_EQ(vbs.size(), 2u);
  EXPECT_EQ(vbs[0].value, "multi\n.1.3.6.1.2.1.1.5.0 = INTEGER: 7\na\\b\"c");
  EXPECT_EQ(vbs[1].value, "x");
}

TEST(VarBindTest, WrappedHexStringJoinsIntoOctets) {
  auto vbs = parseVarBinds(
      ".1.3.6.1.2.1.1.6.0 = Hex-STRING: 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F \n"
      "10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F \n"
      "20 21 \n"
      ".1.3.6.1.2.1.2.2.1.6.2 = Hex-STRING: 00 00 5E 00 01 05 \n");
  ASSERT_EQ(vbs.size(), 2u);
  EXPECT_EQ(vbs[0].type, "Hex-STRING");
  EXPECT_EQ(vbs[0].octets().size(), 34u);
  EXPECT_EQ(vbs[0].octets()[33], '\x21');
  EXPECT_EQ(vbs[1].value, "00 00 5E 00 01 05");
  EXPECT_EQ(vbs[1].octets(), std::string("\x00\x00\x5e\x00\x01\x05", 6));
}

TEST(VarBindTest, IgnoresNoiseBeforeTheFirstBinding) {
  auto vbs = parseVarBinds("Created directory: /tmp/x\n.1.3.6.1.2.1.1.5.0 = STRING: \"vm\"\n");
  ASSERT_EQ(vbs.size(), 1u);
  EXPECT_EQ(vbs[0].value, "vm");
  EXPECT_TRUE(parseVarBinds("").empty());
}

TEST(VarBindTest, TrapRecordSplitsIntoTransportSecurityAndBindings) {
  Trap trap = parseTrapRecord(
      "UDP: [127.0.0.1]:45431->[127.0.0.1]:17162\x1f"
      "TRAP2, SNMP v2c, community public\x1f"
      ".1.3.6.1.2.1.1.3.0 = Timeticks: (25637) 0:04:16.37\x1f"
      ".1.3.6.1.6.3.1.1.4.1.0 = OID: .1.3.6.1.6.3.1.1.5.1\x1f"
      ".1.3.6.1.2.1.1.1.0 = STRING: \"multi\nline \\\"q\\\"\"");
  EXPECT_EQ(trap.transport, "UDP: [127.0.0.1]:45431->[127.0.0.1]:17162");
  EXPECT_EQ(trap.community(), "public");
  EXPECT_EQ(trap.trapOid(), ".1.3.6.1.6.3.1.1.5.1");
  ASSERT_EQ(trap.varbinds.size(), 3u);
  EXPECT_EQ(trap.varbinds[2].value, "multi\nline \"q\"");
  EXPECT_EQ(trap.find(".1.3.6.1.2.1.1.5.0"), nullptr);

  Trap bare =
      parseTrapRecord("UDP: [127.0.0.1]:1->[127.0.0.1]:2\x1fTRAP, SNMP v1, community x\x1f");
  EXPECT_TRUE(bare.varbinds.empty());
  EXPECT_EQ(bare.trapOid(), "");
}

}  // namespace
}  // namespace Harness
