// SPDX-License-Identifier: Apache-2.0
// mirror-bench: what it costs fhrp-snmpd to take in state documents, through the daemon's own
// service (Host::Service): read, parse and validate the document, diff it against the records,
// run the mirroring machines and make the model's rows.
//
//   mirror-bench --state A --one C --failover B [--repeat R]
//
// A is a document of N routers; C is A with one router changed (gen-state N --flip N); B is A
// with every router failed over (gen-state N --flip 1). In one fresh process it measures:
//   start     A applied from empty (the first load of the daemon), and the memory it kept;
//   one       A -> C and C -> A, R times each: one router's change in a large document;
//   failover  A -> B and B -> A, R times each: every router changing state at once;
//   parse     reading, parsing and validating A alone (the share of the above that is
//             parsing), best of R.
// Prints one line of key=value pairs; times in milliseconds (the median for one and
// failover), memory in KiB.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "FhrpSnmp/VrrpMib.h"
#include "bench/mirror/ProcessMemory.h"
#include "host/Service.h"
#include "kiv/Exception.h"
#include "platform/Loop/FakeEventLoop.h"
#include "platform/Snmp/SnmpUtil.h"
#include "sources/file/StateDocumentSource.h"
#include "zentra/StateFile.h"

namespace {

struct Options {
  std::string state, one, failover;
  int repeat = 5;
};

[[noreturn]] void usage() {
  std::fprintf(stderr, "usage: mirror-bench --state A --one C --failover B [--repeat R]\n");
  std::exit(2);
}

Options parse(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    if (i + 1 >= argc) usage();
    if (!std::strcmp(argv[i], "--state"))
      o.state = argv[++i];
    else if (!std::strcmp(argv[i], "--one"))
      o.one = argv[++i];
    else if (!std::strcmp(argv[i], "--failover"))
      o.failover = argv[++i];
    else if (!std::strcmp(argv[i], "--repeat"))
      o.repeat = std::atoi(argv[++i]);
    else
      usage();
  }
  if (o.state.empty() || o.one.empty() || o.failover.empty() || o.repeat < 1) usage();
  return o;
}

using Clock = std::chrono::steady_clock;

template <class F>
double millis(F&& f) {
  const auto start = Clock::now();
  f();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  const Options o = parse(argc, argv);
  namespace fs = std::filesystem;
  // The service follows one path; each step puts the next document there before timing.
  const fs::path live = fs::path(o.state).string() + ".live";
  auto put = [&](const std::string& from) {
    fs::copy_file(from, live, fs::copy_options::overwrite_existing);
  };
  try {
    put(o.state);
    const Bench::ProcessMemory before = Bench::settledProcessMemory();
    // Read on demand only: the fake loop never runs the watcher.
    Loop::FakeEventLoop loop;
    Sources::StateDocumentSource* document = nullptr;
    Host::Service service(
        [&](Zentra::StatePublisher& publisher) {
          auto source =
              std::make_unique<Sources::StateDocumentSource>(loop, publisher, live.string(), true);
          document = source.get();
          return source;
        },
        /*notifications=*/false);
    const double startMs = millis([&] { service.start(); });
    const Bench::ProcessMemory after = Bench::settledProcessMemory();

    auto model = Kiv::ptrCast<FhrpSnmp::VrrpMib>(SnmpUtil::getEntityRelative("snmp/vrrp/vrrpMIB"));
    if (!model) throw Kiv::RangeException("no model at snmp/vrrp/vrrpMIB");
    const size_t routers = model->operTableCollection()->size();
    const size_t addresses = model->assoIpAddrTableCollection()->size();

    auto apply = [&](const std::string& doc) {
      put(doc);
      double ms = millis([&] {
        if (!document->reload()) throw Kiv::RangeException("cannot apply " + doc);
      });
      return ms;
    };
    std::vector<double> one, failover;
    for (int r = 0; r < o.repeat; ++r) {
      one.push_back(apply(o.one));
      one.push_back(apply(o.state));
    }
    for (int r = 0; r < o.repeat; ++r) {
      failover.push_back(apply(o.failover));
      failover.push_back(apply(o.state));
    }
    double parseMs = 1e300;
    const Zentra::StateFile file(o.state);
    for (int r = 0; r < o.repeat; ++r) {
      parseMs = std::min(parseMs, millis([&] { (void)file.load(); }));
    }
    const Bench::ProcessMemory end = Bench::processMemory();

    std::printf(
        "routers=%zu addresses=%zu start_ms=%.2f one_ms=%.3f failover_ms=%.2f parse_ms=%.2f "
        "rss_before_kib=%llu rss_after_kib=%llu hwm_after_start_kib=%llu hwm_end_kib=%llu\n",
        routers, addresses, startMs, median(one), median(failover), parseMs,
        static_cast<unsigned long long>(before.rssKiB),
        static_cast<unsigned long long>(after.rssKiB),
        static_cast<unsigned long long>(after.hwmKiB), static_cast<unsigned long long>(end.hwmKiB));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "mirror-bench: %s\n", e.what());
    fs::remove(live);
    return 1;
  }
  fs::remove(live);
  return 0;
}
