#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# CI's systemd stage (`make systemd-check`), as root on a Debian 12 machine: the package under a
# real systemd. Boots a minimal Debian 12 with systemd-nspawn (private network: nothing it runs
# is reachable from outside), installs the freshly built package with snmpd and FRR there, runs
# two VRRP routers (FRR's service, and a peer in a network namespace joined by a veth pair), and
# checks what only a real systemd shows: readiness, the sandbox, reload, restarts, the journal,
# the exposure figure and the purge. Each check prints PASS or FAIL and the stage fails when one
# failed. The container is stopped and its folder removed at the end, also on failure; nothing
# is cached between runs but the downloaded packages in build/.
#
#   scripts/systemd-check.sh [dist/fhrp-snmp_VERSION_ARCH.deb]
#
# FHRP_KEEP_CONTAINER=1 leaves the container running at the end, for a look inside.
set -euo pipefail
cd "$(dirname "$0")/.."
[ "$(id -u)" = 0 ] || { echo "systemd-check: run as root (debootstrap, systemd-nspawn)" >&2; exit 1; }

work=$PWD/build/systemd-check
# The downloaded packages only, kept for the next run on this machine (debootstrap checks them
# against the mirror's index); `make clean` removes them with the rest of build/.
cache=$PWD/build/systemd-check-debs
root=$work/root
nspawn_pid=""
init_pid=""
failed=()
started=$SECONDS

say() { echo "== systemd-check: $*"; }

# Runs PHASE's command and prints how long it took.
phase() {
  local name=$1 t0=$SECONDS
  shift
  say "$name"
  "$@"
  say "$name: $((SECONDS - t0)) s"
}

# Runs a check function; a failing one is recorded and the next check runs all the same.
check() {
  local name=$1 t0=$SECONDS
  shift
  if "$@"; then
    say "PASS $name ($((SECONDS - t0)) s)"
  else
    say "FAIL $name ($((SECONDS - t0)) s)"
    failed+=("$name")
  fi
}

cleanup() {
  local status=$?
  if [ "${FHRP_KEEP_CONTAINER:-}" = 1 ] && [ -n "$init_pid" ]; then
    say "kept: nsenter --target $init_pid --all bash; kill $nspawn_pid, then rm -rf $root"
    exit "$status"
  fi
  local t0=$SECONDS
  if [ -n "$nspawn_pid" ] && kill -0 "$nspawn_pid" 2>/dev/null; then
    kill -TERM "$nspawn_pid"  # halts the container's systemd
    for _ in $(seq 50); do kill -0 "$nspawn_pid" 2>/dev/null || break; sleep 0.2; done
    kill -0 "$nspawn_pid" 2>/dev/null && kill -TERM "$nspawn_pid"  # a second one ends it now
    wait "$nspawn_pid" 2>/dev/null || true
  fi
  # debootstrap mounts /proc and /sys inside while it installs: never delete through them.
  findmnt -rn -o TARGET | grep "^$root/" | sort -r | xargs -r umount -l || true
  rm -rf --one-file-system "$root"
  say "container stopped and removed: $((SECONDS - t0)) s; total $((SECONDS - started)) s"
  [ "$status" = 0 ] || say "FAILED (boot log: $work/boot.log)"
  exit "$status"
}
trap cleanup EXIT

# A command inside the running container, with its own environment.
ct() {
  nsenter --target "$init_pid" --all -- env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 "$@"
}
prop() { ct systemctl show -P "$1" fhrp-snmpd; }
# A point in the journal: the container runs on this machine's clock. (journalctl 252 finds
# nothing with --after-cursor and a match together.)
mark() { date +%s.%6N; }
journal() { local since=$1; shift; ct journalctl -q -o cat --since "@$since" "$@"; }
# The daemon's own lines (not systemd's about it) since mark $1, at priority $2 or higher.
daemon_lines() { journal "$1" -p "${2:-debug}" _SYSTEMD_UNIT=fhrp-snmpd.service; }
snmp_get() { ct snmpget -v2c -c public -On -Oqv -m '' -t 2 -r 0 127.0.0.1 "$@" 2>&1; }
wait_for() {  # SECONDS CMD...: until CMD succeeds
  local deadline=$((SECONDS + $1))
  shift
  until "$@"; do [ "$SECONDS" -lt "$deadline" ] || return 1; sleep 0.5; done
}

mirror() {
  local uri
  uri=$(awk '/^URIs:/ {print $2; exit}' /etc/apt/sources.list.d/debian.sources 2>/dev/null || true)
  [ -n "$uri" ] || uri=$(awk '$1 == "deb" && $3 == "bookworm" {print $2; exit}' /etc/apt/sources.list)
  echo "${uri:-http://deb.debian.org/debian}"
}

build_package() {
  make package >"$work/package.log" 2>&1 || { tail -40 "$work/package.log"; return 1; }
  deb=$PWD/$(ls dist/fhrp-snmp_*_"$(dpkg --print-architecture)".deb)
}

# The base system with systemd, snmpd, FRR and everything the package depends on: the container
# has no network, so installing the package there must not need to download anything.
bootstrap() {
  local deps
  deps=$(dpkg-deb -f "$deb" Depends | tr ',' '\n' | sed 's/[(|].*//; s/ //g; /^$/d' | paste -sd,)
  mkdir -p "$cache"
  debootstrap --variant=minbase --cache-dir="$cache" \
    --include="systemd,systemd-sysv,dbus,snmpd,snmp,snmptrapd,frr,iproute2,$deps" \
    bookworm "$root" "$(mirror)" >"$work/debootstrap.log" 2>&1 ||
    { tail -20 "$work/debootstrap.log"; return 1; }
  cp "$deb" "$root/root/fhrp-snmp.deb"
  # Router one is FRR as its service runs it, started once its interfaces exist.
  sed -i 's/^vrrpd=no/vrrpd=yes/' "$root/etc/frr/daemons"
  cat >"$root/etc/frr/frr.conf" <<'CONF'
hostname router-one
log syslog informational
interface va
 vrrp 5 version 2
 vrrp 5 priority 100
 vrrp 5 ip 192.0.2.254
CONF
  chroot "$root" systemctl disable -q frr
}

boot() {
  systemd-nspawn -D "$root" --boot --register=no --keep-unit --private-network \
    --console=read-only >"$work/boot.log" 2>&1 &
  nspawn_pid=$!
  wait_for 30 eval 'init_pid=$(pgrep -P "$nspawn_pid" -x systemd)'
  local state=""
  wait_for 60 eval 'state=$(ct systemctl is-system-running 2>/dev/null); [[ $state == running || $state == degraded ]]' ||
    { echo "the container's systemd is $state"; return 1; }
  [ "$state" = running ] || ct systemctl --failed --no-legend
}

# Two routers on one segment: this side (priority 100, FRR's service) stays backup; the peer in
# the namespace "peer" (priority 200, zebra and vrrpd as transient units) becomes master.
routers() {
  ct bash -euc '
    ip netns add peer
    ip link add va type veth peer name vb netns peer
    ip addr add 192.0.2.1/24 dev va && ip link set va up
    ip link add va5 link va address 00:00:5e:00:01:05 type macvlan mode bridge
    ip addr add 192.0.2.254/24 dev va5 && ip link set va5 up
    ip -n peer link set lo up
    ip -n peer addr add 192.0.2.2/24 dev vb && ip -n peer link set vb up
    ip -n peer link add vb5 link vb address 00:00:5e:00:01:05 type macvlan mode bridge
    ip -n peer addr add 192.0.2.254/24 dev vb5 && ip -n peer link set vb5 up
    d=/run/peer-frr
    install -d -o frr -g frr "$d"
    printf "interface vb\n vrrp 5 version 2\n vrrp 5 priority 200\n vrrp 5 ip 192.0.2.254\n" >$d/vrrpd.conf
    : >$d/zebra.conf
    for daemon in zebra vrrpd; do
      systemd-run -q --unit=peer-$daemon -p NetworkNamespacePath=/run/netns/peer \
        /usr/lib/frr/$daemon -f $d/$daemon.conf -i $d/$daemon.pid -z $d/zserv.api --vty_socket $d
      for _ in $(seq 50); do [ -S $d/$daemon.vty ] && break; sleep 0.1; done
    done
    systemctl start frr'
}

# The operator's steps of docs/operating.md: snmptrapd taking the community and logging what it
# takes to the journal; a list of every file, for the purge to be compared with; the package; the
# AgentX drop-in with its trap sink; /var/agentx searchable; snmpd restarted.
install_package() {
  echo 'authCommunity log public' >>"$root/etc/snmp/snmptrapd.conf"
  mkdir -p "$root/etc/systemd/system/snmptrapd.service.d"
  printf '[Service]\nExecStart=\nExecStart=/usr/sbin/snmptrapd -LOi -f udp:162 udp6:162\n' \
    >"$root/etc/systemd/system/snmptrapd.service.d/log.conf"
  ct systemctl daemon-reload
  ct systemctl restart snmptrapd
  ct find / -xdev -print | sort >"$work/files-before"
  ct apt-get install -y -q /root/fhrp-snmp.deb >"$work/install.log" 2>&1 || { cat "$work/install.log"; return 1; }
  ct sed 's/^#trap2sink /trap2sink /' /usr/share/doc/fhrp-snmp/examples/fhrp-snmp-agentx.conf \
    >"$root/etc/snmp/snmpd.conf.d/fhrp-snmp.conf"
  ct chmod 0755 /var/agentx
  snmpd_mark=$(mark)
  ct systemctl restart snmpd
}

check_installed_stopped() {
  [ "$(ct systemctl is-enabled fhrp-snmpd)" = enabled ] && ! ct systemctl -q is-active fhrp-snmpd &&
    ct id -nG fhrp-snmp | grep -qw frrvty
}

check_no_snmpd_warning() {
  local lines
  lines=$(journal "$snmpd_mark" -u snmpd | grep -i "identify\|error\|warning" || true)
  [ -z "$lines" ] || { echo "$lines"; return 1; }
}

start_at=0
check_start_ready() {
  local c t0 out
  c=$(mark)
  t0=$(date +%s%N)
  ct systemctl start fhrp-snmpd || { daemon_lines "$c"; return 1; }
  start_at=$SECONDS
  echo "systemctl start returned after $((($(date +%s%N) - t0) / 1000000)) ms; STATUS: $(prop StatusText)"
  echo "command line: $(ct cat "/proc/$(prop MainPID)/cmdline" | tr '\0' ' ')"
  # Registered when start returned: the very first question is answered, and the log says so.
  out=$(snmp_get .1.3.6.1.2.1.68.1.1.0)
  daemon_lines "$c" | grep -qx 'fhrp-snmpd: ready on /var/agentx/master' || { daemon_lines "$c"; return 1; }
  [ "$out" = 2 ] || { echo "vrrpNodeVersion.0 through snmpd: $out"; return 1; }
}

# Row (ifIndex of va, vrid 5): a backup whose master's address only the advertisements tell.
check_backup_master_address() {
  local row state master
  row=$(ct cat /sys/class/net/va/ifindex).5
  wait_for 20 eval 'state=$(snmp_get .1.3.6.1.2.1.68.1.3.1.3.$row); master=$(snmp_get .1.3.6.1.2.1.68.1.3.1.7.$row); [ "$state" = 2 ] && [ "$master" = 192.0.2.2 ]' ||
    { echo "vrrpOperState.$row: $state, vrrpOperMasterIpAddr.$row: $master"; return 1; }
  echo "vrrpOperState.$row = $state (backup), vrrpOperMasterIpAddr.$row = $master"
}

# docs/security.md: CAP_NET_RAW opens the listener's raw socket, and is dropped once it is open.
check_capabilities() {
  local status
  status=$(ct grep '^Cap' "/proc/$(prop MainPID)/status")
  echo "$status" | paste -sd' '
  echo "$status" | grep -q '^CapEff:[[:space:]]*0*$' && echo "$status" | grep -q '^CapPrm:[[:space:]]*0*$' &&
    echo "$status" | grep -q '^CapAmb:[[:space:]]*0*$'
}

# Not killed after its watchdog interval: the event loop's pings arrive.
check_watchdog() {
  local interval pid
  interval=$(($(prop WatchdogUSec | sed 's/s$//')))
  pid=$(prop MainPID)
  [ "$interval" -gt 0 ] || { echo "no WatchdogSec"; return 1; }
  sleep $((start_at + interval + 2 - SECONDS > 0 ? start_at + interval + 2 - SECONDS : 0))
  echo "WatchdogSec ${interval}s; last ping at $(prop WatchdogTimestamp)"
  [ "$(prop MainPID)" = "$pid" ] && [ "$(prop NRestarts)" = 0 ] && [ "$(prop WatchdogTimestampMonotonic)" -gt 0 ]
}

rchar() { ct awk '/^rchar/ {print $2}' "/proc/$(prop MainPID)/io"; }

# SIGHUP: one line says so, the same process goes on, and with a document ($1) it read the file.
check_reload() {
  local c pid read
  c=$(mark)
  pid=$(prop MainPID)
  read=$(rchar)
  ct systemctl reload fhrp-snmpd || return 1
  sleep 1
  read=$(($(rchar) - read))
  daemon_lines "$c" | sed 's/^/  /'
  echo "read $read bytes"
  [ "$(prop MainPID)" = "$pid" ] && [ -n "$(daemon_lines "$c")" ] &&
    { [ -z "${1:-}" ] || [ "$read" -ge "$(ct stat -c %s "$1")" ]; }
}

check_restart_after_kill() {
  local pid
  pid=$(prop MainPID)
  ct systemctl kill -q --kill-whom=main --signal=KILL fhrp-snmpd
  wait_for 20 eval '[ "$(prop MainPID)" != "$pid" ] && [ "$(prop MainPID)" != 0 ] && [ "$(prop ActiveState)" = active ]' ||
    { echo "after SIGKILL: $(prop ActiveState) $(prop SubState)"; return 1; }
  echo "restarted as PID $(prop MainPID) (NRestarts=$(prop NRestarts))"
  wait_for 10 eval '[ "$(snmp_get .1.3.6.1.2.1.68.1.1.0)" = 2 ]'
}

# The peer's vrrpd stops: this side becomes master, and one notification reaches snmptrapd.
check_failover_notification() {
  local c row state traps
  c=$(mark)
  row=$(ct cat /sys/class/net/va/ifindex).5
  ct systemctl stop peer-vrrpd
  wait_for 10 eval 'state=$(snmp_get .1.3.6.1.2.1.68.1.3.1.3.$row); [ "$state" = 3 ]' ||
    { echo "vrrpOperState.$row: $state"; return 1; }
  sleep 2  # a second one would be there by now
  traps=$(journal "$c" -u snmptrapd | grep -F '.3.6.1.2.1.68.0.1')
  echo "$traps" | sed 's/^/  /'
  [ "$(echo "$traps" | grep -c .)" = 1 ] && [[ $traps == *"68.1.3.1.7.$row = IpAddress: 192.0.2.1"* ]]
}

options() { ct sed -i "s|^FHRP_SNMPD_OPTS=.*|FHRP_SNMPD_OPTS=\"$1\"|" /etc/default/fhrp-snmpd; }

check_bad_option() {
  local c lines
  options "--agentx /var/agentx/master --frr --bogus"
  c=$(mark)
  ! ct systemctl restart fhrp-snmpd || { echo "started with --bogus"; return 1; }
  sleep "$(($(prop RestartUSec | sed 's/s$//') + 1))"  # no restart comes either
  echo "journalctl -u fhrp-snmpd -p err:"
  journal "$c" -u fhrp-snmpd -p err | sed 's/^/  /'
  lines=$(daemon_lines "$c" err)
  [ "$(prop ActiveState)" = failed ] && [ "$(prop ExecMainStatus)" = 2 ] &&
    [ "$(echo "$lines" | grep -c .)" = 1 ] && [[ $lines == *--bogus* ]] ||
    { echo "the daemon's lines, any priority:"; daemon_lines "$c" | sed 's/^/  /'; return 1; }
}

# A document that appears 5 s after the start is served by the same process.
check_late_document() {
  local pid state
  options "--agentx /var/agentx/master --state /run/fhrp-snmp/state.json"
  ct systemctl reset-failed fhrp-snmpd
  ct install -d -m 0755 /run/fhrp-snmp
  ct rm -f /run/fhrp-snmp/state.json
  ct systemctl start fhrp-snmpd || { ct journalctl -q -o cat -u fhrp-snmpd -n 5; return 1; }
  pid=$(prop MainPID)
  sleep 5
  ct install -m 0644 /usr/share/doc/fhrp-snmp/examples/lab.json /run/fhrp-snmp/state.json
  wait_for 10 eval 'state=$(snmp_get .1.3.6.1.2.1.68.1.3.1.3.1.1); [ "$state" = 3 ]' ||
    { echo "vrrpOperState.1.1: $state"; return 1; }
  [ "$(prop MainPID)" = "$pid" ] || { echo "restarted: PID $pid became $(prop MainPID)"; return 1; }
}

check_exposure() {
  local line
  line=$(ct systemd-analyze security --no-pager fhrp-snmpd | tail -1)
  echo "$line"
  line=$(sed -n 's/.*fhrp-snmpd.service: \([0-9.]*\).*/\1/p' <<<"$line")
  awk -v x="$line" 'BEGIN { exit !(x != "" && x <= 2.0) }'
}

# Everything the package brought is gone; what stays is the operator's: the snmpd drop-in (which
# names a group that stays, as the user does) and the state document in /run.
check_purge() {
  local left
  ct systemctl stop fhrp-snmpd
  ct apt-get purge -y -q fhrp-snmp >"$work/purge.log" 2>&1 || { cat "$work/purge.log"; return 1; }
  ct rm -f /etc/snmp/snmpd.conf.d/fhrp-snmp.conf
  ct find / -xdev -print | sort >"$work/files-after"
  left=$(comm -13 "$work/files-before" "$work/files-after" |
    grep -Ev '^/(var/log|var/cache|var/lib/dpkg|var/lib/apt|var/agentx|var/lib/snmp)(/|$)' || true)
  [ -z "$left" ] || { echo "left behind:"; echo "$left"; return 1; }
  ! ct sh -c 'grep -qx fhrp-snmpd /proc/[0-9]*/comm'
}

rm -rf "$work" && mkdir -p "$work"
# A package just built (CI's package stage) is taken as it is; otherwise it is built first.
deb=${1:+$(realpath "$1")}
[ -n "$deb" ] || phase "package" build_package
phase "debootstrap (Debian 12, systemd, snmpd, FRR)" bootstrap
phase "boot" boot
phase "two VRRP routers" routers
phase "install the package" install_package

check "installed enabled, not started, in group frrvty" check_installed_stopped
check "snmpd with the shipped drop-in logs no warning" check_no_snmpd_warning
check "systemctl start returns once registered (--agentx /var/agentx/master --frr)" check_start_ready
check "a backup's master address from the advertisement listener" check_backup_master_address
check "capabilities as docs/security.md says" check_capabilities
check "reload (--frr) is logged, same process" check_reload
check "watchdog pings keep it running past WatchdogSec" check_watchdog
check "SIGKILL is followed by a restart" check_restart_after_kill
check "failover: one vrrpTrapNewMaster through snmpd's trap sink" check_failover_notification
check "a bad option: failed, not restarted, one line at err" check_bad_option
check "a state document created 5 s after the start is served without a restart" check_late_document
check "reload (--state) re-reads the document and says so" check_reload /run/fhrp-snmp/state.json
check "systemd-analyze security: exposure 2.0 or lower" check_exposure
check "apt-get purge leaves nothing behind" check_purge

if [ "${#failed[@]}" -gt 0 ]; then
  say "${#failed[@]} check(s) failed:"
  printf '  %s\n' "${failed[@]}"
  exit 1
fi
say "all checks passed"
