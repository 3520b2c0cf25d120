#include "tests/integration/SnmpTrapReceiver.h"

#include <stdexcept>

#include "tests/integration/Ports.h"
#include "tests/integration/SnmpCommands.h"

namespace Harness {
namespace {

// The default log format spreads a notification over lines, and a string value with a newline
// can fake any line structure. So each notification is logged as one record framed by RS
// (0x1e), its fields separated by US (0x1f): transport, security, then one field per binding.
// Neither byte appears inside a printed value; net-snmp prints such octets as Hex-STRING.
constexpr char kRecord = '\x1e';
constexpr char kField = '\x1f';
const std::string kFormat =
    std::string(1, kRecord) + "%b" + kField + "%P" + kField + "%V" + kField + "%v" + kRecord + "\n";
const std::string kSnmpTrapOid = ".1.3.6.1.6.3.1.1.4.1.0";
constexpr int kPortAttempts = 5;

}  // namespace

std::string Trap::trapOid() const {
  const VarBind* vb = find(kSnmpTrapOid);
  return vb ? vb->value : std::string();
}

std::string Trap::community() const {
  std::string marker = "community ";
  std::size_t at = security.find(marker);
  return at == std::string::npos ? std::string() : security.substr(at + marker.size());
}

const VarBind* Trap::find(const std::string& oid) const {
  for (const auto& vb : varbinds) {
    if (vb.oid == oid) return &vb;
  }
  return nullptr;
}

Trap parseTrapRecord(const std::string& record) {
  Trap trap;
  trap.text = record;
  std::vector<std::string> fields;
  std::size_t begin = 0;
  for (;;) {
    std::size_t end = record.find(kField, begin);
    fields.push_back(record.substr(begin, end == std::string::npos ? end : end - begin));
    if (end == std::string::npos) break;
    begin = end + 1;
  }
  if (!fields.empty()) trap.transport = fields[0];
  if (fields.size() > 1) trap.security = fields[1];
  for (std::size_t i = 2; i < fields.size(); ++i) {
    if (!fields[i].empty()) trap.varbinds.push_back(parseVarBind(fields[i]));
  }
  return trap;
}

SnmpTrapReceiver::SnmpTrapReceiver() {
  dir_.writeFile("snmptrapd.conf", "disableAuthorization yes\n");
  std::filesystem::create_directories(dir_ / "persist");
}

SnmpTrapReceiver::~SnmpTrapReceiver() {
  stop();
}

std::string SnmpTrapReceiver::address() const {
  return "127.0.0.1:" + std::to_string(port_);
}

void SnmpTrapReceiver::start(Millis timeout) {
  if (process_) throw std::runtime_error("snmptrapd already started");
  Env env = snmpEnvironment();
  env.emplace_back("SNMP_PERSISTENT_DIR", (dir_ / "persist").string());
  for (int attempt = 1;; ++attempt) {
    port_ = freeUdpPort();
    std::string name = "snmptrapd-" + std::to_string(attempt);
    logPath_ = dir_ / (name + ".log");
    parsedUpTo_ = 0;
    process_ = std::make_unique<Process>(
        std::vector<std::string>{"snmptrapd", "-f", "-C", "-c", (dir_ / "snmptrapd.conf").string(),
                                 "-Lf", logPath_.string(), "-n", "-On", "-F", kFormat,
                                 "udp:" + address()},
        dir_.path(), name, env);
    // snmptrapd logs its version line once its socket is open.
    if (waitUntil(
            [this] {
              return !process_->running() || log().find("NET-SNMP version") != std::string::npos;
            },
            timeout) &&
        process_->running()) {
      return;
    }
    bool portTaken = log().find("couldn't open") != std::string::npos;
    std::string failure = "snmptrapd did not start on " + address() + ":\n" + process_->describe() +
                          "--- log ---\n" + log();
    process_.reset();
    // Someone may have bound the port between our check and snmptrapd's bind.
    if (!portTaken || attempt == kPortAttempts) throw std::runtime_error(failure);
  }
}

void SnmpTrapReceiver::stop() {
  process_.reset();
}

std::string SnmpTrapReceiver::log() const {
  return readFile(logPath_);
}

void SnmpTrapReceiver::readNewRecords() {
  std::string text = log();
  for (;;) {
    std::size_t begin = text.find(kRecord, parsedUpTo_);
    if (begin == std::string::npos) return;
    std::size_t end = text.find(kRecord, begin + 1);
    if (end == std::string::npos) return;  // still being written
    traps_.push_back(parseTrapRecord(text.substr(begin + 1, end - begin - 1)));
    returned_.push_back(false);
    parsedUpTo_ = end + 1;
  }
}

std::vector<Trap> SnmpTrapReceiver::traps() {
  readNewRecords();
  return traps_;
}

std::optional<Trap> SnmpTrapReceiver::waitForTrap(const std::function<bool(const Trap&)>& match,
                                                  Millis timeout) {
  std::optional<Trap> found;
  waitUntil(
      [&] {
        readNewRecords();
        for (std::size_t i = 0; i < traps_.size(); ++i) {
          if (!returned_[i] && match(traps_[i])) {
            returned_[i] = true;
            found = traps_[i];
            return true;
          }
        }
        return false;
      },
      timeout);
  return found;
}

std::optional<Trap> SnmpTrapReceiver::waitForTrap(const std::string& containing, Millis timeout) {
  return waitForTrap(
      [&](const Trap& trap) { return trap.text.find(containing) != std::string::npos; }, timeout);
}

std::optional<Trap> SnmpTrapReceiver::waitForTrapOid(const std::string& trapOid, Millis timeout) {
  return waitForTrap([&](const Trap& trap) { return trap.trapOid() == trapOid; }, timeout);
}

}  // namespace Harness
