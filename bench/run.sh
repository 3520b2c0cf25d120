#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Every benchmark, one after the other, with the machine they ran on: what `make bench` runs
# after building the bench preset. The output is what docs/performance.md records.
#
#   bench/run.sh [BUILD_DIR]         (default build-bench)
#
# MICRO_MIN_TIME (0.2) is Google Benchmark's minimum time per benchmark, in seconds.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-bench}

echo "== machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ //')"
echo "== date: $(date -u '+%Y-%m-%d %H:%M UTC'), load average: $(cut -d' ' -f1-3 /proc/loadavg)"
echo "== commit: $(git rev-parse --short HEAD 2>/dev/null || echo unknown)"

echo
echo "== the benchmarks' own tools"
ctest --test-dir "$build" -R '^(BaselineRowsTest|BaselineTablesTest|ProcessMemoryTest)\.' \
  --output-on-failure | tail -n 3

echo
echo "== micro: $build/bench/micro/micro_bench"
"$build/bench/micro/micro_bench" --benchmark_min_time="${MICRO_MIN_TIME:-0.2}" 2>/dev/null

echo
echo "== walk: bench/walk.sh"
bench/walk.sh "$build"

echo
echo "== walk through an AgentX master: bench/walk.sh --agentx"
bench/walk.sh --agentx "$build"

echo
echo "== the VRRPv3-MIB against the VRRP-MIB: bench/walk.sh --vrrpv3"
bench/walk.sh --vrrpv3 "$build"

echo
echo "== mirror: bench/mirror.sh"
bench/mirror.sh "$build"
