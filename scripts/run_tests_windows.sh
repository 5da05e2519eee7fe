#!/usr/bin/env bash
# Cross-builds the module, the replacement host, the demo and every test as
# 64-bit Windows programs (MinGW-w64) in build-windows/ and runs every test
# program under Wine, headless, on an X server of its own.
#   scripts/run_tests_windows.sh [-R REGEX]    -R: only the test programs whose file name matches
# Ends with one line "N passed, N failed" (test functions); exit code 1 when
# anything failed, crashed or timed out.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${HXL_WINDOWS_BUILD_DIR:-$here/build-windows}"
archives_dir="${HXL_WINDOWS_ARCHIVES:-$here/../shared/windows}"
test_timeout="${HXL_WINDOWS_TEST_TIMEOUT:-300}"
wine=/usr/lib/wine/wine64
wineserver=/usr/lib/wine/wineserver64
triplet=x86_64-w64-mingw32
chinese_locale=zh_CN.GBK

only=""
while [ $# -gt 0 ]; do
  case "$1" in
    -R) only="${2:?-R needs a pattern}"; shift 2 ;;
    *) echo "run_tests_windows: unknown argument: $1 (usage: run_tests_windows.sh [-R REGEX])" >&2; exit 2 ;;
  esac
done

say() { echo "run_tests_windows: $*"; }
die() { echo "run_tests_windows: $*" >&2; exit 1; }

# --- stage times -------------------------------------------------------------------
stage_names=()
stage_seconds=()
stage_started=0
stage() {
  stage_started=$SECONDS
  stage_names+=("$1")
  say "$1..."
}
stage_done() { stage_seconds+=($((SECONDS - stage_started))); }
print_times() {
  local line="" i
  for i in "${!stage_seconds[@]}"; do
    line+="${line:+, }${stage_names[$i]} ${stage_seconds[$i]} s"
  done
  [ -n "$line" ] && say "times: $line"
  return 0
}

# --- processes this script starts, stopped by their recorded ids on exit -------------
xvfb_pid=""
wineserver_pid=""
cleanup() {
  local rc=$?
  if [ -n "$wineserver_pid" ]; then
    # Ends the programs of this script's prefix (a test may have left a child
    # behind), then the server itself.
    "$wineserver" -k 2>/dev/null || true
    for _ in $(seq 50); do kill -0 "$wineserver_pid" 2>/dev/null || break; sleep 0.1; done
    kill "$wineserver_pid" 2>/dev/null || true
    wait "$wineserver_pid" 2>/dev/null || true
  fi
  if [ -n "$xvfb_pid" ]; then
    kill "$xvfb_pid" 2>/dev/null || true
    wait "$xvfb_pid" 2>/dev/null || true
  fi
  exit $rc
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# --- packages and the Chinese locale ------------------------------------------------------
stage packages
"$here/scripts/install_packages.sh" cmake make ccache g++-mingw-w64-x86-64-posix libz-mingw-w64-dev \
  wine64 xvfb xauth fonts-dejavu-core locales
if ! locale -a 2>/dev/null | grep -qix "zh_CN\.gbk"; then
  say "generating the $chinese_locale locale"
  sudo=""
  [ "$(id -u)" != 0 ] && sudo="sudo"
  grep -qx "$chinese_locale GBK" /etc/locale.gen 2>/dev/null || echo "$chinese_locale GBK" | $sudo tee -a /etc/locale.gen >/dev/null
  $sudo locale-gen >/dev/null
fi
stage_done

# --- the prebuilt Windows Qt and OpenCV -----------------------------------------------------
# Each archive is unpacked once into deps/ and again only when the archive is
# newer than its last unpacking or what it gave is gone. The stamp lists the
# folders it gave.
stage "deps unpack"
deps_dir="$build_dir/deps"
mkdir -p "$deps_dir"
shopt -s nullglob
archives=("$archives_dir"/*.tar.xz)
shopt -u nullglob
[ ${#archives[@]} -gt 0 ] || die "no Windows dependency archives (*.tar.xz) in $archives_dir"
for archive in "${archives[@]}"; do
  stamp="$deps_dir/.$(basename "$archive").unpacked"
  fresh=1
  [ -s "$stamp" ] && [ ! "$archive" -nt "$stamp" ] || fresh=0
  if [ $fresh = 1 ]; then
    while read -r top; do [ -d "$deps_dir/$top" ] || fresh=0; done <"$stamp"
  fi
  if [ $fresh = 0 ]; then
    say "unpacking $(basename "$archive")"
    rm -rf "$deps_dir/.unpack"
    mkdir -p "$deps_dir/.unpack"
    tar xf "$archive" -C "$deps_dir/.unpack"
    tops=()
    for top in "$deps_dir/.unpack"/*; do
      tops+=("$(basename "$top")")
      rm -rf "${deps_dir:?}/$(basename "$top")"
      mv "$top" "$deps_dir/"
    done
    rmdir "$deps_dir/.unpack"
    printf '%s\n' "${tops[@]}" >"$stamp"
  fi
done
qt_prefix="$deps_dir/qt5-mingw64"
opencv_prefix="$deps_dir/opencv-mingw64"
[ -d "$qt_prefix" ] && [ -d "$opencv_prefix" ] || die "the archives did not give qt5-mingw64/ and opencv-mingw64/ in $deps_dir"
stage_done

# --- configure and build ---------------------------------------------------------------------
stage configure
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$here" -B "$build_dir" -DCMAKE_TOOLCHAIN_FILE="$here/cmake/toolchains/mingw-w64.cmake" \
  -DHXL_WINDOWS_DEPS="$deps_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DHXL_WITH_GENICAM=OFF -DHXL_WITH_V4L2=OFF -DHXL_BUILD_BENCH=OFF "${launcher[@]}" >/dev/null
stage_done

stage build
cmake --build "$build_dir" -j"$(nproc)" >"$build_dir/build.log" 2>&1 || {
  { grep -E "error|Error" "$build_dir/build.log" || true; } | head -20 >&2
  die "the build failed; the whole log is $build_dir/build.log"
}
stage_done

# --- deploy: every DLL the programs import, the plugins, the fonts --------------------------------
stage deploy
bin="$build_dir/bin"
gcc_runtime_dir="$(dirname "$("$triplet-g++-posix" -print-file-name=libstdc++-6.dll)")"
dll_dirs=("$qt_prefix/bin" "$opencv_prefix/bin" "$gcc_runtime_dir" "/usr/$triplet/lib")
mkdir -p "$bin/platforms" "$bin/imageformats" "$bin/lib/fonts"
cp -u "$qt_prefix"/plugins/platforms/*.dll "$bin/platforms/"
cp -u "$qt_prefix"/plugins/imageformats/*.dll "$bin/imageformats/"
# DejaVu Sans only: with nothing else to choose from, the widgets' text looks
# as on Linux.
cp -u /usr/share/fonts/truetype/dejavu/DejaVuSans{,-Bold,-Oblique,-BoldOblique,Mono}.ttf "$bin/lib/fonts/"
# The Qt prefix is the programs' folder: plugins in platforms/ and
# imageformats/, fonts of the offscreen platform in lib/fonts/.
printf '[Paths]\nPrefix=.\nPlugins=.\n' >"$bin/qt.conf"
# The DLLs that the programs and plugins import, and theirs, found in the
# dependency folders; Windows' own DLLs are not among them.
declare -A seen=()
queue=("$bin"/*.exe "$bin"/*.dll "$bin"/platforms/*.dll "$bin"/imageformats/*.dll)
while [ ${#queue[@]} -gt 0 ]; do
  file="${queue[0]}"
  queue=("${queue[@]:1}")
  while read -r dll; do
    key="${dll,,}"
    [ -n "${seen[$key]:-}" ] && continue
    seen[$key]=1
    [ -f "$bin/$dll" ] && continue
    for dir in "${dll_dirs[@]}"; do
      if [ -f "$dir/$dll" ]; then
        cp -u "$dir/$dll" "$bin/"
        queue+=("$bin/$dll")
        break
      fi
    done
  done < <("$triplet-objdump" -p "$file" | sed -n 's/^\s*DLL Name: //p')
done
stage_done

# --- an X server and a fresh Wine prefix -----------------------------------------------------------
stage wineboot
# Wine needs an X display even for the offscreen platform. Xvfb picks a free
# display number itself and tells it through the descriptor.
display_file="$build_dir/xvfb.display"
rm -f "$display_file"
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$display_file" 2>"$build_dir/xvfb.log" &
xvfb_pid=$!
for _ in $(seq 100); do [ -s "$display_file" ] && break; sleep 0.1; done
[ -s "$display_file" ] || die "Xvfb did not start (see $build_dir/xvfb.log)"
export DISPLAY=":$(head -n1 "$display_file")"

export WINEPREFIX="$build_dir/wineprefix"
export WINEDEBUG=-all
# No Mono or Gecko installer on a fresh prefix: nothing here needs them.
export WINEDLLOVERRIDES="mscoree=;mshtml="
rm -rf "$WINEPREFIX"
mkdir -p "$WINEPREFIX"
"$wineserver" -f -p >"$build_dir/wineserver.log" 2>&1 &
wineserver_pid=$!
timeout -k 10 300 "$wine" wineboot -u >"$build_dir/wineboot.log" 2>&1 || die "wineboot failed (see $build_dir/wineboot.log)"
kill -0 "$wineserver_pid" 2>/dev/null || die "the Wine server did not stay up (see $build_dir/wineserver.log)"
stage_done

# --- the tests ------------------------------------------------------------------------------------------
stage tests
programs_file="$build_dir/test_programs.txt"
[ -f "$programs_file" ] || die "$programs_file is missing: the build does not list its test programs"
logs="$build_dir/test-logs"
rm -rf "$logs"
mkdir -p "$logs"
export QTEST_DISABLE_STACK_DUMP=1
total_passed=0
total_failed=0
total_skipped=0
failed_runs=()
cd "$bin"
while read -r program kind rest; do
  [ -z "$program" ] && continue
  [ -n "$only" ] && ! [[ "$program" =~ $only ]] && continue
  locale_env=()
  functions=()
  run_name="${program%.exe}"
  if [[ "$rest" == LANG=* ]]; then
    locale="${rest%% *}"
    locale="${locale#LANG=}"
    locale_env=(LANG="$locale" LC_ALL="$locale")
    read -r -a functions <<<"${rest#* }"
    run_name+="@$locale"
  else
    locale_env=(LANG=C.UTF-8 LC_ALL=C.UTF-8)
  fi
  args=()
  [ "$kind" = gui ] && args=(-platform offscreen)
  # QtTest writes its log to a file: under Wine its log never reached
  # standard output here (the programs' own printing does). Whatever else
  # the program and Wine say goes to the .out file beside it.
  log="$logs/$run_name.log"
  started=$SECONDS
  rc=0
  env "${locale_env[@]}" timeout -k 10 "$test_timeout" "$wine" "./$program" "${args[@]}" \
    -o "../test-logs/$run_name.log,txt" "${functions[@]}" >"$logs/$run_name.out" 2>&1 </dev/null || rc=$?
  totals="$(grep -a "^Totals:" "$log" 2>/dev/null | tail -n1 || true)"
  passed=0 failed=0 skipped=0
  if [[ "$totals" =~ ^Totals:\ ([0-9]+)\ passed,\ ([0-9]+)\ failed,\ ([0-9]+)\ skipped ]]; then
    passed=${BASH_REMATCH[1]}
    failed=${BASH_REMATCH[2]}
    skipped=${BASH_REMATCH[3]}
  fi
  why=""
  if [ $rc -eq 124 ] || [ $rc -eq 137 ]; then
    why="timed out after $test_timeout s"
  elif [ -z "$totals" ]; then
    why="ended without totals (exit code $rc)"
  elif [ $rc -ne 0 ] && [ "$failed" -eq 0 ]; then
    why="exit code $rc"
  fi
  if [ -n "$why" ]; then
    # A run that crashed or hung counts as one failed test function more.
    failed=$((failed + 1))
  fi
  total_passed=$((total_passed + passed))
  total_failed=$((total_failed + failed))
  total_skipped=$((total_skipped + skipped))
  line="$run_name: $passed passed, $failed failed, $skipped skipped ($((SECONDS - started)) s)"
  if [ "$failed" -gt 0 ]; then
    failed_runs+=("$run_name")
    echo "$line${why:+: $why}; log $log"
    { grep -a -A2 "^FAIL!" "$log" 2>/dev/null || true; } | head -30 | sed 's/^/    /'
  else
    echo "$line"
  fi
done <"$programs_file"
cd "$here"
stage_done

print_times
[ "$total_skipped" -gt 0 ] && say "$total_skipped test functions skipped"
[ ${#failed_runs[@]} -gt 0 ] && say "failed: ${failed_runs[*]}"
echo "$total_passed passed, $total_failed failed"
[ "$total_failed" -eq 0 ]
