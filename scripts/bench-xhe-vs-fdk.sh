#!/usr/bin/env bash
# Compares the module's xHE-AAC decoding speed with a plain FDK AAC loop over the same access
# units, in CPU time (user + system, best of RUNS, default 3).
#
#   scripts/bench-xhe-vs-fdk.sh [BUILD_DIR]      (default: build)
#
# The input is a 10-minute xHE-AAC MP4 made once by looping the access units of
# tests/data/xhe_st48_p5.m4a (ffmpeg's concat demuxer, stream copy), cached outside the clone.
# Prints one line: zorv-decode's CPU time, the loop's, and their ratio (goal: at most 1.10).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-build}
bin=$build/bin
runs=${RUNS:-3}
for tool in zorv-decode zorv_fdk_xhe_loop; do
  [ -x "$bin/$tool" ] || { echo "missing $bin/$tool (ninja -C $build $tool)" >&2; exit 1; }
done

cache=${XDG_CACHE_HOME:-$HOME/.cache}/zorv-bench
input=$cache/xhe_st48_p5_x150.m4a
if [ ! -s "$input" ]; then
  mkdir -p "$cache"
  list=$(mktemp)
  trap 'rm -f "$list"' EXIT
  for _ in $(seq 150); do echo "file '$root/tests/data/xhe_st48_p5.m4a'"; done > "$list"
  ffmpeg -nostdin -hide_banner -loglevel error -y -f concat -safe 0 -i "$list" -c copy -f mp4 "$input.tmp"
  mv "$input.tmp" "$input"
fi

# Best user + system CPU seconds of RUNS runs of a command.
cpu_seconds() {
  local best="" t
  for _ in $(seq "$runs"); do
    t=$( { TIMEFORMAT='%U %S'; time "$@" >/dev/null 2>&1; } 2>&1 | awk '{ print $1 + $2 }')
    if [ -z "$best" ] || awk "BEGIN { exit !($t < $best) }"; then best=$t; fi
  done
  echo "$best"
}

ours=$(cpu_seconds "$bin/zorv-decode" -q -f raw -o /dev/null "$input")
loop=$(cpu_seconds "$bin/zorv_fdk_xhe_loop" "$input" /dev/null)
echo "xhe-aac 10 min: zorv-decode ${ours}s CPU, FDK loop ${loop}s CPU, ratio $(awk "BEGIN { printf \"%.3f\", $ours / $loop }")"
