// The part of the module that the mirroring machines link: the enumeration conversions and
// the new-master notification. Linked without the model, which this also proves.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "kiv/Exception.h"
#include "kiv/Trace.h"
#include "platform/Snmp/Oid.h"
#include "platform/Snmp/SnmpUtil.h"
#include "platform/Snmp/TrapManager.h"
#include "snmp/SnmpConversions.h"
#include "snmp/VrrpTrapNewMaster.h"

namespace {

using Lirex::VrrpAuthType;
using Routing::Fhrp::FhrpState;

// The INTEGER an encoder wrote into buf, as snmp_set_var_typed_value would read it back.
unsigned char buf[16];
int written(S32 len) {
  EXPECT_EQ(len, static_cast<S32>(sizeof(int)));
  int value = 0;
  std::memcpy(&value, buf, sizeof(value));
  return value;
}

// States run in the opposite sense, authentication types are shifted by one.
TEST(SnmpConversionsTest, EnumerationsMapToTheMibsNumbers) {
  using Interface::IntfEnabledState;
  EXPECT_EQ(written(FhrpStateToAsnVrrpStatus(FhrpState::master, buf, 16)), 3);
  EXPECT_EQ(written(FhrpStateToAsnVrrpStatus(FhrpState::backup, buf, 16)), 2);
  EXPECT_EQ(written(FhrpStateToAsnVrrpStatus(FhrpState::initialize, buf, 16)), 1);
  EXPECT_EQ(written(VrrpAuthTypeToAsnAuthType(VrrpAuthType::noAuthentication, buf, 16)), 1);
  EXPECT_EQ(written(VrrpAuthTypeToAsnAuthType(VrrpAuthType::ipAuthenticationHeader, buf, 16)), 3);
  EXPECT_EQ(written(IntfEnabledStateToAsnAdminStatus(IntfEnabledState::enabled, buf, 16)), 1);
  EXPECT_EQ(written(IntfEnabledStateToAsnAdminStatus(IntfEnabledState::disabled, buf, 16)), 2);
  EXPECT_EQ(
      written(IntfEnabledStateToAsnAdminStatus(IntfEnabledState::unknownEnabledState, buf, 16)), 2);
}

TEST(SnmpConversionsDeathTest, TooLittleRoomFailsAndUnknownValuesStopTheProcess) {
  EXPECT_LT(FhrpStateToAsnVrrpStatus(FhrpState::backup, buf, 3), 0);
  EXPECT_LT(VrrpAuthTypeToAsnAuthType(VrrpAuthType::noAuthentication, buf, 3), 0);
  EXPECT_LT(IntfEnabledStateToAsnAdminStatus(Interface::IntfEnabledState::enabled, buf, 0), 0);
  EXPECT_LT(FhrpStateToAsnVrrpStatus(FhrpState::backup, nullptr, 1024), 0);
  EXPECT_DEATH(FhrpStateToAsnVrrpStatus(static_cast<FhrpState>(3), buf, sizeof(buf)),
               "bad value for FhrpState.*SnmpConversions");
  EXPECT_DEATH(VrrpAuthTypeToAsnAuthType(static_cast<VrrpAuthType>(-1), buf, sizeof(buf)),
               "bad value for VrrpAuthType.*SnmpConversions");
}

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

// --- vrrpTrapNewMaster

class VrrpTrapNewMasterTest : public ::testing::Test {
 protected:
  VrrpTrapNewMasterTest() {
    // The queue's flush alarm must not become a SIGALRM in a process without an agent.
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, 1);
    auto group = SnmpUtil::getSnmpConfig()->notificationConfigIs("vrrp");
    notification = group->notificationIs("vrrpTrapNewMaster");
    notification->enabledIs(true);
    // Each varbind as "name type value"; a value is an OID or dotted octets.
    traps.senderIs([this](netsnmp_variable_list* vars) {
      for (auto* v = vars; v; v = v->next_variable) {
        std::string value;
        if (v->type == ASN_OBJECT_ID) {
          value = Snmp::oidToString(v->val.objid, v->val_len / sizeof(oid));
        } else {
          for (size_t i = 0; i < v->val_len; ++i)
            value += (i ? "." : "") + std::to_string(v->val.string[i]);
        }
        sent.push_back(Snmp::oidToString(v->name, v->name_length) + " " + std::to_string(v->type) +
                       " " + value);
      }
    });
  }
  ~VrrpTrapNewMasterTest() override {
    traps.flush();
    traps.senderIs(nullptr);
  }

  Snmp::TrapManager& traps = Snmp::TrapManager::instance();
  Kiv::Ptr<Snmp::Notification> notification;
  std::vector<std::string> sent;
};

// snmpTrapOID.0, then the master's address as an instance of vrrpOperMasterIpAddr; nothing
// else, not even sysUpTime.0.
TEST_F(VrrpTrapNewMasterTest, QueuesTrapOidThenTheMastersAddressInstance) {
  const size_t before = traps.pending();
  EXPECT_EQ(Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12), 0);
  EXPECT_EQ(traps.pending(), before + 1);
  EXPECT_TRUE(sent.empty()) << "queued, not sent from the caller's stack";
  traps.flush();
  EXPECT_EQ(sent, (std::vector<std::string>{".1.3.6.1.6.3.1.1.4.1.0 6 .1.3.6.1.2.1.68.0.1",
                                            ".1.3.6.1.2.1.68.1.3.1.7.7.12 64 10.0.0.1"}));
}

TEST_F(VrrpTrapNewMasterTest, ADisabledNotificationIsNotQueuedAndTheTraceSaysWhy) {
  Kiv::TraceCapture capture("Snmp", 1u << 4);
  const size_t before = traps.pending();
  notification->enabledIs(false);
  EXPECT_EQ(Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12), 0);
  notification->enabledIs(true);
  SnmpUtil::getSnmpConfig()->notificationsEnabledIs(false);
  Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12);
  SnmpUtil::getSnmpConfig()->notificationsEnabledIs(true);
  EXPECT_EQ(traps.pending(), before);
  const Kiv::String8 notSent =
      "vrrpTrapNewMaster notification not sent. notificationStatus returned ";
  EXPECT_EQ(capture.lines(),
            (std::vector<Kiv::String8>{
                notSent + "notification vrrp/vrrpTrapNewMaster is disabled",
                notSent + "notifications are switched off in the agent configuration"}));
}

TEST(VrrpTrapNewMasterDeathTest, AnUnregisteredGroupOrNotificationStopsTheProcess) {
  auto config = SnmpUtil::getSnmpConfig();
  if (config->notificationConfig("vrrp")) GTEST_SKIP() << "needs a process without the group";
  EXPECT_DEATH(Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12),
               "You need to register vrrp traps from your ZentraPlugin");
  config->notificationConfigIs("vrrp");
  EXPECT_DEATH(Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12),
               "notification\\( \"vrrpTrapNewMaster\" \\).*You need to register "
               "vrrpTrapNewMaster traps from your ZentraPlugin");
}

}  // namespace
