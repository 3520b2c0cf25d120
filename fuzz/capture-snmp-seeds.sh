#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Regenerates fuzz/corpus/fuzz_snmp_request/: the first message each net-snmp command sends,
# captured from its packet dump (-d) while it talks to a stock snmpd on 127.0.0.1. Only the
# request bytes are kept; they do not depend on what the agent answers.
set -euo pipefail
cd "$(dirname "$0")/.."
out=fuzz/corpus/fuzz_snmp_request
dir=$(mktemp -d)
pid=
cleanup() {
  [ -n "$pid" ] && kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null
  rm -rf "$dir"
}
trap cleanup EXIT

port=$(python3 -c 'import socket; s=socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
printf 'rwcommunity public 127.0.0.1\n' >"$dir/snmpd.conf"
MIBS= SNMP_PERSISTENT_DIR="$dir" snmpd -f -Lf "$dir/log" -C -c "$dir/snmpd.conf" \
  -I -smux,mteTrigger,mteTriggerConf "udp:127.0.0.1:$port" &
pid=$!
sleep 1

agent=127.0.0.1:$port
vrrp=.1.3.6.1.2.1.68
oper=$vrrp.1.3.1
asso=$vrrp.1.4.1

# capture NAME COMMAND...: writes the first datagram COMMAND sends as $out/NAME.
capture() {
  local name=$1 tool=$2
  shift 2
  { MIBS= "$tool" -d -r 0 -t 1 -On "$@" 2>&1 || true; } | awk '
    /^Sending / { if (seen) exit; seen = 1; next }
    seen && /^[0-9A-F][0-9A-F][0-9A-F][0-9A-F]: / {
      for (i = 2; i <= NF && $i ~ /^[0-9A-F][0-9A-F]$/; i++) printf "%s", $i
    }
    seen && !/^[0-9A-F][0-9A-F][0-9A-F][0-9A-F]: / && !/^$/ { exit }' | xxd -r -p >"$out/$name"
  [ -s "$out/$name" ] || { echo "nothing captured for $name" >&2; exit 1; }
}

mkdir -p "$out"
capture v2c_get_scalars snmpget -v2c -c public "$agent" $vrrp.1.1.0 $vrrp.1.2.0
capture v2c_get_oper_row snmpget -v2c -c public "$agent" $oper.2.1.1 $oper.3.1.1 $oper.4.1.1 \
  $oper.5.1.1 $oper.7.1.1 $oper.9.1.1 $oper.10.1.1 $oper.13.1.1
capture v2c_get_descending snmpget -v2c -c public "$agent" $oper.5.100100.101 $oper.5.2.11 \
  $oper.5.1.4 $oper.5.1.1
capture v2c_get_asso snmpget -v2c -c public "$agent" $asso.2.1.1.192.0.2.1 \
  $asso.2.100100.100.203.0.113.11
capture v2c_getnext_root snmpgetnext -v2c -c public "$agent" $vrrp
capture v2c_getnext_partial snmpgetnext -v2c -c public "$agent" $oper.3.1 $asso.2.1.1.192.0 \
  $oper.14.100100.101
capture v2c_getbulk snmpbulkget -v2c -c public -Cn1 -Cr20 "$agent" $vrrp.1.1 $oper $asso
capture v2c_set_cntl snmpset -v2c -c public "$agent" $vrrp.1.2.0 i 2
capture v2c_set_oper snmpset -v2c -c public "$agent" $oper.5.1.1 i 1 $oper.12.1.1 i 2 \
  $oper.16.1.1 i 6
capture v2c_set_asso_create snmpset -v2c -c public "$agent" $asso.2.1.1.192.0.2.99 i 4
capture v2c_wrong_community snmpget -v2c -c private "$agent" $vrrp.1.1.0
capture v1_get snmpget -v1 -c public "$agent" $oper.3.1.1
capture v1_getnext snmpgetnext -v1 -c public "$agent" $asso
capture v1_set snmpset -v1 -c public "$agent" $oper.6.2.10 s secret
v3=.1.3.6.1.2.1.207
v3oper=$v3.1.1.1.1
v3addr=$v3.1.1.2.1
capture v2c_get_vrrpv3 snmpget -v2c -c public "$agent" $v3oper.3.3.20.2 $v3.1.2.5.1.3.3.20.2 \
  $v3oper.6.3.20.0 $v3addr.2.3.20.2.16.32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.1 \
  $v3addr.2.3.20.1.5.192.0.2.1.7 $v3.1.2.1.0
capture v2c_getnext_vrrpv3_hostile snmpgetnext -v2c -c public "$agent" $v3oper.3.3.20.4 \
  $v3addr.2.3.20.1.4.192.0.2.300 $v3oper.13.2147483648 $v3
capture v2c_getbulk_vrrpv3 snmpbulkget -v2c -c public -Cn0 -Cr30 "$agent" $v3
capture v2c_set_vrrpv3 snmpset -v2c -c public "$agent" $v3oper.7.3.20.2 u 200 \
  $v3addr.2.3.20.2.16.32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.9 i 4
capture v3_discovery snmpget -v3 -l noAuthNoPriv -u fuzz "$agent" $vrrp.1.1.0
ls -l "$out"
