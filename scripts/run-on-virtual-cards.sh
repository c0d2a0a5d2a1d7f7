#!/usr/bin/env bash
# Runs each of the six tests on the built-in virtual card it is meant for and prints one line a
# test with its result; exits non-zero when any does not pass. Needs a display (xvfb-run) and a
# warm Wine server.
#   run-on-virtual-cards.sh WINE_RUN PREFIX QISRTVCARD_EXE
set -uo pipefail
wine_run=$1 prefix=$2 program=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" # CaptureToFileTest writes .\capture.avi here

analog=(--param MsgBoxTimeout=30 --param CheckTVCable=true --param StopOnSignal=true --param ChecksPerChannel=3)
tv=("${analog[@]}" --param TVStartChannel=2 --param TVEndChannel=13 --param SignalType=cable
    --param AskCountryCode1=false --param AskCountryCode2=false)
fm=(--param StopOnSignal=true --param ChecksPerChannel=3 --param FMRadioStartChannel=88.0 --param FMRadioEndChannel=108.0)
digital=(--param MsgBoxTimeout=30 --param CheckTVCable=true --param DigitalStartChannel=2 --param DigitalEndChannel=69
         --param UseMinorChannelTechnique=false)

failed=0
run() { # scenario test [arguments...]
  local scenario=$1 test=$2
  shift 2
  local output result
  output=$("$wine_run" "$prefix" "$program" --sim "$scenario" --test "$test" "$@" 2>&1)
  result=$(printf '%s\n' "$output" | sed -n 's/^result \([A-Z]*\) .*/\1/p' | tail -n 1)
  printf '%-22s on %-7s %s\n' "$test" "$scenario" "${result:-no result}"
  if [ "$result" != PASS ]; then
    failed=1
    printf '%s\n' "$output" | tail -n 20 | sed 's/^/    /'
  fi
}

run hybrid TVSignalTest "${tv[@]}"
run hybrid FMRadioTest "${fm[@]}"
run hybrid CaptureToScreenTest
run hybrid CaptureToFileTest
run atsc DigitalTVSignalTest "${digital[@]}"
run atsc ClearQAMTest
run dvbt DigitalTVSignalTest "${digital[@]}" --answer 49   # the country dialog: Germany
run ocur DigitalTVSignalTest "${digital[@]}" --answer ok   # the OpenCable warning: OK
exit $failed
