#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the fuzz targets (sanitizer preset asan) and runs each for a bounded time, then prints a table of
# executions and crashes per target. Exits 1 when any target crashed, 2 on a build failure.
#
#   fuzz/run.sh [TARGET...]        default: every target
#   FUZZ_SECONDS=60                time per target
#   FUZZ_BUILD=0                   skip configure and build (use what build-asan/ holds)
#
# Each target grows a working corpus in build-asan/fuzz-work/<target>/corpus, seeded from
# fuzz/corpus/<target>/ and kept across runs. Crashing inputs land in
# build-asan/fuzz-work/<target>/artifacts/; a fixed one belongs in fuzz/regressions/<target>/.
set -uo pipefail
cd "$(dirname "$0")/.."

seconds=${FUZZ_SECONDS:-60}
all_targets=(fuzz_keys fuzz_state_document fuzz_snmp_request fuzz_vrrpd_reply fuzz_advert fuzz_netlink)
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=("${all_targets[@]}")

# Longest input per target: a key text, two state documents, one SNMP message as large as a
# UDP datagram usually is, a few dozen advertisements, a few netlink datagrams.
max_len() {
  case "$1" in
    fuzz_keys) echo 512 ;;
    fuzz_state_document) echo 16384 ;;
    fuzz_snmp_request) echo 1500 ;;
    fuzz_vrrpd_reply) echo 16384 ;;
    fuzz_advert) echo 8192 ;;
    fuzz_netlink) echo 32768 ;;
    *) echo 4096 ;;
  esac
}

if [ "${FUZZ_BUILD:-1}" != 0 ]; then
  echo "== fuzz: build (preset asan, build-asan/)"
  if ! cmake --preset asan >/dev/null ||
    ! cmake --build --preset asan -j "${JOBS:-$(nproc)}" --target "${targets[@]}"; then
    echo "== fuzz: build failed" >&2
    exit 2
  fi
fi

# UBSan stops at the first finding already (-fno-sanitize-recover); its report needs the stack.
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}

work=build-asan/fuzz-work

# One target: its row of the table in $dir/result; exit 1 when it crashed.
run_target() {
  local target=$1 binary=build-asan/fuzz/$1 dir=$work/$1
  mkdir -p "$dir/corpus" "$dir/artifacts"
  if [ ! -x "$binary" ]; then
    echo "== fuzz: $target was not built" >&2
    echo "$target - - not-built" >"$dir/result"
    return 1
  fi
  local before extra=() seeds=()
  before=$(find "$dir/artifacts" -type f | wc -l)
  [ -f "fuzz/dict/$target.dict" ] && extra+=(-dict="fuzz/dict/$target.dict")
  [ -d "fuzz/corpus/$target" ] && seeds+=("fuzz/corpus/$target")
  echo "== fuzz: $target for ${seconds}s"
  "$binary" -max_total_time="$seconds" -max_len="$(max_len "$target")" -timeout=10 \
    -print_final_stats=1 -artifact_prefix="$dir/artifacts/" "${extra[@]}" \
    "$dir/corpus" "${seeds[@]}" >"$dir/log" 2>&1
  local status=$? runs crashes
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$dir/log" | tail -1)
  crashes=$(($(find "$dir/artifacts" -type f | wc -l) - before))
  # A non-zero exit without an artifact is still a failure (e.g. a crash during startup).
  if [ "$status" != 0 ] && [ "$crashes" = 0 ]; then crashes=1; fi
  echo "$target $seconds ${runs:-?} $crashes" >"$dir/result"
  if [ "$crashes" != 0 ]; then
    echo "== fuzz: $target failed (exit $status); log $dir/log" >&2
    grep -E '^(==[0-9]+==ERROR|SUMMARY|.*assertion failed|.*runtime error|artifact_prefix)' \
      "$dir/log" | head -20 >&2
    return 1
  fi
}

# As many targets at once as there are cores: each fuzzes on one.
failed=0
running=0
for target in "${targets[@]}"; do
  if [ "$running" -ge "${JOBS:-$(nproc)}" ]; then
    wait -n || failed=1
    running=$((running - 1))
  fi
  run_target "$target" &
  running=$((running + 1))
done
while [ "$running" -gt 0 ]; do
  wait -n || failed=1
  running=$((running - 1))
done

results=()
for target in "${targets[@]}"; do results+=("$(cat "$work/$target/result")"); done

echo
printf '%-22s %8s %12s %8s\n' target seconds executions crashes
for row in "${results[@]}"; do
  # shellcheck disable=SC2086
  printf '%-22s %8s %12s %8s\n' $row
done
exit $failed
