// SPDX-License-Identifier: Apache-2.0
#include "platform/Log.h"

#include "platform/Snmp/NetSnmp.h"

namespace Log {
namespace {
const char* linePrefix = "";
}  // namespace

void prefixIs(const char* prefix) {
  linePrefix = prefix;
}

void line(int priority, const Kiv::String8& text) {
  snmp_log(priority, "%s%s\n", linePrefix, text.c_str());
}

}  // namespace Log
