#!/bin/sh
# Compares the module's AAC-in-MP4 decoding speed with a plain FAAD2 loop over the same track.
#
#   scripts/bench-aac-vs-faad.sh [BUILD_DIR]      (default: build)
#
# Makes two 10-minute files once (AAC-LC 256 kbit/s stereo by ffmpeg; HE-AAC 64 kbit/s stereo by
# the test encoder), decodes each with build/bin/zorv-decode -f raw -o /dev/null and with
# build/bin/zorv_bench_faad_mp4, best of RUNS (default 3), and prints module/loop per file.
# Goal: ratio <= 1.05.
set -eu
build=${1:-build}
runs=${RUNS:-3}
bin=$build/bin
data=$build/bench-data
mkdir -p "$data"
for tool in zorv-decode zorv_bench_faad_mp4 zorv_test_aacenc; do
  [ -x "$bin/$tool" ] || { echo "missing $bin/$tool (ninja -C $build $tool)" >&2; exit 1; }
done
[ -e "$bin/libzorv_aac.so" ] || [ -e "$bin/zorv_aac.dll" ] ||
  { echo "missing the module in $bin (ninja -C $build zorv_aac_module)" >&2; exit 1; }

signal="aevalsrc=exprs=0.3*sin(2*PI*(200*t+40*mod(t\,10)*mod(t\,10)))+0.1*(2*random(0)-1)|0.3*sin(2*PI*(330*t+25*mod(t\,7)*mod(t\,7)))+0.1*(2*random(1)-1):s=44100:d=600"
q="ffmpeg -nostdin -hide_banner -loglevel error -y"
if [ ! -s "$data/lc256.m4a" ]; then
  $q -f lavfi -i "$signal" -c:a aac -b:a 256k "$data/lc256.m4a"
fi
if [ ! -s "$data/he64.m4a" ]; then
  $q -f lavfi -i "$signal" -f s16le "$data/he.s16"
  "$bin/zorv_test_aacenc" 5 44100 2 64000 "$data/he.s16" "$data/he.aac" >/dev/null
  $q -i "$data/he.aac" -c:a copy "$data/he64.m4a"
  rm -f "$data/he.s16" "$data/he.aac"
fi

# Best wall time in seconds of RUNS runs of a command.
best() {
  b=""
  i=0
  while [ $i -lt "$runs" ]; do
    s=$(date +%s.%N)
    "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }
    e=$(date +%s.%N)
    t=$(echo "$e - $s" | bc)
    if [ -z "$b" ] || [ "$(echo "$t < $b" | bc)" = 1 ]; then b=$t; fi
    i=$((i + 1))
  done
  echo "$b"
}

for f in lc256 he64; do
  module=$(best "$bin/zorv-decode" -f raw -o /dev/null "$data/$f.m4a")
  loop=$(best "$bin/zorv_bench_faad_mp4" "$data/$f.m4a" /dev/null)
  ratio=$(echo "scale=3; $module / $loop" | bc)
  echo "$f: module ${module}s, FAAD2 loop ${loop}s, ratio $ratio"
done
