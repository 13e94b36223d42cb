#!/usr/bin/env bash
# Runs the show block fuzz target (CDoc::LoadShow) for a bounded time, seeded
# with shows of both byte orders. Fails on any finding.
#   tests/show/run_fuzz.sh BUILD_DIR [SECONDS]
set -euo pipefail
build=${1:?build folder}
seconds=${2:-20}
here=$(cd "$(dirname "$0")" && pwd)

work="$build/show-fuzz"
mkdir -p "$work/corpus" "$work/artifacts"
python3 "$here/make_show_seeds.py" "$work/seed"

export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
set +e
"$build/tests/show/show_fuzz" -max_total_time="$seconds" -max_len=4096 -timeout=10 \
  -artifact_prefix="$work/artifacts/" -print_final_stats=1 "$work/corpus" "$work/seed" 2>&1 | tail -n 25
status=${PIPESTATUS[0]}
set -e
echo "show_fuzz: exit status $status"
exit "$status"
