#pragma once
// Integration-test harness: real processes (our daemon, Debian's snmpd and snmptrapd) driven
// with net-snmp's own command-line tools, all on private loopback ports and private folders.
//
//   TempDir            scratch folder, removed unless FHRP_KEEP_TMP is set
//   freeUdpPort/Tcp    loopback ports for servers
//   Process            a child that is always stopped and reaped by PID
//   runCommand, snmpget/snmpgetnext/snmpwalk/snmpbulkwalk/snmpset   the manager side
//   VarBind            parsed "-On" bindings
//   SnmpTrapReceiver   snmptrapd as a notification sink
//   StockSnmpd         Debian's snmpd as a master agent
//   toolPath           where each external program lives
#include "tests/integration/Ports.h"
#include "tests/integration/Process.h"
#include "tests/integration/SnmpCommands.h"
#include "tests/integration/SnmpTrapReceiver.h"
#include "tests/integration/StockSnmpd.h"
#include "tests/integration/TempDir.h"
#include "tests/integration/Tools.h"
#include "tests/integration/VarBind.h"
#include "tests/integration/Wait.h"
