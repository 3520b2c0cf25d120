#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# CI's package stage, as root on a Debian 12 machine: builds the package (`make package`),
# installs it with apt-get, checks what it installed and that the installed daemon serves
# examples/lab.json, standalone and as AgentX subagent of an snmpd that uses the example
# drop-in's socket permissions, then purges it. Every process it starts listens on 127.0.0.1
# only, on free ports, and is ended by its PID; the machine's own snmpd is never touched.
set -euo pipefail
cd "$(dirname "$0")/.."
[ "$(id -u)" = 0 ] || { echo "package-check: run as root (it installs the package)" >&2; exit 1; }

started=$SECONDS
make package
deb=$(ls dist/fhrp-snmp_*_"$(dpkg --print-architecture)".deb)
version=$(dpkg-deb -f "$deb" Version)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)

work=$(mktemp -d)
chmod 755 "$work"  # the daemon runs as fhrp-snmp and reads its state document from here
pids=()
policy=""
cleanup() {
  local status=$?
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  if dpkg-query -W -f='${Status}' fhrp-snmp 2>/dev/null | grep -q installed; then
    apt-get purge -y -qq fhrp-snmp >/dev/null || status=1
  fi
  [ -z "$policy" ] || rm -f "$policy"
  [ "$status" = 0 ] || echo "== package-check: FAILED (files in $work)" >&2
  [ "$status" != 0 ] || rm -rf "$work"
  exit "$status"
}
trap cleanup EXIT

fail() {
  echo "package-check: $*" >&2
  exit 1
}

# Without a running systemd nothing may be started by the install: a policy-rc.d says so to
# invoke-rc.d, as in `make deps`. The package itself starts nothing on install either.
if [ ! -d /run/systemd/system ] && [ ! -e /usr/sbin/policy-rc.d ]; then
  policy=/usr/sbin/policy-rc.d
  printf '#!/bin/sh\nexit 101\n' > "$policy" && chmod 755 "$policy"
fi

echo "== package-check: install"
export DEBIAN_FRONTEND=noninteractive
apt-get install -y -qq --reinstall "./$deb"

echo "== package-check: installed files"
for f in /usr/sbin/fhrp-snmpd "/usr/lib/$multiarch/fhrp-snmp/fhrpsnmp.so" \
  /lib/systemd/system/fhrp-snmpd.service /etc/default/fhrp-snmpd \
  /usr/share/snmp/mibs/VRRP-MIB.txt /usr/share/man/man8/fhrp-snmpd.8.gz \
  /usr/share/man/man5/fhrp-snmp-state.5.gz \
  /usr/share/doc/fhrp-snmp/examples/fhrp-snmp-agentx.conf \
  /usr/share/doc/fhrp-snmp/examples/fhrp-snmp-plugin.conf; do
  [ -e "$f" ] || fail "missing $f"
done
dpkg-query -W -f='${Conffiles}\n' fhrp-snmp | grep -q '^ /etc/default/fhrp-snmpd ' ||
  fail "/etc/default/fhrp-snmpd is not a conffile"
id fhrp-snmp >/dev/null || fail "no user fhrp-snmp"
if getent group frrvty >/dev/null; then
  id -nG fhrp-snmp | grep -qw frrvty || fail "fhrp-snmp is not in the group frrvty"
fi
# Both come from the version in CMakeLists.txt, through debian/changelog and the build.
[ "$(/usr/sbin/fhrp-snmpd --version)" = "fhrp-snmpd $version" ] ||
  fail "fhrp-snmpd --version: $(/usr/sbin/fhrp-snmpd --version)"

echo "== package-check: systemd-analyze verify"
# Offline: checks the unit's syntax and that its ExecStart and man pages exist.
systemd-analyze verify /lib/systemd/system/fhrp-snmpd.service

echo "== package-check: man pages"
for page in /usr/share/man/man8/fhrp-snmpd.8.gz /usr/share/man/man5/fhrp-snmp-state.5.gz; do
  warnings=$(MANWIDTH=80 man --warnings -l "$page" 2>&1 >"$work/page.txt") ||
    fail "man -l $page failed: $warnings"
  [ -z "$warnings" ] || fail "man -l $page: $warnings"
  grep -q 'SYNOPSIS\|MEMBERS' "$work/page.txt" || fail "man -l $page rendered nothing useful"
done

free_udp_port() {
  local port
  while :; do
    port=$((20000 + RANDOM % 40000))
    grep -qi ":$(printf '%04X' "$port") " /proc/net/udp /proc/net/udp6 || break
  done
  echo "$port"
}

# Waits for the daemon's ready line in LOG, or fails when PID ends first.
wait_ready() {
  local pid=$1 log=$2
  for _ in $(seq 100); do
    grep -q 'ready on' "$log" && return 0
    kill -0 "$pid" 2>/dev/null || fail "daemon ended: $(cat "$log")"
    sleep 0.1
  done
  fail "daemon not ready after 10 s: $(cat "$log")"
}

install -m 0644 examples/lab.json "$work/state.json"

echo "== package-check: standalone, as user fhrp-snmp"
port=$(free_udp_port)
mkdir -m 0700 "$work/persist" && chown fhrp-snmp: "$work/persist"
# stderr is a file that JOURNAL_STREAM names: the daemon must write as it would to the journal.
touch "$work/standalone.log"
SNMP_PERSISTENT_DIR="$work/persist" JOURNAL_STREAM="$(stat -c %d:%i "$work/standalone.log")" \
  runuser -u fhrp-snmp -- /usr/sbin/fhrp-snmpd --state "$work/state.json" \
  --listen "udp:127.0.0.1:$port" 2>"$work/standalone.log" &
pids+=($!)
wait_ready $! "$work/standalone.log"
grep -q '^<6>fhrp-snmpd: loaded ' "$work/standalone.log" ||
  fail "no journal priority on the log lines: $(cat "$work/standalone.log")"
# Names come from the installed MIB alone: no -M or -m, Debian's `mibs :` in snmp.conf stands.
snmptable -v2c -c public -Ci -Cf , "127.0.0.1:$port" VRRP-MIB::vrrpOperTable >"$work/table.txt"
cat "$work/table.txt"
grep -q '^index,vrrpOperVirtualMacAddr,vrrpOperState,' "$work/table.txt" ||
  fail "vrrpOperTable without its column names"
grep -q "^1.1,0:0:5e:0:1:1,master," "$work/table.txt" || fail "row 1.1 missing or not master"

echo "== package-check: AgentX subagent of snmpd, with the example drop-in's permissions"
snmpd_port=$(free_udp_port)
mkdir -p "$work/snmpd"  # its persistent folder: snmpd writes a file named snmpd.conf there
{
  echo "agentaddress udp:127.0.0.1:$snmpd_port"
  echo "agentXSocket $work/agentx/master"
  echo "rocommunity public 127.0.0.1"
  grep -E '^(master|agentXPerms) ' /usr/share/doc/fhrp-snmp/examples/fhrp-snmp-agentx.conf
} >"$work/snmpd.conf"
MIBS= SNMP_PERSISTENT_DIR="$work/snmpd" /usr/sbin/snmpd -f -Lf "$work/snmpd.log" -C \
  -c "$work/snmpd.conf" -I -smux,mteTrigger,mteTriggerConf &
pids+=($!)
for _ in $(seq 50); do [ -S "$work/agentx/master" ] && break; sleep 0.1; done
[ -S "$work/agentx/master" ] || fail "snmpd made no AgentX socket: $(cat "$work/snmpd.log")"
SNMP_PERSISTENT_DIR="$work/persist" runuser -u fhrp-snmp -- /usr/sbin/fhrp-snmpd \
  --state "$work/state.json" --agentx "$work/agentx/master" 2>"$work/subagent.log" &
pids+=($!)
wait_ready $! "$work/subagent.log"
walk=""
for _ in $(seq 50); do
  walk=$(snmpget -v2c -c public -On -m '' "127.0.0.1:$snmpd_port" .1.3.6.1.2.1.68.1.1.0 || true)
  [[ $walk == *"INTEGER: 2"* ]] && break
  sleep 0.2
done
[[ $walk == *"INTEGER: 2"* ]] ||
  fail "snmpd does not answer vrrpNodeVersion.0 ($walk): $(cat "$work/subagent.log" "$work/snmpd.log")"
echo "$walk"

echo "== package-check: purge"
for pid in "${pids[@]}"; do kill "$pid"; done
for pid in "${pids[@]}"; do wait "$pid" || true; done
pids=()
apt-get purge -y -qq fhrp-snmp >/dev/null
for f in /usr/sbin/fhrp-snmpd /etc/default/fhrp-snmpd /lib/systemd/system/fhrp-snmpd.service \
  /usr/share/snmp/mibs/VRRP-MIB.txt /var/lib/fhrp-snmp; do
  [ ! -e "$f" ] || fail "$f is still there after the purge"
done
echo "== package-check: passed in $((SECONDS - started)) s"
