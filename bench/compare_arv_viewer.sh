#!/usr/bin/env bash
# CPU time per shown frame of the demo host (the camera panel's live view)
# beside Aravis's own viewer, arv-viewer-0.8, on the same fake GigE Vision
# camera in the same run: 1280 x 1024 at 25 frames a second in each pixel
# format asked for (default Mono8, RGB8 and Mono16), both drawing on the same
# Xvfb screen. The viewer shows every frame of the camera; the panel shows at
# most ten a second and converts only those. Target: the demo host at most a
# tenth of the viewer's figure.
#
#   bench/compare_arv_viewer.sh [SECONDS] [BUILD_DIR] [FORMATS]
#
# SECONDS: length of each measurement after a warm-up (default 30).
# BUILD_DIR: where camera_host was built (default build/).
# FORMATS: pixel formats, comma-separated (default Mono8,RGB8,Mono16).
# Installs what it needs with apt-get when run as root.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
seconds="${1:-30}"
build="${2:-$here/build}"
formats="${3:-Mono8,RGB8,Mono16}"
rate=25

die() { echo "compare_arv_viewer: $*" >&2; exit 1; }
[[ "$seconds" =~ ^[0-9]+$ ]] && (( seconds >= 5 )) || die "SECONDS must be a whole number of at least 5, not '$seconds'"
demo="$build/bin/camera_host"
[ -x "$demo" ] || die "no demo host at $demo (build it first: cmake --build $build --target camera_host)"
IFS=, read -r -a format_list <<<"$formats"
for f in "${format_list[@]}"; do
  [[ "$f" =~ ^(Mono8|Mono16|RGB8|BayerRG8|BayerGR8|BayerGB8|BayerBG8)$ ]] \
    || die "FORMATS: '$f' is not a format the fake camera offers (Mono8, Mono16, RGB8, BayerRG8, BayerGR8, BayerGB8, BayerBG8)"
done

# arv-viewer draws through GStreamer (videoflip, a video sink); xdotool
# presses its buttons.
packages=(aravis-tools xvfb xdotool gstreamer1.0-plugins-base gstreamer1.0-plugins-good
          gstreamer1.0-gtk3 gstreamer1.0-x)
missing=()
for p in "${packages[@]}"; do dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p"); done
if (( ${#missing[@]} )); then
  [ "$(id -u)" = 0 ] || die "missing packages: ${missing[*]} (apt-get install them)"
  apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
fi

tmp="$(mktemp -d)"
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$tmp"
}
trap cleanup EXIT

# A free display.
n=90
while [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ]; do n=$((n + 1)); done
export DISPLAY=":$n"
Xvfb "$DISPLAY" -screen 0 1920x1080x24 -nolisten tcp >"$tmp/xvfb.log" 2>&1 &
xvfb=$!
pids+=($xvfb)
# Clients started before the server listens fail at once: wait until it answers.
up=0
for _ in $(seq 100); do
  kill -0 "$xvfb" 2>/dev/null || die "Xvfb on $DISPLAY ended at once: $(tail -1 "$tmp/xvfb.log")"
  if xdotool getdisplaygeometry >/dev/null 2>&1; then up=1; break; fi
  sleep 0.1
done
(( up )) || die "Xvfb on $DISPLAY does not answer after 10 s: $(tail -1 "$tmp/xvfb.log")"

arv-fake-gv-camera-0.8 -i 127.0.0.1 >"$tmp/fake.log" 2>&1 &
pids+=($!)

# Sets the fake camera's size, format and rate (it answers once no other
# program has control: about 5 s after the last one went away).
camera_format() {
  local ok=0
  for _ in $(seq 150); do
    if arv-tool-0.8 -a 127.0.0.1 control Width=1280 Height=1024 PixelFormat="$1" \
         AcquisitionFrameRate=$rate >"$tmp/tool.log" 2>&1 && ! grep -qi error "$tmp/tool.log"; then ok=1; break; fi
    sleep 0.1
  done
  (( ok )) || die "the fake camera did not take $1 on 127.0.0.1 ($(tail -1 "$tmp/tool.log"))"
}

# Runs a command every 0.1 s, at most N times, until it prints something;
# prints its first line.
poll() {
  local tries=$1 out
  shift
  for _ in $(seq "$tries"); do
    out=$("$@" 2>/dev/null | head -1 || true)
    if [ -n "$out" ]; then echo "$out"; return 0; fi
    sleep 0.1
  done
  return 1
}

# Process CPU time (user + system, all threads) in milliseconds.
tick=$(getconf CLK_TCK)
cpu_ms() { awk -v t="$tick" '{ print ($14 + $15) * 1000 / t }' "/proc/$1/stat"; }

measure() {
  local format=$1
  camera_format "$format"
  # --- arv-viewer ----------------------------------------------------------------
  GDK_BACKEND=x11 arv-viewer-0.8 >"$tmp/viewer.log" 2>&1 &
  local viewer=$!
  pids+=($viewer)
  local win
  win=$(poll 100 xdotool search --name "^Aravis Viewer$") \
    || die "arv-viewer did not open a window ($(tail -1 "$tmp/viewer.log"))"
  sleep 1
  # The camera list: the second row is the fake GigE camera (the first is
  # Aravis's built-in fake device); selecting it moves the play button down.
  xdotool windowmove "$win" 0 0
  xdotool mousemove 158 117 click 1
  sleep 1
  xdotool mousemove 78 277 click 1
  poll 50 xdotool search --name "^Aravis-Fake-GV01$" >/dev/null \
    || die "arv-viewer did not start streaming the fake camera (its layout may differ)"
  sleep 5
  local before after
  before=$(cpu_ms "$viewer")
  sleep "$seconds"
  after=$(cpu_ms "$viewer")
  viewer_ms=$(awk -v a="$before" -v b="$after" -v s="$seconds" -v r="$rate" 'BEGIN { printf "%.2f", (b - a) / (s * r) }')
  kill "$viewer"
  wait "$viewer" 2>/dev/null || true

  # --- receiving alone ----------------------------------------------------------------
  # Aravis's own test program receiving the same stream the way the demo host
  # receives it (32 KiB packets on loopback, plain socket) and doing nothing
  # with the frames: the floor no viewer can go under.
  camera_format "$format"
  arv-camera-test-0.8 -n 127.0.0.1 -f "$rate" -w 1280 -h 1024 -a -i 32768 --no-packet-socket \
    >"$tmp/floor.log" 2>&1 &
  local floor=$!
  pids+=($floor)
  sleep 5
  kill -0 "$floor" 2>/dev/null || die "arv-camera-test did not stream the fake camera ($(tail -1 "$tmp/floor.log"))"
  before=$(cpu_ms "$floor")
  sleep "$seconds"
  after=$(cpu_ms "$floor")
  floor_ms_s=$(awk -v a="$before" -v b="$after" -v s="$seconds" 'BEGIN { printf "%.1f", (b - a) / s }')
  kill "$floor"
  wait "$floor" 2>/dev/null || true

  # --- the demo host -----------------------------------------------------------------
  # The panel shows about ten frames a second whatever the camera's rate.
  camera_format "$format"
  local frames=$((20 + seconds * 10))
  QT_QPA_PLATFORM=xcb "$demo" --camera genicam:127.0.0.1 --work-dir "$tmp/work" \
    --headless "$tmp/demo.png" --frames "$frames" --stats >"$tmp/demo.log" 2>&1 \
    || die "the demo host failed in $format: $(grep -v propagateSizeHints "$tmp/demo.log" | tail -2)"
  local line
  line=$(grep "camera_host: stats:" "$tmp/demo.log") || die "the demo host printed no stats in $format"
  demo_ms=$(sed -n 's/.* \([0-9.]*\) ms CPU per frame.*/\1/p' <<<"$line")
  demo_fps=$(sed -n 's/.*: \([0-9.]*\) frames\/s.*/\1/p' <<<"$line")
  demo_frame=$(sed -n 's/.*frames (\([^)]*\)).*/\1/p' <<<"$line")
  ratio=$(awk -v d="$demo_ms" -v v="$viewer_ms" 'BEGIN { printf "%.2f", d / v }')
  # What each program spends beyond receiving, per shown frame.
  local above viewer_above ratio_above
  above=$(awk -v d="$demo_ms" -v f="$floor_ms_s" -v n="$demo_fps" 'BEGIN { printf "%.2f", d - f / n }')
  viewer_above=$(awk -v v="$viewer_ms" -v f="$floor_ms_s" -v r="$rate" 'BEGIN { printf "%.2f", v - f / r }')
  ratio_above=$(awk -v a="$above" -v v="$viewer_above" 'BEGIN { printf "%.2f", a / v }')
  rows+=("| $format | $viewer_ms ms | $demo_ms ms | $demo_fps/s ($demo_frame) | $ratio | $floor_ms_s ms/s | $viewer_above ms | $above ms | $ratio_above |")
}

rows=()
for f in "${format_list[@]}"; do measure "$f"; done
echo "fake GigE camera 1280x1024 at $rate frames/s, Xvfb $DISPLAY, ${seconds} s each after a warm-up, $(nproc) CPUs"
echo "| format | arv-viewer-0.8 CPU per shown frame ($rate/s shown) | camera_host CPU per shown frame | camera_host frames shown | demo / viewer | receiving alone (arv-camera-test-0.8), CPU a second | viewer beyond receiving, per shown frame | demo beyond receiving, per shown frame | demo / viewer beyond receiving |"
echo "|---|---|---|---|---|---|---|---|---|"
printf '%s\n' "${rows[@]}"
echo "target: demo / viewer <= 0.10"
