// SPDX-License-Identifier: Apache-2.0
// The plug-in for a stock snmpd: `dlmod fhrpsnmp /path/to/fhrpsnmp.so` followed by
// `fhrpStateFile FILE`, or by `fhrpFrr [DIR]` to follow FRR's vrrpd, in snmpd.conf. snmpd calls
// init_fhrpsnmp while it reads its configuration; the module is registered once the whole
// configuration is read, and its source started on snmpd's first loop turn. The document may
// come later than snmpd (at boot the VRRP software often starts after it) and may change its
// name when snmpd reloads its configuration.
#include <memory>

#include <systemd/sd-daemon.h>

#include "host/Options.h"
#include "host/Service.h"
#include "kiv/Exception.h"
#include "platform/Log.h"
#include "platform/Snmp/NetSnmp.h"
#include "platform/Snmp/NetSnmpLoop.h"
#include "platform/Status.h"
#include "sources/file/StateDocumentSource.h"
#include "sources/frr/FrrSource.h"

namespace {

Kiv::String8 stateFile;
Kiv::String8 frrVtyDirectory;
// Lives until the process ends: snmpd keeps the handlers registered even after
// deinit, and they must never find the model gone.
std::unique_ptr<Host::Service> service;
Sources::StateDocumentSource* document = nullptr;  // the service's source, when it is one

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
  if (!document) {
    if (!stateFile.empty()) Log::error("fhrpStateFile ignored: still following vrrpd");
    service->refresh();
  } else if (stateFile.empty()) {
    Log::error("no fhrpStateFile line in snmpd.conf; still following " + document->path());
  } else if (document->path() != stateFile) {
    document->followIs(stateFile);
  } else {
    service->refresh();
  }
}

std::unique_ptr<Sources::Source> newSource(Zentra::StatePublisher& publisher) {
  if (!frrVtyDirectory.empty()) {
    return std::make_unique<Sources::FrrSource>(Snmp::eventLoop(), publisher, frrVtyDirectory);
  }
  // A document snmpd cannot serve yet is logged and waited for: snmpd serves other MIBs too.
  auto source = std::make_unique<Sources::StateDocumentSource>(Snmp::eventLoop(), publisher,
                                                               stateFile, false);
  document = source.get();
  return source;
}

int start(int, int, void*, void*) {
  if (service) {
    reconfigure();
    return 0;
  }
  if (!stateFile.empty() && !frrVtyDirectory.empty()) {
    Log::error("fhrpStateFile and fhrpFrr exclude each other; the VRRP MIBs are not served");
    return 0;
  }
  if (stateFile.empty() && frrVtyDirectory.empty()) {
    Log::error("no fhrpStateFile or fhrpFrr line in snmpd.conf; the VRRP MIBs are not served");
    return 0;
  }
  service = std::make_unique<Host::Service>(newSource, true);
  service->registerModules();
  Log::info("serving VRRP-MIB from " +
            (document ? stateFile : "FRR's vrrpd at " + frrVtyDirectory));
  // snmpd reads its configuration as root and only then becomes its own user, who must read
  // every later version of the document and ask vrrpd again: the source starts on the first
  // turn of snmpd's loop, so that what that user may not read is refused from the start, not
  // after its first change.
  Snmp::eventLoop().timerIs(0.001, false, "source start", [] {
    try {
      service->start();
    } catch (const Kiv::Exception& e) {
      Log::error(e.message() + "; serving no virtual routers");
    }
  });
  return 0;
}

}  // namespace

extern "C" {

void init_fhrpsnmp() {
  Log::prefixIs("fhrp-snmp: ");
  // snmpd's unit is Type=notify and says nothing in STATUS= itself: what the plug-in needs from
  // the operator (vrrpd's socket out of reach) shows in `systemctl status snmpd`.
  Status::sinkIs([](const Kiv::String8& line) {
    sd_notify(0, ("STATUS=" + (line.empty() ? line : "fhrp-snmp: " + line)).c_str());
  });
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
