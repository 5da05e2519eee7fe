#!/usr/bin/env bash
# Builds everything and runs every test headless.
#   scripts/run_tests.sh               the normal build (build/)
#   scripts/run_tests.sh --sanitize    AddressSanitizer + UndefinedBehaviorSanitizer (build-sanitize/)
# Further arguments go to ctest (e.g. -R tst_hostsim).
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${HXL_BUILD_DIR:-$here/build}"
setup_args=()
if [ "${1:-}" = "--sanitize" ]; then
  setup_args+=(--sanitize)
  build_dir="${HXL_BUILD_DIR:-$here/build-sanitize}"
  shift
fi
"$here/scripts/setup.sh" "${setup_args[@]}"

export QT_QPA_PLATFORM=offscreen
export QTEST_DISABLE_STACK_DUMP=1
cd "$build_dir"
timeout -k 30 900 ctest --output-on-failure -j"$(nproc)" "$@"
