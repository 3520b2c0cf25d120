// The part of the module that the mirroring machines link: the hint conversions and the
// new-master notification. Linked without the model, which this also proves.
#include <gtest/gtest.h>

#include <vector>

#include "kiv/Exception.h"
#include "platform/Snmp/SnmpUtil.h"
#include "platform/Snmp/TrapManager.h"
#include "snmp/SnmpConversions.h"
#include "snmp/VrrpTrapNewMaster.h"

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
  const size_t before = traps.pending();
  EXPECT_EQ(Snmp::vrrpTrapNewMasterNotify(Lirex::IpAddr(10, 0, 0, 1), 7, 12), 0);
  EXPECT_EQ(traps.pending(), before + 1);
  EXPECT_TRUE(sent.empty()) << "queued, not sent from the caller's stack";

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

}  // namespace
