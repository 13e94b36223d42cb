#!/usr/bin/env bash
# Runs the benchmarks against the build in $1 (default build/) and prints their
# tables. Timings are only meaningful on a quiet machine.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"

cmake --build "$build" --target gs_resample_bench
if command -v uptime >/dev/null; then echo "load: $(uptime | sed 's/.*load average: //')"; fi
"$build/bench/gs_resample_bench" --work "$build/bench-work"
