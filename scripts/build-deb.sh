#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-2.0-or-later
# Builds the Debian package: scripts/build-deb.sh OUT_DIR [BUILD_DIR]
# A copy of the source tree (the files git knows, committed or not) is built
# with dpkg-buildpackage in OUT_DIR/src; glimmerstroll_*.deb lands in OUT_DIR.
# With BUILD_DIR, that existing build is packaged instead of compiling again
# (see debian/rules).
set -euo pipefail
if [ $# -lt 1 ] || [ $# -gt 2 ]; then
  echo "usage: build-deb.sh OUT_DIR [BUILD_DIR]" >&2
  exit 2
fi
top=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$1"
out=$(cd "$1" && pwd)
prebuilt=""
if [ $# -eq 2 ]; then prebuilt=$(cd "$2" && pwd); fi

rm -rf "$out/src" "$out"/glimmerstroll_*
mkdir "$out/src"
if git -C "$top" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  (cd "$top" && git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$out/src" 2>/dev/null || true)
else
  tar -C "$top" --exclude='./build*' --exclude='./out' -cf - . | tar -C "$out/src" -xf -
fi
test -f "$out/src/debian/rules"

cd "$out/src"
GS_PREBUILT="$prebuilt" dpkg-buildpackage -b --no-sign
ls "$out"/glimmerstroll_*.deb
