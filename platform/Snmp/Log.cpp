#include "platform/Snmp/Log.h"

#include "platform/Snmp/NetSnmp.h"

namespace Snmp {
namespace {
const char* linePrefix = "";
}  // namespace

void logPrefixIs(const char* prefix) {
  linePrefix = prefix;
}

void logLine(int priority, const Kiv::String8& text) {
  snmp_log(priority, "%s%s\n", linePrefix, text.c_str());
}

}  // namespace Snmp
