#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-2.0-or-later
# Puts the licence's SPDX line at the top of every source and build file that
# has none (C++ and C sources, CMake files, shell and Python scripts, Makefiles),
# after a script's #! line. Files that already carry one are left alone, so it
# can run again at any time. Run from anywhere in the tree:
#   scripts/add-spdx.sh          adds the lines
#   scripts/add-spdx.sh --check  lists the files that lack one, exit 1 if any
set -euo pipefail
licence="GPL-2.0-or-later"
check=false
case "${1:-}" in
  "") ;;
  --check) check=true ;;
  *) echo "usage: add-spdx.sh [--check]" >&2; exit 2 ;;
esac
cd "$(git -C "$(dirname "$0")" rev-parse --show-toplevel)"

# The comment that starts a line in each kind of file; nothing for others.
comment_for() {
  case "$1" in
    debian/*) ;;
    *.cpp | *.h | *.hpp | *.c | *.cc) echo "//" ;;
    *.cmake | */CMakeLists.txt | CMakeLists.txt | *.sh | *.py | *.bash | Makefile | */Makefile) echo "#" ;;
    *) if head -c 2 "$1" | grep -q '^#!'; then echo "#"; fi ;;
  esac
}

lacking=0
while IFS= read -r -d '' file; do
  [ -f "$file" ] || continue
  mark=$(comment_for "$file")
  [ -n "$mark" ] || continue
  head -n 5 "$file" | grep -q 'SPDX-License-Identifier:' && continue
  lacking=$((lacking + 1))
  if $check; then
    echo "$file"
    continue
  fi
  line="$mark SPDX-License-Identifier: $licence"
  tmp=$(mktemp)
  if head -n 1 "$file" | grep -q '^#!'; then
    { head -n 1 "$file"; echo "$line"; tail -n +2 "$file"; } >"$tmp"
  else
    { echo "$line"; cat "$file"; } >"$tmp"
  fi
  cat "$tmp" >"$file"  # keeps the file's mode
  rm -f "$tmp"
done < <(git ls-files -z --cached --others --exclude-standard)

if $check; then
  [ "$lacking" -eq 0 ] || { echo "$lacking files lack an SPDX line" >&2; exit 1; }
else
  echo "add-spdx: $lacking files given an SPDX line"
fi
