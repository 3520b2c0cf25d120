#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "kiv/Exception.h"
#include "platform/Snmp/HandlerRegistration.h"
#include "platform/Snmp/Oid.h"
#include "platform/Snmp/SnmpUtil.h"

namespace {

TEST(OidTest, AppendToOidFillsTheBufferThenRaises) {
  oid buf[3];
  size_t len = Snmp::AppendToOid(buf, 0, 3, 1);
  len = Snmp::AppendToOid(buf, len, 3, 0xffffffffu);
  len = Snmp::AppendToOid(buf, len, 3, 0);
  EXPECT_EQ(len, 3u);
  EXPECT_EQ(Snmp::oidToString(buf, len), ".1.4294967295.0");
  try {
    Snmp::AppendToOid(buf, len, 3, 7);
    ADD_FAILURE() << "no exception";
  } catch (const Kiv::RangeException& e) {
    EXPECT_EQ(e.message(), "cannot append 7 to an OID of 3 sub-identifiers (maximum 3)");
  }
  EXPECT_EQ(Snmp::oidToString(buf, 0), "");
}

class RecordingRegistration : public Snmp::HandlerRegistration {
 public:
  RecordingRegistration(std::vector<std::string>* log, std::string name)
      : log_(log), name_(std::move(name)) {}
  void initHandler(Kiv::String8 context) override { log_->push_back(name_ + "@" + context); }

 private:
  std::vector<std::string>* log_;
  std::string name_;
};

TEST(HandlerRegistrationTest, InitHandlersRunsEveryLiveRegistrationInOrder) {
  const size_t before = Snmp::handlerRegistrations().size();
  std::vector<std::string> log;
  RecordingRegistration a(&log, "a"), b(&log, "b"), c(&log, "c");
  auto registreeA = std::make_unique<Snmp::AutoRegistree>(&a);
  Snmp::AutoRegistree registreeB(&b);
  {
    Snmp::AutoRegistree registreeC(&c);
    EXPECT_EQ(Snmp::handlerRegistrations().size(), before + 3);
    Snmp::initHandlers("");
    Snmp::initHandlers("blue");
  }
  EXPECT_EQ(log, (std::vector<std::string>{"a@", "b@", "c@", "a@blue", "b@blue", "c@blue"}));

  log.clear();
  registreeA.reset();
  Snmp::initHandlers("");
  EXPECT_EQ(log, (std::vector<std::string>{"b@"}));
  EXPECT_EQ(Snmp::handlerRegistrations().size(), before + 1);
}

TEST(SnmpUtilTest, GetEntityRelativeFindsOnlyEntitiesUnderTheMountRoot) {
  EXPECT_FALSE(SnmpUtil::getEntityRelative("a"));  // nothing mounted yet

  auto root = Kiv::make<Kiv::Directory>("root");
  auto status = Kiv::make<Kiv::Entity>("status");
  root->bind("routing/fhrp/status", status);
  root->bind("routing/plain", Kiv::make<Kiv::PtrInterface>());
  SnmpUtil::mountRootIs(root);
  EXPECT_TRUE(SnmpUtil::mountRoot() == root);

  EXPECT_TRUE(SnmpUtil::getEntityRelative("routing/fhrp/status") == status);
  EXPECT_TRUE(SnmpUtil::getEntityRelative("routing/fhrp") == root->lookup("routing/fhrp"));
  EXPECT_FALSE(SnmpUtil::getEntityRelative("routing/plain"));
  EXPECT_FALSE(SnmpUtil::getEntityRelative("routing/fhrp/status/deeper"));
  EXPECT_FALSE(SnmpUtil::getEntityRelative("routing/missing"));
  EXPECT_FALSE(SnmpUtil::getEntityRelative(""));
  EXPECT_FALSE(SnmpUtil::getEntityRelative(nullptr));

  SnmpUtil::mountRootIs(nullptr);
  EXPECT_FALSE(SnmpUtil::getEntityRelative("routing/fhrp/status"));
}

TEST(ConfigTest, NotificationStatusExplainsEveryReasonNotToSend) {
  auto config = Kiv::make<Snmp::Config>();
  EXPECT_EQ(config->notificationStatus("vrrp", "vrrpTrapNewMaster").reason,
            "notification vrrp/vrrpTrapNewMaster is not registered");

  auto group = config->notificationConfigIs("vrrp");
  EXPECT_TRUE(config->notificationConfigIs("vrrp") == group);
  EXPECT_TRUE(config->notificationConfig("vrrp") == group);
  EXPECT_FALSE(config->notificationConfig("other"));
  EXPECT_FALSE(config->notificationStatus("vrrp", "vrrpTrapNewMaster").send);

  auto newMaster = group->notificationIs("vrrpTrapNewMaster");
  EXPECT_TRUE(group->notificationIs("vrrpTrapNewMaster") == newMaster);
  EXPECT_TRUE(newMaster->enabled());
  auto status = config->notificationStatus("vrrp", "vrrpTrapNewMaster");
  EXPECT_TRUE(status.send);
  EXPECT_EQ(status.reason, "");
  // The same name in another group is another notification.
  EXPECT_FALSE(config->notificationStatus("other", "vrrpTrapNewMaster").send);

  newMaster->enabledIs(false);
  status = config->notificationStatus("vrrp", "vrrpTrapNewMaster");
  EXPECT_FALSE(status.send);
  EXPECT_EQ(status.reason, "notification vrrp/vrrpTrapNewMaster is disabled");

  // The global switch wins over everything else.
  newMaster->enabledIs(true);
  config->notificationsEnabledIs(false);
  status = config->notificationStatus("vrrp", "vrrpTrapNewMaster");
  EXPECT_FALSE(status.send);
  EXPECT_EQ(status.reason, "notifications are switched off in the agent configuration");
  EXPECT_EQ(config->notificationStatus("vrrp", "unknown").reason, status.reason);

  EXPECT_THROW(config->notificationConfigIs(""), Kiv::RangeException);
  EXPECT_THROW(group->notificationIs(""), Kiv::RangeException);
}

TEST(ConfigTest, TheProcessHasOneConfigurationSendingByDefault) {
  auto config = SnmpUtil::getSnmpConfig();
  ASSERT_TRUE(config);
  EXPECT_TRUE(SnmpUtil::getSnmpConfig() == config);
  EXPECT_TRUE(config->notificationsEnabled());
}

}  // namespace
