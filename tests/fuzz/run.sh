#!/usr/bin/env bash
# Runs the picture reader fuzz target for a bounded time over a seed corpus of
# pictures written by ImageMagick, Pillow and ffmpeg. Fails on any finding.
#   tests/fuzz/run.sh BUILD_DIR [SECONDS]
set -euo pipefail
build=${1:?build folder}
seconds=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)

work="$build/fuzz"
rm -rf "$work/seed" "$work/generated"
mkdir -p "$work/seed" "$work/corpus" "$work/artifacts"
/usr/bin/python3 "$here/../imagefiles/make_pictures.py" "$work/generated"
# The pictures only, not the tools' decodings beside them.
find "$work/generated" -maxdepth 1 -type f \
  \( -name '*.bmp' -o -name '*.tga' -o -name '*.tif' -o -name '*.psd' -o -name '*.jpg' -o -name '*.png' -o -name '*.txt' \) \
  -exec cp {} "$work/seed/" \;

export ASAN_OPTIONS=detect_leaks=1:fast_unwind_on_malloc=0:malloc_context_size=30:allocator_may_return_null=1
export LSAN_OPTIONS=suppressions=$here/lsan.supp
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
set +e
"$build/tests/fuzz/picture_fuzz" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 \
  -artifact_prefix="$work/artifacts/" -print_final_stats=1 "$work/corpus" "$work/seed" 2>&1 \
  | grep -v '^libpng \(error\|warning\)' | tail -n 40
status=${PIPESTATUS[0]}
set -e
echo "picture_fuzz: exit status $status"
exit "$status"
