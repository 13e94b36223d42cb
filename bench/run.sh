#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-2.0-or-later
# Runs the benchmarks against the build in $1 (default build/) and prints their
# tables. Timings are only meaningful on a quiet machine.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
work="$build/bench-work"

cmake --build "$build" --target gs_resample_bench
cmake --build "$build" --target glimmerstroll gs_bench_show >/dev/null
# The other benchmarks exist only in builds that have their parts.
others=(gs_picture_load_bench gs_refresh_bench)
for target in "${others[@]}"; do
  cmake --build "$build" --target "$target" >/dev/null 2>&1 || true
done

if command -v uptime >/dev/null; then echo "load: $(uptime | sed 's/.*load average: //')"; fi
"$build/bench/gs_resample_bench" --work "$work"
for program in "${others[@]}"; do
  if [ -x "$build/bench/$program" ]; then
    echo
    "$build/bench/$program" --work "$work" || echo "$program failed"
  fi
done

# End to end against ffmpeg, OpenCV and Pillow on a real photograph (Debian's
# python3 with its numpy, OpenCV and Pillow packages).
echo
/usr/bin/python3 bench/endtoend.py "$build" --work "$work/endtoend" || echo "endtoend failed"
