// The plug-in for a stock snmpd: `dlmod fhrpsnmp /path/to/fhrpsnmp.so` followed by
// `fhrpStateFile FILE`, or by `fhrpFrr [DIR]` to follow FRR's vrrpd, in snmpd.conf. snmpd calls
// init_fhrpsnmp while it reads its configuration; the state document is loaded once the whole
// configuration is read.
#include <memory>

#include "host/Options.h"
#include "host/Service.h"
#include "host/VrrpMibModule.h"
#include "kiv/Exception.h"
#include "platform/Snmp/NetSnmp.h"

namespace {

Kiv::String8 stateFile;
Kiv::String8 frrVtyDirectory;
// Lives until the process ends: snmpd keeps the handlers registered even after
// deinit, and they must never find the model gone.
std::unique_ptr<Host::Service> service;

void parseStateFile(const char*, char* line) {
  stateFile = line ? line : "";
}
void freeStateFile() {
  stateFile.clear();
}
void parseFrr(const char*, char* line) {
  frrVtyDirectory = line && *line ? line : Host::kDefaultFrrVtyDirectory;
}
void freeFrr() {
  frrVtyDirectory.clear();
}

int start(int, int, void*, void*) {
  if (service) return 0;
  if (!stateFile.empty() && !frrVtyDirectory.empty()) {
    snmp_log(LOG_ERR,
             "fhrp-snmp: fhrpStateFile and fhrpFrr exclude each other; VRRP-MIB not served\n");
    return 0;
  }
  if (stateFile.empty() && frrVtyDirectory.empty()) {
    snmp_log(LOG_ERR,
             "fhrp-snmp: no fhrpStateFile or fhrpFrr line in snmpd.conf; VRRP-MIB not served\n");
    return 0;
  }
  auto candidate = frrVtyDirectory.empty() ? std::make_unique<Host::Service>(stateFile, true)
                                           : Host::Service::following(frrVtyDirectory, true);
  try {
    candidate->start();
  } catch (const Kiv::Exception& e) {
    snmp_log(LOG_ERR, "fhrp-snmp: %s; VRRP-MIB not served\n", e.what());
    return 0;
  }
  service = std::move(candidate);
  Host::registerVrrpMib({});
  service->watch();
  snmp_log(LOG_INFO, "fhrp-snmp: serving VRRP-MIB from %s\n",
           frrVtyDirectory.empty() ? stateFile.c_str() : frrVtyDirectory.c_str());
  return 0;
}

}  // namespace

extern "C" {

void init_fhrpsnmp() {
  register_config_handler("snmpd", "fhrpStateFile", parseStateFile, freeStateFile, "FILE");
  register_config_handler("snmpd", "fhrpFrr", parseFrr, freeFrr, "[VTY-DIRECTORY]");
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG, start, nullptr);
}

void deinit_fhrpsnmp() {
  unregister_config_handler("snmpd", "fhrpStateFile");
  unregister_config_handler("snmpd", "fhrpFrr");
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG, start, nullptr,
                           1);
}

}  // extern "C"
