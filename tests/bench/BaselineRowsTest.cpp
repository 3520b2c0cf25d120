// The baseline must serve exactly the rows our daemon serves, or the walk comparison compares
// different work: these are the mirroring rules it copies.
#include <gtest/gtest.h>

#include "bench/baseline/StateRows.h"
#include "kiv/Exception.h"

namespace {

using Baseline::readStateRows;

constexpr const char* kConfig =
    R"({"version": 2, "priority": 200, "preempt": false, "adminState": "disabled",
        "authType": "simpleTextPassword", "authKey": "k", "advertisementInterval": 250})";

std::string status(const char* state, const char* src, const char* addrs, const char* extra = "") {
  return std::string(R"({"state": ")") + state + R"(", "priority": 90, "srcAddr": ")" + src +
         R"(", "virtualMacAddr": "00:00:5e:00:01:05", "ipAddrs": {)" + addrs +
         R"(}, "upSince": 1763760000.25)" + extra + "}";
}

// Two interfaces listed against index order, with routers that do and do not get rows.
std::string document() {
  return std::string(R"({
    "interfaces": {"B": {"ifIndex": 2}, "A": {"ifIndex": 9}},
    "ip": {"B": {"activeAddrWithMask": "192.0.2.2/24"}},
    "vrrpConfig": {"B": {"10": )") +
         kConfig + R"(, "9": {}, "7": {}, "8": {"version": 3}}, "A": {"1": {}}},
    "vrrpStatus": {
      "A": {"1": )" +
         status("backup", "198.51.100.7", R"("198.51.100.1": true)") + R"(},
      "B": {"10": )" +
         status("master", "192.0.2.2",
                R"("192.0.2.12": true, "192.0.2.10": true, "192.0.2.11": false, "0.0.0.0": true)") +
         R"(, "9": )" + status("initialize", "0.0.0.0", "", R"(, "ipAddrCount": 4)") +
         R"(, "8": )" + status("master", "192.0.2.2", R"("192.0.2.8": true)") + R"(, "6": )" +
         status("master", "192.0.2.2", R"("192.0.2.6": true)") + R"(}}})";
}

TEST(BaselineRowsTest, RowsKeysAndColumnsAreTheModulesRules) {
  const Baseline::StateRows rows = readStateRows(document());
  std::vector<std::pair<S32, U32>> keys;
  for (const auto& r : rows.oper) keys.emplace_back(r.ifIndex, r.vrId);
  // B/7 has no status, B/6 no configuration, B/8 is version 3; 9 sorts before 10.
  ASSERT_EQ(keys, (std::vector<std::pair<S32, U32>>{{2, 9}, {2, 10}, {9, 1}}));
  const Baseline::OperRow &init = rows.oper[0], &master = rows.oper[1], &backup = rows.oper[2];
  EXPECT_EQ(master.state, 3);
  EXPECT_EQ(master.adminState, 2);
  EXPECT_EQ(master.authType, 2);
  EXPECT_EQ(master.advertisementInterval, 2);  // 250 hundredths, in whole seconds
  EXPECT_FALSE(master.preempt);
  EXPECT_EQ(master.priority, 90);  // the status's priority, not the configured one
  EXPECT_EQ(master.virtualMacAddr, (std::array<U8, 6>{0, 0, 0x5e, 0, 1, 5}));
  EXPECT_DOUBLE_EQ(master.upSince, 1763760000.25);
  // A configuration with nothing in it takes the record defaults.
  EXPECT_EQ(backup.state, 2);
  EXPECT_EQ(backup.adminState, 1);
  EXPECT_EQ(backup.authType, 1);
  EXPECT_EQ(backup.advertisementInterval, 1);
  EXPECT_TRUE(backup.preempt);
  // The master address: none in initialize, the own one as master, the advertiser's as backup.
  EXPECT_EQ(init.masterIpAddr, 0u);
  EXPECT_EQ(master.masterIpAddr, 0xc0000202u);
  EXPECT_EQ(backup.masterIpAddr, 0xc6336407u);
  // Address rows are the true, non-zero entries; the count defaults to the true entries.
  std::vector<U32> b10;
  for (const auto& a : rows.asso) {
    if (a.ifIndex == 2 && a.vrId == 10) b10.push_back(a.ipAddr);
  }
  EXPECT_EQ(b10, (std::vector<U32>{0xc000020a, 0xc000020c}));
  EXPECT_EQ(rows.asso.size(), 3u);   // and A/1's one address
  EXPECT_EQ(master.ipAddrCount, 3);  // 0.0.0.0 is true, so it counts
  EXPECT_EQ(init.ipAddrCount, 4);    // given explicitly
}

TEST(BaselineRowsTest, UnreadableDocumentsAreRangeErrors) {
  EXPECT_THROW(readStateRows("{"), Kiv::RangeException);
  EXPECT_THROW(readStateRows(R"({"vrrpConfig": {"A": {"1": {}}}, "vrrpStatus": {"A": {"1": )" +
                             status("active", "0.0.0.0", "") + "}}}"),
               Kiv::RangeException);
  EXPECT_THROW(Baseline::loadStateRows("/nonexistent/state.json"), Kiv::RangeException);
  EXPECT_TRUE(readStateRows("{}").oper.empty());
}

}  // namespace
