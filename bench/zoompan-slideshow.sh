#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-2.0-or-later
# The usual way to make a pan-and-zoom slideshow with ffmpeg alone, as found in
# countless scripts: one zoompan clip per photo (a slow zoom into the centre),
# then one pass that joins the clips with xfade cross-fades.
#   zoompan-slideshow.sh OUT.mp4 SECONDS FADE PHOTO...
set -euo pipefail
out="$1" seconds="$2" fade="$3"
shift 3
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
frames=$((seconds * 25))
i=0
for photo in "$@"; do
  ffmpeg -hide_banner -loglevel error -nostdin -y -loop 1 -i "$photo" \
    -vf "zoompan=z='min(zoom+0.0015,1.5)':x='iw/2-(iw/zoom/2)':y='ih/2-(ih/zoom/2)':d=$frames:s=1920x1080:fps=25,format=yuv420p" \
    -frames:v "$frames" -c:v libx264 -preset medium -crf 18 "$work/clip$i.mp4"
  i=$((i + 1))
done
inputs=() chain="" last="0:v" offset=0
for ((k = 0; k < i; k++)); do inputs+=(-i "$work/clip$k.mp4"); done
for ((k = 1; k < i; k++)); do
  offset=$((offset + seconds - fade))
  chain+="[$last][$k:v]xfade=transition=fade:duration=$fade:offset=$offset[v$k];"
  last="v$k"
done
ffmpeg -hide_banner -loglevel error -nostdin -y "${inputs[@]}" -filter_complex "${chain%;}" -map "[$last]" \
  -c:v libx264 -preset medium -crf 18 -pix_fmt yuv420p "$out"
