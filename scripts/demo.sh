#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs fhrp-snmpd on a copy of examples/lab.json, with a local snmptrapd catching its
# notifications, and shows what to try. Ctrl-C stops both.
set -euo pipefail
cd "$(dirname "$0")/.."

# Absolute: net-snmp takes a relative SNMP_PERSISTENT_DIR from the file system's root.
demo=$PWD/build/demo
port=${FHRP_DEMO_PORT:-1161}
trap_port=${FHRP_DEMO_TRAP_PORT:-1162}
mkdir -p "$demo/persist" "$demo/trapd"
[ -f "$demo/state.json" ] || cp examples/lab.json "$demo/state.json"
state=$demo/state.json
mibs=$PWD/examples/mibs

printf 'disableAuthorization yes\n' > "$demo/trapd/snmptrapd.conf"
: > "$demo/traps.log"
MIBS= SNMP_PERSISTENT_DIR="$demo/trapd" snmptrapd -f -C -X -c "$demo/trapd/snmptrapd.conf" \
  -Lf "$demo/traps.log" -On "udp:127.0.0.1:$trap_port" &
trapd=$!
cleanup() { kill "$trapd" 2>/dev/null || true; wait "$trapd" 2>/dev/null || true; }
trap cleanup EXIT

cat <<MSG

fhrp-snmpd serves $state on udp:127.0.0.1:$port (community public).
Notifications go to a local snmptrapd that logs to $demo/traps.log.

Try, in another terminal:
  snmpwalk -v2c -c public -On -m '' 127.0.0.1:$port .1.3.6.1.2.1.68
  snmpbulkwalk -v2c -c public -On -m '' 127.0.0.1:$port .1.3.6.1.2.1.68.1.4
  snmpget -v2c -c public -On -m '' 127.0.0.1:$port .1.3.6.1.2.1.68.1.1.0 .1.3.6.1.2.1.68.1.2.0
  snmpwalk -v2c -c public -On -m '' 127.0.0.1:$port .1.3.6.1.2.1.207
With names, from the VRRP-MIB and VRRPV3-MIB objects in $mibs:
  snmptable -v2c -c public -M $mibs -m VRRP-MIB -Ci 127.0.0.1:$port VRRP-MIB::vrrpOperTable
  snmpwalk -v2c -c public -M $mibs -m VRRP-MIB 127.0.0.1:$port VRRP-MIB::vrrpAssoIpAddrTable
  snmptable -v2c -c public -M $mibs -m VRRPV3-MIB -Ci 127.0.0.1:$port VRRPV3-MIB::vrrpv3OperationsTable

To see a failover and its notification: in $state change
  "vrrpStatus" -> "Ethernet1" -> "2" -> "state" from "backup" to "master"
and save. The agent applies the change at once; vrrpOperState of row 1.2
becomes 3 (master), vrrpOperMasterIpAddr becomes 192.0.2.2, and
  tail -f $demo/traps.log
shows vrrpTrapNewMaster (.1.3.6.1.2.1.68.0.1) for .1.3.6.1.2.1.68.1.3.1.7.1.2.
Router 4 on Ethernet1 (IPv4) and router 13 on Ethernet2 (IPv6) run VRRP version 3: they are
served in the VRRPv3-MIB (.1.3.6.1.2.1.207) instead. Change
  "vrrpStatusV6" -> "Ethernet2" -> "13" -> "state" from "backup" to "master"
and the log shows vrrpv3NewMaster (.1.3.6.1.2.1.207.0.1) with the router's own address
fe80::3 and reason 3 (masterNoResponse: the master it heard, priority 120, went silent).
Delete $demo/state.json to start again from the example.

MSG
SNMP_PERSISTENT_DIR="$demo/persist" build/host/fhrp-snmpd --state "$state" \
  --listen "udp:127.0.0.1:$port" --trap-sink "127.0.0.1:$trap_port" &
daemon=$!
cleanup() {
  kill "$daemon" "$trapd" 2>/dev/null || true
  wait "$daemon" "$trapd" 2>/dev/null || true
}
trap cleanup EXIT INT TERM
wait "$daemon"
