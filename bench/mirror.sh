#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Time and memory to apply state documents through the daemon's own service, for N from 1024
# to 16384 routers (bench/mirror/MirrorBench.cpp says what each figure covers).
#
#   bench/mirror.sh [BUILD_DIR]      (default build-bench; `make bench` runs it)
#
# Each N runs in MIRROR_PROCESSES (3) fresh processes, so that the first load is measured from
# a really empty process each time; the best process counts. Resident memory per router is
# the slope of the resident memory after the first load between the smallest and the largest
# N, which leaves out what the process holds at any size.
# Environment: MIRROR_SIZES ("1024 2048 4096 8192 16384"), MIRROR_PROCESSES (3),
# MIRROR_REPEAT (5).
set -euo pipefail

build=${1:-build-bench}
sizes=${MIRROR_SIZES:-1024 2048 4096 8192 16384}
processes=${MIRROR_PROCESSES:-3}
repeat=${MIRROR_REPEAT:-5}
gen_state=$build/tools/gen-state
bench=$build/bench/mirror/mirror-bench
if [[ ! -x $bench ]]; then
  echo "mirror.sh: $bench is not built (it needs the daemon's service in the tree)" >&2
  exit 0
fi

tmp=$(mktemp -d "${TMPDIR:-/tmp}/fhrp-mirror.XXXXXX")
trap 'rm -rf "$tmp"' EXIT

field() { sed -E "s/.*[ ^]$1=([0-9.]+).*/\\1/" <<<" $2"; }
min() { awk -v a="$1" -v b="$2" 'BEGIN { print (a == "" || b < a ? b : a) }'; }

declare -A r
for n in $sizes; do
  "$gen_state" "$n" >"$tmp/a.json"
  "$gen_state" "$n" --flip "$n" >"$tmp/one.json"   # router 0 alone changes
  "$gen_state" "$n" --flip 1 >"$tmp/fail.json"     # every router that is up fails over
  for key in start one failover parse rss hwm; do r[$n,$key]=; done
  for ((p = 0; p < processes; p++)); do
    line=$("$bench" --state "$tmp/a.json" --one "$tmp/one.json" --failover "$tmp/fail.json" \
      --repeat "$repeat" 2>/dev/null)
    r[$n,routers]=$(field routers "$line")
    r[$n,start]=$(min "${r[$n,start]}" "$(field start_ms "$line")")
    r[$n,one]=$(min "${r[$n,one]}" "$(field one_ms "$line")")
    r[$n,failover]=$(min "${r[$n,failover]}" "$(field failover_ms "$line")")
    r[$n,parse]=$(min "${r[$n,parse]}" "$(field parse_ms "$line")")
    r[$n,rss]=$(min "${r[$n,rss]}" "$(field rss_after_kib "$line")")
    r[$n,hwm]=$(min "${r[$n,hwm]}" "$(field hwm_end_kib "$line")")
  done
done

echo
echo "Applying state documents (best of $processes processes; one and failover: median of $((2 * repeat)) applies)"
printf '%7s %8s %10s %12s %9s %10s %9s %10s\n' N routers "start ms" "failover ms" "one ms" \
  "parse ms" "RSS KiB" "peak KiB"
for n in $sizes; do
  printf '%7s %8s %10s %12s %9s %10s %9s %10s\n' "$n" "${r[$n,routers]}" "${r[$n,start]}" \
    "${r[$n,failover]}" "${r[$n,one]}" "${r[$n,parse]}" "${r[$n,rss]}" "${r[$n,hwm]}"
done
first=${sizes%% *}
last=${sizes##* }
awk -v a="${r[$last,rss]}" -v b="${r[$first,rss]}" -v na="${r[$last,routers]}" \
  -v nb="${r[$first,routers]}" 'BEGIN { k = (a - b) / (na - nb);
  printf "  resident memory per router: %.2f KiB (target < 2 KiB): %s\n", k,
  (k < 2 ? "met" : "MISSED") }'
if [[ -n ${r[4096,start]:-} ]]; then
  awk -v s="${r[4096,start]}" -v f="${r[4096,failover]}" -v o="${r[4096,one]}" \
    -v p="${r[4096,parse]}" 'BEGIN {
    printf "  N=4096: from empty %.1f ms (target < 100): %s\n", s, (s < 100 ? "met" : "MISSED");
    printf "  N=4096: failover of all %.1f ms (target < 50): %s\n", f, (f < 50 ? "met" : "MISSED");
    printf "  N=4096: one router %.1f ms (target < 20): %s; reading and parsing alone %.1f ms\n",
      o, (o < 20 ? "met" : "MISSED"), p }'
fi
