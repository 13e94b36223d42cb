#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-2.0-or-later
# Installs the Debian packages Glimmerstroll needs, by role:
#   install-deps.sh          building and running: the tool, the editor, the plug-ins
#   install-deps.sh --test   that, and the test and benchmark tools and packaging (make test)
# Idempotent: only packages that are missing are installed, and it says which.
set -euo pipefail

# Building and running.
build=(
  # toolchain and build
  build-essential cmake ninja-build pkg-config
  # picture import through the platform importer; .png frames from the tool
  libopenimageio-dev
  # JPEG pictures decoded directly (libjpeg-turbo), without loading OpenImageIO
  libjpeg62-turbo-dev
  # the editor's window layer
  libgtk-3-dev libcairo2-dev libpango1.0-dev
  # the editor's text
  fonts-dejavu-core
  # the command-line tool and the frei0r plug-ins
  libcli11-dev frei0r-plugins-dev
  # the JSON form of shows (info --json, export, import)
  nlohmann-json3-dev
  # the portable plug-ins' picture decoder (stb_image, compiled in)
  libstb-dev
  # man pages from the tool's --help
  help2man
  # the tool writes videos through the ffmpeg program
  ffmpeg
  # the slideshow's faces and saliency (OpenCV: the tool only)
  libopencv-dev opencv-data
)

# Tests, benchmarks and the package test.
test=(
  # unit tests (GTest's CMake files name GoogleMock's libraries too)
  libgtest-dev libgmock-dev
  # the fuzz targets (clang's libFuzzer)
  clang libclang-rt-14-dev
  # real files and real hosts for the tests
  imagemagick python3-pil melt
  # the editor on a private X display, with a small window manager for title
  # bars and focus in the end-to-end test
  xvfb xdotool openbox
  # a real photo with a face (astronaut.png) for the slideshow's tests, and
  # real JPEG photographs for its README example and benchmark
  python3-skimage lomiri-wallpapers-16.04
  # the end-to-end benchmark: a real 6028x3391 JPEG photograph, and OpenCV and
  # numpy beside Pillow
  lomiri-wallpapers-20.04 python3-opencv python3-numpy
  # the benchmarks' wall and CPU seconds and peak memory (GNU time)
  time
  # the package: build, check, install into a throw-away tree
  debhelper dpkg-dev fakeroot lintian desktop-file-utils shared-mime-info xdg-utils libglib2.0-bin man-db
)

packages=("${build[@]}")
case "${1:-}" in
  "") ;;
  --test) packages+=("${test[@]}") ;;
  *) echo "usage: install-deps.sh [--test]" >&2; exit 2 ;;
esac

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q '^install ok installed$'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "install-deps: done"
