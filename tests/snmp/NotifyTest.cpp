// The part of the module that the mirroring machines link: the enumeration conversions and
// the new-master notification. Linked without the model, which this also proves.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "kiv/Exception.h"
#include "kiv/Trace.h"
#include "platform/Snmp/SnmpUtil.h"
#include "platform/Snmp/TrapManager.h"
#include "snmp/SnmpConversions.h"
#include "snmp/VrrpTrapNewMaster.h"

namespace {

using Lirex::VrrpAuthType;
using Routing::Fhrp::FhrpState;

// The INTEGER an encoder wrote, as snmp_set_var_typed_value would read it back.
template <class Encode>
long encoded(Encode encode) {
  unsigned char buf[1024];
  const S32 len = encode(buf, sizeof(buf));
  EXPECT_EQ(len, static_cast<S32>(sizeof(int)));
  int value = 0;
  std::memcpy(&value, buf, sizeof(value));
  return value;
}

TEST(SnmpConversionsTest, EnumerationsMapToTheMibsNumbers) {
  // States run in the opposite sense, authentication types are shifted by one.
  const std::pair<FhrpState, long> states[] = {
      {FhrpState::master, 3}, {FhrpState::backup, 2}, {FhrpState::initialize, 1}};
  // The init-captures copy the structured bindings: clang before 16 cannot capture them.
  for (auto [state, number] : states) {
    EXPECT_EQ(encoded([&, state = state](auto* b, S32 c) {
                return FhrpStateToAsnVrrpStatus(state, b, c);
              }),
              number);
  }
  for (int type : {0, 1, 2}) {
    EXPECT_EQ(encoded([&](auto* b, S32 c) {
                return VrrpAuthTypeToAsnAuthType(static_cast<VrrpAuthType>(type), b, c);
              }),
              type + 1);
  }
  using Interface::IntfEnabledState;
  for (auto [state, number] : {std::pair{IntfEnabledState::enabled, 1L},
                               {IntfEnabledState::disabled, 2L},
                               {IntfEnabledState::unknownEnabledState, 2L}}) {
    EXPECT_EQ(encoded([&, state = state](auto* b, S32 c) {
                return IntfEnabledStateToAsnAdminStatus(state, b, c);
              }),
              number);
  }
}

TEST(SnmpConversionsDeathTest, UnknownEnumerationValuesStopTheProcess) {
  unsigned char buf[16];
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

struct SentVar {
  std::vector<oid> name;
  u_char type;
  std::vector<oid> objid;
  std::vector<u_char> octets;
};

class VrrpTrapNewMasterTest : public ::testing::Test {
 protected:
  VrrpTrapNewMasterTest() {
    // The queue's flush alarm must not become a SIGALRM in a process without an agent.
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, 1);
    auto group = SnmpUtil::getSnmpConfig()->notificationConfigIs("vrrp");
    notification = group->notificationIs("vrrpTrapNewMaster");
    notification->enabledIs(true);
    traps.senderIs([this](netsnmp_variable_list* vars) {
      std::vector<SentVar> trap;
      for (auto* v = vars; v; v = v->next_variable) {
        SentVar s{{v->name, v->name + v->name_length}, v->type, {}, {}};
        if (v->type == ASN_OBJECT_ID)
          s.objid.assign(v->val.objid, v->val.objid + v->val_len / sizeof(oid));
        else
          s.octets.assign(v->val.string, v->val.string + v->val_len);
        trap.push_back(s);
      }
      sent.push_back(trap);
    });
  }
  ~VrrpTrapNewMasterTest() override {
    traps.flush();
    traps.senderIs(nullptr);
  }

  Snmp::TrapManager& traps = Snmp::TrapManager::instance();
  Kiv::Ptr<Snmp::Notification> notification;
  std::vector<std::vector<SentVar>> sent;
};

TEST_F(VrrpTrapNewMasterTest, QueuesTrapOidThenTheMastersAddressInstance) {
  Kiv::TraceCapture capture("Snmp", 1u << 4);
  const size_t before = traps.pending();
  EXPECT_EQ(Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12), 0);
  EXPECT_EQ(traps.pending(), before + 1);
  EXPECT_TRUE(sent.empty()) << "queued, not sent from the caller's stack";
  EXPECT_TRUE(capture.contains("Adding vrrpTrapNewMaster notification to trap queue"));

  traps.flush();
  ASSERT_EQ(sent.size(), 1u);
  const std::vector<SentVar>& trap = sent[0];
  ASSERT_EQ(trap.size(), 2u) << "no other variable, sysUpTime.0 included";
  EXPECT_EQ(trap[0].name, (std::vector<oid>{1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0}));
  EXPECT_EQ(trap[0].type, ASN_OBJECT_ID);
  EXPECT_EQ(trap[0].objid, (std::vector<oid>{1, 3, 6, 1, 2, 1, 68, 0, 1}));
  EXPECT_EQ(trap[1].name, (std::vector<oid>{1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 7, 7, 12}));
  EXPECT_EQ(trap[1].type, ASN_IPADDRESS);
  EXPECT_EQ(trap[1].octets, (std::vector<u_char>{10, 0, 0, 1}));
}

TEST_F(VrrpTrapNewMasterTest, ADisabledNotificationIsNotQueuedAndTheTraceSaysWhy) {
  notification->enabledIs(false);
  const Kiv::String8 reason =
      SnmpUtil::getSnmpConfig()->notificationStatus("vrrp", "vrrpTrapNewMaster").reason;
  ASSERT_FALSE(reason.empty());
  Kiv::TraceCapture capture("Snmp", 1u << 4);
  const size_t before = traps.pending();
  EXPECT_EQ(Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12), 0);
  EXPECT_EQ(traps.pending(), before);
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_EQ(capture.lines()[0],
            "vrrpTrapNewMaster notification not sent. notificationStatus returned " + reason);

  // The agent-wide switch is a reason of its own.
  notification->enabledIs(true);
  SnmpUtil::getSnmpConfig()->notificationsEnabledIs(false);
  capture.clear();
  Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12);
  SnmpUtil::getSnmpConfig()->notificationsEnabledIs(true);
  EXPECT_EQ(traps.pending(), before);
  EXPECT_EQ(capture.count("not sent"), 1u);
}

TEST(VrrpTrapNewMasterDeathTest, AnUnregisteredGroupOrNotificationStopsTheProcess) {
  // Each death statement runs in a fresh process, whatever the other tests in this one have
  // registered and in whatever order they ran.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto config = SnmpUtil::getSnmpConfig();
  EXPECT_DEATH(Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12),
               "You need to register vrrp traps from your ZentraPlugin");
  config->notificationConfigIs("vrrp");
  EXPECT_DEATH(Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12),
               "notification\\( \"vrrpTrapNewMaster\" \\).*You need to register "
               "vrrpTrapNewMaster traps from your ZentraPlugin");
}

}  // namespace
