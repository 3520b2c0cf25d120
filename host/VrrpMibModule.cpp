#include "host/VrrpMibModule.h"

#include "platform/Snmp/HandlerRegistration.h"
#include "snmp/VrrpMIB.h"

namespace Host {

void registerVrrpMib(const std::vector<Kiv::String8>& extraContexts) {
  Snmp::kivInitVrrpMib();
  Snmp::initHandlers("");
  for (const auto& context : extraContexts) Snmp::initHandlers(context);
}

}  // namespace Host
