#!/bin/sh
# What a person sees on a console: the percent and the channel on one line that is redrawn in
# place, and no "percent" or "progress" lines; the same run into a pipe keeps one line an event.
# The console is Wine's, on a pseudo-terminal made by script(1); the screen it draws is compared
# without its escape sequences and blanks (Wine moves the cursor over blanks instead of writing them).
#   console-line.sh WINE_RUN PREFIX QISRTVCARD_EXE
set -eu
wine_run=$1 prefix=$2 program=$3
if ! command -v script >/dev/null 2>&1; then echo "script is missing: apt-get install bsdutils" >&2; exit 1; fi
run="$wine_run $prefix $program --sim --test FMRadioTest --param StopOnSignal=false --param ChecksPerChannel=1 \
--param FMRadioStartChannel=88.1 --param FMRadioEndChannel=88.5"
screen=$(script -qec "$run" /dev/null </dev/null | sed 's/\x1b\[[0-9;?]*[A-Za-z]//g; s/\x1b\][^\a]*\a//g' | tr -d ' \r') || true
piped=$($run </dev/null 2>&1) || true
fail() { printf '%s\n--- console:\n%s\n--- piped:\n%s\n' "$1" "$screen" "$piped" >&2; exit 1; }
printf '%s\n' "$screen" | grep -q '%Testingchannel88' || fail "no live line with the bar and the channel"
printf '%s\n' "$screen" | grep -q '^percent\|^progress' && fail "percent or progress lines on the console"
printf '%s\n' "$screen" | grep -q 'resultPASS0' || fail "no result line on the console"
printf '%s\n' "$piped" | grep -q '^percent 100' || fail "no percent lines in the pipe"
printf '%s\n' "$piped" | grep -q '^progress Testing channel 88' || fail "no progress lines in the pipe"
echo "live line on the console, one line an event in the pipe"
