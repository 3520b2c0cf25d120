#include "tests/integration/Daemon.h"

#include <cstdio>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace Harness {
namespace {

std::string procField(pid_t pid, const char* file, const std::string& name) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/" + file);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(name + ":", 0) == 0) return line.substr(name.size() + 1);
  }
  return "";
}

// A JSON object from a map, `body` writing each entry's value; std::map keeps keys sorted.
template <typename Map, typename Body>
std::string object(const Map& map, Body body) {
  std::string text = "{";
  for (const auto& entry : map) {
    text += (text.size() > 1 ? ", \"" : "\"") + entry.first + "\": " + body(entry);
  }
  return text + "}";
}

}  // namespace

std::string pluginPath() {
  return FHRP_PLUGIN_PATH;
}

std::string labDocument() {
  return readFile(std::string(FHRP_SOURCE_DIR) + "/examples/lab.json");
}

bool sanitizedBuild() {
#ifdef FHRP_SANITIZED_BUILD
  return true;
#else
  return false;
#endif
}

std::string StateDoc::json() const {
  std::map<std::string, std::map<std::string, RouterDoc>> byName;
  for (const auto& [name, vrs] : routers) {
    for (const auto& [vrId, r] : vrs) byName[name][std::to_string(vrId)] = r;
  }
  auto config = [](const auto& vr) {
    return "{\"version\": " + std::to_string(vr.second.version) +
           ", \"priority\": " + std::to_string(vr.second.priority) + "}";
  };
  auto status = [](const auto& vr) {
    const RouterDoc& r = vr.second;
    std::string addrs;
    for (const auto& a : r.addrs) addrs += (addrs.empty() ? "\"" : ", \"") + a + "\": true";
    for (const auto& a : r.inactiveAddrs) {
      addrs += (addrs.empty() ? "\"" : ", \"") + a + "\": false";
    }
    char rest[96];
    std::snprintf(rest, sizeof rest,
                  "\"virtualMacAddr\": \"00:00:5e:00:01:%02x\", \"upSince\": %.3f",
                  std::stoi(vr.first) & 0xff, r.upSince);
    return "{\"state\": \"" + r.state + "\", \"priority\": " + std::to_string(r.priority) +
           ", \"srcAddr\": \"" + r.srcAddr + "\", " + rest + ", \"ipAddrs\": {" + addrs + "}}";
  };
  auto each = [](auto body) {
    return [body](const auto& interface) { return object(interface.second, body); };
  };
  return "{\"interfaces\": " +
         object(ifIndex,
                [](const auto& i) { return "{\"ifIndex\": " + std::to_string(i.second) + "}"; }) +
         ",\n\"ip\": " +
         object(ip,
                [](const auto& a) { return "{\"activeAddrWithMask\": \"" + a.second + "\"}"; }) +
         ",\n\"vrrpConfig\": " + object(byName, each(config)) +
         ",\n\"vrrpStatus\": " + object(byName, each(status)) + "}\n";
}

FhrpDaemon::FhrpDaemon(const std::string& state, std::vector<std::string> wrapper)
    : wrapper_(std::move(wrapper)) {
  writeState(state);
}

void FhrpDaemon::replaceState(const std::string& json) {
  const std::string aside = "state.json.tmp" + std::to_string(++edits_);
  dir_.writeFile(aside, json);
  std::filesystem::rename(dir_ / aside, statePath());
}

Process& FhrpDaemon::launch(const std::vector<std::string>& args) {
  std::vector<std::string> argv = wrapper_;
  argv.push_back(FHRP_SNMPD_PATH);
  argv.insert(argv.end(), args.begin(), args.end());
  Env env{{"SNMP_PERSISTENT_DIR", (dir_ / "persist").string()}, {"MIBS", ""}};
  if (sanitizedBuild()) {
    // Freed memory is held back only briefly, so that the resident size still means something.
    env.emplace_back("ASAN_OPTIONS",
                     "detect_leaks=1:exitcode=23:quarantine_size_mb=8:"
                     "thread_local_quarantine_size_kb=64");
    env.emplace_back("UBSAN_OPTIONS", "halt_on_error=1:print_stacktrace=1");
  }
  env.insert(env.end(), env_.begin(), env_.end());
  process_.reset();
  process_ = std::make_unique<Process>(argv, dir_.path(), "fhrp-snmpd", env);
  return *process_;
}

void FhrpDaemon::start(const std::vector<std::string>& extraArgs) {
  for (int attempt = 1; attempt <= 3; ++attempt) {
    port_ = freeUdpPort();
    std::vector<std::string> args{"--state", statePath().string(), "--listen", "udp:" + address()};
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    if (launch(args).waitForStderrLine("fhrp-snmpd: ready on", Millis(30'000))) return;
    // Another process may have taken the port between our probe and the bind.
    if (log().find("cannot listen") == std::string::npos) break;
  }
  throw std::runtime_error("fhrp-snmpd did not become ready: " + process_->describe());
}

std::size_t LogCounter::count() {
  std::ifstream in(path_, std::ios::binary);
  in.seekg(offset_);
  std::string added((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  offset_ += static_cast<std::streamoff>(added.size());
  partial_ += added;
  std::size_t start = 0;
  for (std::size_t end; (end = partial_.find('\n', start)) != std::string::npos; start = end + 1) {
    if (partial_.substr(start, end - start).find(substring_) != std::string::npos) ++count_;
  }
  partial_.erase(0, start);
  return count_;
}

long residentKb(pid_t pid) {
  const std::string value = procField(pid, "status", "VmRSS");
  return value.empty() ? -1 : std::stol(value);
}

std::uint64_t bytesRead(pid_t pid) {
  const std::string value = procField(pid, "io", "rchar");
  return value.empty() ? 0 : std::stoull(value);
}

long residentSlackKb() {
  return sanitizedBuild() ? 12 * 1024 : 2 * 1024;
}

std::vector<VarBind> masked(std::vector<VarBind> vbs) {
  for (auto& vb : vbs) {
    if (vb.type == "Timeticks") vb.value = "(ticks)";
  }
  return vbs;
}

std::string orderProblem(const std::vector<VarBind>& vbs, const std::string& root) {
  for (std::size_t i = 0; i < vbs.size(); ++i) {
    if (vbs[i].oid.rfind(root + ".", 0) != 0) return "outside " + root + ": " + vbs[i].oid;
    if (i > 0 && !(parseOid(vbs[i - 1].oid) < parseOid(vbs[i].oid))) {
      return vbs[i].oid + " not after " + vbs[i - 1].oid;
    }
  }
  return "";
}

}  // namespace Harness
