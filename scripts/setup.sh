#!/usr/bin/env bash
# Installs what the build needs (Debian packages) when it is missing, then
# configures and builds the project incrementally in build/ (or $HXL_BUILD_DIR).
#   scripts/setup.sh [--sanitize] [cmake target...]
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

packages=(build-essential cmake pkg-config qtbase5-dev qtbase5-dev-tools qtbase5-private-dev
          libopencv-core-dev libopencv-imgproc-dev libopencv-imgcodecs-dev
          libopencv-videoio-dev libaravis-dev aravis-tools aravis-tools-cli libusb-1.0-0-dev
          xvfb xauth fonts-dejavu-core libbenchmark-dev valgrind
          clang libclang-rt-14-dev)

"$here/scripts/install_packages.sh" "${packages[@]}"

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
