#!/usr/bin/env bash
# Installs what the build needs (Debian packages) when it is missing, then
# configures and builds the project incrementally in build/ (or $HXL_BUILD_DIR).
#   scripts/setup.sh [--sanitize] [cmake target...]
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

packages=(build-essential cmake pkg-config qtbase5-dev qtbase5-dev-tools qtbase5-private-dev
          libopencv-core-dev libopencv-imgproc-dev libopencv-imgcodecs-dev
          libopencv-videoio-dev libaravis-dev aravis-tools aravis-tools-cli libusb-1.0-0-dev
          xvfb xauth fonts-dejavu-core libbenchmark-dev valgrind)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo=""
  if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || { echo "setup: need root or sudo to install: ${missing[*]}" >&2; exit 1; }
    sudo="sudo"
  fi
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

sanitize=OFF
build_dir="${HXL_BUILD_DIR:-$here/build}"
if [ "${1:-}" = "--sanitize" ]; then
  sanitize=ON
  build_dir="${HXL_BUILD_DIR:-$here/build-sanitize}"
  shift
fi

if [ ! -f "$build_dir/CMakeCache.txt" ]; then
  cmake -S "$here" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHXL_SANITIZE=$sanitize >/dev/null
fi
targets=()
for t in "$@"; do targets+=(--target "$t"); done
cmake --build "$build_dir" -j"$(nproc)" "${targets[@]}"
