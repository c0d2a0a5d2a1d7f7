#!/usr/bin/env bash
# One entry for people and CI: installs what the build needs (Debian 12), builds, runs.
#   scripts/dev.sh demo   build the Windows program and run all six tests on the virtual cards under Wine
#   scripts/dev.sh test   build the Windows and native trees and run every test
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

run_tests() {
  build windows
  xvfb-run -a bash -c "$wine_run $prefix --start; rc=0; ctest --preset windows || rc=\$?; $wine_run $prefix --stop; exit \$rc"
  build native
  ctest --preset native
  build native-asan
  ctest --preset native-asan
}

case "${1:-}" in
  demo) ensure_packages; demo ;;
  test) ensure_packages; run_tests ;;
  *) echo "usage: scripts/dev.sh demo|test" >&2; exit 64 ;;
esac
