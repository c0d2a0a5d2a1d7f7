#!/usr/bin/env bash
# Start-up under Wine: `qisrtvcard.exe --list` against a static C++ hello-world built with the same
# toolchain, in paired hyperfine runs on one warm wineserver. Prints each round's medians and the
# median of the per-round ratios; alternating rounds keep drift on a shared machine out of the ratio.
# Output goes to a pipe, as it does for a host: to a console or /dev/null Wine's msvcrt writes text
# one character a call (some 3,900 calls for --list), which would be measured instead.
#   scripts/startup-ratio.sh [QISRTVCARD_EXE] [ROUNDS] [RUNS_PER_ROUND]
# Default program: the stripped build (build/windows/bin). Needs hyperfine (apt-get install
# hyperfine), wine and xvfb-run; opens its own X display when none is set.
set -euo pipefail
cd "$(dirname "$0")/.."
program=$(realpath "${1:-build/windows/bin/qisrtvcard.exe}")
rounds=${2:-15} runs=${3:-5}
command -v hyperfine >/dev/null || { echo "hyperfine is missing: apt-get install -y hyperfine" >&2; exit 1; }
[ -n "${DISPLAY:-}" ] || exec xvfb-run -a "$0" "$program" "$rounds" "$runs"

work=build/startup
mkdir -p "$work"
printf '#include <iostream>\nint main() { std::cout << "hello\\n"; }\n' >"$work/hello.cpp"
x86_64-w64-mingw32-g++-posix -O2 -static -s "$work/hello.cpp" -o "$work/hello.exe"

prefix=$PWD/$work/wineprefix
cmake/wine-run.sh "$prefix" --start
trap 'cmake/wine-run.sh "$prefix" --stop' EXIT
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree=;mshtml="

ratios=()
for round in $(seq "$rounds"); do
  hyperfine -N --output=pipe --style none --warmup 2 --runs "$runs" --export-json "$work/round.json" \
    "wine $work/hello.exe" "wine $program --list" >/dev/null
  read -r hello list < <(jq -r '[.results[].median] | map(. * 1000) | @tsv' "$work/round.json")
  ratio=$(awk -v a="$list" -v b="$hello" 'BEGIN { print a / b }')
  ratios+=("$ratio")
  printf 'round %d: hello-world %.1f ms, --list %.1f ms, ratio %.2f\n' "$round" "$hello" "$list" "$ratio"
done
median=$(printf '%s\n' "${ratios[@]}" | sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }')
printf 'start-up ratio (median of %d rounds of %d paired runs): %.2f\n' "$rounds" "$runs" "$median"
