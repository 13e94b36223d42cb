#!/usr/bin/env bash
# Installs the Debian packages Glimmerstroll builds and tests with.
# Idempotent: only packages that are missing are installed, and it says which.
set -euo pipefail

packages=(
  # toolchain and build
  build-essential cmake ninja-build pkg-config clang libclang-rt-14-dev
  # unit tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev
  # picture import through the platform importer
  libopenimageio-dev openimageio-tools
  # the editor's window layer
  libgtk-3-dev libcairo2-dev libpango1.0-dev
  # the command-line tool and the frei0r plug-ins
  libcli11-dev frei0r-plugins-dev
  # real files and real hosts for the tests
  imagemagick python3-pil ffmpeg melt xvfb xauth xdotool x11-apps
  fonts-dejavu-core
  # the end-to-end benchmark: a real 6028x3391 JPEG photograph, and OpenCV and numpy beside Pillow
  lomiri-wallpapers-20.04 python3-opencv python3-numpy
)

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
