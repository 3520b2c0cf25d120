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

#include "tests/integration/Daemon.h"

namespace Harness {
namespace {

using namespace std::chrono_literals;

const std::string kVrrp = ".1.3.6.1.2.1.68";
const std::string kOperEntry = kVrrp + ".1.3.1.";
const std::string kAssoEntry = kVrrp + ".1.4.1.2.";
constexpr std::size_t kCycle = 12;  // documents, written in turn

// What documents let the agent serve: rows "ifIndex.vrId", states "ifIndex.vrId=state",
// address rows "ifIndex.vrId.a.b.c.d".
struct Rows {
  std::set<std::string> oper, states, asso;
  void add(const Rows& other) {
    oper.insert(other.oper.begin(), other.oper.end());
    states.insert(other.states.begin(), other.states.end());
    asso.insert(other.asso.begin(), other.asso.end());
  }
};

// Eight interfaces, each present four times in five and one of them renumbered between
// documents, about 35 routers each with random states, one in ten configured for version 3 (not
// served), one to three virtual addresses each and sometimes an inactive one.
StateDoc churnDoc(unsigned seed, Rows& rows) {
  std::mt19937 rng(seed * 7919 + 17);
  StateDoc doc;
  const char* states[] = {"initialize", "backup", "master"};
  for (int i = 1; i <= 8; ++i) {
    const std::string name = "Ethernet" + std::to_string(i), net = "10." + std::to_string(i);
    const bool present = rng() % 5 != 0;
    const int ifIndex = i == 8 ? 800 + 80 * static_cast<int>(seed % 2) : 100 + i;
    if (present) {
      doc.ifIndex[name] = ifIndex;
      doc.ip[name] = net + ".0.2/24";
    }
    for (int vrId = 1; vrId <= 255; ++vrId) {
      if (rng() % 100 >= 14) continue;
      RouterDoc& r = doc.routers[name][vrId];
      const int state = static_cast<int>(rng() % 3);
      r.state = states[state];
      r.priority = 1 + static_cast<int>(rng() % 254);
      r.version = rng() % 10 == 0 ? 3 : 2;
      r.srcAddr = state == 0 ? "0.0.0.0" : net + ".0.3";
      r.upSince = state == 0 ? 0 : 1763760000.5;
      const std::string prefix = net + "." + std::to_string(vrId) + ".";
      for (int host = 1; host <= 3; ++host) {
        if (host == 1 || rng() % 2) r.addrs.push_back(prefix + std::to_string(host));
      }
      if (rng() % 4 == 0) r.inactiveAddrs = {prefix + "9"};
      if (!present || r.version != 2) continue;
      const std::string row = std::to_string(ifIndex) + "." + std::to_string(vrId);
      rows.oper.insert(row);
      rows.states.insert(row + "=" + std::to_string(state + 1));
      for (const auto& addr : r.addrs) rows.asso.insert(row + "." + addr);
    }
  }
  return doc;
}

// Empty when the walk is well-formed and shows only what `allowed` has; else what is wrong.
// The tools' first run in a fresh persistent folder says it created it; anything else on
// standard error (a timeout, "OID not increasing") fails the walk.
std::string checkWalk(const CommandResult& walk, const Rows& allowed, Rows& seen) {
  std::istringstream lines(walk.err);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.rfind("Created directory: ", 0) != 0) return walk.describe();
  }
  if (!walk.ok()) return walk.describe();
  if (std::string order = orderProblem(walk.varbinds, kVrrp); !order.empty()) return order;
  for (const VarBind& vb : walk.varbinds) {
    if (vb.oid.rfind(kOperEntry, 0) == 0) {
      const std::string rest = vb.oid.substr(kOperEntry.size());  // column.ifIndex.vrId
      const std::string row = rest.substr(rest.find('.') + 1);
      seen.oper.insert(row);
      if (!allowed.oper.count(row)) return "row of no document: " + vb.oid;
      if (rest.rfind("3.", 0) == 0 && !allowed.states.count(row + "=" + vb.value)) {
        return "state of no document: " + vb.oid + " = " + vb.value;
      }
    } else if (vb.oid.rfind(kAssoEntry, 0) == 0) {
      seen.asso.insert(vb.oid.substr(kAssoEntry.size()));
      if (!allowed.asso.count(vb.oid.substr(kAssoEntry.size()))) return "address row: " + vb.oid;
    } else if (vb.oid != kVrrp + ".1.1.0" && vb.oid != kVrrp + ".1.2.0") {
      return "unexpected object: " + vb.oid;
    }
  }
  return "";
}

TEST(ChurnTest, BulkWalksStayWellFormedWhileTheDocumentChurns) {
  const char* soak = std::getenv("FHRP_SOAK_SECONDS");
  const std::chrono::seconds duration(soak && *soak ? std::max(1, std::atoi(soak)) : 30);
  std::vector<std::string> docs;
  std::vector<Rows> docRows(kCycle);
  for (unsigned i = 0; i < kCycle; ++i) docs.push_back(churnDoc(i, docRows[i]).json());
  FhrpDaemon daemon(docs[0]);
  daemon.start();
  const pid_t pid = daemon.process().pid();
  LogCounter applied(daemon.process().stderrPath(), "fhrp-snmpd: applied");
  LogCounter rejected(daemon.process().stderrPath(), "fhrp-snmpd: rejected");
  auto apply = [&](std::size_t which) {
    const std::size_t before = applied.count();
    daemon.replaceState(docs[which]);
    return waitUntil([&] { return applied.count() > before; }, 20s, 2ms);
  };
  auto expectServedExactly = [&](std::size_t which) {
    Rows seen;
    const CommandResult walk =
        snmp("snmpbulkwalk", daemon.address(), {kVrrp}, {"-v2c", "-cpublic", "-Cr50"});
    EXPECT_EQ(checkWalk(walk, docRows[which], seen), "") << "document " << which;
    EXPECT_EQ(seen.oper, docRows[which].oper) << "document " << which;
    EXPECT_EQ(seen.asso, docRows[which].asso) << "document " << which;
  };

  // Each document in turn, walked alone: the agent serves exactly its rows, whatever came
  // before. Interfaces that leave under their routers, come back or are renumbered must neither
  // leave rows behind nor keep their routers from being served.
  for (std::size_t i = 1; i <= kCycle && !HasFailure(); ++i) {
    ASSERT_TRUE(apply(i % kCycle)) << daemon.log();
    expectServedExactly(i % kCycle);
  }

  // Then again and again under three walkers, each document waited for until applied, every
  // seventh preceded by a torn write in place, which must be rejected or overtaken, never served.
  std::mutex mutex;
  Rows everWritten = docRows[0];
  std::atomic<bool> stop{false};
  std::atomic<std::size_t> walks{0};
  std::vector<std::string> problems;
  auto walker = [&](int repetitions) {
    const std::vector<std::string> options = {"-v2c", "-cpublic", "-t5",
                                              "-Cr" + std::to_string(repetitions)};
    while (!stop) {
      const CommandResult walk = snmp("snmpbulkwalk", daemon.address(), {kVrrp}, options);
      std::lock_guard<std::mutex> lock(mutex);
      Rows seen;
      const std::string problem = checkWalk(walk, everWritten, seen);
      ++walks;
      if (!problem.empty() && problems.size() < 5) problems.push_back(problem);
    }
  };
  std::vector<std::thread> walkers;
  for (int repetitions : {10, 25, 60}) walkers.emplace_back(walker, repetitions);
  // At least four cycles, two to warm up and two to watch memory, also on a slow machine.
  const auto started = std::chrono::steady_clock::now();
  long warmKb = -1, highestKb = 0, lastKb = 0;
  std::size_t i = 1;
  bool stuck = false;
  for (;; ++i) {
    const auto now = std::chrono::steady_clock::now();
    if (now >= started + duration && (i > 4 * kCycle || now >= started + 3 * duration)) break;
    const std::size_t which = i % kCycle;
    {
      std::lock_guard<std::mutex> lock(mutex);
      everWritten.add(docRows[which]);
    }
    if (i % 7 == 0) daemon.writeState(docs[which].substr(0, docs[which].size() / 2));
    const auto replaced = std::chrono::steady_clock::now();
    if ((stuck = !apply(which))) break;
    // As long again for the walkers: back-to-back documents would starve them.
    std::this_thread::sleep_for(std::chrono::steady_clock::now() - replaced);
    if (which == kCycle - 1) {  // the same point of every cycle
      lastKb = residentKb(pid);
      if (i / kCycle == 2) warmKb = lastKb;
      if (warmKb >= 0) highestKb = std::max(highestKb, lastKb);
    }
  }
  stop = true;
  for (auto& t : walkers) t.join();
  ASSERT_FALSE(stuck) << "document " << i << " not applied\n" << daemon.process().describe();
  for (const auto& p : problems) ADD_FAILURE() << p;
  EXPECT_GT(walks.load(), 0u);
  expectServedExactly((i - 1) % kCycle);  // nothing left behind once the churn is over

  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - started)
          .count();
  ASSERT_GE(warmKb, 0) << "fewer than three cycles of documents in " << seconds << " s";
  EXPECT_LE(highestKb - warmKb, residentSlackKb())
      << "RSS grew from " << warmKb << " KiB after warm-up to " << highestKb << " KiB";
  std::cout << "[ reliab  ] churn " << seconds << " s: " << walks << " walks, " << kCycle + i - 1
            << " documents written, " << applied.count() << " applied, " << rejected.count()
            << " torn writes rejected; RSS after warm-up " << warmKb << " KiB, at end " << lastKb
            << " KiB, highest " << highestKb << " KiB\n";
  EXPECT_EQ(daemon.stop(), 0) << daemon.process().describe();
}

}  // namespace
}  // namespace Harness
