#include "tests/integration/Tools.h"

#include <unistd.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>

#include "tests/integration/ToolPaths.h"

namespace Harness {
namespace {

bool isExecutable(const std::string& path) {
  return !path.empty() && ::access(path.c_str(), X_OK) == 0;
}

std::string searchPath(const std::string& name) {
  const char* env = std::getenv("PATH");
  std::string dirs = env ? env : "/usr/local/bin:/usr/bin:/bin";
  dirs += ":/usr/sbin:/sbin";
  std::istringstream in(dirs);
  for (std::string dir; std::getline(in, dir, ':');) {
    if (dir.empty()) continue;
    std::string candidate = dir + "/" + name;
    if (isExecutable(candidate)) return candidate;
  }
  return {};
}

std::string debianPackageOf(const std::string& name) {
  if (name == "snmpd") return "snmpd";
  if (name == "snmptrapd") return "snmptrapd";
  if (name.rfind("snmp", 0) == 0) return "snmp";
  return {};
}

}  // namespace

std::string toolPath(const std::string& name) {
  if (name.find('/') != std::string::npos) {
    if (isExecutable(name)) return name;
    throw std::runtime_error("program not executable: " + name);
  }
  static const std::map<std::string, std::string> configured = {
      {"snmpd", FHRP_TOOL_SNMPD},       {"snmptrapd", FHRP_TOOL_SNMPTRAPD},
      {"snmpget", FHRP_TOOL_SNMPGET},   {"snmpgetnext", FHRP_TOOL_SNMPGETNEXT},
      {"snmpwalk", FHRP_TOOL_SNMPWALK}, {"snmpbulkwalk", FHRP_TOOL_SNMPBULKWALK},
      {"snmpset", FHRP_TOOL_SNMPSET},   {"snmptable", FHRP_TOOL_SNMPTABLE},
      {"snmptrap", FHRP_TOOL_SNMPTRAP},
  };
  auto it = configured.find(name);
  if (it != configured.end() && isExecutable(it->second)) return it->second;
  std::string found = searchPath(name);
  if (!found.empty()) return found;
  std::string message = "required program '" + name + "' not found in PATH, /usr/sbin or /sbin";
  std::string package = debianPackageOf(name);
  if (!package.empty()) message += " (Debian package " + package + "; `make deps` installs it)";
  throw std::runtime_error(message);
}

}  // namespace Harness
