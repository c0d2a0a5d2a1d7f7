#!/usr/bin/env bash
# One entry for people and CI: installs what the build needs (Debian 12), builds, runs.
#   scripts/dev.sh demo   build the Windows program and run all six tests on the virtual cards under Wine
#   scripts/dev.sh test   build the Windows and native (sanitized) trees and run every test, package included
#   scripts/dev.sh package  build build/windows/package/qisrtvcard-VERSION-win64.zip and run
#                           the main job from the unpacked zip in a fresh Wine prefix
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake ninja-build g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine wine64
          xvfb xauth googletest clang libclang-rt-14-dev libbenchmark-dev
          nlohmann-json3-dev libcli11-dev ffmpeg)

ensure_packages() {
  dpkg -s "${packages[@]}" >/dev/null 2>&1 && return
  local sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${packages[@]}"
}

wine_run="cmake/wine-run.sh"
prefix="build/windows/wineprefix"

build() { # preset [target]
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" ${2:+--target "$2"}
}

demo() {
  build windows qisrtvcard
  # One X display for the whole run: the module opens windows and dialogs.
  xvfb-run -a bash -c "$wine_run $prefix --start && scripts/run-on-virtual-cards.sh $PWD/$wine_run $PWD/$prefix $PWD/build/windows/bin/qisrtvcard.exe; rc=\$?; $wine_run $prefix --stop; exit \$rc"
}

# The zip as a host gets it: unpacked into an empty folder, run in a prefix that has never seen the
# build, the virtual card registered and removed from there.
package() {
  # The windows tree's programs are the release ones (same flags, stripped), so the package
  # comes from there and the test command builds no second Windows tree.
  cmake --preset windows >/dev/null
  cmake --build --preset windows --target qisrtvcard qisvcard
  cpack --preset windows >/dev/null
  local zip check=build/windows/package-check
  zip=$(ls -t build/windows/package/qisrtvcard-*-win64.zip | head -n 1)
  rm -rf "$check" && mkdir -p "$check"
  (cd "$check" && cmake -E tar xf "$OLDPWD/$zip")
  local bin
  bin=$(ls -d "$PWD/$check"/qisrtvcard-*-win64/bin)
  echo "main job from $zip:"
  xvfb-run -a bash -c "$wine_run $check/wineprefix --start || exit 1
    rc=0
    scripts/run-on-virtual-cards.sh $PWD/$wine_run $PWD/$check/wineprefix $bin/qisrtvcard.exe || rc=1
    $wine_run $check/wineprefix regsvr32 /s '$bin/qisvcard.dll' || { echo 'regsvr32 qisvcard.dll failed'; rc=1; }
    $wine_run $check/wineprefix regsvr32 /s /u '$bin/qisvcard.dll' || { echo 'regsvr32 /u qisvcard.dll failed'; rc=1; }
    $wine_run $check/wineprefix --stop; exit \$rc"
}

# The native tree is built and tested beside the Windows work, at the lowest priority: it takes
# the time a core is idle (the Windows tests wait on Wine much of theirs) and leaves the Windows
# tests' timing alone. One tree, sanitized: its unit tests, bounded fuzzer runs and benchmark smoke
# run are what an optimised tree would run too (the `native` preset, for figures and long
# fuzzing, is built by hand).
native_tree() {
  nice -n 19 bash -c "cmake --preset native-asan >/dev/null && cmake --build --preset native-asan &&
                      ctest --preset native-asan"
}

run_tests() {
  mkdir -p build
  local native_log=build/native-tree.log
  # A process group of its own (job control), so that a failure here stops the whole background
  # build with it. Not a session of its own: the kernel shares the CPU evenly between sessions
  # (autogroups), and nice would no longer hold the native tree back.
  set -m
  native_tree >"$native_log" 2>&1 &
  native_pid=$!
  set +m
  trap 'kill -- -$native_pid 2>/dev/null || true' EXIT
  build windows
  xvfb-run -a bash -c "$wine_run $prefix --start; rc=0; ctest --preset windows || rc=\$?; $wine_run $prefix --stop; exit \$rc"
  package
  echo "waiting for the native tree (log: $native_log)"
  wait "$native_pid" || { cat "$native_log"; echo "the native tree's build or tests failed" >&2; exit 1; }
  trap - EXIT
  sed -n '/^Test project/,$p' "$native_log"
}

case "${1:-}" in
  demo) ensure_packages; demo ;;
  test) ensure_packages; run_tests ;;
  package) ensure_packages; package ;;
  *) echo "usage: scripts/dev.sh demo|test|package" >&2; exit 64 ;;
esac
