#include "tests/integration/SnmpTools.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <stdexcept>

namespace Harness {
namespace {

const std::string kSysDescr = ".1.3.6.1.2.1.1.1.0";
// snmptrapd logs each notification as one record framed by RS, its bindings separated by US:
// the default format spreads it over lines that a string value could imitate.
constexpr char kRecord = '\x1e', kField = '\x1f';

std::string unquote(const std::string& quoted) {
  std::string result;
  for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
    if (quoted[i] == '\\' && i + 2 < quoted.size()) ++i;
    result += quoted[i];
  }
  return result;
}

VarBind parseOne(const std::string& oid, const std::string& text) {
  if (text.rfind("No Such Object", 0) == 0) return {oid, "noSuchObject", ""};
  if (text.rfind("No Such Instance", 0) == 0) return {oid, "noSuchInstance", ""};
  if (text.rfind("No more variables", 0) == 0) return {oid, "endOfMibView", ""};
  if (text.rfind('"', 0) == 0) return {oid, "STRING", unquote(text)};
  const std::size_t colon = text.find(": ");
  if (colon == std::string::npos) return {oid, "", text};
  VarBind vb{oid, text.substr(0, colon), text.substr(colon + 2)};
  if (vb.type == "STRING" && vb.value.rfind('"', 0) == 0) vb.value = unquote(vb.value);
  if (vb.type == "Timeticks") vb.value = vb.value.substr(1, vb.value.find(')') - 1);
  return vb;
}

}  // namespace

Oid parseOid(const std::string& text) {
  Oid oid;
  std::istringstream in(text.substr(text.rfind('.', 0) == 0 ? 1 : 0));
  for (std::string part; std::getline(in, part, '.');) oid.push_back(std::stoul(part));
  return oid;
}

std::string oidText(const Oid& oid) {
  std::string text;
  for (std::uint32_t part : oid) text += "." + std::to_string(part);
  return text;
}

Oid operator+(Oid oid, const Oid& tail) {
  oid.insert(oid.end(), tail.begin(), tail.end());
  return oid;
}

std::string VarBind::octets() const {
  if (type != "Hex-STRING") return value;
  std::istringstream in(value);
  std::string result;
  for (std::string byte; in >> byte;) result += static_cast<char>(std::stoi(byte, nullptr, 16));
  return result;
}

std::ostream& operator<<(std::ostream& out, const VarBind& vb) {
  return out << vb.oid << " = " << vb.type << ": " << vb.value;
}

std::vector<VarBind> parseVarBinds(const std::string& output) {
  std::vector<VarBind> result;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t eq = line.find(" = ");
    if (line.rfind('.', 0) != 0 || eq == std::string::npos ||
        line.find_first_not_of(".0123456789") != eq) {
      continue;
    }
    result.push_back(parseOne(line.substr(0, eq), line.substr(eq + 3)));
  }
  return result;
}

std::string CommandResult::describe() const {
  return command + "\n  exit " + std::to_string(exitCode) + "\n--- stdout ---\n" + out +
         "--- stderr ---\n" + err;
}

const Env& snmpEnvironment() {
  static TempDir dir("fhrp-snmp-tools");
  static const Env env = [] {
    std::filesystem::create_directories(dir / "conf");
    return Env{{"MIBS", ""},
               {"MIBDIRS", "/nonexistent"},
               {"SNMPCONFPATH", (dir / "conf").string()},
               {"SNMP_PERSISTENT_DIR", (dir / "persist").string()}};
  }();
  return env;
}

CommandResult runCommand(const std::vector<std::string>& argv, Millis timeout) {
  CommandResult result;
  for (const auto& arg : argv) result.command += arg + " ";
  TempDir dir("fhrp-cmd");
  Process process(argv, dir.path(), "cmd", snmpEnvironment());
  if (auto status = process.waitForExit(timeout)) result.exitCode = *status;
  process.stop(Millis(0));
  result.out = process.stdoutText();
  result.err = process.stderrText();
  result.varbinds = parseVarBinds(result.out);
  return result;
}

CommandResult snmp(const std::string& tool, const std::string& agent,
                   const std::vector<std::string>& operands,
                   const std::vector<std::string>& options) {
  std::vector<std::string> argv = {tool, "-On", "-t", "2", "-r", "2"};
  argv.insert(argv.end(), options.begin(), options.end());
  argv.push_back(agent);
  argv.insert(argv.end(), operands.begin(), operands.end());
  CommandResult result = runCommand(argv);
  // A walk past the end of everything served closes with a marker, not a binding.
  if (tool.find("walk") != std::string::npos && !result.varbinds.empty() &&
      result.varbinds.back().type == "endOfMibView") {
    result.varbinds.pop_back();
  }
  return result;
}

VarBind getOne(const std::string& agent, const std::string& oid) {
  CommandResult r = snmp("snmpget", agent, {oid});
  return r.varbinds.size() == 1 ? r.varbinds[0] : VarBind{};
}

StockSnmpd::StockSnmpd(std::vector<std::string> config) : config_(std::move(config)) {
  config_.insert(config_.begin(),
                 {"rocommunity public 127.0.0.1", "agentxsocket unix:" + agentxSocket()});
}

std::string StockSnmpd::log() const {
  return process_ ? process_->stdoutText() + process_->stderrText() : std::string();
}

void StockSnmpd::start() {
  std::string conf;
  for (const auto& line : config_) conf += line + "\n";
  const std::string confPath = dir_.writeFile("snmpd.conf", conf).string();
  Env env = snmpEnvironment();
  env.emplace_back("SNMP_PERSISTENT_DIR", (dir_ / "persist").string());
  for (int attempt = 1;; ++attempt) {
    port_ = freeUdpPort();
    process_ = std::make_unique<Process>(
        std::vector<std::string>{"snmpd", "-f", "-Lo", "-C", "-c", confPath, "-I",
                                 "-smux,mteTrigger,mteTriggerConf", "udp:" + address()},
        dir_.path(), "snmpd-" + std::to_string(attempt), env);
    const std::vector<std::string> probe = {"-v2c", "-cpublic", "-t1", "-r0"};
    bool up = false;
    waitUntil(
        [&] {
          up = snmp("snmpget", address(), {kSysDescr}, probe).out.find("STRING") !=
               std::string::npos;
          return up || !process_->running();
        },
        Millis(60'000), Millis(50));
    if (up && process_->running()) return;
    // Someone may have bound the port between our probe and snmpd's bind.
    if (attempt == 3) throw std::runtime_error("snmpd did not start:\n" + process_->describe());
  }
}

const VarBind* Trap::find(const std::string& oid) const {
  for (const auto& vb : varbinds) {
    if (vb.oid == oid) return &vb;
  }
  return nullptr;
}

SnmpTrapReceiver::SnmpTrapReceiver() {
  dir_.writeFile("snmptrapd.conf", "disableAuthorization yes\n");
  Env env = snmpEnvironment();
  env.emplace_back("SNMP_PERSISTENT_DIR", (dir_ / "persist").string());
  const std::string format = std::string(1, kRecord) + "%V" + kField + "%v" + kRecord + "\n";
  for (int attempt = 1;; ++attempt) {
    std::filesystem::remove(dir_ / "traps.log");
    port_ = freeUdpPort();
    process_ = std::make_unique<Process>(
        std::vector<std::string>{"snmptrapd", "-f", "-C", "-c", (dir_ / "snmptrapd.conf").string(),
                                 "-Lf", (dir_ / "traps.log").string(), "-n", "-On", "-F", format,
                                 "udp:" + address()},
        dir_.path(), "snmptrapd", env);
    // It logs its version once its socket is open.
    auto up = [&] { return log().find("NET-SNMP version") != std::string::npos; };
    waitUntil([&] { return up() || !process_->running(); }, Millis(30'000));
    if (up() && process_->running()) return;
    if (attempt == 3) throw std::runtime_error("snmptrapd did not start:\n" + process_->describe());
  }
}

std::optional<Trap> SnmpTrapReceiver::waitForTrap(const std::function<bool(const Trap&)>& match,
                                                  Millis timeout) {
  std::optional<Trap> found;
  waitUntil(
      [&] {
        const std::string text = log();
        std::size_t begin = text.find(kRecord);
        for (std::size_t index = 0; begin != std::string::npos; ++index) {
          const std::size_t end = text.find(kRecord, begin + 1);
          if (end == std::string::npos) break;  // still being written
          std::string record = text.substr(begin + 1, end - begin - 1);
          std::replace(record.begin(), record.end(), kField, '\n');
          Trap trap{parseVarBinds(record)};
          if (index >= returned_ && match(trap)) {
            returned_ = index + 1;
            found = trap;
            return true;
          }
          begin = text.find(kRecord, end + 1);
        }
        return false;
      },
      timeout);
  return found;
}

}  // namespace Harness
