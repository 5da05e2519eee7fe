#!/usr/bin/env bash
# Builds and starts the demo host (simulated machine and camera). Options are
# passed to the demo (see: scripts/run_demo.sh --help). Without a display the
# demo runs headless and writes a picture of its window instead.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$here/scripts/setup.sh" camera_host >/dev/null
demo="${HXL_BUILD_DIR:-$here/build}/bin/camera_host"

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  exec "$demo" "$@"
fi

png="${HXL_DEMO_PNG:-$here/build/camera_host.png}"
echo "run_demo: no display found (DISPLAY and WAYLAND_DISPLAY are unset): running the demo headless."
# The picture shows the live panel and a photo the panel placed on the drawing.
QT_QPA_PLATFORM=offscreen "$demo" --headless "$png" --frames 30 --snapshot "$@"
