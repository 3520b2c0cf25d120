#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Walk rates of fhrp-snmpd against net-snmp's own table helper (baseline-agent) on the same
# generated state documents, for N = 16, 256, 4096 and 16384 virtual routers.
#
#   bench/walk.sh [--agentx | --vrrpv3] [BUILD_DIR]   (default build-bench; `make bench` runs
#                                                      all three modes)
#
# With --vrrpv3 one fhrp-snmpd serves N version 2 and N version 3 routers (gen-state 2N
# --version3 2; WALK_FAMILY=ipv6 or both gives the version 3 routers IPv6 rows instead or as
# well), and the walk of vrrpv3OperationsTable is measured against the walk of vrrpOperTable in
# alternating rounds: microseconds per varbind, wall-clock and agent CPU, v3 / v2 (goal: within
# 1.2x). Then one GET of up to 25 instances of rows that exist, against one of as many indexes
# that name no row (the version 2 routers' indexes), for both tables (goal: an absent index
# within 2x of a present one). Default sizes 16 256 4096.
#
# With --agentx each agent runs instead as AgentX subagent of its own Debian snmpd (the way most
# devices run us), the walks go to the masters, and the table shows the wall time per varbind
# and the subagent's CPU time per varbind, ours beside the baseline's (goal: ours within 1.1x).
#
# Both agents serve the same document on their own 127.0.0.1 ports. walk-rate walks each
# table with GETBULK, max-repetitions 25 (what snmpbulkwalk -Cr25 sends: a response of 25
# vrrpOperTable varbinds stays near 800 bytes, well inside one unfragmented datagram), and
# times only the walks; the two agents are measured in alternating rounds so that a busy
# machine slows both alike, and the best round counts. snmpbulkwalk itself then walks each
# table once per agent: its outputs must agree (the up-time column aside, which moves with the
# clock), and its wall time, tool start-up included, is printed for reference.
#
# Wall-clock rates need a quiet machine: on a shared one they swing with the other load. So
# the script also reads how much CPU time each agent spent on the walks (the first field of
# /proc/PID/schedstat, in nanoseconds) and prints varbinds per second of agent CPU, which
# other load hardly moves; the targets are checked on both.
#
# Environment: WALK_SIZES ("16 256 4096 16384"), WALK_ROUNDS (3), WALK_SAMPLES (3),
# WALK_MIN_SECONDS (0.3), WALK_MAX_REPETITIONS (25), WALK_KEEP_TMP=1 keeps the scratch folder.
set -euo pipefail

agentx=0 vrrpv3=0
if [[ ${1:-} == --agentx ]]; then
  agentx=1
  shift
elif [[ ${1:-} == --vrrpv3 ]]; then
  vrrpv3=1
  shift
fi
build=${1:-build-bench}
if ((vrrpv3)); then sizes=${WALK_SIZES:-16 256 4096}; else sizes=${WALK_SIZES:-16 256 4096 16384}; fi
rounds=${WALK_ROUNDS:-3}
samples=${WALK_SAMPLES:-3}
min_seconds=${WALK_MIN_SECONDS:-0.3}
reps=${WALK_MAX_REPETITIONS:-25}

gen_state=$build/tools/gen-state
walk_rate=$build/bench/walk/walk-rate
baseline=$build/bench/baseline/baseline-agent
ours=$build/host/fhrp-snmpd
for tool in "$gen_state" "$walk_rate" "$baseline"; do
  [[ -x $tool ]] || { echo "walk.sh: $tool is not built (cmake --preset bench)" >&2; exit 2; }
done
have_ours=1
if [[ ! -x $ours ]]; then
  echo "walk.sh: $ours is not built yet: measuring the baseline alone" >&2
  have_ours=0
fi

export MIBS=
tmp=$(mktemp -d "${TMPDIR:-/tmp}/fhrp-walk.XXXXXX")
export SNMP_PERSISTENT_DIR=$tmp/persist
mkdir -p "$SNMP_PERSISTENT_DIR"
pids=()
cleanup() {
  local pid
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true; done
  if [[ ${WALK_KEEP_TMP:-0} == 1 ]]; then echo "walk.sh: scratch kept in $tmp" >&2; else rm -rf "$tmp"; fi
}
trap cleanup EXIT

# start NAME PROGRAM DOC: starts an agent on a free port and sets $port and $pid. A port
# someone else holds makes the agent exit with its error line; then another port is tried.
# With --agentx it starts a master snmpd on the free port and the agent as its subagent.
start() {
  if ((agentx)); then start_subagent "$@"; else start_standalone "$@"; fi
}

start_standalone() {
  local name=$1 program=$2 doc=$3 attempt log
  for attempt in 1 2 3 4 5 6 7 8; do
    port=$((20000 + RANDOM % 12000))
    log=$tmp/$name.$port.log
    : >"$log"
    "$program" --state "$doc" --listen "udp:127.0.0.1:$port" --community public 2>"$log" &
    pid=$!
    local waited=0
    while ! grep -q ': ready on ' "$log"; do
      if ! kill -0 "$pid" 2>/dev/null; then break; fi
      sleep 0.05
      waited=$((waited + 1))
      if ((waited > 1200)); then echo "walk.sh: $name did not get ready" >&2; exit 1; fi
    done
    if grep -q ': ready on ' "$log"; then pids+=("$pid"); return 0; fi
    wait "$pid" 2>/dev/null || true
  done
  echo "walk.sh: $name could not start; last log:" >&2
  cat "$log" >&2
  exit 1
}

# start_subagent NAME PROGRAM DOC: a master snmpd on a free port ($port, $master_pid) and the
# agent as its AgentX subagent ($pid), once the master serves the agent's tables.
start_subagent() {
  local name=$1 program=$2 doc=$3 attempt dir
  dir=$tmp/$name-master
  mkdir -p "$dir"
  printf 'rocommunity public 127.0.0.1\nmaster agentx\nagentxsocket unix:%s\n' \
    "$dir/agentx.sock" >"$dir/snmpd.conf"
  for attempt in 1 2 3 4 5 6 7 8; do
    port=$((20000 + RANDOM % 12000))
    SNMP_PERSISTENT_DIR=$dir snmpd -f -Lo -C -c "$dir/snmpd.conf" -I \
      -smux,mteTrigger,mteTriggerConf "udp:127.0.0.1:$port" >"$dir/snmpd.log" 2>&1 &
    master_pid=$!
    if wait_answer "$master_pid" 1.3.6.1.2.1.1.1.0; then break; fi
    wait "$master_pid" 2>/dev/null || true
    master_pid=
  done
  [[ -n $master_pid ]] || { echo "walk.sh: no snmpd for $name:" >&2; cat "$dir/snmpd.log" >&2; exit 1; }
  pids+=("$master_pid")
  "$program" --state "$doc" --agentx "$dir/agentx.sock" 2>"$tmp/$name.log" &
  pid=$!
  pids+=("$pid")
  # vrrpOperState of the document's first router: the subagent's tables are registered.
  wait_answer "$pid" 1.3.6.1.2.1.68.1.3.1.3.1000.1 ||
    { echo "walk.sh: $name did not register with its master:" >&2; cat "$tmp/$name.log" >&2; exit 1; }
}

# wait_answer PID OID: true once the agent on $port answers OID with a value, false when the
# process PID exits or 60 s pass.
wait_answer() {
  local waited=0
  until snmpget -v2c -c public -On -t 1 -r 0 "udp:127.0.0.1:$port" "$2" 2>/dev/null |
    grep -q ' = [A-Za-z-]*: '; do
    kill -0 "$1" 2>/dev/null || return 1
    sleep 0.1
    waited=$((waited + 1))
    ((waited < 600)) || return 1
  done
}

stop() {
  kill "$1" 2>/dev/null || true
  wait "$1" 2>/dev/null || true
}

cpu_ns() { cut -d' ' -f1 "/proc/$1/schedstat"; }

# rate PID PORT (--oid OID | --get OID...): one walk-rate run against the agent PID; sets
# $walked (varbinds in one walk), $rated (best varbinds per second), $cpu_rated (varbinds per
# second of the agent's CPU time over every walk of the run) and $absent (varbinds of a GET
# that named no instance).
rate() {
  local line before after total pid=$1 peer=$2
  shift 2
  before=$(cpu_ns "$pid")
  line=$(timeout 600 "$walk_rate" --peer "udp:127.0.0.1:$peer" "$@" --max-repetitions "$reps" \
    --samples "$samples" --min-seconds "$min_seconds")
  after=$(cpu_ns "$pid")
  absent=$(sed -E 's/.*absent=([0-9]+).*/\1/' <<<"$line")
  walked=$(sed -E 's/.*[ ^]varbinds=([0-9]+).*/\1/' <<<" $line")
  rated=$(sed -E 's/.*rate=([0-9]+).*/\1/' <<<"$line")
  total=$(sed -E 's/.*total_varbinds=([0-9]+).*/\1/' <<<"$line")
  cpu_rated=$(awk -v v="$total" -v ns="$((after - before))" 'BEGIN { printf "%.0f", v / (ns / 1e9) }')
}

# bulkwalk PORT OID OUT: one snmpbulkwalk into OUT, its varbinds only (not the line that
# says the agent's view ends there); prints its wall time in seconds.
bulkwalk() {
  local t0 t1
  t0=$(date +%s%N)
  snmpbulkwalk -v2c -c public -On -Cr"$reps" -t 10 -r 0 "udp:127.0.0.1:$1" "$2" >"$3.all"
  t1=$(date +%s%N)
  grep "^\.$2\." "$3.all" | grep -v ' = No more variables left' >"$3" || true
  awk -v a="$t0" -v b="$t1" 'BEGIN { printf "%.3f", (b - a) / 1e9 }'
}

max() { awk -v a="$1" -v b="$2" 'BEGIN { print (a > b ? a : b) }'; }

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (a == "-" || b == "-") print "-"; else printf "%.2f", a / b }'; }

# per_varbind RATE: microseconds per varbind of a rate in varbinds per second.
per_varbind() { awk -v r="$1" 'BEGIN { if (r == "-" || r == 0) print "-"; else printf "%.2f", 1e6 / r }'; }

# spread K FILE: K lines of FILE, evenly spread from its first to its last.
spread() { awk -v k="$1" '{ line[NR] = $0 } END {
  n = (k < NR ? k : NR); for (i = 0; i < n; i++) print line[1 + int(i * (NR - 1) / (n > 1 ? n - 1 : 1))] }' "$2"; }

# instructions PID ARGS...: with the agent PID under callgrind (instrumentation off), one
# walk-rate run (a first walk and one more) with instrumentation on; sets $per_vb to the
# instructions per varbind and $walked, $absent as rate does.
instructions() {
  local pid=$1 line ir total
  shift
  callgrind_control -i on "$pid" >/dev/null 2>&1
  line=$("$walk_rate" --peer "udp:127.0.0.1:$port" "$@" --samples 1 --min-seconds 0)
  callgrind_control -i off "$pid" >/dev/null 2>&1
  callgrind_control --dump=walk "$pid" >/dev/null 2>&1
  ir=$(awk '/^totals:/ { print $2; exit }' "$(ls -t "$tmp"/callgrind.out.* | head -1)")
  total=$(sed -E 's/.*total_varbinds=([0-9]+).*/\1/' <<<"$line")
  walked=$(sed -E 's/.*[ ^]varbinds=([0-9]+).*/\1/' <<<" $line")
  absent=$(sed -E 's/.*absent=([0-9]+).*/\1/' <<<"$line")
  per_vb=$(awk -v i="$ir" -v t="$total" 'BEGIN { printf "%.0f", i / t }')
}

# gets TABLE_COLUMN_OID TYPE INDEX...: walk-rate's arguments to GET the column of each index
# (ifIndex.vrId), with TYPE appended when given.
gets() {
  local column=$1 type=$2 index
  shift 2
  for index in "$@"; do printf -- '--get %s.%s%s ' "$column" "$index" "${type:+.$type}"; done
}

# The --vrrpv3 mode: both MIBs' operations tables of one agent, N rows each. With
# WALK_CALLGRIND=1 the agent runs under valgrind's callgrind and the tables show instructions
# per varbind (of the agent, instrumented around each walk or GET only) instead of times.
vrrpv3_walks() {
  local family=${WALK_FAMILY:-ipv4} v2=1.3.6.1.2.1.68.1.3 v3=1.3.6.1.2.1.207.1.1.1 n doc kind
  local callgrind=${WALK_CALLGRIND:-0} program=$ours type=1 round
  local -A r
  local -a idx2 idx3 have none
  ((have_ours)) || { echo "walk.sh: --vrrpv3 needs $ours" >&2; exit 2; }
  if [[ $family == ipv6 ]]; then type=2; fi
  if ((callgrind)); then
    program=$tmp/ours-callgrind
    printf '#!/bin/sh\nexec valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file=%s %s "$@"\n' \
      "$tmp/callgrind.out.%p" "$ours" >"$program"
    chmod +x "$program"
  fi
  for n in $sizes; do
    doc=$tmp/state-v3-$n.json
    "$gen_state" $((2 * n)) --version3 2 --family "$family" >"$doc"
    start ours "$program" "$doc"
    # The instances to GET come from the tool's walks: vrrpOperState (column 3) and
    # vrrpv3OperationsStatus (column 6) of up to 25 routers of each version. A version 2
    # router's index names no row of the VRRPv3-MIB and the other way round.
    bulkwalk "$port" "$v2" "$tmp/v2-$n" >/dev/null
    bulkwalk "$port" "$v3" "$tmp/v3-$n" >/dev/null
    sed -nE "s/^\.$v2\.1\.3\.([0-9]+\.[0-9]+) .*/\1/p" "$tmp/v2-$n" >"$tmp/i2"
    sed -nE "s/^\.$v3\.1\.6\.([0-9]+\.[0-9]+)\.[12] .*/\1/p" "$tmp/v3-$n" | uniq >"$tmp/i3"
    mapfile -t idx2 < <(spread 25 "$tmp/i2")
    mapfile -t idx3 < <(spread 25 "$tmp/i3")
    local -A args=([walk,v2]="--oid $v2" [walk,v3]="--oid $v3"
      [have,v3]="$(gets "$v3.1.6" "$type" "${idx3[@]}")" [none,v3]="$(gets "$v3.1.6" 1 "${idx2[@]}")"
      [have,v2]="$(gets "$v2.1.3" "" "${idx2[@]}")" [none,v2]="$(gets "$v2.1.3" "" "${idx3[@]}")")
    r[$n,v2,k]=${#idx2[@]} r[$n,v3,k]=${#idx3[@]}
    # Timed, the six measurements alternate round by round, so that other load slows each alike.
    local what whats=(walk,v2 walk,v3 have,v3 none,v3 have,v2 none,v2) passes=$rounds
    if ((callgrind)); then passes=1; fi
    for what in "${whats[@]}"; do r[$n,$what,rate]=0 r[$n,$what,cpurate]=0; done
    for ((round = 0; round < passes; round++)); do
      for what in "${whats[@]}"; do
        if ((callgrind)); then
          # shellcheck disable=SC2086
          instructions "$pid" ${args[$what]}
          r[$n,$what,wall]=- r[$n,$what,cpu]=$per_vb
        else
          # shellcheck disable=SC2086
          rate "$pid" "$port" ${args[$what]}
          r[$n,$what,rate]=$(max "${r[$n,$what,rate]}" "$rated")
          r[$n,$what,cpurate]=$(max "${r[$n,$what,cpurate]}" "$cpu_rated")
          r[$n,$what,wall]=$(per_varbind "${r[$n,$what,rate]}")
          r[$n,$what,cpu]=$(per_varbind "${r[$n,$what,cpurate]}")
        fi
        r[$n,$what,walked]=$walked
        case $what in
          have,*) ((absent == 0)) || { echo "walk.sh: $what: $absent instances answered absent" >&2; exit 1; } ;;
          none,*) ((absent == walked)) || { echo "walk.sh: $what: an absent index answered" >&2; exit 1; } ;;
        esac
      done
    done
    # walk-rate must count what the tool prints.
    r[$n,same]=yes
    [[ $(wc -l <"$tmp/v2-$n") == "${r[$n,walk,v2,walked]}" &&
      $(wc -l <"$tmp/v3-$n") == "${r[$n,walk,v3,walked]}" ]] || { r[$n,same]=NO; WALK_KEEP_TMP=1; }
    stop "$pid"
  done

  local unit="best of $rounds rounds x $samples samples, microseconds per varbind, wall-clock and
  agent CPU" wall=wall cpu=cpu
  if ((callgrind)); then unit="instructions per varbind of the agent (callgrind)" wall=- cpu=instr; fi
  echo
  echo "vrrpv3OperationsTable ($v3, $family rows) against vrrpOperTable ($v2), one fhrp-snmpd"
  echo "  serving N rows in each (gen-state 2N --version3 2): GETBULK max-repetitions $reps;"
  echo "  $unit; ratio = v3 / v2 (goal <= 1.20)"
  printf '%7s %9s %9s %8s %8s %6s %8s %8s %6s %5s\n' N "v2 vbs" "v3 vbs" "$wall v2" "$wall v3" ratio \
    "$cpu v2" "$cpu v3" ratio same
  local worst_wall=0 worst_cpu=0 rw rc
  for n in $sizes; do
    rw=$(ratio "${r[$n,walk,v3,wall]}" "${r[$n,walk,v2,wall]}")
    rc=$(ratio "${r[$n,walk,v3,cpu]}" "${r[$n,walk,v2,cpu]}")
    printf '%7s %9s %9s %8s %8s %6s %8s %8s %6s %5s\n' "$n" "${r[$n,walk,v2,walked]}" \
      "${r[$n,walk,v3,walked]}" "${r[$n,walk,v2,wall]}" "${r[$n,walk,v3,wall]}" "$rw" \
      "${r[$n,walk,v2,cpu]}" "${r[$n,walk,v3,cpu]}" "$rc" "${r[$n,same]}"
    worst_wall=$(max "$worst_wall" "${rw/-/0}") worst_cpu=$(max "$worst_cpu" "$rc")
  done
  for kind in "$wall" "$cpu"; do
    [[ $kind == - ]] && continue
    local w=worst_cpu
    if [[ $kind == wall ]]; then w=worst_wall; fi
    awk -v r="${!w}" -v k="$kind" 'BEGIN {
      printf "  %s: highest v3 / v2 = %.2f (goal <= 1.20): %s\n", k, r, (r <= 1.20 ? "met" : "MISSED") }'
  done

  echo
  echo "GET of K instances in one request: rows that exist against indexes that name no row;"
  echo "  $unit; ratio = absent / present (goal <= 2.00)"
  printf '%7s %-22s %3s %9s %9s %6s %9s %9s %6s\n' N table K "$wall pres" "$wall abs" ratio \
    "$cpu pres" "$cpu abs" ratio
  local table last=${sizes##* }
  for n in $sizes; do
    for kind in v3 v2; do
      table=vrrpv3OperationsTable
      if [[ $kind == v2 ]]; then table=vrrpOperTable; fi
      rw=$(ratio "${r[$n,none,$kind,wall]}" "${r[$n,have,$kind,wall]}")
      rc=$(ratio "${r[$n,none,$kind,cpu]}" "${r[$n,have,$kind,cpu]}")
      printf '%7s %-22s %3s %9s %9s %6s %9s %9s %6s\n' "$n" "$table" "${r[$n,$kind,k]}" \
        "${r[$n,have,$kind,wall]}" "${r[$n,none,$kind,wall]}" "$rw" "${r[$n,have,$kind,cpu]}" \
        "${r[$n,none,$kind,cpu]}" "$rc"
    done
  done
  rw=$(ratio "${r[$last,none,v3,wall]}" "${r[$last,have,v3,wall]}")
  rc=$(ratio "${r[$last,none,v3,cpu]}" "${r[$last,have,v3,cpu]}")
  awk -v w="${rw/-/0}" -v c="$rc" -v n="$last" -v k="$cpu" 'BEGIN {
    printf "  vrrpv3OperationsTable at N=%s: absent / present = %.2f (%s)%s (goal <= 2.00): %s\n",
      n, c, k, (k == "cpu" ? sprintf(", %.2f (wall)", w) : ""), (w <= 2 && c <= 2 ? "met" : "MISSED") }'
}

if ((vrrpv3)); then
  vrrpv3_walks
  exit 0
fi

tables=("vrrpOperTable 1.3.6.1.2.1.68.1.3" "vrrpAssoIpAddrTable 1.3.6.1.2.1.68.1.4")
declare -A result
for n in $sizes; do
  doc=$tmp/state-$n.json
  "$gen_state" "$n" >"$doc"
  start baseline "$baseline" "$doc"
  base_port=$port base_pid=$pid base_master=${master_pid:-}
  if ((have_ours)); then
    start ours "$ours" "$doc"
    ours_port=$port ours_pid=$pid ours_master=${master_pid:-}
  fi
  for entry in "${tables[@]}"; do
    read -r table toid <<<"$entry"
    best_ours=0 best_base=0 cpu_ours=0 cpu_base=0
    for ((r = 0; r < rounds; r++)); do
      if ((have_ours)); then
        rate "$ours_pid" "$ours_port" --oid "$toid"
        best_ours=$(max "$best_ours" "$rated")
        cpu_ours=$(max "$cpu_ours" "$cpu_rated")
        ours_walked=$walked
      fi
      rate "$base_pid" "$base_port" --oid "$toid"
      best_base=$(max "$best_base" "$rated")
      cpu_base=$(max "$cpu_base" "$cpu_rated")
    done
    result[$table,$n,cpu_base]=$cpu_base
    result[$table,$n,cpu_ours]=-
    result[$table,$n,varbinds]=$walked
    result[$table,$n,base]=$best_base
    result[$table,$n,base_tool]=$(bulkwalk "$base_port" "$toid" "$tmp/$table-$n.base")
    # walk-rate must see what the tool sees.
    if [[ $(wc -l <"$tmp/$table-$n.base") != "$walked" ]]; then
      echo "walk.sh: walk-rate counted $walked varbinds of $table at N=$n, snmpbulkwalk" \
        "$(wc -l <"$tmp/$table-$n.base")" >&2
      exit 1
    fi
    result[$table,$n,ours]=-
    result[$table,$n,ours_tool]=-
    result[$table,$n,same]=-
    if ((have_ours)); then
      result[$table,$n,ours]=$best_ours
      result[$table,$n,cpu_ours]=$cpu_ours
      if [[ $ours_walked != "$walked" ]]; then result[$table,$n,varbinds]="$ours_walked!=$walked"; fi
      result[$table,$n,ours_tool]=$(bulkwalk "$ours_port" "$toid" "$tmp/$table-$n.ours")
      # Column 13 (vrrpOperVirtualRouterUpTime) moves with the clock.
      if diff -q <(grep -v '^\.1\.3\.6\.1\.2\.1\.68\.1\.3\.1\.13\.' "$tmp/$table-$n.ours") \
        <(grep -v '^\.1\.3\.6\.1\.2\.1\.68\.1\.3\.1\.13\.' "$tmp/$table-$n.base") >/dev/null; then
        result[$table,$n,same]=yes
      else
        result[$table,$n,same]=NO
        WALK_KEEP_TMP=1
      fi
    fi
  done
  stop "$base_pid"
  if ((agentx)); then stop "$base_master"; fi
  if ((have_ours)); then stop "$ours_pid"; fi
  if ((have_ours && agentx)); then stop "$ours_master"; fi
done

first=${sizes%% *}
last=${sizes##* }

# verdict TABLE KIND LABEL: the two targets on one kind of rate (wall or cpu).
verdict() {
  local table=$1 kind=$2 label=$3 worst=1e9 n r
  r=$(ratio "${result[$table,$last,$kind,ours]}" "${result[$table,$first,$kind,ours]}")
  awk -v r="$r" -v l="$label" -v n="$last" -v f="$first" 'BEGIN {
    printf "  %s: rate(N=%s) / rate(N=%s) = %.2f (target >= 0.8): %s\n", l, n, f, r,
    (r >= 0.8 ? "met" : "MISSED") }'
  for n in $sizes; do
    r=$(ratio "${result[$table,$n,$kind,ours]}" "${result[$table,$n,$kind,base]}")
    worst=$(awk -v w="$worst" -v r="$r" 'BEGIN { print (r < w ? r : w) }')
  done
  awk -v r="$worst" -v l="$label" 'BEGIN {
    printf "  %s: lowest ours / baseline = %.2f (target >= 0.8): %s\n", l, r,
    (r >= 0.8 ? "met" : "MISSED") }'
}


if ((agentx)); then
  for entry in "${tables[@]}"; do
    read -r table toid <<<"$entry"
    echo
    echo "$table ($toid) through Debian's snmpd as AgentX master: GETBULK max-repetitions $reps,"
    echo "  best of $rounds rounds x $samples samples; microseconds per varbind: wall-clock time at"
    echo "  the manager, and CPU time of the subagent; ratio = ours / baseline (goal <= 1.10)"
    printf '%7s %9s %10s %10s %6s %10s %10s %6s %16s %5s\n' N varbinds "wall ours" "wall base" \
      ratio "cpu ours" "cpu base" ratio "snmpbulkwalk s" same
    worst_wall=0 worst_cpu=0
    for n in $sizes; do
      wo=$(per_varbind "${result[$table,$n,ours]}") wb=$(per_varbind "${result[$table,$n,base]}")
      co=$(per_varbind "${result[$table,$n,cpu_ours]}") cb=$(per_varbind "${result[$table,$n,cpu_base]}")
      rw=$(ratio "$wo" "$wb") rc=$(ratio "$co" "$cb")
      printf '%7s %9s %10s %10s %6s %10s %10s %6s %16s %5s\n' "$n" "${result[$table,$n,varbinds]}" \
        "$wo" "$wb" "$rw" "$co" "$cb" "$rc" \
        "${result[$table,$n,ours_tool]}/${result[$table,$n,base_tool]}" "${result[$table,$n,same]}"
      worst_wall=$(max "$worst_wall" "$rw")
      worst_cpu=$(max "$worst_cpu" "$rc")
    done
    if ((have_ours)); then
      for kind in wall cpu; do
        w=worst_$kind
        awk -v r="${!w}" -v k="$kind" 'BEGIN {
          printf "  %s: highest ours / baseline = %.2f (goal <= 1.10): %s\n", k, r,
          (r <= 1.10 ? "met" : "MISSED") }'
      done
    fi
  done
  exit 0
fi

for entry in "${tables[@]}"; do
  read -r table toid <<<"$entry"
  for n in $sizes; do
    result[$table,$n,wall,ours]=${result[$table,$n,ours]}
    result[$table,$n,wall,base]=${result[$table,$n,base]}
    result[$table,$n,cpu,ours]=${result[$table,$n,cpu_ours]}
    result[$table,$n,cpu,base]=${result[$table,$n,cpu_base]}
  done
  echo
  echo "$table ($toid): GETBULK max-repetitions $reps, best of $rounds rounds x $samples samples"
  echo "  wall: varbinds per second of wall-clock time; cpu: per second of the agent's CPU time"
  printf '%7s %9s %11s %11s %6s %7s %11s %11s %6s %7s %16s %5s\n' N varbinds "wall ours" \
    "wall base" ratio "vs N=$first" "cpu ours" "cpu base" ratio "vs N=$first" "snmpbulkwalk s" same
  for n in $sizes; do
    printf '%7s %9s %11s %11s %6s %7s %11s %11s %6s %7s %16s %5s\n' "$n" \
      "${result[$table,$n,varbinds]}" \
      "${result[$table,$n,wall,ours]}" "${result[$table,$n,wall,base]}" \
      "$(ratio "${result[$table,$n,wall,ours]}" "${result[$table,$n,wall,base]}")" \
      "$(ratio "${result[$table,$n,wall,ours]}" "${result[$table,$first,wall,ours]}")" \
      "${result[$table,$n,cpu,ours]}" "${result[$table,$n,cpu,base]}" \
      "$(ratio "${result[$table,$n,cpu,ours]}" "${result[$table,$n,cpu,base]}")" \
      "$(ratio "${result[$table,$n,cpu,ours]}" "${result[$table,$first,cpu,ours]}")" \
      "${result[$table,$n,ours_tool]}/${result[$table,$n,base_tool]}" "${result[$table,$n,same]}"
  done
  if ((have_ours)); then
    verdict "$table" wall wall
    verdict "$table" cpu cpu
  fi
done
