#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-2.0-or-later
# The editor end to end, as a new user drives it: `glimmerstroll edit` on a new
# show under Xvfb with GTK, load a picture through the file dialog, zoom and
# move the camera on the stage, go to 5 seconds on the timeline and frame
# something else there, play in the viewer and stop, apply and close; then
# `glimmerstroll render` of the saved show must show the camera moving. Then
# the show is opened again and the camera dragged down and let go over the
# timeline: the key must follow the pointer all the same. On the way the menus,
# a question box and the stage at scale 1 and 2 (GDK_SCALE=2) are kept as
# screenshots for looking at: plain action items, whole titles, smooth lines.
#
#   editor_e2e.sh BIN_DIR ARTEFACT_DIR
#
# A screenshot of every step is kept in ARTEFACT_DIR. Exit 77: Xvfb, xdotool
# or ImageMagick is missing (the test is skipped).
set -euo pipefail

bin="$1"
art="$2"
for tool in Xvfb xdotool import convert python3; do
    command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done

rm -rf "$art"
mkdir -p "$art"
work="$(mktemp -d)"
xvfb_pid=""
wm_pid=""
edit_pid=""
cleanup() {
    [ -n "$edit_pid" ] && kill "$edit_pid" 2>/dev/null || true
    [ -n "$wm_pid" ] && kill "$wm_pid" 2>/dev/null || true
    [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "FAIL: $*" >&2
    shot "failure" || true
    [ -f "$work/edit.log" ] && grep -v dconf "$work/edit.log" | tail -20 >&2
    exit 1
}

# ---- a display of our own --------------------------------------------------------------
fifo="$work/display"
mkfifo "$fifo"
Xvfb -displayfd 5 -screen 0 1280x900x24 -nolisten tcp 5>"$fifo" >/dev/null 2>&1 &
xvfb_pid=$!
read -r -t 20 number <"$fifo" || fail "Xvfb did not start"
export DISPLAY=":$number"
# A home of its own: no recent files, nothing for the file dialog to complete
# but the picture.
export HOME="$work" XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" XDG_CACHE_HOME="$work/cache"
export GSETTINGS_BACKEND=memory NO_AT_BRIDGE=1 GDK_BACKEND=x11 GLIMMERSTROLL_PLATFORM=gtk
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME"
# A window manager, as a user has one: title bars (the boxes' titles show in
# the screenshots) and focus. Without one the test still runs.
if command -v openbox >/dev/null; then
    openbox --sm-disable >/dev/null 2>&1 &
    wm_pid=$!
    sleep 1
fi

step=0
shot() {
    step=$((step + 1))
    import -window root "$art/$(printf '%02d' "$step")-$1.png"
}

# The box around the pixels of colour RRGGBB (each channel within 40) on the
# screen, within an optional box x0 y0 x1 y1: prints "left top right bottom"
# (inclusive), or nothing.
find_colour() {
    import -window root -depth 8 "$work/screen.ppm"
    python3 - "$work/screen.ppm" "$@" <<'EOF'
import sys
data = open(sys.argv[1], 'rb').read()
fields, pos = [], 0
while len(fields) < 4:
    while data[pos:pos + 1].isspace(): pos += 1
    if data[pos:pos + 1] == b'#':
        pos = data.index(b'\n', pos)
        continue
    end = pos
    while not data[end:end + 1].isspace(): end += 1
    fields.append(data[pos:end]); pos = end
pos += 1
w, h = int(fields[1]), int(fields[2])
want = bytes.fromhex(sys.argv[2])
x0, y0, x1, y1 = [int(v) for v in sys.argv[3:7]] if len(sys.argv) > 3 else [0, 0, w, h]
box = None
for y in range(max(y0, 0), min(y1, h)):
    row = data[pos + 3 * w * y: pos + 3 * w * (y + 1)]
    for x in range(max(x0, 0), min(x1, w)):
        p = row[3 * x: 3 * x + 3]
        if all(abs(p[i] - want[i]) <= 40 for i in range(3)):
            box = [x, y, x, y] if box is None else [min(box[0], x), min(box[1], y), max(box[2], x), y]
if box: print(*box)
EOF
}

# A drag with the primary button, in small steps so that every move arrives.
drag() {
    local x0=$1 y0=$2 x1=$3 y1=$4
    xdotool mousemove "$x0" "$y0" mousedown 1
    for i in 1 2 3 4 5; do
        xdotool mousemove $((x0 + (x1 - x0) * i / 5)) $((y0 + (y1 - y0) * i / 5))
        sleep 0.1
    done
    xdotool mouseup 1
    sleep 0.7
}

# ---- the picture: a gradient with a circle, a square and a triangle, and a
# ---- pure green marker 40 pixels in from its top-left corner ---------------------------------------------
convert -size 1600x1200 gradient:'#e01010'-'#1010e0' \
    -fill '#eeeeee' -draw 'circle 400,300 400,200' \
    -fill '#e8e810' -draw 'rectangle 1000,700 1300,1000' \
    -fill '#108010' -draw 'polygon 200,1100 600,700 900,1100' \
    -fill '#00ff00' -draw 'rectangle 40,40 119,119' \
    BMP3:"$work/picture.bmp"

# ---- start the editor on a new show --------------------------------------------------------
"$bin/glimmerstroll" edit "$work/show.gsx" >"$work/edit.log" 2>&1 &
edit_pid=$!
xdotool search --sync --onlyvisible --name 'show.gsx - Glimmerstroll' >/dev/null || fail "no editor window"
xdotool search --sync --onlyvisible --name '^Viewer$' >/dev/null || fail "no viewer"
sleep 1
shot "start"

# ---- File > Load Picture (command-E), typing the path into the file chooser ------------------
# (The window manager may not have given the editor the focus yet: ask again.)
for attempt in 1 2 3; do
    xdotool search --onlyvisible --name 'show.gsx - Glimmerstroll' windowactivate --sync >/dev/null 2>&1 || true
    xdotool key ctrl+e
    sleep 1.5
    xdotool search --onlyvisible --name '^Open$' >/dev/null && break
done
xdotool search --onlyvisible --name '^Open$' >/dev/null || fail "no file dialog"
sleep 0.5
xdotool key ctrl+l
sleep 0.3
xdotool type --delay 60 "~/"
sleep 0.5
xdotool type --delay 60 "picture.bmp"
sleep 0.7
shot "open-dialog"
# The chooser's "Open" button sits in its lower right corner.
eval "$(xdotool search --onlyvisible --name '^Open$' getwindowgeometry --shell | grep -E '^(X|Y|WIDTH|HEIGHT)=')"
for attempt in 1 2 3; do
    xdotool key Return
    sleep 1.5
    xdotool search --onlyvisible --name '^Open$' >/dev/null || break
    xdotool mousemove $((X + WIDTH - 50)) $((Y + HEIGHT - 24)) click 1
    sleep 1.5
    xdotool search --onlyvisible --name '^Open$' >/dev/null || break
done
sleep 1
shot "picture-loaded"

# The stage shows the picture at 50 %: the green marker's top-left corner lies
# 20 pixels right of and below the picture's.
read -r gx gy _ _ <<<"$(find_colour 00ff00 0 0 640 450)" || true
[ -n "${gy:-}" ] || fail "the picture is not on the stage"
px=$((gx - 20))
py=$((gy - 20))
echo "picture at $px,$py"
# The loaded picture's camera covers all of it: 800 x 600 stage pixels.

# ---- frame 0: zoom to half the width by the lower right corner, then move up-left -----------
drag $((px + 795)) $((py + 595)) $((px + 600)) $((py + 450))
shot "zoomed"
drag $((px + 400)) $((py + 300)) $((px + 280)) $((py + 200))
shot "moved"

# ---- the timeline: the cyan segment's top edge is 14 pixels into the window; frame f is
# ---- 60 f / 25 + 4 pixels from its left (25 frames per 60 pixels at the tool's 25 fps),
# ---- which is the stage's left -------------------------------------------------------------
read -r _ sy _ _ <<<"$(find_colour 00ffff 600 $((py + 600)) 1280 900)" || true
[ -n "${sy:-}" ] || fail "no timeline"
tl_x=$((px))
tl_y=$((sy - 15))
xdotool mousemove $((tl_x + 60 * 150 / 25 + 5)) $((tl_y + 45)) click 1
sleep 1
shot "timeline-frame-150"

# ---- frame 150: the camera onto the yellow square, then zoomed in further ------------------
drag $((px + 280)) $((py + 200)) $((px + 575)) $((py + 425))
drag $((px + 770)) $((py + 570)) $((px + 675)) $((py + 500))
shot "second-key"

# ---- back to frame 0 and play with the viewer's play button; any key stops -----------------
xdotool mousemove $((tl_x + 4)) $((tl_y + 45)) click 1
sleep 1
eval "$(xdotool search --onlyvisible --name '^Viewer$' getwindowgeometry --shell | grep -E '^(X|Y|WIDTH|HEIGHT)=')"
xdotool mousemove $((X + 4 + 2 * 22 + 9)) $((Y + HEIGHT - 13)) click 1
sleep 2.5
shot "playing"
xdotool key k
sleep 1
shot "stopped"

# ---- every menu, opened on its title in the menu bar (just above the stage): options
# ---- carry check marks, actions are plain -------------------------------------------------
eval "$(xdotool search --onlyvisible --name 'show.gsx - Glimmerstroll' getwindowgeometry --shell | grep -E '^(X|Y)=')"
menu_y=$(( (Y + py) / 2 - 6 ))
xdotool mousemove $((X + 18)) "$menu_y" click 1
sleep 0.6
for menu in file:18 edit:58 options:112 render:176 view:231 help:278; do
    xdotool mousemove $((X + ${menu#*:})) "$menu_y"
    sleep 0.6
    shot "menu-${menu%%:*}"
done
xdotool key Escape
sleep 0.5

# ---- a question box with its whole title: New Show on the changed show, answered No -------
xdotool key ctrl+n
sleep 1.5
shot "question-new-show"
xdotool key Escape
sleep 0.7

# ---- Apply Moves and Close (command-Q): the show is written, the editor ends with 0 ---------
xdotool key ctrl+q
for i in $(seq 1 50); do
    kill -0 "$edit_pid" 2>/dev/null || break
    sleep 0.2
done
kill -0 "$edit_pid" 2>/dev/null && fail "the editor did not close"
status=0
wait "$edit_pid" || status=$?
edit_pid=""
[ "$status" -eq 0 ] || fail "the editor ended with $status"
[ -s "$work/show.gsx" ] || fail "no show was saved"

"$bin/glimmerstroll" info "$work/show.gsx" | tee "$art/show-info.txt"
keys=$(awk '$1 ~ /^[0-9]+$/ && $2 ~ /:/ {print $3}' "$art/show-info.txt" | tr '\n' ' ')
[ "$keys" = "0 150 " ] || fail "keys at frames: $keys (wanted 0 and 150)"

# ---- render the show: frame 0 sees the circle, frame 150 the square ------------------------
mkdir -p "$work/frames"
"$bin/glimmerstroll" render "$work/show.gsx" -o "$work/frames/f_%04d.png" --size 320x240 --fps 25 \
    --frames 0-150 -q || fail "render failed"
for f in 0000 0075 0150; do
    cp "$work/frames/f_$f.png" "$art/render-$f.png"
    convert "$work/frames/f_$f.png" "$work/frames/f_$f.ppm"
done
python3 - "$work/frames" <<'EOF' || fail "the rendered camera does not move as keyed"
import sys, os
def load(path):
    data = open(path, 'rb').read()
    parts = data.split(maxsplit=4)
    w, h = int(parts[1]), int(parts[2])
    return w, h, parts[4][-3 * w * h:]
def share(pixels, test):
    n = len(pixels) // 3
    return sum(1 for i in range(0, len(pixels), 3) if test(pixels[i], pixels[i + 1], pixels[i + 2])) / n
white = lambda r, g, b: r > 200 and g > 200 and b > 200
yellow = lambda r, g, b: r > 200 and g > 200 and b < 80
_, _, first = load(os.path.join(sys.argv[1], 'f_0000.ppm'))
_, _, last = load(os.path.join(sys.argv[1], 'f_0150.ppm'))
print('frame 0: white %.2f yellow %.2f; frame 150: white %.2f yellow %.2f' %
      (share(first, white), share(first, yellow), share(last, white), share(last, yellow)))
assert share(first, white) > 0.05 and share(first, yellow) < 0.01
assert share(last, yellow) > 0.5 and share(last, white) < 0.01
EOF
# ---- open the show again; at frame 0 drag the camera from its centre down and let go over
# ---- the timeline: the stage keeps the drag and the key follows the pointer ------------------
start_editor() {
    "$bin/glimmerstroll" edit "$work/show.gsx" >"$work/edit.log" 2>&1 &
    edit_pid=$!
    xdotool search --sync --onlyvisible --name 'show.gsx - Glimmerstroll' >/dev/null || fail "no editor window"
    xdotool search --sync --onlyvisible --name '^Viewer$' >/dev/null || fail "no viewer"
    sleep 1.5
}
apply_and_close() {
    xdotool key ctrl+q
    for i in $(seq 1 50); do
        kill -0 "$edit_pid" 2>/dev/null || break
        sleep 0.2
    done
    kill -0 "$edit_pid" 2>/dev/null && fail "the editor did not close"
    status=0
    wait "$edit_pid" || status=$?
    edit_pid=""
    [ "$status" -eq 0 ] || fail "the editor ended with $status"
}
key0() {  # the first key's horizontal and vertical position in the saved show
    python3 - "$work/show.gsx" <<'EOF'
import struct, sys
data = open(sys.argv[1], 'rb').read()
x, _, y = struct.unpack_from('<3f', data, 274)
print(round(x), round(y))
EOF
}
# ---- the editor at scale 2: twice as large and as sharp ---------------------------------------
export GDK_SCALE=2
start_editor
shot "stage-scale-2"
apply_and_close
unset GDK_SCALE

start_editor
shot "reopened"
read -r x_before y_before <<<"$(key0)"
xdotool mousemove $((px + 280)) $((py + 200)) mousedown 1
for i in 1 2 3 4 5 6; do
    xdotool mousemove $((px + 280)) $((py + 200 + (tl_y + 45 - py - 200) * i / 6))
    sleep 0.15
done
xdotool mouseup 1
sleep 0.8
shot "released-over-timeline"
apply_and_close
read -r x_after y_after <<<"$(key0)"
want_y=$(( (tl_y + 45 - py) * 2 ))
echo "key 0 from $x_before,$y_before to $x_after,$y_after (wanted about $x_before,$want_y)"
[ $(( x_after - x_before )) -ge -3 ] && [ $(( x_after - x_before )) -le 3 ] || fail "the drag moved sideways"
[ $(( y_after - want_y )) -ge -4 ] && [ $(( y_after - want_y )) -le 4 ] \
    || fail "a drag let go over the timeline lost its key: $y_after, wanted $want_y"

echo "editor end to end: passed; screenshots in $art"
