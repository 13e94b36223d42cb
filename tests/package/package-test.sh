#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-2.0-or-later
# package-test.sh SOURCE_DIR BUILD_DIR
# Packages BUILD_DIR with dpkg-buildpackage (debian/rules installs that build
# rather than compiling again), checks the package with lintian, unpacks it
# with `dpkg -x` into a throw-away root and runs what it installed from there,
# with no build tree, no FREI0R_PATH and no LD_LIBRARY_PATH:
#  - the tool renders a show to a video;
#  - the frei0r source and filter under ffmpeg and melt give the tool's frames;
#    the hosts find them through ~/.frei0r-1/lib (a link to the root's
#    usr/lib/frei0r-1), one of their default folders, and the test checks that
#    usr/lib/frei0r-1, where the package puts them, is another;
#  - the tool, the plug-ins and the effect module link no OpenImageIO, and
#    read a PNG picture through the codec module all the same;
#  - the portable plug-ins load no OpenImageIO and render under melt;
#  - man glimmerstroll-render shows every option of `glimmerstroll render --help`;
#  - xdg-mime names the show type of a .gsx file (and of a show without the
#    extension, by its first bytes) after update-mime-database on the root;
#  - the desktop entry validates, the thumbnailer writes a PNG, and bash
#    completion offers the subcommands.
# Exit 77 (skipped) when the packaging tools are missing.
set -euo pipefail
src=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)
for tool in dpkg-buildpackage dh lintian ffmpeg; do
  if ! command -v "$tool" >/dev/null; then
    echo "package test skipped: $tool is not installed (make deps-test)"
    exit 77
  fi
done

work=$(mktemp -d "${TMPDIR:-/tmp}/glimmerstroll-package.XXXXXX")
trap 'rm -rf "$work"' EXIT
fail() {
  echo "FAILED: $*" >&2
  exit 1
}
step() { echo "== $*"; }

step "dpkg-buildpackage (from $build)"
start=$SECONDS
bash "$src/scripts/build-deb.sh" "$work/deb" "$build" >"$work/build.log" 2>&1 || {
  tail -40 "$work/build.log"
  fail "dpkg-buildpackage"
}
deb=$(ls "$work"/deb/glimmerstroll_*.deb)
echo "$(basename "$deb") in $((SECONDS - start)) s"
dpkg-deb -f "$deb" Depends

step "lintian"
lintian --fail-on error --tag-display-limit 0 "$deb" | tee "$work/lintian.log" || fail "lintian reports errors"

step "unpack into a throw-away root"
root=$work/root
dpkg -x "$deb" "$root"
unset FREI0R_PATH LD_LIBRARY_PATH
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config
mkdir -p "$HOME/.frei0r-1"
ln -s "$root/usr/lib/frei0r-1" "$HOME/.frei0r-1/lib"
bin=$root/usr/bin
for f in usr/bin/glimmerstroll usr/bin/glimmerstroll-edit usr/lib/frei0r-1/glimmerstroll.so \
  usr/lib/frei0r-1/glimmerstroll_filter.so usr/lib/glimmerstroll/Glimmerstroll.so \
  usr/share/man/man1/glimmerstroll.1.gz usr/share/applications/glimmerstroll.desktop \
  usr/share/mime/packages/glimmerstroll.xml usr/share/icons/hicolor/scalable/apps/glimmerstroll.svg \
  usr/share/thumbnailers/glimmerstroll.thumbnailer usr/share/bash-completion/completions/glimmerstroll \
  usr/share/doc/glimmerstroll/copyright usr/share/doc/glimmerstroll/README.md; do
  [ -e "$root/$f" ] || fail "the package has no $f"
done
# Nothing installed may lean on the build tree.
for f in "$bin"/* "$root"/usr/lib/frei0r-1/*.so "$root"/usr/lib/glimmerstroll/*.so; do
  if ldd "$f" | grep -e "$build" -e "not found"; then fail "$f needs the build tree or a missing library"; fi
done
# Debian's ffmpeg and MLT look in /usr/lib/frei0r-1 by default.
grep -q -a /usr/lib/frei0r-1/ /usr/lib/*/libavfilter.so.* || fail "ffmpeg does not look in /usr/lib/frei0r-1"
if command -v melt >/dev/null; then
  grep -q -a /usr/lib/frei0r-1 /usr/lib/*/mlt-7/libmltfrei0r.so || fail "MLT does not look in /usr/lib/frei0r-1"
fi

step "the installed tool"
cd "$work"
"$bin/glimmerstroll" --version
"$bin/glimmerstroll" demo -y -o "$work/demo.mp4" --size 160x90 --quiet
"$bin/glimmerstroll" render demo.gsx -o "$work/show.mp4" --size 160x90 --frames 0-24 --quiet
frames=$(ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 show.mp4)
[ "$frames" = 25 ] || fail "show.mp4 has $frames frames, not 25"
"$bin/glimmerstroll" render demo.gsx -o - --size 160x90 --frames 0-24 --quiet >tool.rgba
[ "$(stat -c %s tool.rgba)" = $((160 * 90 * 4 * 25)) ] || fail "raw frames of the tool"

step "pictures through the codec module"
# OpenImageIO lives in the codec module, loaded for the pictures that need it:
# nothing of the render path links it, and PNG pictures still load.
[ -e "$root/usr/lib/glimmerstroll/glimmerstroll-codecs.so" ] || fail "the package has no codec module"
for f in "$bin/glimmerstroll" "$root"/usr/lib/frei0r-1/*.so "$root/usr/lib/glimmerstroll/Glimmerstroll.so"; do
  if readelf -d "$f" | grep NEEDED | grep -i OpenImageIO; then fail "$f links OpenImageIO"; fi
done
ffmpeg -v error -y -f lavfi -i testsrc=size=200x120 -frames:v 1 picture.png
"$bin/glimmerstroll" new picture.png -o png.gsx --move zoom-in >/dev/null
"$bin/glimmerstroll" render png.gsx -o - --size 160x90 --frames 0-4 --quiet >png-tool.rgba 2>png-tool.err
[ ! -s png-tool.err ] || fail "the tool on a PNG picture: $(cat png-tool.err)"
ffmpeg -v error -y -f lavfi -i "frei0r_src=size=160x90:framerate=25:filter_name=glimmerstroll:filter_params=$work/png.gsx|25" \
  -frames:v 5 -f rawvideo -pix_fmt rgba png-ffmpeg.rgba
cmp png-tool.rgba png-ffmpeg.rgba || fail "ffmpeg's frei0r_src differs from the tool on a PNG picture"

step "the plug-ins under ffmpeg and melt"
ffmpeg -v error -y -f lavfi -i "frei0r_src=size=160x90:framerate=25:filter_name=glimmerstroll:filter_params=$work/demo.gsx|25" \
  -frames:v 25 -f rawvideo -pix_fmt rgba ffmpeg-source.rgba
cmp tool.rgba ffmpeg-source.rgba || fail "ffmpeg's frei0r_src differs from the tool"
# The filter over the show's picture scaled to the frame: the camera moves
# over it, so its frames are not the input's (a filter that fails passes the
# input through).
filter_over_picture() {  # filter_over_picture OUT [FILTER]
  ffmpeg -v error -y -loop 1 -framerate 25 -i demo-picture.tga -vf "scale=160:90,format=rgba${2:+,$2}" \
    -frames:v 25 -f rawvideo -pix_fmt rgba "$1"
}
filter_over_picture input.rgba
filter_over_picture ffmpeg-filter.rgba "frei0r=filter_name=glimmerstroll_filter:filter_params=$work/demo.gsx|25"
[ "$(stat -c %s ffmpeg-filter.rgba)" = $((160 * 90 * 4 * 25)) ] || fail "ffmpeg's frei0r filter"
if cmp -s input.rgba ffmpeg-filter.rgba; then fail "ffmpeg's frei0r filter passed its input through"; fi
melt_raw() {  # melt_raw OUT PRODUCER...; one render thread, 160x90 at 25 fps
  local out=$1
  shift
  printf 'description=test\nframe_rate_num=25\nframe_rate_den=1\nwidth=160\nheight=90\nprogressive=1\n%s\n' \
    'sample_aspect_num=1 sample_aspect_den=1 display_aspect_num=16 display_aspect_den=9 colorspace=709' |
    tr ' ' '\n' >profile
  melt -silent -profile profile "$@" -consumer "avformat:$out" f=rawvideo vcodec=rawvideo pix_fmt=rgba an=1 real_time=-1
}
if command -v melt >/dev/null; then
  melt_raw melt-source.rgba frei0r.glimmerstroll show="$work/demo.gsx" fps=25 out=24
  cmp tool.rgba melt-source.rgba || fail "melt's frei0r.glimmerstroll differs from the tool"
  melt -query filter=frei0r.glimmerstroll_filter >query.txt 2>&1
  grep -q "fps" query.txt || fail "melt -query lists no fps"
fi
# (A build configured without them has none to package.)
if command -v melt >/dev/null && [ -d "$build/frei0r-1-portable" ]; then
  step "the portable plug-ins"
  rm "$HOME/.frei0r-1/lib"
  ln -s "$root/usr/lib/glimmerstroll/frei0r-1-portable" "$HOME/.frei0r-1/lib"
  for f in "$HOME"/.frei0r-1/lib/*.so; do
    if ldd "$f" | grep -i -e OpenImageIO -e 'libstdc++'; then fail "$f loads OpenImageIO or the C++ runtime"; fi
  done
  melt_raw melt-portable.rgba frei0r.glimmerstroll show="$work/demo.gsx" fps=25 out=24
  cmp tool.rgba melt-portable.rgba || fail "the portable source differs from the tool"
fi

step "man pages"
export MANPATH=$root/usr/share/man MANWIDTH=200
man glimmerstroll-render >man.txt 2>/dev/null
options=$("$bin/glimmerstroll" render --help | grep -o -e '--[a-z-]*' | sort -u)
for o in $options; do
  grep -q -e "$o" man.txt || fail "man glimmerstroll-render lacks $o"
done
for command in $("$bin/glimmerstroll" --help | awk '/^Subcommands:/ {s = 1; next} s && NF {print $1}'); do
  man -w "glimmerstroll-$command" >/dev/null || fail "no man page for glimmerstroll $command"
done

step "MIME type, desktop entry, thumbnailer, completion"
export XDG_DATA_DIRS=$root/usr/share:/usr/share XDG_DATA_HOME=$work/data
update-mime-database "$root/usr/share/mime"
cp demo.gsx x.gsx
cp demo.gsx show-without-extension
for f in x.gsx show-without-extension; do
  type=$(XDG_CURRENT_DESKTOP=GNOME xdg-mime query filetype "$f")
  [ "$type" = application/x-glimmerstroll-show ] || fail "xdg-mime query filetype $f: $type"
done
desktop-file-validate "$root/usr/share/applications/glimmerstroll.desktop"
grep -q "^Exec=/usr/libexec/glimmerstroll/glimmerstroll-thumbnail %s %i %o" "$root/usr/share/thumbnailers/glimmerstroll.thumbnailer"
"$root/usr/libexec/glimmerstroll/glimmerstroll-thumbnail" 128 demo.gsx thumb
[ "$(head -c 8 thumb | od -An -tx1 | tr -d ' ')" = 89504e470d0a1a0a ] || fail "the thumbnail is no PNG"
completion=$(PATH=$bin:$PATH bash -c 'source /usr/share/bash-completion/bash_completion
  source "$1"; COMP_WORDS=(glimmerstroll r); COMP_CWORD=1; COMP_LINE="glimmerstroll r"; COMP_POINT=15
  _glimmerstroll glimmerstroll r glimmerstroll
  echo "${COMPREPLY[*]}"' - "$root/usr/share/bash-completion/completions/glimmerstroll")
[ "$completion" = render ] || fail "completion of 'glimmerstroll r': $completion"

echo "package test passed in $SECONDS s"
