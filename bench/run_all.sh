#!/usr/bin/env bash
# Builds and runs every benchmark in one go, each printing its figures beside
# the floor it measures in the same run; the output is also kept in
# bench-results/<date>.txt. The tables in bench/README.md come from these.
#
#   bench/run_all.sh           the short soak (600 frames, 300 pause cycles, 40 panels)
#   bench/run_all.sh --full    the full soak (3000 / 1000 / 200, about six minutes)
#                              and the CPU comparison with arv-viewer under Xvfb
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
full=0
case "${1:-}" in
  "") ;;
  --full) full=1 ;;
  *) echo "run_all: unknown option '$1' (use --full or nothing)" >&2; exit 2 ;;
esac

"$here/scripts/setup.sh"
build="${HXL_BUILD_DIR:-$here/build}"
targets=(bench_compose bench_preprocess bench_capture bench_combine bench_calibration soak_live camera_host)
[ -x "$build/bin/bench_genicam" ] || grep -q "HXL_WITH_GENICAM:BOOL=ON" "$build/CMakeCache.txt" && targets+=(bench_genicam)
cmake --build "$build" -j"$(nproc)" --target "${targets[@]}"

mkdir -p "$here/bench-results"
out="$here/bench-results/$(date +%Y-%m-%d_%H%M%S).txt"
export QT_QPA_PLATFORM=offscreen
{
  echo "# $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) CPUs, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //'), load $(cut -d' ' -f1-3 /proc/loadavg)"
  for b in bench_compose bench_preprocess bench_capture bench_combine bench_calibration; do
    echo; echo "## $b"; "$build/bin/$b"
  done
  if [ -x "$build/bin/bench_genicam" ]; then
    echo; echo "## bench_genicam"; "$build/bin/bench_genicam"
  fi
  echo; echo "## soak_live"
  if (( full )); then "$build/bin/soak_live" 3000 1000 200; else "$build/bin/soak_live" 600 300 40; fi
  if (( full )); then
    echo; echo "## compare_arv_viewer"
    unset QT_QPA_PLATFORM
    "$here/bench/compare_arv_viewer.sh" 30 "$build"
  fi
} 2>&1 | grep -v "This plugin does not support\|XDG_RUNTIME_DIR\|^start1 " | tee "$out"
echo "run_all: results in $out"
