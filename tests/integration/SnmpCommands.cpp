#include "tests/integration/SnmpCommands.h"

#include <sstream>

#include "tests/integration/TempDir.h"

namespace Harness {
namespace {

std::string formatSeconds(double seconds) {
  std::ostringstream text;
  text << seconds;
  return text.str();
}

std::vector<std::string> commonArgs(const std::string& tool, const std::string& community,
                                    const SnmpOptions& options) {
  std::vector<std::string> argv = {tool, "-v", options.version};
  if (!community.empty()) {
    argv.push_back("-c");
    argv.push_back(community);
  }
  argv.insert(argv.end(), {"-t", formatSeconds(options.timeoutSeconds), "-r",
                           std::to_string(options.retries), "-On", "-Oe"});
  argv.insert(argv.end(), options.extraArgs.begin(), options.extraArgs.end());
  return argv;
}

SnmpReply run(std::vector<std::string> argv) {
  SnmpReply reply;
  static_cast<CommandResult&>(reply) = runCommand(argv);
  reply.varbinds = parseVarBinds(reply.out);
  return reply;
}

SnmpReply runWithOids(const std::string& tool, const std::string& agent,
                      const std::string& community, const std::vector<std::string>& oids,
                      const SnmpOptions& options) {
  std::vector<std::string> argv = commonArgs(tool, community, options);
  argv.push_back(agent);
  argv.insert(argv.end(), oids.begin(), oids.end());
  return run(argv);
}

}  // namespace

std::string CommandResult::describe() const {
  std::ostringstream text;
  text << command << "\n  exit " << exitCode << (timedOut ? " (timed out)" : "")
       << "\n--- stdout ---\n"
       << out << "--- stderr ---\n"
       << err;
  return text.str();
}

const Env& snmpEnvironment() {
  static TempDir dir("fhrp-snmp-tools");
  static const Env env = [] {
    std::filesystem::create_directories(dir / "persist");
    std::filesystem::create_directories(dir / "conf");
    return Env{{"MIBS", ""},
               {"MIBDIRS", "/nonexistent"},
               {"SNMPCONFPATH", (dir / "conf").string()},
               {"SNMP_PERSISTENT_DIR", (dir / "persist").string()}};
  }();
  return env;
}

CommandResult runCommand(const std::vector<std::string>& argv, Millis timeout, const Env& env) {
  Env all = snmpEnvironment();
  all.insert(all.end(), env.begin(), env.end());
  TempDir dir("fhrp-cmd");
  CommandResult result;
  for (const auto& arg : argv) result.command += (result.command.empty() ? "" : " ") + arg;
  {
    Process process(argv, dir.path(), "cmd", all);
    if (auto status = process.waitForExit(timeout)) {
      result.exitCode = *status;
    } else {
      result.timedOut = true;
      process.stop(Millis(0));
    }
    result.out = process.stdoutText();
    result.err = process.stderrText();
  }
  return result;
}

SnmpReply snmpget(const std::string& agent, const std::string& community,
                  const std::vector<std::string>& oids, const SnmpOptions& options) {
  return runWithOids("snmpget", agent, community, oids, options);
}

SnmpReply snmpgetnext(const std::string& agent, const std::string& community,
                      const std::vector<std::string>& oids, const SnmpOptions& options) {
  return runWithOids("snmpgetnext", agent, community, oids, options);
}

// A walk that reaches the end of everything the agent serves ends with the tool's
// "No more variables left in this MIB View" line: a marker, not a binding.
SnmpReply withoutEndOfView(SnmpReply reply) {
  if (!reply.varbinds.empty() && reply.varbinds.back().type == "endOfMibView") {
    reply.varbinds.pop_back();
  }
  return reply;
}

SnmpReply snmpwalk(const std::string& agent, const std::string& community, const std::string& root,
                   const SnmpOptions& options) {
  return withoutEndOfView(runWithOids("snmpwalk", agent, community, {root}, options));
}

SnmpReply snmpbulkwalk(const std::string& agent, const std::string& community,
                       const std::string& root, const SnmpOptions& options) {
  return withoutEndOfView(runWithOids("snmpbulkwalk", agent, community, {root}, options));
}

SnmpReply snmpset(const std::string& agent, const std::string& community,
                  const std::vector<SetValue>& values, const SnmpOptions& options) {
  std::vector<std::string> argv = commonArgs("snmpset", community, options);
  argv.push_back(agent);
  for (const auto& v : values) argv.insert(argv.end(), {v.oid, std::string(1, v.type), v.value});
  return run(argv);
}

}  // namespace Harness
