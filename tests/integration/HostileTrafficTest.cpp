// fhrp-snmpd facing a hostile management network: raw datagrams that no well-behaved manager
// sends. Every request that deserves an answer gets the right one; afterwards the daemon answers
// as before, has changed nothing, holds no more memory than after a warm-up, and exits cleanly
// (in the sanitizer build: with no leak).
#include <gtest/gtest.h>

#include <iostream>
#include <random>
#include <set>
#include <sstream>
#include <tuple>

#include "tests/integration/Daemon.h"
#include "tests/integration/RawSnmp.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

const std::string kVrrp = ".1.3.6.1.2.1.68";
const Oid kNodeVersion = parseOid(kVrrp + ".1.1.0");

bool insideVrrp(const RawVarBind& vb) {
  return vb.type != Ber::kEndOfMibView && oidText(vb.oid).rfind(kVrrp + ".", 0) == 0;
}
const Oid kOperEntry = parseOid(kVrrp + ".1.3.1");
const Oid kAssoEntry = parseOid(kVrrp + ".1.4.1");
constexpr std::int64_t kMaxInt32 = 2147483647;
constexpr std::int64_t kNoSuchName = 2, kNoAccess = 6, kWrongType = 7, kNoCreation = 11,
                       kNotWritable = 17;

std::string v2c(std::uint8_t type, std::int64_t id, const std::vector<std::string>& vbs,
                const std::string& community = "public", std::int64_t a = 0, std::int64_t b = 0) {
  return Ber::message(1, community, Ber::pdu(type, id, a, b, vbs));
}

// SNMPv3 with a User-based Security Model header; flags 1 claim authentication, 3 privacy too,
// with nothing valid behind them: we hold no credentials.
std::string v3(std::uint8_t flags, const std::string& engineId, const std::string& user,
               const std::string& scopedPdu, std::int64_t maxSize = 65507,
               std::int64_t securityModel = 3) {
  const std::string usm =
      Ber::sequence({Ber::octets(engineId), Ber::integer(1), Ber::integer(10), Ber::octets(user),
                     Ber::octets(flags ? std::string(12, 'a') : ""), Ber::octets("")});
  return Ber::sequence({Ber::integer(3),
                        Ber::sequence({Ber::integer(4711), Ber::integer(maxSize),
                                       Ber::octets(std::string(1, static_cast<char>(flags | 4))),
                                       Ber::integer(securityModel)}),
                        Ber::octets(usm), scopedPdu});
}

std::vector<std::string> malformedDatagrams() {
  const Oid row = kOperEntry + Oid{3, 1, 1};
  const std::vector<std::string> valid = {
      v2c(Ber::kGet, 7, {Ber::varBind(row)}), v2c(Ber::kGetNext, 8, {Ber::varBind(kOperEntry)}),
      v2c(Ber::kGetBulk, 9, {Ber::varBind(kAssoEntry)}, "public", 0, 5),
      Ber::message(0, "public", Ber::pdu(Ber::kGetNext, 10, 0, 0, {Ber::varBind(kOperEntry)}))};
  std::mt19937 rng(20251122);
  auto byte = [&rng] { return static_cast<char>(rng() & 0xff); };
  std::vector<std::string> out;
  for (const std::string& good : valid) {
    for (std::size_t n = 0; n < good.size(); ++n) out.push_back(good.substr(0, n));
    // Every octet replaced by what breaks lengths and tags: short and long forms, the
    // indefinite form, a nine-octet length, a reserved tag.
    for (std::size_t i = 0; i < good.size(); ++i) {
      for (char c : {'\x00', '\x7f', '\x80', '\x81', '\x84', '\x89', '\xff'}) {
        out.push_back(good);
        out.back()[i] = c;
      }
    }
    for (int i = 0; i < 150; ++i) {  // a few random octets changed, then cut or extended
      std::string bad = good;
      for (int k = 1 + static_cast<int>(rng() % 4); k > 0; --k) bad[rng() % bad.size()] = byte();
      if (rng() % 3 == 0) bad.resize(rng() % bad.size());
      if (rng() % 5 == 0) bad += std::string(rng() % 64, byte());
      out.push_back(bad);
    }
  }
  for (int i = 0; i < 200; ++i) {  // noise, some of it shaped like a message
    std::string noise(rng() % 1400, '\0');
    for (char& c : noise) c = byte();
    out.insert(out.end(), {noise, Ber::tlv(Ber::kSequence, noise)});
  }
  const std::string body = valid[0].substr(2);
  std::string nested = Ber::null();
  for (int i = 0; i < 2000; ++i) nested = Ber::tlv(Ber::kSequence, nested);
  const std::string get = Ber::pdu(Ber::kGet, 19, 0, 0, {Ber::varBind(kNodeVersion)});
  const std::string scoped = Ber::sequence({Ber::octets(""), Ber::octets(""), get});
  const std::string engine("\x80\x00\x1f\x88\x80\x01", 6);
  out.insert(
      out.end(),
      {"\x30\x84\x7f\xff\xff\xff" + body, "\x30\x84\xff\xff\xff\xff" + body,
       "\x30\x89" + std::string(9, '\xff') + body, "\x30\x80" + body + std::string(2, '\0'),
       Ber::sequence({Ber::integer(1), Ber::octets("public"), "\xa0\x84\x7f\xff\xff\xff"}),
       Ber::sequence(
           {Ber::tlv(Ber::kInteger, std::string(100, '\x01')), Ber::octets("public"), get}),
       v2c(Ber::kGet, 11, {Ber::varBind(kNodeVersion)}, std::string(60000, 'c')),
       Ber::message(1, "public",
                    Ber::tlv(Ber::kGet, Ber::tlv(Ber::kInteger, std::string(9, '\x7f')) +
                                            Ber::integer(0) + Ber::integer(0) + Ber::sequence({}))),
       // A sub-identifier of ten octets, an OID far past 128 sub-identifiers, deep nesting.
       v2c(Ber::kGetNext, 12,
           {Ber::sequence(
               {Ber::tlv(Ber::kObjectId, "\x2b\x06\x01" + std::string(9, '\xff') + "\x7f"),
                Ber::null()})}),
       v2c(Ber::kGetNext, 13, {Ber::varBind(kOperEntry + Oid(300, 7))}),
       v2c(Ber::kGet, 14, {nested}),
       Ber::message(0, "public", Ber::pdu(Ber::kGetBulk, 18, 0, 10, {Ber::varBind(kOperEntry)})),
       // SNMPv3 without credentials: discovery, an unknown user, authentication and privacy
       // claimed, privacy without authentication, invalid sizes and security models.
       v3(0, "", "",
          Ber::sequence({Ber::octets(""), Ber::octets(""), Ber::pdu(Ber::kGet, 20, 0, 0, {})})),
       v3(0, engine, "intruder", scoped), v3(1, engine, "intruder", scoped),
       v3(3, engine, "intruder", Ber::octets(std::string(64, 'e'))), v3(2, "", "", scoped),
       v3(0, "", "", scoped, 100), v3(0, "", "", scoped, 65507, 99),
       v3(0, std::string(300, 'e'), std::string(300, 'u'), scoped)});
  for (const std::string& community :
       {std::string(""), std::string("publi"), std::string("public\0", 7), std::string(255, 'p')}) {
    out.push_back(v2c(Ber::kGetNext, 15, {Ber::varBind(kOperEntry)}, community));
  }
  for (std::int64_t version :
       {std::int64_t{-1}, std::int64_t{2}, std::int64_t{4}, kMaxInt32, std::int64_t{1} << 40}) {
    out.push_back(Ber::message(version, "public", Ber::pdu(Ber::kGet, 16, 0, 0, {})));
  }
  for (std::uint8_t type : {Ber::kResponse, Ber::kTrapV1, Ber::kInform, Ber::kTrapV2, Ber::kReport,
                            std::uint8_t{0xa9}, std::uint8_t{0xbf}}) {
    out.push_back(v2c(type, 17, {Ber::varBind(kNodeVersion)}));
    out.push_back(
        Ber::message(0, "public", Ber::pdu(type, 17, 0, 0, {Ber::varBind(kNodeVersion)})));
  }
  return out;
}

// GETNEXT and GET with indices that are too long, too short, over 255 in an address or a vrId,
// over 2^31 or 2^32-1 in ifIndex, partial addresses, and the longest OIDs there are.
std::vector<Oid> oddIndices() {
  std::vector<Oid> odd;
  std::istringstream oper(
      "3.1.1.0.0.0.0.0.0.0.0.0.0 3.1.256 3.1.4294967295 3.4294967295 3.4294967295.1 "
      "3.2147483648.1 3.2147483647.255 3.0.0 3.2 0 1.1.1 15.100100.101 16 4294967295");
  for (std::string oid; oper >> oid;) odd.push_back(kOperEntry + parseOid(oid));
  std::istringstream asso(
      "2.1.1 2.1.1.192 2.1.1.192.0 2.1.1.192.0.2 2.1.1.192.0.2.1.5 2.1.1.300.300.300.300 "
      "2.1.1.4294967295.0.0.0 2.1.300.1.2.3.4 2.4294967295.1.1.2.3.4 3");
  for (std::string oid; asso >> oid;) odd.push_back(kAssoEntry + parseOid(oid));
  for (const char* oid : {".1.1", ".1.1.0.5", ".1.5"}) odd.push_back(parseOid(kVrrp + oid));
  odd.push_back(parseOid(".1.3.6.1.2.1.67.9"));
  odd.push_back(kOperEntry + Oid{3, 1, 1});
  odd.back().resize(128, 4294967295u);  // as long as an OID may be
  odd.push_back(kAssoEntry + Oid{2, 1, 1, 192, 0, 2, 1});
  odd.back().resize(128, 1);
  return odd;
}

TEST(HostileTrafficTest, EveryRequestGetsItsAnswerAndNothingChanges) {
  FhrpDaemon daemon;
  // A write community, so that SETs reach the module's handlers instead of being refused by
  // access control; level 2 of Snmp traces those handlers refusing them.
  const auto conf = daemon.dir().writeFile("agent.conf", "rwcommunity private 127.0.0.1\n");
  daemon.start({"--config", conf.string(), "--trace", "Snmp/2"});
  const std::vector<VarBind> before = snmp("snmpwalk", daemon.address(), {kVrrp}).varbinds;
  ASSERT_EQ(before.size(), 2u + 8u * 14u + 11u);
  std::set<std::string> served;
  for (const VarBind& vb : before) served.insert(vb.oid);
  const std::vector<std::string> malformed = malformedDatagrams();
  const std::vector<Oid> odd = oddIndices();

  UdpClient client(daemon.port());
  std::int64_t lastId = 1000;  // above the fixed ids of the malformed requests
  auto ask = [&](const std::function<std::string(std::int64_t)>& build, Millis timeout = 10s) {
    const std::int64_t id = ++lastId;
    return client.request(build(id), id, timeout);
  };
  // Replies come in order, so an answer proves everything before it was dealt with. A burst of
  // large datagrams can fill the agent's receive buffer: the probe is repeated, as a manager would.
  auto expectAlive = [&] {
    std::optional<RawReply> reply;
    for (int attempt = 0; attempt < 10 && !reply; ++attempt) {
      reply = ask([&](std::int64_t id) { return v2c(Ber::kGet, id, {Ber::varBind(kNodeVersion)}); },
                  1s);
    }
    ASSERT_TRUE(reply) << "no answer after " << client.sent() << " datagrams\n"
                       << daemon.process().describe();
    ASSERT_EQ(reply->varBinds.size(), 1u);
    EXPECT_EQ(reply->varBinds[0].integer(), 2);
    client.drain();
  };

  // Each SET target with what a write community gets: notWritable from the module, noCreation
  // for an instance of the read-write scalar that does not exist.
  std::vector<std::pair<Oid, std::int64_t>> setTargets = {
      {kNodeVersion, kNotWritable},
      {parseOid(kVrrp + ".1.2.0"), kNotWritable},
      {parseOid(kVrrp + ".1.1.1"), kNotWritable},
      {parseOid(kVrrp + ".1.2.1"), kNoCreation}};
  for (std::uint32_t column = 1; column <= 16; ++column) {
    for (const Oid& row : {Oid{1, 1}, Oid{2, 11}, Oid{9, 99}}) {
      setTargets.push_back({kOperEntry + Oid{column} + row, kNotWritable});
    }
  }
  for (std::uint32_t column = 1; column <= 3; ++column) {
    setTargets.push_back({kAssoEntry + Oid{column, 1, 1, 192, 0, 2, 1}, kNotWritable});
    setTargets.push_back({kAssoEntry + Oid{column, 1, 1, 10, 9, 9, 9}, kNotWritable});
  }
  // Among them createAndGo (4) and destroy (6).
  const std::vector<std::string> setValues = {
      Ber::integer(1),
      Ber::integer(4),
      Ber::integer(6),
      Ber::integer(-1),
      Ber::octets("guess"),
      Ber::tlv(Ber::kIpAddress, std::string("\x0a\x00\x00\x01", 4)),
      Ber::tlv(Ber::kGauge, "\x01")};
  // GETBULK with the largest repetition count there is, with one and with sixty bindings.
  std::vector<std::string> many;
  for (std::size_t i = 0; i < 60; ++i) many.push_back(Ber::varBind(odd[i % odd.size()]));
  struct Bulk {
    std::int64_t nonRepeaters, repetitions;
    std::vector<std::string> bindings;
  };
  const std::vector<Bulk> bulks = {{0, kMaxInt32, {Ber::varBind(parseOid(kVrrp))}},
                                   {0, kMaxInt32, many},
                                   {kMaxInt32, kMaxInt32, many},
                                   {30, kMaxInt32, many},
                                   {-1, -1, many},
                                   {0, 0, many}};

  auto barrage = [&] {
    for (const std::string& bytes : malformed) {
      // Replies are thrown away as they come: left waiting, they would crowd out the probe's.
      client.drain();
      client.send(bytes);
      if (client.sent() % 100 == 0) expectAlive();
      if (::testing::Test::HasFatalFailure()) return;
    }
    expectAlive();  // the burst may have filled its receive buffer: nothing more is lost
    for (const Oid& oid : odd) {
      auto next = ask([&](std::int64_t id) { return v2c(Ber::kGetNext, id, {Ber::varBind(oid)}); });
      ASSERT_TRUE(next && next->errorStatus == 0 && next->varBinds.size() == 1) << oidText(oid);
      auto after = std::find_if(before.begin(), before.end(),
                                [&](const VarBind& vb) { return oid < parseOid(vb.oid); });
      if (after == before.end()) {
        // Past the VRRP-MIB: the engine group, or the end of the view.
        EXPECT_FALSE(insideVrrp(next->varBinds[0])) << "GETNEXT " << oidText(oid);
      } else {
        EXPECT_EQ(oidText(next->varBinds[0].oid), after->oid) << "GETNEXT " << oidText(oid);
      }
      auto get = ask([&](std::int64_t id) { return v2c(Ber::kGet, id, {Ber::varBind(oid)}); });
      ASSERT_TRUE(get && get->varBinds.size() == 1) << "GET " << oidText(oid);
      const std::uint8_t type = get->varBinds[0].type;
      EXPECT_TRUE(served.count(oidText(oid))
                      ? type == Ber::kInteger
                      : type == Ber::kNoSuchObject || type == Ber::kNoSuchInstance)
          << "GET " << oidText(oid) << " type " << int(type);
    }
    for (const Bulk& bulk : bulks) {
      auto reply = ask([&](std::int64_t id) {
        return v2c(Ber::kGetBulk, id, bulk.bindings, "public", bulk.nonRepeaters, bulk.repetitions);
      });
      ASSERT_TRUE(reply) << "no answer to GETBULK " << bulk.nonRepeaters << "/" << bulk.repetitions;
      EXPECT_TRUE(reply->errorStatus == 0 || reply->errorStatus == 1) << reply->errorStatus;
      for (const RawVarBind& vb : reply->varBinds) {
        EXPECT_TRUE(!insideVrrp(vb) || served.count(oidText(vb.oid)))
            << "GETBULK answered " << oidText(vb.oid) << " type " << int(vb.type);
      }
    }
    for (const auto& target : setTargets) {
      for (const std::string& value : setValues) {
        const std::string vb = Ber::varBind(target.first, value);
        // SNMPv1 knows only noSuchName; the read community has no write access at all.
        for (const auto& [version, community, refusal] :
             {std::tuple{1, "private", target.second}, std::tuple{0, "private", kNoSuchName},
              std::tuple{1, "public", kNoAccess}}) {
          const int v = version;
          const std::string c = community;
          auto reply = ask([&](std::int64_t id) {
            return Ber::message(v, c, Ber::pdu(Ber::kSet, id, 0, 0, {vb}));
          });
          ASSERT_TRUE(reply) << "no answer to SET " << oidText(target.first);
          EXPECT_EQ(reply->errorStatus, refusal)
              << c << " v" << v << " SET " << oidText(target.first);
          EXPECT_EQ(reply->errorIndex, 1);
        }
      }
      // NULL is no value to set: the agent refuses it before any handler sees it.
      auto null = ask([&](std::int64_t id) {
        return v2c(Ber::kSet, id, {Ber::varBind(target.first)}, "private");
      });
      ASSERT_TRUE(null);
      EXPECT_EQ(null->errorStatus, kWrongType) << "SET NULL " << oidText(target.first);
    }
    // An unknown community gets no answer at all.
    EXPECT_FALSE(ask(
        [&](std::int64_t id) {
          return v2c(Ber::kSet, id, {Ber::varBind(kNodeVersion, Ber::integer(3))}, "secret");
        },
        300ms));
    expectAlive();
  };

  barrage();
  const long warm = residentKb(daemon.process().pid());
  long peak = warm;
  constexpr int kRounds = 3;
  for (int i = 0; i < kRounds && !HasFatalFailure(); ++i) {
    barrage();
    peak = std::max(peak, residentKb(daemon.process().pid()));
  }
  EXPECT_LE(peak - warm, residentSlackKb()) << "RSS grew from " << warm << " KiB to " << peak;
  std::cout << "[ reliab  ] " << client.sent() << " hostile datagrams, "
            << malformed.size() * (kRounds + 1) << " of them malformed; RSS after warm-up " << warm
            << " KiB, highest after " << kRounds << " more rounds " << peak << " KiB\n";

  const std::string log = daemon.log();
  for (const char* refusal : {"SET is not configured for column vrrpOperPriority",
                              "SET is not configured for column vrrpOperRowStatus",
                              "SET is not configured for column vrrpAssoIpAddrRowStatus",
                              "handle_vrrpNotificationCntl - SET is not configured"}) {
    EXPECT_NE(log.find(refusal), std::string::npos) << refusal;
  }
  EXPECT_EQ(masked(snmp("snmpwalk", daemon.address(), {kVrrp}).varbinds), masked(before));
  EXPECT_EQ(daemon.stop(), 0) << daemon.process().describe();
}

}  // namespace
}  // namespace Harness
