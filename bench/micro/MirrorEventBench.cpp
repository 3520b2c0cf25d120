// SPDX-License-Identifier: Apache-2.0
// One virtual router's state change, end to end into the model, in a device of N routers:
// the record setter a publisher calls, the mirroring machines' reactors, the model row. Its
// cost must not depend on N. The publisher's diff of a parsed document that changes one
// router is measured beside it: that walks the whole document, so it grows with N, but
// stays far below parsing the document.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "FhrpSnmp/VrrpMib.h"
#include "bench/micro/ModelData.h"
#include "host/Service.h"
#include "kiv/Exception.h"
#include "platform/Loop/FakeEventLoop.h"
#include "platform/Snmp/SnmpUtil.h"
#include "sources/file/StateDocumentSource.h"
#include "zentra/StateDocument.h"
#include "zentra/StatePublisher.h"

namespace {

using Routing::Fhrp::FhrpState;

// A document of n routers, all master with one address; router `backup` (if any) is backup.
std::string document(long n, long backup = -1) {
  std::string intfs, ips, configs, statuses;
  const long intfCount = (n + Bench::kRoutersPerIntf - 1) / Bench::kRoutersPerIntf;
  for (long k = 0; k < intfCount; ++k) {
    const std::string name = "\"Ethernet" + std::to_string(k + 1) + "\"";
    const std::string net = "10." + std::to_string(k / 250) + "." + std::to_string(k % 250) + ".";
    intfs += (k ? "," : "") + name + ": {\"ifIndex\": " + std::to_string(1000 + k) + "}";
    ips += (k ? "," : "") + name + ": {\"activeAddrWithMask\": \"" + net + "2/16\"}";
    std::string c, s;
    for (long r = k * Bench::kRoutersPerIntf; r < std::min(n, (k + 1) * Bench::kRoutersPerIntf);
         ++r) {
      const std::string vr = std::to_string(r % Bench::kRoutersPerIntf + 1);
      const bool isBackup = r == backup;
      c += (c.empty() ? "\"" : ",\"") + vr +
           "\": {\"version\": 2, \"priority\": 100, \"preempt\": true, \"adminState\": "
           "\"enabled\", \"authType\": \"noAuthentication\", \"authKey\": \"\", "
           "\"advertisementInterval\": 100}";
      char mac[18];
      std::snprintf(mac, sizeof mac, "00:00:5e:00:01:%02lx", r % Bench::kRoutersPerIntf + 1);
      s += (s.empty() ? "\"" : ",\"") + vr + "\": {\"state\": \"" +
           (isBackup ? "backup" : "master") + "\", \"priority\": 100, \"srcAddr\": \"" + net +
           (isBackup ? "3" : "2") + "\", \"virtualMacAddr\": \"" + mac + "\", \"ipAddrs\": {\"" +
           net + "4\": true}, \"upSince\": 1763760000.5}";
    }
    configs += (k ? "," : "") + name + ": {" + c + "}";
    statuses += (k ? "," : "") + name + ": {" + s + "}";
  }
  return "{\"interfaces\": {" + intfs + "}, \"ip\": {" + ips + "}, \"vrrpConfig\": {" + configs +
         "}, \"vrrpStatus\": {" + statuses + "}}";
}

// The daemon's service with n routers loaded. The service is made once per process: it
// registers the product's types, which can happen only once.
struct Loaded {
  explicit Loaded(long n)
      : path(std::filesystem::temp_directory_path() / "fhrp-mirror-event.json") {
    std::ofstream(path) << document(n);
    service = std::make_unique<Host::Service>(
        [this](Zentra::StatePublisher& publisher) {
          auto source =
              std::make_unique<Sources::StateDocumentSource>(loop, publisher, path.string(), true);
          file = source.get();
          return source;
        },
        false);
    service->start();
    model = Kiv::ptrCast<FhrpSnmp::VrrpMib>(SnmpUtil::getEntityRelative("snmp/vrrp/vrrpMIB"));
    if (!model || model->operTableCollection()->size() != static_cast<size_t>(n)) {
      throw Kiv::RangeException("the model did not fill");
    }
  }
  ~Loaded() { std::filesystem::remove(path); }
  // The service is given the next size's document: the mirroring machines follow it.
  void resize(long n) {
    std::ofstream(path) << document(n);
    if (!file->reload() || model->operTableCollection()->size() != static_cast<size_t>(n)) {
      throw Kiv::RangeException("the model did not follow the document");
    }
  }
  std::filesystem::path path;
  Loop::FakeEventLoop loop;  // the document is read on demand, never watched
  Sources::StateDocumentSource* file = nullptr;
  std::unique_ptr<Host::Service> service;
  Kiv::Ptr<FhrpSnmp::VrrpMib> model;
};

Loaded& loaded(long n) {
  static Loaded instance(n);
  instance.resize(n);
  return instance;
}

void BM_MirrorOneStateChange(benchmark::State& state) {
  const long n = state.range(0);
  Loaded& l = loaded(n);
  const FhrpSnmp::VrrpIndex key = Bench::routerKey(n / 2);
  auto intf = l.service->tree().vrrpStatus()->vrIntfStatus(
      Lirex::IntfId("Ethernet" + std::to_string(key.ifIndex - 1000 + 1)));
  auto status = intf->vrStatus(key.vrId);
  auto row = l.model->operTable(key);
  const Lirex::IpAddr own = row->masterIpAddr();
  const Lirex::IpAddr other(own.value() + 1);
  for (auto _ : state) {
    // Master to backup (the master address becomes the advertiser's) and back.
    status->srcAddrIs(other);
    status->stateIs(FhrpState::backup);
    status->stateIs(FhrpState::master);
  }
  if (row->masterIpAddr() != own) state.SkipWithError("the model row did not follow");
  state.SetItemsProcessed(state.iterations() * 2);
  status->srcAddrIs(own);
}

void BM_PublisherApplyOneChange(benchmark::State& state) {
  const long n = state.range(0);
  Loaded& l = loaded(n);
  Zentra::StatePublisher publisher(l.service->tree());
  const Zentra::StateDocument same = Zentra::parseStateDocument(document(n));
  const Zentra::StateDocument changed = Zentra::parseStateDocument(document(n, n / 2));
  for (auto _ : state) {
    publisher.apply(changed);
    publisher.apply(same);
  }
  state.SetItemsProcessed(state.iterations() * 2);
}

void BM_ParseDocument(benchmark::State& state) {
  const std::string text = document(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(Zentra::parseStateDocument(text));
  state.SetBytesProcessed(state.iterations() * static_cast<S64>(text.size()));
}

BENCHMARK(BM_MirrorOneStateChange)->BENCH_TABLE_SIZES;
BENCHMARK(BM_PublisherApplyOneChange)->BENCH_TABLE_SIZES->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ParseDocument)->BENCH_TABLE_SIZES->Unit(benchmark::kMicrosecond);

}  // namespace
