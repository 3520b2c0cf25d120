// SPDX-License-Identifier: Apache-2.0
// The state-document reader: faults in the JSON text, the limits, then the values it refuses and
// the defaults it fills in.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "platform/Fhrp/VrrpConfig.h"
#include "zentra/StateDocument.h"

namespace Zentra {
namespace {

using Json::Limits;

StateDocumentError documentError(std::string_view text, const Limits& limits = {}) {
  try {
    parseStateDocument(text, limits);
  } catch (const StateDocumentError& error) {
    return error;
  }
  ADD_FAILURE() << "accepted: " << text;
  return StateDocumentError("", "");
}

// Every member once, some of them written in unusual but valid ways.
const std::string kDocument = R"({
  "interfaces": { "Ethernet1": { "ifIndex": 1 }, "Vlan20": { "ifIndex": 2147483647 } },
  "ip": { "Ethernet1": { "activeAddrWithMask": "192.0.2.2/24" } },
  "vrrpConfig": { "Vlan20": {}, "Ethernet1": {
    "5": { "version": 3, "priority": 0, "preempt": false, "adminState": "disabled",
           "authType": "simpleTextPassword", "authKey": "s3\u0063ret", "advertisementInterval": 65535 },
    "255": {} } },
  "vrrpStatus": { "Ethernet1": {
    "5": { "state": "master", "priority": 255, "srcAddr": "192.0.2.2",
           "virtualMacAddr": "00:00:5E:00:01:05", "upSince": 1763760000.25,
           "ipAddrs": { "192.0.2.1": true, "192.0.2.9": false, "192.0.2.10": true } },
    "1": { "state": "backup", "priority": 0, "srcAddr": "192.0.2.3",
           "virtualMacAddr": "00:00:5e:00:01:01", "ipAddrs": {}, "ipAddrCount": 7 } } }
})";

struct ErrorCase {
  std::string text;
  std::size_t line, column;
  std::string path, reason;
};

// Version 3 routers: the IPv6 status, the counters and the accept mode, all optional.
TEST(StateDocument, ReadsTheVersion3Members) {
  const StateDocument doc = parseStateDocument(R"({
    "vrrpConfig": {"e1": {"7": {"version": 3, "acceptMode": true}}},
    "vrrpStatus": {"e1": {"7": {"state": "backup", "priority": 100, "srcAddr": "192.0.2.3",
      "virtualMacAddr": "00:00:5e:00:01:07", "ipAddrs": {},
      "statistics": {"advertisementsRcvd": 18446744073709551615, "masterPriority": 120}}}},
    "vrrpStatusV6": {"e1": {"7": {"state": "master", "priority": 100, "srcAddr": "::",
      "primaryAddr": "fe80::1", "virtualMacAddr": "00:00:5e:00:02:07",
      "ipAddrs": {"2001:db8::1": true, "2001:db8::2": false}, "statistics": {"ipTtlErrors": 3}}}},
    "vrrpStatistics": {"vrIdErrors": 2, "refreshRate": 1000}})");
  const Lirex::IntfId e1("e1");
  EXPECT_TRUE(doc.vrrpConfig.at(e1).at(7).acceptMode);
  EXPECT_EQ(doc.vrrpStatus.at(e1).at(7).statistics.advertisementsRcvd, ~U64{0});
  EXPECT_EQ(doc.vrrpStatus.at(e1).at(7).statistics.masterPriority, 120u);
  const auto& v6 = doc.vrrpStatusV6.at(e1).at(7);
  EXPECT_EQ(v6.primaryAddr, Lirex::strepToValue<Lirex::InetAddr>("fe80::1"));
  EXPECT_EQ(v6.ipAddrCount, 1u);
  EXPECT_EQ(v6.statistics.ipTtlErrors, 3u);
  EXPECT_EQ(doc.vrrpStatistics, (StateDocument::GlobalStatistics{0, 0, 2, 1000}));
}

// Faults in the text say where they are, also when the reader has met a wrong value first.
TEST(JsonSyntax, ErrorsSayWhereAndWhy) {
  const std::string misplaced =
      "expected a value, or a ',', ':', ']' or '}' where one is missing or misplaced";
  const ErrorCase cases[] = {
      {"{\n  \"vrrpStatus\": {\n    \"Ethernet1\": {\"5\": 1 \"x\"}\n  }\n}", 3, 26,
       "$.vrrpStatus.Ethernet1", misplaced},
      {"", 1, 1, "$", "expected a value, found end of document"},
      {"\xEF\xBB\xBF{\"ip\": {}} {}", 1, 12, "$", "more text after the document's value"},
      {R"({"interfaces": {"e1": {"ifIndex": 01}}})", 1, 35, "$.interfaces.e1.ifIndex",
       "malformed number"},
      {R"({"ip": {"é1": {"activeAddrWithMask": "1.2.3.4/24"}}, "vrrpConfig": x})", 1, 68,
       "$.vrrpConfig", misplaced},  // columns count characters, not bytes
      {"{\"ip\": {\"ab", 1, 12, "$", "unterminated string"},
      {"{\"ip\": {\"a\xC0\xAF\": {}}}", 1, 1, "$", "invalid UTF-8"},
      {"{\"ip\": {\"a\tb\": {}}}", 1, 1, "$", "a control character must be escaped in a string"},
      {R"({"ip": {"\uD83D\u0041": {}}})", 1, 25, "$.ip",
       "invalid escape or unpaired UTF-16 surrogate in a string"},
      // Repeated keys are compared after decoding.
      {R"({"ip": {}, "\u0069p": {}})", 1, 23, "$.ip", R"(duplicate key "ip")"},
      // A wrong value first ("ip" is no object): the syntax error still wins.
      {R"({"ip": 5, "x": [1, {"a": [tru]}]})", 1, 27, "$.x[1].a[0]", misplaced},
      {R"({"ip": 5, "x": [}])", 1, 1, "$",
       "the document ends before its arrays and objects are closed"},
  };
  for (const ErrorCase& expected : cases) {
    SCOPED_TRACE(expected.text);
    const StateDocumentError error = documentError(expected.text);
    EXPECT_EQ(std::tuple(error.isSyntaxError(), error.line(), error.column(), error.path(),
                         error.reason()),
              std::tuple(true, expected.line, expected.column, expected.path, expected.reason));
  }
}

TEST(JsonLimits, DepthSizeAndStringLength) {
  // Nesting a wrong value deep inside: the walk that looks for syntax errors stops at the limit.
  const StateDocumentError deep = documentError(std::string(100, '[') + std::string(100, ']'));
  EXPECT_EQ(deep.column(), 65u);
  EXPECT_EQ(deep.reason(), "nesting exceeds the depth limit of 64");
  EXPECT_EQ(documentError(std::string(64, '[') + std::string(64, ']')).reason(),
            "expected an object, got an array");

  EXPECT_EQ(documentError("[1,2,3,45]", Limits{.maxDocumentBytes = 10}).reason(),
            "expected an object, got an array");
  EXPECT_EQ(documentError("[1,2,3,456]", Limits{.maxDocumentBytes = 10}).reason(),
            "document of 11 bytes exceeds the size limit of 10 bytes");

  const Limits four{.maxStringBytes = 4};
  for (const char* text : {"{\"ip\": {\"\xC3\xA9\xC3\xA9x\": {}}}",
                           R"({"vrrpConfig": {"e": {"1": {"authKey": "abcde"}}}})"}) {
    EXPECT_EQ(documentError(text, four).reason(), "string longer than the length limit of 4 bytes")
        << text;
  }
}

using Lirex::IntfId;
using Lirex::IpAddr;
using Routing::Fhrp::FhrpState;

TEST(StateDocument, ReadsEveryMemberDefaultsTheAbsentOnesAndRefusesEveryTruncation) {
  const StateDocument doc = parseStateDocument(kDocument);
  const IntfId eth1("Ethernet1");
  StateDocument expected;
  expected.interfaces = {{eth1, 1}, {IntfId("Vlan20"), 0x7fffffff}};
  expected.ip[eth1] = Lirex::IpAddrWithMask(IpAddr(192, 0, 2, 2), 24);
  expected.vrrpConfig[IntfId("Vlan20")];
  using Interface::IntfEnabledState, Lirex::VrrpAuthType;
  expected.vrrpConfig[eth1][5] = {
      3, 0, false, IntfEnabledState::disabled, VrrpAuthType::simpleTextPassword, "s3cret", 65535};
  expected.vrrpConfig[eth1][255] = {};
  const auto mac = [](const char* text) { return Lirex::strepToValue<Lirex::EthAddr>(text); };
  // ipAddrCount, when absent, is the number of true entries.
  auto& master = expected.vrrpStatus[eth1][5];
  master = {FhrpState::master, 255, IpAddr(192, 0, 2, 2), mac("00:00:5e:00:01:05"), {}, 2,
            1763760000.25,     {}};
  master.ipAddrs = {
      {IpAddr(192, 0, 2, 1), true}, {IpAddr(192, 0, 2, 9), false}, {IpAddr(192, 0, 2, 10), true}};
  expected.vrrpStatus[eth1][1] = {
      FhrpState::backup, 0, IpAddr(192, 0, 2, 3), mac("00:00:5e:00:01:01"), {}, 7, 0.0, {}};
  EXPECT_EQ(doc, expected);
  for (std::size_t length = 0; length < kDocument.size(); ++length) {
    const StateDocumentError error = documentError(std::string_view(kDocument).substr(0, length));
    EXPECT_TRUE(error.isSyntaxError()) << "truncated to " << length << ": " << error.message();
  }

  // The absent members of a configuration take the record's own defaults.
  const Routing::Fhrp::VrrpVirtualRouterConfig record(1);
  const auto& c = expected.vrrpConfig[eth1][255];
  EXPECT_EQ(std::tie(c.version, c.priority, c.preempt, c.adminState, c.authType, c.authKey,
                     c.advertisementInterval),
            std::tie(record.version(), record.priority(), record.preempt(), record.adminState(),
                     record.authType(), record.authKey(), record.advertisementInterval()));
}

// Router 5 of e1's status: value faults are found before the members it lacks.
std::string status(const std::string& members) {
  return R"({"vrrpStatus": {"e1": {"5": {)" + members + "}}}}";
}

TEST(StateDocument, EveryRejectionNamesThePathAndTheReason) {
  std::string addrs = R"("10.0.1.0": true)";
  for (int i = 1; i < 256; ++i) addrs += R"(, "10.0.0.)" + std::to_string(i) + R"(": true)";
  const std::pair<std::string, std::string> cases[] = {
      {R"({"vrrpStatuss": {}})",
       R"($.vrrpStatuss: unknown member "vrrpStatuss" (expected interfaces, ip, vrrpConfig, )"
       R"(vrrpStatus, vrrpStatusV6 or vrrpStatistics))"},
      {R"({"interfaces": {"e1": {"ifIndex": "1"}}})",
       "$.interfaces.e1.ifIndex: expected an integer, got a string"},
      {R"({"interfaces": {"e1": {"ifIndex": 2147483648}}})",
       "$.interfaces.e1.ifIndex: 2147483648 is out of range 1..2147483647"},
      {R"({"interfaces": {"e1": {"ifIndex": 3}, "e2": {"ifIndex": 3}}})",
       R"($.interfaces.e2.ifIndex: ifIndex 3 is already the ifIndex of "e1")"},
      {R"({"vrrpConfig": {"e1": {"0": {}}}})",
       R"($.vrrpConfig.e1["0"]: bad virtual router id "0" (expected a decimal number 1..255 )"
       R"(without sign or leading zeros))"},
      {status(R"("state": "mastr")"),
       R"($.vrrpStatus.e1["5"].state: unknown state "mastr" (expected master, backup or )"
       R"(initialize))"},
      {status(R"("state": "master")"), R"($.vrrpStatus.e1["5"]: missing member "priority")"},
      {status(R"("ipAddrs": {"1.2.3.05": true})"),
       R"(["5"].ipAddrs["1.2.3.05"]: bad IPv4 address '1.2.3.05': octet '05' has a leading )"},
      {status(R"("ipAddrs": {)" + addrs + "}"),
       "256 addresses are true, more than the 255 a virtual router can have"},
      {status(R"("primaryAddr": "fe80::1")"),
       R"(["5"].primaryAddr: unknown member "primaryAddr" (expected state, priority, srcAddr, )"},
      {status(R"("statistics": {"ipTtlErrors": -1})"),
       R"(.ipTtlErrors: expected a counter (an integer 0..18446744073709551615), got -1)"},
      {R"({"vrrpStatusV6": {"e1": {"7": {"srcAddr": "192.0.2.1"}}}})",
       R"($.vrrpStatusV6.e1["7"].srcAddr: expected an IPv6 address, got "192.0.2.1")"},
      {R"({"vrrpStatistics": {"vrIdErrors": 1.5}})",
       "$.vrrpStatistics.vrIdErrors: expected a counter (an integer 0..18446744073709551615), "
       "got 1.5"},
      {status(R"("upSince": -1.5)"),
       R"(["5"].upSince: -1.5 is not a time (expected seconds since the epoch, or 0))"},
  };
  for (const auto& [text, expected] : cases) {
    const StateDocumentError e = documentError(text);
    EXPECT_FALSE(e.isSyntaxError()) << text;
    EXPECT_NE(e.message().find(expected), std::string::npos) << e.message();
    EXPECT_EQ(e.message(), e.path() + ": " + e.reason());
  }
}

}  // namespace
}  // namespace Zentra
