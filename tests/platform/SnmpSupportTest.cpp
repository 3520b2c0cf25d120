// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "kiv/Exception.h"
#include "platform/Snmp/Oid.h"
#include "platform/Snmp/SnmpUtil.h"

namespace {

using ::testing::ThrowsMessage;

TEST(OidTest, AppendToOidFillsTheBufferThenRaises) {
  oid buf[3];
  size_t len = Snmp::AppendToOid(buf, 0, 3, 1);
  len = Snmp::AppendToOid(buf, len, 3, 0xffffffffu);
  len = Snmp::AppendToOid(buf, len, 3, 0);
  EXPECT_EQ(Snmp::oidToString(buf, len), ".1.4294967295.0");
  EXPECT_THAT([&] { Snmp::AppendToOid(buf, len, 3, 7); },
              ThrowsMessage<Kiv::RangeException>(
                  "cannot append 7 to an OID of 3 sub-identifiers (maximum 3)"));
  EXPECT_EQ(Snmp::oidToString(buf, 0), "");
}

TEST(ConfigTest, OnlyARegisteredNotificationIsSentAndTheAgentWideSwitchWins) {
  auto config = Kiv::make<Snmp::Config>();
  const auto sends = [&](const char* group) {
    return config->notificationStatus(group, "vrrpTrapNewMaster").send;
  };
  auto group = config->notificationConfigIs("vrrp");
  EXPECT_FALSE(sends("vrrp"));  // the group alone is not enough
  EXPECT_TRUE(group->notificationIs("vrrpTrapNewMaster") ==
              group->notificationIs("vrrpTrapNewMaster"));
  EXPECT_TRUE(sends("vrrp"));
  EXPECT_FALSE(sends("other"));  // the same name in another group is another notification
  config->notificationsEnabledIs(false);
  EXPECT_FALSE(sends("vrrp"));
  EXPECT_THROW(config->notificationConfigIs(""), Kiv::RangeException);
  EXPECT_THROW(group->notificationIs(""), Kiv::RangeException);
}

}  // namespace
