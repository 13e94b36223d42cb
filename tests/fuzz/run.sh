#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-2.0-or-later
# Runs every libFuzzer target of a fuzz build (the list in
# BUILD/tests/fuzz/targets.txt) for SECONDS each, from its seeds in
# tests/fuzz/seeds/NAME and the corpus it grew in earlier runs. Prints each
# target's executions a second; fails on any finding, leaving the input under
# BUILD/fuzz/NAME/artifacts.
#   tests/fuzz/run.sh BUILD_DIR [SECONDS] [NAME...]
set -euo pipefail
build=${1:?build folder}
seconds=${2:-60}
shift $(( $# > 2 ? 2 : $# ))
here=$(cd "$(dirname "$0")" && pwd)
if [ $# -gt 0 ]; then names=("$@"); else mapfile -t names < "$build/tests/fuzz/targets.txt"; fi

export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1
export LSAN_OPTIONS=suppressions=$here/lsan.supp
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
failed=0
summary=""
for name in "${names[@]}"; do
  [ -n "$name" ] || continue
  work="$build/fuzz/$name"
  mkdir -p "$work/corpus" "$work/artifacts"
  log="$work/last.log"
  set +e
  "$build/tests/fuzz/${name}_fuzz" -max_total_time="$seconds" -max_len=65536 -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$work/artifacts/" -print_final_stats=1 "$work/corpus" "$here/seeds/$name" >"$log" 2>&1
  status=$?
  set -e
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  took=$(sed -n 's/^#[0-9]*[[:space:]]*DONE.*exec\/s: *\([0-9]*\).*/\1/p' "$log" | tail -n 1)
  line="$name: ${runs:-0} runs, ${took:-?} exec/s, exit status $status"
  echo "$line"
  summary+="$line"$'\n'
  if [ "$status" -ne 0 ]; then
    failed=1
    tail -n 40 "$log"
  fi
done
printf '%s' "$summary" > "$build/fuzz/summary.txt"
exit "$failed"
