#!/bin/sh
# End-to-end lossless decoding speed: our module (through the zorv-decode host) against
# ffmpeg's single-threaded decoder, on two 10-minute ALAC files made here with ffmpeg.
# Usage: scripts/bench-alac-vs-ffmpeg.sh [build dir]   (default: build)
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-"$root/build"}
decoder="$build/bin/zorv-decode"
work="$build/benchdata"
mkdir -p "$work"

if [ ! -x "$decoder" ]; then
    echo "missing $decoder (build the zorv-decode target first)" >&2
    exit 1
fi

# A music-like signal: partials with vibrato and a noise floor, different per channel.
signal="0.3*sin(2*PI*220*t+3*sin(2*PI*5*t))+0.2*sin(2*PI*331*t)+0.1*sin(2*PI*1250*t)+0.05*(random(0)-0.5)|0.3*sin(2*PI*223*t)+0.2*sin(2*PI*447*t+2*sin(2*PI*3*t))+0.1*sin(2*PI*1800*t)+0.05*(random(1)-0.5)"

make_file() {  # name rate sample_fmt bits
    if [ ! -s "$work/$1" ]; then
        ffmpeg -nostdin -loglevel error -y -f lavfi -i "aevalsrc='$signal':s=$2:d=600" \
            -c:a alac -sample_fmt "$3" -bits_per_raw_sample "$4" "$work/$1"
    fi
}

# Best of three runs, in seconds of user + system CPU time.
cpu_seconds() {
    best=""
    for run in 1 2 3; do
        /usr/bin/time -f "%U %S" -o "$work/.cpu-time" "$@" >/dev/null 2>&1
        t=$(tail -n 1 "$work/.cpu-time" | awk '{print $1 + $2}')
        if [ -z "$best" ] || awk "BEGIN{exit !($t < $best)}"; then
            best=$t
        fi
    done
    echo "$best"
}

make_file alac16_44k_10min.m4a 44100 s16p 16
make_file alac24_96k_10min.m4a 96000 s32p 24

printf "%-24s %10s %10s %8s\n" file "zorv (s)" "ffmpeg (s)" "ratio"
for f in alac16_44k_10min.m4a alac24_96k_10min.m4a; do
    ours=$(cpu_seconds "$decoder" -f raw -o /dev/null "$work/$f")
    theirs=$(cpu_seconds ffmpeg -nostdin -loglevel error -threads 1 -i "$work/$f" -f null -)
    ratio=$(awk "BEGIN{printf \"%.2f\", $theirs / $ours}")
    printf "%-24s %10s %10s %8s\n" "$f" "$ours" "$theirs" "${ratio}x"
done
echo "ratio > 1: ours is faster"
