#!/bin/sh
# CaptureToFileTest on the virtual card writes a file that ffmpeg's tools read as a complete AVI:
# every frame the header promises is there and decodes without an error.
#   capture-file-plays.sh WINE_RUN PREFIX QISRTVCARD_EXE
set -eu
wine_run=$1 prefix=$2 program=$3
if ! command -v ffprobe >/dev/null 2>&1; then echo "ffprobe is missing: apt-get install ffmpeg" >&2; exit 1; fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
"$wine_run" "$prefix" "$program" --sim --test CaptureToFileTest >output.txt 2>&1 || { cat output.txt; exit 1; }
grep -q PASS output.txt || { cat output.txt; exit 1; }
[ -s capture.avi ] || { echo "capture.avi was not written" >&2; exit 1; }
format=$(ffprobe -v error -show_entries format=format_name -of csv=p=0 capture.avi)
[ "$format" = avi ] || { echo "format is '$format', not avi" >&2; exit 1; }
counts=$(ffprobe -v error -select_streams v:0 -count_frames -show_entries stream=nb_frames,nb_read_frames -of csv=p=0 capture.avi)
promised=${counts%%,*} read=${counts##*,}
echo "frames promised: $promised, frames read: $read"
[ "$promised" -ge 75 ] && [ "$promised" = "$read" ] || { echo "frame counts disagree" >&2; exit 1; }
errors=$(ffmpeg -v error -i capture.avi -f null - 2>&1)
[ -z "$errors" ] || { echo "$errors" >&2; exit 1; }
echo "capture.avi plays"
