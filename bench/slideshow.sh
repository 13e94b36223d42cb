#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-2.0-or-later
# A 20-photo slideshow end to end, glimmerstroll against the usual ffmpeg
# script (zoompan-slideshow.sh): wall time, processor time and peak memory of
# each, and the smoothness of a slow move in both. Prints a Markdown table.
#   bench/slideshow.sh [BUILD_DIR] [PHOTO_FOLDER]
# The photos: JPEG photographs from PHOTO_FOLDER (default: those of Debian's
# lomiri-wallpapers-16.04, 15 MB of real photographs), 20 of them in name
# order (the list repeats when there are fewer); those under 20 megapixels are
# enlarged with ImageMagick (Lanczos) to 6000 pixels wide, so that every input
# is a 20+ megapixel JPEG.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
source_folder="${2:-}"
work="$build/bench-work/slideshow"
tool="$build/bin/glimmerstroll"
seconds=4 fade=1
mkdir -p "$work/photos"
cmake --build "$build" --target glimmerstroll >/dev/null

if [ -n "$source_folder" ]; then
  mapfile -t found < <(find "$source_folder" -maxdepth 2 -iname '*.jpg' -size +100k | sort)
else
  source_folder="lomiri-wallpapers-16.04"
  mapfile -t found < <(dpkg -L lomiri-wallpapers-16.04 2>/dev/null | grep -i '\.jpg$' | sort)
fi
if [ ${#found[@]} -eq 0 ]; then echo "no JPEG photos in $source_folder (apt install lomiri-wallpapers-16.04)" >&2; exit 1; fi
photos=()
for i in $(seq 0 19); do
  src="${found[$((i % ${#found[@]}))]}"
  dst="$work/photos/p$(printf %02d "$i").jpg"
  if [ ! -s "$dst" ]; then
    read -r w h < <(identify -format '%w %h\n' "$src[0]")
    if [ $((w * h)) -lt 20000000 ]; then
      # Portraits are enlarged to 6000 high, the others to 6000 wide.
      if [ "$h" -gt "$w" ]; then size="x6000"; else size="6000x"; fi
      convert "$src" -filter Lanczos -resize "$size" -quality 92 "$dst"
    else
      cp "$src" "$dst"
    fi
  fi
  photos+=("$dst")
done
read -r pw ph < <(identify -format '%w %h\n' "${photos[0]}")
echo "photos: ${#photos[@]} JPEGs from $source_folder, e.g. ${pw}x${ph} ($(( pw * ph / 1000000 )) MP)"
if command -v uptime >/dev/null; then echo "load: $(uptime | sed 's/.*load average: //')"; fi

# wall seconds, user + system seconds, peak resident megabytes (the largest
# process of the run, its ffmpeg children included).
measure() {
  local log="$work/time.log"
  /usr/bin/time -f '%e %U %S %M' -o "$log" "$@" >/dev/null
  awk '{printf "%.1f %.1f %.0f\n", $1, $2 + $3, $4 / 1024}' "$log"
}
read -r ow oc om < <(measure "$tool" slideshow "${photos[@]}" -o "$work/ours.mp4" --size 1920x1080 --fps 25 \
  --duration $seconds --transition crossfade --transition-duration $fade -y -q)
# The script runs one ffmpeg after another: time the whole, and take the
# largest peak of its processes.
read -r fw fc fm < <(measure bash bench/zoompan-slideshow.sh "$work/ffmpeg.mp4" $seconds $fade "${photos[@]}")
frames() { ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 "$1"; }

# Smoothness: a Gaussian dot (sigma 12 pixels) on grey in a 3840x2160 picture,
# off the centre; 10 s of a slow move over it in each.
/usr/bin/python3 - "$work/dot.pgm" <<'PY'
import sys, numpy as np
w, h = 3840, 2160
y, x = np.mgrid[0:h, 0:w]
img = 60 + 160 * np.exp(-((x - 1150.3) ** 2 + (y - 760.7) ** 2) / (2 * 12.0 ** 2))
with open(sys.argv[1], "wb") as f:
    f.write(b"P5 %d %d 255\n" % (w, h))
    f.write(np.clip(np.rint(img), 0, 255).astype(np.uint8).tobytes())
PY
convert "$work/dot.pgm" "$work/dot.png"
os=$("$tool" slideshow "$work/dot.png" -o - --size 1920x1080 --duration 10 -q | bench/track_dot.py 1920 1080 4 6)
fs=$(ffmpeg -hide_banner -loglevel error -nostdin -loop 1 -i "$work/dot.png" \
  -vf "zoompan=z='min(zoom+0.0015,1.5)':x='iw/2-(iw/zoom/2)':y='ih/2-(ih/zoom/2)':d=250:s=1920x1080:fps=25,format=gray" \
  -frames:v 250 -f rawvideo - | bench/track_dot.py 1920 1080 1 6)

echo
echo "| 20 photos -> 1080p25 H.264, ${seconds} s each, ${fade} s cross-fades | wall s | CPU s | peak MB | frames | smoothness |"
echo "|---|---|---|---|---|---|"
echo "| glimmerstroll slideshow | $ow | $oc | $om | $(frames "$work/ours.mp4") | ${os%% *} |"
echo "| ffmpeg zoompan + xfade script | $fw | $fc | $fm | $(frames "$work/ffmpeg.mp4") | ${fs%% *} |"
