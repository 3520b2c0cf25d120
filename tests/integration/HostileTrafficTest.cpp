// fhrp-snmpd facing a hostile management network: raw datagrams that no well-behaved manager
// sends. Afterwards it must answer as before, have changed nothing, hold no more memory than
// after a warm-up, and exit cleanly (in the sanitizer build: with no leak).
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <random>
#include <set>

#include "tests/integration/DaemonHealth.h"
#include "tests/integration/FhrpDaemon.h"
#include "tests/integration/Harness.h"
#include "tests/integration/RawSnmp.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

const std::string kVrrp = ".1.3.6.1.2.1.68";
const Oid kNodeVersion = parseOid(".1.3.6.1.2.1.68.1.1.0");
const Oid kNotificationCntl = parseOid(".1.3.6.1.2.1.68.1.2.0");
const Oid kOperEntry = parseOid(".1.3.6.1.2.1.68.1.3.1");
const Oid kAssoEntry = parseOid(".1.3.6.1.2.1.68.1.4.1");

constexpr std::int64_t kMaxInt32 = 2147483647;
constexpr std::int64_t kNoSuchName = 2, kNoAccess = 6, kWrongType = 7, kNoCreation = 11,
                       kNotWritable = 17;

Oid operator+(Oid oid, const std::vector<std::uint32_t>& tail) {
  oid.insert(oid.end(), tail.begin(), tail.end());
  return oid;
}

std::string v2c(std::uint8_t type, std::int64_t id, const std::vector<std::string>& vbs,
                const std::string& community = "public", std::int64_t a = 0, std::int64_t b = 0) {
  return Ber::message(1, community, Ber::pdu(type, id, a, b, vbs));
}

// SNMPv3 with a User-based Security Model header: flags 0 noAuthNoPriv, 1 auth, 3 authPriv;
// authentication and privacy parameters as given (nothing valid: we hold no credentials).
std::string v3(std::uint8_t flags, const std::string& engineId, const std::string& user,
               const std::string& authParams, const std::string& scopedPdu,
               std::int64_t maxSize = 65507, std::int64_t securityModel = 3) {
  const std::string usm =
      Ber::sequence({Ber::octets(engineId), Ber::integer(1), Ber::integer(10), Ber::octets(user),
                     Ber::octets(authParams), Ber::octets("")});
  return Ber::sequence({Ber::integer(3),
                        Ber::sequence({Ber::integer(4711), Ber::integer(maxSize),
                                       Ber::octets(std::string(1, static_cast<char>(flags | 4))),
                                       Ber::integer(securityModel)}),
                        Ber::octets(usm), scopedPdu});
}

std::string scoped(const std::string& pdu) {
  return Ber::sequence({Ber::octets(""), Ber::octets(""), pdu});
}

// The expected SNMP type tag of a binding as the tools printed it.
std::uint8_t tagOf(const VarBind& vb) {
  if (vb.type == "INTEGER") return Ber::kInteger;
  if (vb.type == "STRING" || vb.type == "Hex-STRING") return Ber::kOctets;
  if (vb.type == "IpAddress") return Ber::kIpAddress;
  if (vb.type == "Timeticks") return Ber::kTimeTicks;
  if (vb.type == "Gauge32") return Ber::kGauge;
  return 0;
}

class HostileTrafficTest : public ::testing::Test {
 protected:
  void startDaemon(const std::vector<std::string>& extraArgs = {}) {
    daemon_.writeState(readFile(sourcePath("examples/lab.json")));
    daemon_.environmentIs(daemonCheckEnvironment());
    // A write community, so that SETs reach the module's handlers instead of being refused
    // by access control.
    auto conf = daemon_.dir().writeFile("agent.conf", "rwcommunity private 127.0.0.1\n");
    std::vector<std::string> args{"--config", conf.string()};
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    daemon_.start(args);
    SnmpReply walk = snmpwalk(daemon_.address(), "public", kVrrp);
    ASSERT_TRUE(walk.ok()) << walk.describe();
    ASSERT_EQ(walk.varbinds.size(), 2u + 8u * 14u + 11u) << walk.out;
    before_ = walk.varbinds;
    client_ = std::make_unique<UdpClient>(daemon_.port());
  }

  // Proves the agent worked through everything sent so far: replies come in order. A burst
  // of large datagrams can fill the agent's receive buffer, so the probe itself may be
  // dropped by the kernel: it is repeated, as a manager would.
  void expectAlive() {
    const std::int64_t id = ++pings_;
    std::optional<RawReply> reply;
    for (int attempt = 0; attempt < 10 && !reply; ++attempt) {
      reply = client_->request(v2c(Ber::kGet, id, {Ber::varBind(kNodeVersion)}), id, 1s);
    }
    ASSERT_TRUE(reply) << "no answer after " << client_->sent() << " datagrams\n"
                       << daemon_.process()->describe();
    ASSERT_EQ(reply->varBinds.size(), 1u);
    EXPECT_EQ(reply->varBinds[0].integer(), 2);
    client_->drain();
  }

  // Sends the message that build() makes for a fresh request-id and waits for its reply.
  std::optional<RawReply> ask(const std::function<std::string(std::int64_t)>& build,
                              Millis timeout = Millis(10'000)) {
    const std::int64_t id = ++requests_;
    return client_->request(build(id), id, timeout);
  }

  // Sends and, every 100 datagrams, waits for a probe's answer, so that nothing is lost to a
  // full socket buffer and a crash is noticed where it happens. Replies are thrown away as
  // they come: left waiting, they would fill our own buffer and crowd out the probe's.
  void send(const std::string& bytes) {
    client_->drain();
    client_->send(bytes);
    if (client_->sent() % 100 == 0) expectAlive();
  }

  // One warm-up round of `barrage`, then more: the resident size must stay flat.
  void expectFlatMemory(const std::function<void()>& barrage, int rounds) {
    barrage();
    expectAlive();
    const long warm = residentKb(daemon_.process()->pid());
    long peak = warm;
    for (int i = 0; i < rounds && !HasFatalFailure(); ++i) {
      barrage();
      expectAlive();
      peak = std::max(peak, residentKb(daemon_.process()->pid()));
    }
    EXPECT_LE(peak - warm, residentSlackKb()) << "RSS grew from " << warm << " KiB to " << peak;
    std::cout << "[ reliab  ] " << client_->sent() << " datagrams; RSS after warm-up " << warm
              << " KiB, highest after " << rounds << " more rounds " << peak << " KiB\n";
    RecordProperty("datagrams", static_cast<int>(client_->sent()));
  }

  // Serves exactly what it served before, then ends cleanly on SIGTERM (no leak reported).
  void expectUnchangedAndCleanExit() {
    SnmpReply after = snmpwalk(daemon_.address(), "public", kVrrp);
    ASSERT_TRUE(after.ok()) << after.describe();
    EXPECT_EQ(masked(after.varbinds), masked(before_));
    const int status = daemon_.process()->stop(30s);
    EXPECT_EQ(status, 0) << daemon_.process()->describe();
  }

  // The first object the walk holds after `oid`, or null when the walk ends before it.
  const VarBind* walkAfter(const Oid& oid) const {
    const std::vector<unsigned long> wanted(oid.begin(), oid.end());
    for (const VarBind& vb : before_) {
      if (wanted < oidParts(vb.oid)) return &vb;
    }
    return nullptr;
  }

  FhrpDaemon daemon_;
  std::unique_ptr<UdpClient> client_;
  std::vector<VarBind> before_;
  std::int64_t pings_ = 1'000'000;
  std::int64_t requests_ = 0;
};

TEST_F(HostileTrafficTest, MalformedAndUncredentialedDatagramsChangeNothing) {
  startDaemon();
  const std::vector<std::string> valid = {
      v2c(Ber::kGet, 7, {Ber::varBind(kOperEntry + std::vector<std::uint32_t>{3, 1, 1})}),
      v2c(Ber::kGetNext, 8, {Ber::varBind(kOperEntry)}),
      v2c(Ber::kGetBulk, 9, {Ber::varBind(kAssoEntry)}, "public", 0, 5),
      Ber::message(0, "public", Ber::pdu(Ber::kGetNext, 10, 0, 0, {Ber::varBind(kOperEntry)}))};
  std::mt19937 rng(20251122);
  auto byte = [&rng] { return static_cast<char>(rng() & 0xff); };

  auto barrage = [&] {
    for (const std::string& good : valid) {
      for (std::size_t n = 0; n < good.size(); ++n) send(good.substr(0, n));  // every prefix
      // Every octet replaced by the values that break lengths and tags: short and long forms,
      // the indefinite form, a nine-octet length, a reserved tag.
      for (std::size_t i = 0; i < good.size(); ++i) {
        for (char c : {'\x00', '\x7f', '\x80', '\x81', '\x84', '\x89', '\xff'}) {
          std::string bad = good;
          bad[i] = c;
          send(bad);
        }
      }
      for (int i = 0; i < 150; ++i) {  // a few random octets changed, then cut or extended
        std::string bad = good;
        for (int k = 1 + static_cast<int>(rng() % 4); k > 0; --k) bad[rng() % bad.size()] = byte();
        if (rng() % 3 == 0) bad.resize(rng() % bad.size());
        if (rng() % 5 == 0) bad += std::string(rng() % 64, byte());
        send(bad);
      }
    }
    for (int i = 0; i < 200; ++i) {  // noise, some of it shaped like a message
      std::string noise(rng() % 1400, '\0');
      for (char& c : noise) c = byte();
      send(noise);
      send(Ber::tlv(Ber::kSequence, noise));
    }
    // Huge and inconsistent lengths.
    const std::string body = valid[0].substr(2);
    send("\x30\x84\x7f\xff\xff\xff" + body);
    send("\x30\x84\xff\xff\xff\xff" + body);
    send(std::string("\x30\x89") + std::string(9, '\xff') + body);
    send("\x30\x80" + body + std::string(2, '\0'));
    send(Ber::sequence(
        {Ber::integer(1), Ber::octets("public"), "\xa0\x84\x7f\xff\xff\xff" + Ber::integer(1)}));
    send(Ber::sequence({Ber::tlv(Ber::kInteger, std::string(100, '\x01')), Ber::octets("public"),
                        Ber::pdu(Ber::kGet, 1, 0, 0, {Ber::varBind(kNodeVersion)})}));
    send(v2c(Ber::kGet, 11, {Ber::varBind(kNodeVersion)}, std::string(60000, 'c')));
    send(Ber::message(
        1, "public",
        Ber::tlv(Ber::kGet, Ber::tlv(Ber::kInteger, std::string(9, '\x7f')) + Ber::integer(0) +
                                Ber::integer(0) + Ber::sequence({}))));
    // A sub-identifier of ten octets, OIDs far past 128 sub-identifiers, deep nesting.
    send(v2c(
        Ber::kGetNext, 12,
        {Ber::sequence({Ber::tlv(Ber::kObjectId, "\x2b\x06\x01" + std::string(9, '\xff') + "\x7f"),
                        Ber::null()})}));
    send(v2c(Ber::kGetNext, 13, {Ber::varBind(kOperEntry + std::vector<std::uint32_t>(300, 7))}));
    std::string nested = Ber::null();
    for (int i = 0; i < 2000; ++i) nested = Ber::tlv(Ber::kSequence, nested);
    send(v2c(Ber::kGet, 14, {nested}));
    // Wrong communities and versions, and operations an agent never takes.
    for (const std::string& community : {std::string(""), std::string("publi"),
                                         std::string("public\0", 7), std::string(255, 'p')}) {
      send(v2c(Ber::kGetNext, 15, {Ber::varBind(kOperEntry)}, community));
    }
    for (std::int64_t version :
         {std::int64_t{-1}, std::int64_t{2}, std::int64_t{4}, kMaxInt32, std::int64_t{1} << 40}) {
      send(Ber::message(version, "public", Ber::pdu(Ber::kGet, 16, 0, 0, {})));
    }
    for (std::uint8_t type : {Ber::kResponse, Ber::kTrapV1, Ber::kInform, Ber::kTrapV2,
                              Ber::kReport, std::uint8_t{0xa9}, std::uint8_t{0xbf}}) {
      send(v2c(type, 17, {Ber::varBind(kNodeVersion)}));
      send(Ber::message(0, "public", Ber::pdu(type, 17, 0, 0, {Ber::varBind(kNodeVersion)})));
    }
    send(Ber::message(0, "public", Ber::pdu(Ber::kGetBulk, 18, 0, 10, {Ber::varBind(kOperEntry)})));
    // SNMPv3 without credentials: discovery, an unknown user, claims of authentication and
    // privacy with nothing behind them, invalid flags, sizes and security models.
    const std::string get = Ber::pdu(Ber::kGet, 19, 0, 0, {Ber::varBind(kNodeVersion)});
    const std::string engine("\x80\x00\x1f\x88\x80\x01", 6);
    send(v3(0, "", "", "", scoped(Ber::pdu(Ber::kGet, 20, 0, 0, {}))));
    send(v3(0, engine, "intruder", "", scoped(get)));
    send(v3(1, engine, "intruder", std::string(12, 'a'), scoped(get)));
    send(v3(3, engine, "intruder", std::string(12, 'a'), Ber::octets(std::string(64, 'e'))));
    send(v3(2, "", "", "", scoped(get)));  // privacy without authentication
    send(v3(0, "", "", "", scoped(get), 100));
    send(v3(0, "", "", "", scoped(get), 65507, 99));
    send(v3(0, std::string(300, 'e'), std::string(300, 'u'), "", scoped(get)));
  };

  expectFlatMemory(barrage, 4);
  expectUnchangedAndCleanExit();
}

TEST_F(HostileTrafficTest, OddIndicesAndHugeBulkRequestsGetWellFormedAnswers) {
  startDaemon();
  const Oid column3 = kOperEntry + std::vector<std::uint32_t>{3};
  const Oid assoColumn = kAssoEntry + std::vector<std::uint32_t>{2};
  std::vector<Oid> odd = {
      column3 + std::vector<std::uint32_t>{1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},  // too long
      column3 + std::vector<std::uint32_t>{1, 256},                              // vrId over 255
      column3 + std::vector<std::uint32_t>{1, 4294967295u},
      column3 + std::vector<std::uint32_t>{4294967295u},  // huge ifIndex
      column3 + std::vector<std::uint32_t>{4294967295u, 1},
      column3 + std::vector<std::uint32_t>{2147483648u, 1},  // "negative"
      column3 + std::vector<std::uint32_t>{2147483647u, 255},
      column3 + std::vector<std::uint32_t>{0, 0},
      column3 + std::vector<std::uint32_t>{2},
      kOperEntry + std::vector<std::uint32_t>{0},
      kOperEntry + std::vector<std::uint32_t>{1, 1, 1},
      kOperEntry + std::vector<std::uint32_t>{15, 100100, 101},
      kOperEntry + std::vector<std::uint32_t>{16},
      kOperEntry + std::vector<std::uint32_t>{4294967295u},
      assoColumn + std::vector<std::uint32_t>{1, 1},       // no address
      assoColumn + std::vector<std::uint32_t>{1, 1, 192},  // partial
      assoColumn + std::vector<std::uint32_t>{1, 1, 192, 0},
      assoColumn + std::vector<std::uint32_t>{1, 1, 192, 0, 2},
      assoColumn + std::vector<std::uint32_t>{1, 1, 192, 0, 2, 1, 5},     // too long
      assoColumn + std::vector<std::uint32_t>{1, 1, 300, 300, 300, 300},  // octets over 255
      assoColumn + std::vector<std::uint32_t>{1, 1, 4294967295u, 0, 0, 0},
      assoColumn + std::vector<std::uint32_t>{1, 300, 1, 2, 3, 4},
      assoColumn + std::vector<std::uint32_t>{4294967295u, 1, 1, 2, 3, 4},
      kAssoEntry + std::vector<std::uint32_t>{3},
      parseOid(".1.3.6.1.2.1.68.1.1"),
      parseOid(".1.3.6.1.2.1.68.1.1.0.5"),
      parseOid(".1.3.6.1.2.1.68.1.5"),
      parseOid(".1.3.6.1.2.1.67.9"),
  };
  Oid longest = column3 + std::vector<std::uint32_t>{1, 1};
  longest.resize(128, 4294967295u);  // as long as an OID may be
  odd.push_back(longest);
  Oid longestAsso = assoColumn + std::vector<std::uint32_t>{1, 1, 192, 0, 2, 1};
  longestAsso.resize(128, 1);
  odd.push_back(longestAsso);

  std::set<std::string> served;
  for (const VarBind& vb : before_) served.insert(vb.oid);

  auto barrage = [&] {
    for (const Oid& oid : odd) {
      auto next = ask([&](std::int64_t id) { return v2c(Ber::kGetNext, id, {Ber::varBind(oid)}); });
      ASSERT_TRUE(next) << "no answer to GETNEXT " << oidText(oid);
      ASSERT_EQ(next->errorStatus, 0) << oidText(oid);
      ASSERT_EQ(next->varBinds.size(), 1u) << oidText(oid);
      const RawVarBind& got = next->varBinds[0];
      if (const VarBind* expected = walkAfter(oid)) {
        EXPECT_EQ(oidText(got.oid), expected->oid) << "GETNEXT " << oidText(oid);
        EXPECT_EQ(got.type, tagOf(*expected)) << "GETNEXT " << oidText(oid);
      } else {
        EXPECT_EQ(got.type, Ber::kEndOfMibView) << "GETNEXT " << oidText(oid);
      }
      auto get = ask([&](std::int64_t id) { return v2c(Ber::kGet, id, {Ber::varBind(oid)}); });
      ASSERT_TRUE(get) << "no answer to GET " << oidText(oid);
      ASSERT_EQ(get->varBinds.size(), 1u);
      if (served.count(oidText(oid))) {
        EXPECT_EQ(get->varBinds[0].type, Ber::kInteger) << "GET " << oidText(oid);
      } else {
        EXPECT_TRUE(get->varBinds[0].type == Ber::kNoSuchObject ||
                    get->varBinds[0].type == Ber::kNoSuchInstance)
            << "GET " << oidText(oid) << " type " << int(get->varBinds[0].type);
      }
    }
    // More than the longest OID an agent takes: dropped or answered, never a crash.
    Oid tooLong = column3;
    tooLong.resize(129, 1);
    send(v2c(Ber::kGetNext, 99, {Ber::varBind(tooLong)}));

    // GETBULK: the largest repetition count there is, with one and with many bindings.
    std::vector<std::string> many;
    for (std::size_t i = 0; i < 60; ++i) many.push_back(Ber::varBind(odd[i % odd.size()]));
    const std::vector<std::tuple<std::int64_t, std::int64_t, std::vector<std::string>>> bulks = {
        {0, kMaxInt32, {Ber::varBind(parseOid(kVrrp))}},
        {0, kMaxInt32, many},
        {kMaxInt32, kMaxInt32, many},
        {30, kMaxInt32, many},
        {-1, -1, many},
        {0, 0, many}};
    for (const auto& bulk : bulks) {
      // Named copies: clang before 16 cannot capture structured bindings in a lambda.
      const std::int64_t nonRepeaters = std::get<0>(bulk);
      const std::int64_t repetitions = std::get<1>(bulk);
      const std::vector<std::string>& bindings = std::get<2>(bulk);
      auto reply = ask([&](std::int64_t id) {
        return v2c(Ber::kGetBulk, id, bindings, "public", nonRepeaters, repetitions);
      });
      ASSERT_TRUE(reply) << "no answer to GETBULK " << nonRepeaters << "/" << repetitions;
      EXPECT_TRUE(reply->errorStatus == 0 || reply->errorStatus == 1) << reply->errorStatus;
      for (const RawVarBind& vb : reply->varBinds) {
        EXPECT_TRUE(vb.type == Ber::kEndOfMibView || served.count(oidText(vb.oid)))
            << "GETBULK answered " << oidText(vb.oid) << " type " << int(vb.type);
      }
    }
    expectAlive();
  };

  expectFlatMemory(barrage, 10);
  expectUnchangedAndCleanExit();
}

TEST_F(HostileTrafficTest, EverySetIsRefusedByTheModuleAndChangesNothing) {
  // Level 2 of Snmp traces the module's handlers: their refusals show in the log.
  startDaemon({"--trace", "Snmp/2"});
  // Each target with the error a write community gets: notWritable from the module, and
  // noCreation for an instance of the read-write scalar that does not exist.
  std::vector<std::pair<Oid, std::int64_t>> targets = {
      {kNodeVersion, kNotWritable},
      {kNotificationCntl, kNotWritable},
      {parseOid(".1.3.6.1.2.1.68.1.1.1"), kNotWritable},
      {parseOid(".1.3.6.1.2.1.68.1.2.1"), kNoCreation}};
  for (std::uint32_t column = 1; column <= 16; ++column) {
    for (const std::vector<std::uint32_t>& row :
         {std::vector<std::uint32_t>{1, 1}, std::vector<std::uint32_t>{2, 11},
          std::vector<std::uint32_t>{9, 99}}) {
      targets.push_back({kOperEntry + std::vector<std::uint32_t>{column} + row, kNotWritable});
    }
  }
  for (std::uint32_t column = 1; column <= 3; ++column) {
    targets.push_back(
        {kAssoEntry + std::vector<std::uint32_t>{column, 1, 1, 192, 0, 2, 1}, kNotWritable});
    targets.push_back(
        {kAssoEntry + std::vector<std::uint32_t>{column, 1, 1, 10, 9, 9, 9}, kNotWritable});
  }
  const std::vector<std::string> values = {
      Ber::integer(1),
      Ber::integer(4),  // createAndGo
      Ber::integer(6),  // destroy
      Ber::integer(-1),
      Ber::octets("guess"),
      Ber::tlv(Ber::kIpAddress, std::string("\x0a\x00\x00\x01", 4)),
      Ber::tlv(Ber::kGauge, "\x01")};

  auto barrage = [&] {
    for (const auto& target : targets) {
      const auto& oid = target.first;
      const auto refusal = target.second;
      for (const std::string& value : values) {
        const std::string vb = Ber::varBind(oid, value);
        auto rw = ask([&](std::int64_t id) { return v2c(Ber::kSet, id, {vb}, "private"); });
        ASSERT_TRUE(rw) << "no answer to SET " << oidText(oid);
        EXPECT_EQ(rw->errorStatus, refusal) << "SET " << oidText(oid);
        EXPECT_EQ(rw->errorIndex, 1);
        auto v1 = ask([&](std::int64_t id) {
          return Ber::message(0, "private", Ber::pdu(Ber::kSet, id, 0, 0, {vb}));
        });
        ASSERT_TRUE(v1) << "no answer to SNMPv1 SET " << oidText(oid);
        EXPECT_EQ(v1->errorStatus, kNoSuchName) << "SNMPv1 SET " << oidText(oid);
        auto ro = ask([&](std::int64_t id) { return v2c(Ber::kSet, id, {vb}, "public"); });
        ASSERT_TRUE(ro);
        EXPECT_EQ(ro->errorStatus, kNoAccess) << "read-only SET " << oidText(oid);
      }
      // NULL is no value to set: the agent refuses it before any handler sees it.
      auto null = ask([&](std::int64_t id) {
        return v2c(Ber::kSet, id, {Ber::varBind(oid, Ber::null())}, "private");
      });
      ASSERT_TRUE(null);
      EXPECT_EQ(null->errorStatus, kWrongType) << "SET NULL " << oidText(oid);
    }
    // A whole row at once: refused as a whole.
    std::vector<std::string> row;
    for (std::uint32_t column = 2; column <= 15; ++column) {
      row.push_back(
          Ber::varBind(kOperEntry + std::vector<std::uint32_t>{column, 1, 1}, Ber::integer(2)));
    }
    auto whole = ask([&](std::int64_t id) { return v2c(Ber::kSet, id, row, "private"); });
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->errorStatus, kNotWritable);
    // An unknown community gets no answer at all.
    EXPECT_FALSE(
        ask([&](std::int64_t id) { return v2c(Ber::kSet, id, {row[0]}, "secret"); }, 300ms));
  };

  expectFlatMemory(barrage, 3);
  const std::string log = daemon_.log();
  EXPECT_NE(log.find("SET is not configured for column vrrpOperPriority"), std::string::npos);
  EXPECT_NE(log.find("SET is not configured for column vrrpOperRowStatus"), std::string::npos);
  EXPECT_NE(log.find("SET is not configured for column vrrpAssoIpAddrRowStatus"),
            std::string::npos);
  EXPECT_NE(log.find("handle_vrrpNotificationCntl - SET is not configured"), std::string::npos);
  expectUnchangedAndCleanExit();
}

}  // namespace
}  // namespace Harness
