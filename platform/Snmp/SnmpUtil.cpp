// SPDX-License-Identifier: Apache-2.0
#include "platform/Snmp/SnmpUtil.h"

namespace SnmpUtil {
namespace {
Kiv::Ptr<Kiv::Directory>& root() {
  static Kiv::Ptr<Kiv::Directory> r;
  return r;
}
}  // namespace

void mountRootIs(Kiv::Ptr<Kiv::Directory> r) {
  root() = std::move(r);
}

Kiv::Ptr<Kiv::Directory> mountRoot() {
  return root();
}

Kiv::Ptr<Kiv::Entity> getEntityRelative(const char* path) {
  if (!path || !root()) return nullptr;
  return Kiv::ptrCast<Kiv::Entity>(root()->lookup(path));
}

Kiv::Ptr<Snmp::Config> getSnmpConfig() {
  static Kiv::Ptr<Snmp::Config> config = Kiv::make<Snmp::Config>();
  return config;
}

}  // namespace SnmpUtil
