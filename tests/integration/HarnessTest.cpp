// The harness against the real programs: Debian's snmpd answering the tools, snmptrapd
// receiving what snmptrap and snmpd send.
#include <memory>

#include <gtest/gtest.h>

#include "tests/integration/Harness.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

const std::string kSysDescr = ".1.3.6.1.2.1.1.1.0";
const std::string kSysContact = ".1.3.6.1.2.1.1.4.0";
const std::string kSysName = ".1.3.6.1.2.1.1.5.0";
const std::string kSysOrId = ".1.3.6.1.2.1.1.9.1.2";
const std::string kSysUpTime = ".1.3.6.1.2.1.1.3.0";
const std::string kSnmpTrapOid = ".1.3.6.1.6.3.1.1.4.1.0";
const std::string kColdStart = ".1.3.6.1.6.3.1.1.5.1";
const std::string kWarmStart = ".1.3.6.1.6.3.1.1.5.2";

// One agent for the suite when the binary runs as a whole; ctest runs each case alone anyway.
class StockSnmpdTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    auto snmpd = std::make_unique<StockSnmpd>();
    snmpd->rwcommunity("private");
    snmpd->start();
    snmpd_ = std::move(snmpd);
  }
  static void TearDownTestSuite() { snmpd_.reset(); }
  void SetUp() override { ASSERT_TRUE(snmpd_) << "snmpd did not start (see above)"; }

  static inline std::unique_ptr<StockSnmpd> snmpd_;
};

TEST_F(StockSnmpdTest, GetReturnsBindingsInRequestOrder) {
  SnmpReply reply = snmpget(snmpd_->address(), "public", {kSysName, kSysDescr, kSysOrId + ".999"});
  ASSERT_TRUE(reply.ok()) << reply.describe();
  ASSERT_EQ(reply.varbinds.size(), 3u) << reply.describe();
  EXPECT_EQ(reply.varbinds[0].oid, kSysName);
  EXPECT_EQ(reply.varbinds[1].oid, kSysDescr);
  EXPECT_EQ(reply.varbinds[1].type, "STRING");
  EXPECT_FALSE(reply.varbinds[1].value.empty());
  EXPECT_EQ(reply.varbinds[2].type, "noSuchInstance");
}

TEST_F(StockSnmpdTest, WalkAndBulkwalkAgreeAndStayInsideTheSubtree) {
  SnmpReply walk = snmpwalk(snmpd_->address(), "public", kSysOrId);
  ASSERT_TRUE(walk.ok()) << walk.describe();
  ASSERT_GE(walk.varbinds.size(), 2u) << walk.describe();
  for (const auto& vb : walk.varbinds) {
    EXPECT_EQ(vb.oid.rfind(kSysOrId + ".", 0), 0u) << vb;
    EXPECT_EQ(vb.type, "OID") << vb;
  }
  SnmpOptions bulk;
  bulk.extraArgs = {"-Cr3"};
  SnmpReply bulkwalk = snmpbulkwalk(snmpd_->address(), "public", kSysOrId, bulk);
  ASSERT_TRUE(bulkwalk.ok()) << bulkwalk.describe();
  EXPECT_EQ(bulkwalk.varbinds, walk.varbinds);
}

TEST_F(StockSnmpdTest, GetNextCrossesIntoTheNextObject) {
  SnmpReply reply = snmpgetnext(snmpd_->address(), "public", {kSysDescr});
  ASSERT_TRUE(reply.ok()) << reply.describe();
  ASSERT_EQ(reply.varbinds.size(), 1u);
  EXPECT_EQ(reply.varbinds[0].oid, ".1.3.6.1.2.1.1.2.0");
}

TEST_F(StockSnmpdTest, SetIsVisibleToTheNextGet) {
  std::string contact = "noc \"east\" \\ room 2";
  SnmpReply set = snmpset(snmpd_->address(), "private", {{kSysContact, 's', contact}});
  ASSERT_TRUE(set.ok()) << set.describe();
  SnmpReply get = snmpget(snmpd_->address(), "public", {kSysContact});
  ASSERT_EQ(get.varbinds.size(), 1u) << get.describe();
  EXPECT_EQ(get.varbinds[0].value, contact);

  SnmpReply denied = snmpset(snmpd_->address(), "public", {{kSysContact, 's', "x"}});
  EXPECT_FALSE(denied.ok());
  EXPECT_TRUE(denied.varbinds.empty());
}

TEST_F(StockSnmpdTest, UnknownCommunityTimesOutWithoutHanging) {
  SnmpOptions quick;
  quick.timeoutSeconds = 0.3;
  quick.retries = 0;
  SnmpReply reply = snmpget(snmpd_->address(), "wrong", {kSysDescr}, quick);
  EXPECT_FALSE(reply.ok());
  EXPECT_FALSE(reply.timedOut) << "the tool's own timeout must end it";
  EXPECT_NE(reply.err.find("Timeout"), std::string::npos) << reply.describe();
}

TEST(SnmpTrapReceiverTest, ReceivesSnmptrapBindingsInOrder) {
  SnmpTrapReceiver receiver;
  receiver.start();
  std::string text = "multi\nline \"quoted\"";
  CommandResult sent =
      runCommand({"snmptrap", "-v2c", "-c", "public", receiver.address(), "", kWarmStart, kSysName,
                  "s", text, kSysContact, "x", "00005e000105", ".1.3.6.1.2.1.2.2.1.1.3", "i", "3"});
  ASSERT_EQ(sent.exitCode, 0) << sent.describe();

  auto trap = receiver.waitForTrapOid(kWarmStart);
  ASSERT_TRUE(trap) << receiver.log();
  EXPECT_EQ(trap->community(), "public");
  ASSERT_EQ(trap->varbinds.size(), 5u) << trap->text;
  EXPECT_EQ(trap->varbinds[0].oid, kSysUpTime);
  EXPECT_EQ(trap->varbinds[1], (VarBind{kSnmpTrapOid, "OID", kWarmStart, ""}));
  EXPECT_EQ(trap->varbinds[2], (VarBind{kSysName, "STRING", text, ""}));
  EXPECT_EQ(trap->varbinds[3].octets(), std::string("\x00\x00\x5e\x00\x01\x05", 6));
  EXPECT_EQ(trap->varbinds[4], (VarBind{".1.3.6.1.2.1.2.2.1.1.3", "INTEGER", "3", ""}));
  EXPECT_FALSE(receiver.waitForTrapOid(kWarmStart, 200ms)) << "each trap is returned once";
}

TEST(SnmpTrapReceiverTest, StockSnmpdSendsColdStartToItsSink) {
  SnmpTrapReceiver receiver;
  receiver.start();
  StockSnmpd snmpd;
  snmpd.trap2sink(receiver.address(), "sinkcommunity").masterAgentx();
  snmpd.start();
  auto trap = receiver.waitForTrapOid(kColdStart);
  ASSERT_TRUE(trap) << receiver.log() << snmpd.log();
  EXPECT_EQ(trap->community(), "sinkcommunity");
  EXPECT_TRUE(std::filesystem::exists(snmpd.agentxSocket())) << snmpd.log();
}

}  // namespace
}  // namespace Harness
