#include "zentra/StateDocument.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "platform/Fhrp/VrrpConfig.h"

namespace Zentra {
namespace {

using Lirex::IntfId;
using Lirex::IpAddr;
using Routing::Fhrp::FhrpState;

const char* const kRealistic = R"({
  "interfaces": { "Ethernet1": { "ifIndex": 1 }, "Vlan20": { "ifIndex": 2147483647 } },
  "ip":         { "Ethernet1": { "activeAddrWithMask": "192.0.2.2/24" } },
  "vrrpConfig": {
    "Ethernet1": {
      "5":   { "version": 2, "priority": 0, "preempt": false, "adminState": "disabled",
               "authType": "simpleTextPassword", "authKey": "s3cret",
               "advertisementInterval": 65535 },
      "255": { "version": 4294967295 } },
    "Vlan20": {} },
  "vrrpStatus": {
    "Ethernet1": {
      "5": { "state": "master", "priority": 255, "srcAddr": "192.0.2.2",
             "virtualMacAddr": "00:00:5E:00:01:05",
             "ipAddrs": { "192.0.2.1": true, "192.0.2.9": false, "192.0.2.10": true },
             "upSince": 1763760000.25 },
      "1": { "state": "backup", "priority": 0, "srcAddr": "192.0.2.3",
             "virtualMacAddr": "00:00:5e:00:01:01", "ipAddrs": {}, "ipAddrCount": 7,
             "upSince": -0 } } }
})";

TEST(StateDocument, RealisticDocumentReadsIntoPlainValues) {
  const StateDocument doc = parseStateDocument(kRealistic);
  EXPECT_EQ(doc.interfaces,
            (std::map<IntfId, U32>{{IntfId("Ethernet1"), 1}, {IntfId("Vlan20"), 0x7fffffff}}));
  EXPECT_EQ(doc.ip.at(IntfId("Ethernet1")), Lirex::IpAddrWithMask(IpAddr(192, 0, 2, 2), 24));
  EXPECT_TRUE(doc.vrrpConfig.at(IntfId("Vlan20")).empty());

  const auto& configs = doc.vrrpConfig.at(IntfId("Ethernet1"));
  const StateDocument::VirtualRouterConfig five{2,
                                                0,
                                                false,
                                                Interface::IntfEnabledState::disabled,
                                                Lirex::VrrpAuthType::simpleTextPassword,
                                                "s3cret",
                                                65535};
  EXPECT_EQ(configs.at(5), five);
  EXPECT_EQ(configs.at(255).version, 4294967295u);

  const auto& master = doc.vrrpStatus.at(IntfId("Ethernet1")).at(5);
  EXPECT_EQ(master.state, FhrpState::master);
  EXPECT_EQ(master.srcAddr, IpAddr(192, 0, 2, 2));
  EXPECT_EQ(Lirex::valueToStrep(master.virtualMacAddr), "00:00:5e:00:01:05");
  EXPECT_EQ(master.ipAddrs, (std::map<IpAddr, bool>{{IpAddr(192, 0, 2, 1), true},
                                                    {IpAddr(192, 0, 2, 9), false},
                                                    {IpAddr(192, 0, 2, 10), true}}));
  EXPECT_EQ(master.ipAddrCount, 2u) << "defaults to the number of true entries";
  EXPECT_DOUBLE_EQ(master.upSince, 1763760000.25);
  const auto& backup = doc.vrrpStatus.at(IntfId("Ethernet1")).at(1);
  EXPECT_EQ(backup.ipAddrCount, 7u) << "an explicit count wins";
  EXPECT_FALSE(std::signbit(backup.upSince));
}

TEST(StateDocument, AbsentMembersMeanAbsentRecordsOrRecordDefaults) {
  EXPECT_EQ(parseStateDocument(R"({"interfaces": {}, "vrrpStatus": {}})"), StateDocument());
  const Routing::Fhrp::VrrpVirtualRouterConfig record(1);
  const auto c =
      parseStateDocument(R"({"vrrpConfig": {"e1": {"1": {}}}})").vrrpConfig.at(IntfId("e1")).at(1);
  EXPECT_EQ(std::tie(c.version, c.priority, c.preempt, c.adminState, c.authType, c.authKey,
                     c.advertisementInterval),
            std::tie(record.version(), record.priority(), record.preempt(), record.adminState(),
                     record.authType(), record.authKey(), record.advertisementInterval()));
}

// Virtual router 5 of Ethernet1 with a complete status, `changes` replacing members (or
// removing them, given an empty value).
std::string status5(const std::vector<std::pair<std::string, std::string>>& changes) {
  std::vector<std::pair<std::string, std::string>> members = {
      {"state", R"("master")"},
      {"priority", "1"},
      {"srcAddr", R"("192.0.2.2")"},
      {"virtualMacAddr", R"("00:00:5e:00:01:05")"},
      {"ipAddrs", "{}"}};
  for (const auto& change : changes) {
    std::erase_if(members, [&](const auto& m) { return m.first == change.first; });
    if (!change.second.empty()) members.push_back(change);
  }
  std::string text;
  for (const auto& [key, value] : members)
    text += (text.empty() ? "\"" : ", \"") + key + "\": " + value;
  return R"({"vrrpStatus": {"Ethernet1": {"5": {)" + text + "}}}}";
}

TEST(StateDocument, EveryRejectionNamesThePathAndTheReason) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"[]", "$: expected an object, got an array"},
      {R"({"vrrpStatuss": {}})",
       R"($.vrrpStatuss: unknown member "vrrpStatuss" (expected interfaces, ip, vrrpConfig or )"
       R"(vrrpStatus))"},
      {R"({"ip": {"e1": "192.0.2.1/24"}})", "$.ip.e1: expected an object, got a string"},
      {R"({"ip": {"e1": {}}})", R"($.ip.e1: missing member "activeAddrWithMask")"},
      {R"({"ip": {"e1": {"activeAddrWithMask": "192.0.2.1"}}})",
       "$.ip.e1.activeAddrWithMask: bad IPv4 address with mask '192.0.2.1': expected '/'"},
      {R"({"interfaces": {"e1": {"ifIndex": "1"}}})",
       "$.interfaces.e1.ifIndex: expected an integer, got a string"},
      {R"({"interfaces": {"e1": {"ifIndex": 0}}})",
       "$.interfaces.e1.ifIndex: 0 is out of range 1..2147483647"},
      {R"({"interfaces": {"e1": {"ifIndex": 2147483648}}})", "2147483648 is out of range"},
      {R"({"interfaces": {"e1": {"ifIndex": 99999999999999999999}}})",
       "99999999999999999999 is out of range"},
      {R"({"interfaces": {"e1": {"ifIndex": 1.0}}})", "ifIndex: expected an integer, got 1.0"},
      {R"({"interfaces": {"e1": {"ifIndex": 1, "mtu": 1}}})",
       R"($.interfaces.e1.mtu: unknown member "mtu" (expected ifIndex))"},
      {R"({"interfaces": {"e1": {"ifIndex": 3}, "e2": {"ifIndex": 3}}})",
       R"($.interfaces.e2.ifIndex: ifIndex 3 is already the ifIndex of "e1")"},
      {R"({"interfaces": {"": {"ifIndex": 1}}})", R"($.interfaces[""]: empty interface name)"},
      {R"({"ip": {"Ethernet 1": {}}})",
       R"($.ip["Ethernet 1"]: interface name "Ethernet 1" contains white space)"},
      {R"({"vrrpConfig": {"e1": {"0": {}}}})",
       R"($.vrrpConfig.e1["0"]: bad virtual router id "0" (expected a decimal number 1..255 )"
       R"(without sign or leading zeros))"},
      {R"({"vrrpConfig": {"e1": []}})", "$.vrrpConfig.e1: expected an object, got an array"},
      {R"({"vrrpConfig": {"e1": {"5": {"prio": 1}}}})",
       R"($.vrrpConfig.e1["5"].prio: unknown member "prio" (expected version, priority, preempt, )"
       R"(adminState, authType, authKey or advertisementInterval))"},
      {R"({"vrrpConfig": {"e1": {"5": {"version": 0}}}})",
       R"($.vrrpConfig.e1["5"].version: 0 is out of range 1..4294967295)"},
      {R"({"vrrpConfig": {"e1": {"5": {"priority": 256}}}})", "256 is out of range 0..255"},
      {R"({"vrrpConfig": {"e1": {"5": {"preempt": 1}}}})",
       R"(["5"].preempt: expected true or false, got a number)"},
      {R"({"vrrpConfig": {"e1": {"5": {"adminState": "up"}}}})",
       R"(["5"].adminState: unknown adminState "up" (expected enabled or disabled))"},
      {R"({"vrrpConfig": {"e1": {"5": {"authType": "md5"}}}})",
       R"(["5"].authType: unknown authType "md5" (expected noAuthentication, )"
       R"(simpleTextPassword or ipAuthenticationHeader))"},
      {R"({"vrrpConfig": {"e1": {"5": {"authKey": 7}}}})",
       R"(["5"].authKey: expected a string, got a number)"},
      {R"({"vrrpConfig": {"e1": {"5": {"advertisementInterval": 0}}}})",
       R"(["5"].advertisementInterval: 0 is out of range 1..65535)"},
      {status5({{"state", R"("mastr")"}}),
       R"($.vrrpStatus.Ethernet1["5"].state: unknown state "mastr" (expected master, backup or )"
       R"(initialize))"},
      {status5({{"priority", ""}}), R"($.vrrpStatus.Ethernet1["5"]: missing member "priority")"},
      {status5({{"srcAddr", R"("1.2.3")"}}),
       R"(["5"].srcAddr: bad IPv4 address '1.2.3': expected 4 octets)"},
      {status5({{"virtualMacAddr", R"("00:00:5e:00:01")"}}),
       R"(["5"].virtualMacAddr: bad Ethernet address '00:00:5e:00:01')"},
      {status5({{"ipAddrs", R"(["1.2.3.5"])"}}),
       R"(["5"].ipAddrs: expected an object, got an array)"},
      {status5({{"ipAddrs", R"({"1.2.3.05": true})"}}),
       R"(["5"].ipAddrs["1.2.3.05"]: bad IPv4 address '1.2.3.05': octet '05' has a leading )"},
      {status5({{"ipAddrs", R"({"1.2.3.5": "true"})"}}),
       R"(["5"].ipAddrs["1.2.3.5"]: expected true or false, got a string)"},
      {status5({{"ipAddrCount", "256"}}), R"(["5"].ipAddrCount: 256 is out of range 0..255)"},
      {status5({{"upSince", "-1.5"}}),
       R"(["5"].upSince: -1.5 is not a time (expected seconds since the epoch, or 0))"},
      {status5({{"upSince", "null"}}), R"(["5"].upSince: expected a number, got null)"},
      {status5({{"preempt", "true"}}), R"(["5"].preempt: unknown member "preempt")"},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    try {
      parseStateDocument(text);
      ADD_FAILURE() << "accepted";
    } catch (const StateDocumentError& e) {
      EXPECT_FALSE(e.isSyntaxError());
      EXPECT_NE(e.message().find(expected), std::string::npos) << e.message();
      EXPECT_EQ(e.message(), e.path() + ": " + e.reason());
    }
  }
  for (const char* id : {"256", "05", "+5", "-1", "1000", "", " 5", "five"}) {
    const std::string text = R"({"vrrpConfig": {"e1": {")" + std::string(id) + R"(": {}}}})";
    EXPECT_THROW(parseStateDocument(text), StateDocumentError) << id;
  }
  std::string addrs = R"("10.0.1.0": true)";
  for (int i = 1; i < 256; ++i) addrs += R"(, "10.0.0.)" + std::to_string(i) + R"(": true)";
  EXPECT_THROW(parseStateDocument(status5({{"ipAddrs", "{" + addrs + "}"}})), StateDocumentError)
      << "a virtual router has at most 255 addresses";
}

}  // namespace
}  // namespace Zentra
