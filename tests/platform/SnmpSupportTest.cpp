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

TEST(ConfigTest, NotificationStatusExplainsEveryReasonNotToSend) {
  auto config = Kiv::make<Snmp::Config>();
  // "send", or the reason not to.
  const auto status = [&](const char* group, const char* name) {
    const Snmp::NotificationStatus s = config->notificationStatus(group, name);
    return s.send ? "send" + s.reason : s.reason;
  };
  const char* const unregistered = "notification vrrp/vrrpTrapNewMaster is not registered";
  auto group = config->notificationConfigIs("vrrp");
  EXPECT_EQ(status("vrrp", "vrrpTrapNewMaster"), unregistered);  // the group alone is not enough
  auto newMaster = group->notificationIs("vrrpTrapNewMaster");
  EXPECT_TRUE(group->notificationIs("vrrpTrapNewMaster") == newMaster);
  EXPECT_EQ(status("vrrp", "vrrpTrapNewMaster"), "send");
  // The same name in another group is another notification.
  EXPECT_EQ(status("other", "vrrpTrapNewMaster"),
            "notification other/vrrpTrapNewMaster is not registered");
  // The global switch wins over everything else (the module's test sees both texts).
  config->notificationsEnabledIs(false);
  EXPECT_EQ(status("vrrp", "unknown"), "notifications are switched off in the agent configuration");

  EXPECT_THROW(config->notificationConfigIs(""), Kiv::RangeException);
  EXPECT_THROW(group->notificationIs(""), Kiv::RangeException);
}

}  // namespace
