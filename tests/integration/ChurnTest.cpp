// Bulk walkers against fhrp-snmpd while its state document is rewritten over and over:
// failovers, routers and interfaces coming and going, interfaces renumbered, torn writes.
// Every walk must be well-formed and hold only rows that some written document had; memory
// must stay flat. FHRP_SOAK_SECONDS=600 turns the bounded run into a soak.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "tests/integration/DaemonHealth.h"
#include "tests/integration/FhrpDaemon.h"
#include "tests/integration/Harness.h"
#include "tests/integration/StateDoc.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

const std::string kVrrp = ".1.3.6.1.2.1.68";
const std::string kOperEntry = ".1.3.6.1.2.1.68.1.3.1.";
const std::string kAssoEntry = ".1.3.6.1.2.1.68.1.4.1.2.";
constexpr int kCycle = 12;  // documents, written in turn

// What a document lets the agent serve: rows "ifIndex.vrId", states "ifIndex.vrId=state",
// address rows "ifIndex.vrId.a.b.c.d".
struct Rows {
  std::set<std::string> oper, states, asso;
};

// One of kCycle documents: eight interfaces, each present four times in five and one of them
// renumbered between documents, about 35 routers per interface with random states, one in ten
// configured for version 3 (not served), one to three virtual addresses each.
StateDoc churnDoc(unsigned seed, Rows& rows) {
  std::mt19937 rng(seed * 7919 + 17);
  StateDoc doc;
  const char* states[] = {"initialize", "backup", "master"};
  for (int i = 1; i <= 8; ++i) {
    const std::string name = "Ethernet" + std::to_string(i);
    const bool present = rng() % 5 != 0;
    const int ifIndex = i == 8 ? 800 + 80 * static_cast<int>(seed % 2) : 100 + i;
    if (present) {
      doc.ifIndex[name] = ifIndex;
      doc.ip[name] = "10." + std::to_string(i) + ".0.2/24";
    }
    for (int vrId = 1; vrId <= 255; ++vrId) {
      if (rng() % 100 >= 14) continue;
      RouterDoc r;
      const int state = static_cast<int>(rng() % 3);
      r.state = states[state];
      r.priority = 1 + static_cast<int>(rng() % 254);
      r.version = rng() % 10 == 0 ? 3 : 2;
      r.srcAddr = state == 0 ? "0.0.0.0" : "10." + std::to_string(i) + ".0.3";
      r.upSince = state == 0 ? 0 : 1763760000.5;
      const std::string prefix = "10." + std::to_string(i) + "." + std::to_string(vrId) + ".";
      for (int host = 1; host <= 3; ++host) {
        if (host > 1 && rng() % 2) continue;
        r.addrs.push_back(prefix + std::to_string(host));
      }
      if (rng() % 4 == 0) r.extraAddrFlags[prefix + "9"] = false;
      doc.routers[name][vrId] = r;
      if (!present || r.version != 2) continue;
      const std::string row = std::to_string(ifIndex) + "." + std::to_string(vrId);
      rows.oper.insert(row);
      rows.states.insert(row + "=" + std::to_string(state + 1));
      for (const auto& addr : r.addrs) rows.asso.insert(row + "." + addr);
    }
  }
  return doc;
}

// The rows one walk shows, and what is wrong with them against every document written.
struct WalkCheck {
  Rows seen;
  std::string problem;
};

// The tools' first run in a fresh persistent folder says that it created it; anything else
// on standard error (a timeout, "OID not increasing") fails the walk.
bool complained(const std::string& err) {
  std::istringstream lines(err);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.rfind("Created directory: ", 0) != 0) return true;
  }
  return false;
}

WalkCheck checkWalk(const SnmpReply& walk, const Rows& everWritten) {
  WalkCheck check;
  if (!walk.ok() || complained(walk.err)) {
    check.problem = "walk failed: " + walk.describe();
    return check;
  }
  if (std::string order = orderProblem(walk.varbinds, kVrrp); !order.empty()) {
    check.problem = order;
    return check;
  }
  for (const VarBind& vb : walk.varbinds) {
    if (vb.oid.rfind(kOperEntry, 0) == 0) {
      const std::string rest = vb.oid.substr(kOperEntry.size());  // column.ifIndex.vrId
      const std::string row = rest.substr(rest.find('.') + 1);
      check.seen.oper.insert(row);
      if (!everWritten.oper.count(row)) {
        check.problem = "row of no document: " + vb.oid;
      } else if (rest.rfind("3.", 0) == 0 && !everWritten.states.count(row + "=" + vb.value)) {
        check.problem = "state of no document: " + vb.oid + " = " + vb.value;
      }
    } else if (vb.oid.rfind(kAssoEntry, 0) == 0) {
      const std::string row = vb.oid.substr(kAssoEntry.size());
      check.seen.asso.insert(row);
      if (!everWritten.asso.count(row)) check.problem = "address row of no document: " + vb.oid;
    } else if (vb.oid != kVrrp + ".1.1.0" && vb.oid != kVrrp + ".1.2.0") {
      check.problem = "unexpected object: " + vb.oid;
    }
  }
  return check;
}

// Each document of the cycle in turn, waited for and walked: the agent serves exactly
// its rows, whatever came before. Interfaces that leave under their routers, come back or are
// renumbered must neither leave rows behind nor keep their routers from being served.
TEST(ChurnTest, EachDocumentInTurnIsServedExactly) {
  std::vector<StateDoc> docs;
  std::vector<Rows> docRows(kCycle);
  for (unsigned i = 0; i < kCycle; ++i) docs.push_back(churnDoc(i, docRows[i]));
  FhrpDaemon daemon;
  daemon.environmentIs(daemonCheckEnvironment());
  daemon.writeState(docs[0].json());
  daemon.start();
  LogCounter applied(daemon.process()->stderrPath(), "fhrp-snmp: applied");
  SnmpOptions options;
  options.extraArgs = {"-Cr50"};
  for (int i = 0; i <= kCycle; ++i) {
    const int which = i % kCycle;
    if (i > 0) {
      const std::size_t before = applied.count();
      daemon.replaceState(docs[which].json());
      ASSERT_TRUE(waitUntil([&] { return applied.count() > before; }, 20s)) << daemon.log();
    }
    WalkCheck walk =
        checkWalk(snmpbulkwalk(daemon.address(), "public", kVrrp, options), docRows[which]);
    EXPECT_EQ(walk.problem, "") << "document " << which;
    EXPECT_EQ(walk.seen.oper, docRows[which].oper) << "document " << which;
    EXPECT_EQ(walk.seen.asso, docRows[which].asso) << "document " << which;
    if (HasFailure()) break;
  }
  EXPECT_EQ(daemon.process()->stop(30s), 0) << daemon.process()->describe();
}

int soakSeconds() {
  const char* env = std::getenv("FHRP_SOAK_SECONDS");
  return env && *env ? std::max(1, std::atoi(env)) : 0;
}

TEST(ChurnTest, BulkWalksStayWellFormedWhileTheDocumentChurns) {
  const int soak = soakSeconds();
  const auto duration = soak ? std::chrono::seconds(soak) : std::chrono::seconds(30);
  std::vector<StateDoc> docs;
  std::vector<Rows> docRows(kCycle);
  for (unsigned i = 0; i < kCycle; ++i) docs.push_back(churnDoc(i, docRows[i]));

  std::mutex mutex;
  Rows everWritten = docRows[0];
  FhrpDaemon daemon;
  daemon.environmentIs(daemonCheckEnvironment());
  daemon.writeState(docs[0].json());
  daemon.start();
  const pid_t pid = daemon.process()->pid();
  LogCounter applied(daemon.process()->stderrPath(), "fhrp-snmp: applied");
  LogCounter rejected(daemon.process()->stderrPath(), "fhrp-snmp: rejected");

  std::atomic<bool> stop{false};
  std::atomic<std::size_t> walks{0};
  std::vector<std::string> problems;
  auto walker = [&](int repetitions) {
    SnmpOptions options;
    options.timeoutSeconds = 5;
    options.extraArgs = {"-Cr" + std::to_string(repetitions)};
    while (!stop) {
      SnmpReply walk = snmpbulkwalk(daemon.address(), "public", kVrrp, options);
      std::lock_guard<std::mutex> lock(mutex);
      WalkCheck check = checkWalk(walk, everWritten);
      ++walks;
      if (!check.problem.empty() && problems.size() < 5) problems.push_back(check.problem);
    }
  };
  std::vector<std::thread> walkers;
  for (int repetitions : {10, 25, 60}) walkers.emplace_back(walker, repetitions);

  // One document at a time, each waited for until applied; every seventh preceded by a torn
  // write in place, which must be rejected or overtaken, never served.
  // At least four cycles, two to warm up and two to watch memory, also on a slow machine.
  const auto started = std::chrono::steady_clock::now();
  auto goOn = [&](std::size_t i) {
    const auto now = std::chrono::steady_clock::now();
    return now < started + duration || (i <= 4 * kCycle && now < started + 3 * duration);
  };
  long warmKb = -1, highestKb = 0, lastKb = 0;
  std::size_t written = 0;
  for (std::size_t i = 1; goOn(i); ++i) {
    const std::size_t which = i % kCycle;
    const std::string json = docs[which].json();
    {
      std::lock_guard<std::mutex> lock(mutex);
      everWritten.oper.insert(docRows[which].oper.begin(), docRows[which].oper.end());
      everWritten.states.insert(docRows[which].states.begin(), docRows[which].states.end());
      everWritten.asso.insert(docRows[which].asso.begin(), docRows[which].asso.end());
    }
    if (i % 7 == 0) daemon.writeState(json.substr(0, json.size() / 2));
    const std::size_t before = applied.count();
    const auto replaced = std::chrono::steady_clock::now();
    daemon.replaceState(json);
    ++written;
    ASSERT_TRUE(waitUntil([&] { return applied.count() > before; }, 20s, 2ms))
        << "document " << i << " not applied\n"
        << daemon.process()->describe();
    // As long again for the walkers: back-to-back documents would starve them.
    std::this_thread::sleep_for(std::chrono::steady_clock::now() - replaced);
    if (which == kCycle - 1) {  // the same point of every cycle
      lastKb = residentKb(pid);
      if (i / kCycle == 2) warmKb = lastKb;  // after two cycles
      if (warmKb >= 0) highestKb = std::max(highestKb, lastKb);
    }
  }
  stop = true;
  for (auto& t : walkers) t.join();

  for (const auto& p : problems) ADD_FAILURE() << p;
  EXPECT_GT(walks.load(), 0u);
  // Once the churn is over the agent serves exactly the last document, nothing left behind.
  const std::size_t last = written % kCycle;
  SnmpOptions options;
  options.extraArgs = {"-Cr50"};
  WalkCheck final =
      checkWalk(snmpbulkwalk(daemon.address(), "public", kVrrp, options), docRows[last]);
  EXPECT_EQ(final.problem, "");
  EXPECT_EQ(final.seen.oper, docRows[last].oper);
  EXPECT_EQ(final.seen.asso, docRows[last].asso);

  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - started)
          .count();
  ASSERT_GE(warmKb, 0) << "fewer than three cycles of documents in " << seconds << " s";
  EXPECT_LE(highestKb - warmKb, residentSlackKb())
      << "RSS grew from " << warmKb << " KiB after warm-up to " << highestKb << " KiB";
  std::cout << "[ reliab  ] churn " << seconds << " s: " << walks << " walks, " << written
            << " documents written, " << applied.count() << " applied, " << rejected.count()
            << " torn writes rejected; RSS after warm-up " << warmKb << " KiB, at end " << lastKb
            << " KiB, highest " << highestKb << " KiB\n";
  RecordProperty("walks", static_cast<int>(walks.load()));
  RecordProperty("documentsApplied", static_cast<int>(applied.count()));
  EXPECT_EQ(daemon.process()->stop(30s), 0) << daemon.process()->describe();
}

}  // namespace
}  // namespace Harness
