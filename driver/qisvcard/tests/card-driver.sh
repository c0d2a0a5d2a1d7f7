#!/bin/sh
# The virtual card as a device of Wine's own DirectShow: registered with regsvr32 in a prefix of
# its own, the analog tests run on it without --sim, and the module sees what a host would.
# CaptureToFileTest writes through Wine's AVI mux into the DLL's stream file writer, which stands
# in for Wine 8's file writer (it lacks IStream; docs/virtual-card-driver.md, "Findings").
#   card-driver.sh WINE_RUN QISRTVCARD_EXE QISVCARD_DLL
set -u
wine_run=$1 program=$2 dll=$3
command -v wine >/dev/null 2>&1 || { echo "wine is missing: apt-get install wine" >&2; exit 1; }
command -v ffprobe >/dev/null 2>&1 || { echo "ffprobe is missing: apt-get install ffmpeg" >&2; exit 1; }

work=$(mktemp -d)
prefix=$work/prefix
trap '"$wine_run" "$prefix" --stop; rm -rf "$work"' EXIT
cd "$work"
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

wine() { "$wine_run" "$prefix" "$@"; }
dll_win="Z:$(echo "$dll" | tr / '\\')"
instance_key='HKCR\CLSID\{860BB310-5D01-11D0-BD3B-00A0C911CE86}\Instance\{6C1F4B52-3E8A-4D7B-B5C2-91A0D3E7F824}'
class_key='HKCR\CLSID\{6C1F4B52-3E8A-4D7B-B5C2-91A0D3E7F824}'
writer='{6C1F4B53-3E8A-4D7B-B5C2-91A0D3E7F824}'
file_writer_key='HKCR\CLSID\{8596E5F0-0DA5-11D0-BD21-00A0C911CE86}'
registered() { wine reg query "$1" >/dev/null 2>&1; }

cat >device.json <<'JSON'
{
  "name": "Virtual Hybrid TV Card",
  "description": "Virtual hybrid analog and digital TV tuner",
  "capabilities": ["VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner", "AnalogFMRadioTuner"],
  "properties": {"AnalogFriendlyName": "Virtual Hybrid TV Capture"}
}
JSON
tv="--param SignalType=cable --param CheckTVCable=false --param StopOnSignal=true --param ChecksPerChannel=3"
tv="$tv --param MsgBoxTimeout=1 --param AskCountryCode1=false --param AskCountryCode2=false"
fm="--param StopOnSignal=true --param ChecksPerChannel=3"

# run LABEL EXPECTED TEST ARGS...: the run ends with EXPECTED, and its exit code is the result's.
run() {
  label=$1 expected=$2; shift 2
  wine "$program" --device device.json --test "$@" >"$label.out" 2>"$label.err"
  code=$?
  line=$(tr -d '\r' <"$label.out" | grep '^result ' | tail -n 1)
  set -- $line
  if [ "${2:-}" != "$expected" ]; then fail "$label: expected $expected, got '${line}' (exit $code)"; cat "$label.out" "$label.err" >&2; return; fi
  [ "${3:-}" = "$code" ] || fail "$label: exit code $code, result code ${3:-none}"
  echo "ok: $label $expected (exit $code)"
}

# ---- a scenario that cannot be used registers nothing and says why, as --sim does ----
echo '{"name": 3}' >bad.json
for scenario in bad.json missing.json; do
  QISVCARD_SCENARIO=$scenario wine regsvr32 /s "$dll_win" 2>regsvr32.err && fail "regsvr32 accepted $scenario"
  wine "$program" --sim "$scenario" --test CaptureToScreenTest >/dev/null 2>sim.err
  want="qisvcard: $(tr -d '\r' <sim.err | sed -n 's/^[^:]*: //p')"
  got=$(tr -d '\r' <regsvr32.err)
  [ "$got" = "$want" ] || fail "regsvr32 with $scenario said '$got', not '$want'"
  [ "$(wc -l <regsvr32.err)" -eq 1 ] || fail "regsvr32 with $scenario: not one line"
  ! registered "$class_key" && ! registered "$instance_key" || fail "$scenario left a half-registered device"
done

# ---- unregistered: no device ----
run unregistered NODEVICE CaptureToScreenTest

# ---- registered: the analog tests on Wine's filter graph ----
wine regsvr32 /s "$dll_win" || fail "regsvr32 failed"
registered "$instance_key" || fail "the device is not under the video input category"
# From here on the tests run on the device file --devices derives through Wine's enumerator and
# capture graph builder, unedited: its capabilities say whether they found the card's tuner.
mkdir derived
wine "$program" --devices --out derived >devices.out 2>&1 || fail "--devices failed: $(cat devices.out)"
cp derived/Virtual-Hybrid-TV-Capture.json device.json || fail "--devices wrote no file for the card: $(cat devices.out)"
run tv-signal PASS TVSignalTest $tv --param TVStartChannel=4 --param TVEndChannel=6
run tv-nosignal NOSIGNAL TVSignalTest $tv --param TVStartChannel=60 --param TVEndChannel=61
run fm-signal PASS FMRadioTest $fm --param FMRadioStartChannel=95.1 --param FMRadioEndChannel=96.1
run fm-nosignal NOSIGNAL FMRadioTest $fm --param FMRadioStartChannel=96.0 --param FMRadioEndChannel=97.0
run screen PASS CaptureToScreenTest

# ---- capture to a file: Wine's AVI mux, the stream file writer in place of Wine's ----
wine reg add "HKCR\\CLSID\\$writer\\InprocServer32" /ve /d "$dll_win" /f >/dev/null
wine reg add "HKCR\\CLSID\\$writer\\InprocServer32" /v ThreadingModel /d Both /f >/dev/null
wine reg add "$file_writer_key\\TreatAs" /ve /d "$writer" /f >/dev/null
run file PASS CaptureToFileTest
# 3 s at 29.97 frames/s, within 10 %; ffprobe reads the whole file without a complaint.
frames=$(ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 capture.avi 2>ffprobe.err)
[ -s ffprobe.err ] && { fail "ffprobe: $(head -n 3 ffprobe.err)"; }
if [ "${frames:-0}" -ge 81 ] && [ "${frames:-0}" -le 99 ]; then echo "ok: capture.avi holds $frames frames"
else fail "capture.avi holds '${frames:-no}' frames, not 81 to 99"; fi
# ---- unregistered again: every key gone, no device ----
wine regsvr32 /s /u "$dll_win" || fail "regsvr32 /u failed"
! registered "$class_key" && ! registered "$instance_key" || fail "unregistration left keys behind"
run unregistered-again NODEVICE CaptureToScreenTest

[ $failures -eq 0 ] || { echo "$failures failure(s)" >&2; exit 1; }
echo "the virtual card driver works under Wine"
