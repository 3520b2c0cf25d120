// The plug-in for a stock snmpd: `dlmod fhrpsnmp /path/to/fhrpsnmp.so` followed by
// `fhrpStateFile FILE`, or by `fhrpFrr [DIR]` to follow FRR's vrrpd, in snmpd.conf. snmpd calls
// init_fhrpsnmp while it reads its configuration; the module is registered and its source
// followed once the whole configuration is read. The document may come later than snmpd (at
// boot the VRRP software often starts after it) and may change its name when snmpd reloads its
// configuration.
#include <memory>

#include "host/Options.h"
#include "host/Service.h"
#include "host/VrrpMibModule.h"
#include "host/Vrrpv3MibModule.h"
#include "kiv/Exception.h"
#include "platform/Log.h"
#include "platform/Snmp/NetSnmp.h"
#include "platform/Snmp/NetSnmpLoop.h"

namespace {

Kiv::String8 stateFile;
Kiv::String8 frrVtyDirectory;
// Lives until the process ends: snmpd keeps the handlers registered even after
// deinit, and they must never find the model gone.
std::unique_ptr<Host::Service> service;
bool followingFrr = false;

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

// snmpd re-read its configuration: follow what it says now, where the source kind stays.
void reconfigure() {
  if (followingFrr) {
    if (!stateFile.empty()) Log::error("fhrpStateFile ignored: still following vrrpd");
    service->reload();
  } else if (stateFile.empty()) {
    Log::error("no fhrpStateFile line in snmpd.conf; still following " + service->path());
  } else if (service->path() != stateFile) {
    service->followIs(stateFile);
  } else {
    service->reload();
  }
}

int start(int, int, void*, void*) {
  if (service) {
    reconfigure();
    return 0;
  }
  if (!stateFile.empty() && !frrVtyDirectory.empty()) {
    Log::error("fhrpStateFile and fhrpFrr exclude each other; VRRP-MIB not served");
    return 0;
  }
  if (stateFile.empty() && frrVtyDirectory.empty()) {
    Log::error("no fhrpStateFile or fhrpFrr line in snmpd.conf; VRRP-MIB not served");
    return 0;
  }
  if (!frrVtyDirectory.empty()) {
    auto candidate = Host::Service::following(frrVtyDirectory, true);
    try {
      candidate->start();
    } catch (const Kiv::Exception& e) {
      Log::error(e.message() + "; VRRP-MIB not served");
      return 0;
    }
    service = std::move(candidate);
    followingFrr = true;
    Host::registerVrrpMib();
    Host::registerVrrpv3Mib();
    Log::info("serving VRRP-MIB from FRR's vrrpd at " + frrVtyDirectory);
    return 0;
  }
  service = std::make_unique<Host::Service>(stateFile, true);
  service->startEmpty();
  Host::registerVrrpMib();
  Host::registerVrrpv3Mib();
  service->watch();
  Log::info("serving VRRP-MIB from " + stateFile);
  // The first read waits for snmpd's loop. snmpd reads its configuration as root and only then
  // becomes its own user, who must read every later version of the document: a document only
  // root can read is then refused from the start, not after its first change.
  Snmp::eventLoop().timerIs(0.001, false, "first read of the state document", [] {
    if (service) service->reload();
  });
  return 0;
}

}  // namespace

extern "C" {

void init_fhrpsnmp() {
  Log::prefixIs("fhrp-snmp: ");
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
