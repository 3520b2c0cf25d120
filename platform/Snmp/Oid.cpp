// SPDX-License-Identifier: Apache-2.0
#include "platform/Snmp/Oid.h"

#include "kiv/Exception.h"

namespace Snmp {

size_t AppendToOid(oid* buf, size_t len, size_t maxLen, U32 value) {
  if (len >= maxLen) {
    throw Kiv::RangeException("cannot append " + std::to_string(value) + " to an OID of " +
                              std::to_string(len) + " sub-identifiers (maximum " +
                              std::to_string(maxLen) + ")");
  }
  buf[len] = value;
  return len + 1;
}

Kiv::String8 oidToString(const oid* name, size_t len) {
  Kiv::String8 text;
  for (size_t i = 0; i < len; ++i) {
    text += '.';
    text += std::to_string(name[i]);
  }
  return text;
}

}  // namespace Snmp
