#!/usr/bin/env bash
# The speed and memory table: zorv-decode next to each peer on the same 10-minute files, every
# figure from this one run, best of RUNS (default 3) runs of each command.
#
#   scripts/bench-table.sh [BUILD_DIR]      (default: build-bench)
#
# Inputs are generated once into ${XDG_CACHE_HOME:-$HOME/.cache}/zorv-bench (outside the clone)
# and reused. Each row is one call of `row`; a command that several rows share (our decode of a
# file against three peers) is measured once and its figures reused, so a row costs only the
# commands it adds. Columns: CPU time (user + sys) and wall time in seconds, our figure over the
# peer's, and the goal the row is held to.
set -euo pipefail
build=${1:-build-bench}
runs=${RUNS:-3}
bin=$(cd "$build/bin" && pwd)
root=$(cd "$(dirname "$0")/.." && pwd)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/zorv-bench
mkdir -p "$cache"
for tool in zorv-decode zorv_bench_faad_mp4 zorv_bench_faad_adts zorv_test_aacenc zorv_fdk_xhe_loop; do
  [ -x "$bin/$tool" ] || { echo "missing $bin/$tool (ninja -C $build $tool)" >&2; exit 1; }
done

# ---- inputs -------------------------------------------------------------------------------
ff="ffmpeg -nostdin -hide_banner -loglevel error -y"
# A music-like minute (partials with vibrato, a noise floor, different per channel), looped: the
# decoders keep no state across packets that a repetition could flatter.
partials() {  # rate channels -> an aevalsrc source
  local e="" c
  for ((c = 0; c < $2; c++)); do
    e+="${e:+|}0.3*sin(2*PI*(220+37*$c)*t+3*sin(2*PI*(5+$c)*t))+0.2*sin(2*PI*(331+53*$c)*t)"
    e+="+0.1*sin(2*PI*(1250+170*$c)*t)+0.05*(random($c)-0.5)"
  done
  echo "aevalsrc=exprs='$e':s=$1:d=60"
}
source_minute() {  # name rate channels layout
  [ -s "$cache/$1.wav" ] || $ff -f lavfi -i "$(partials "$2" "$3")" -channel_layout "$4" -c:a pcm_s32le \
    "$cache/$1.wav"
}
looped() {  # source minutes -> input arguments for ffmpeg
  echo "-stream_loop $(($2 - 1)) -i $cache/$1.wav -t $(($2 * 60))"
}
make_alac() {  # file source minutes sample_fmt bits
  [ -s "$cache/$1" ] || $ff $(looped "$2" "$3") -c:a alac -sample_fmt "$4" -bits_per_raw_sample "$5" "$cache/$1"
}
make_aac() {  # stem source minutes [adts]
  [ -s "$cache/$1.m4a" ] || $ff $(looped "$2" "$3") -c:a aac -b:a 256k "$cache/$1.m4a"
  [ -z "${4:-}" ] || [ -s "$cache/$1.aac" ] || $ff -i "$cache/$1.m4a" -c:a copy -f adts "$cache/$1.aac"
}
make_he() {  # stem source minutes (the test encoder writes ADTS from 16-bit PCM)
  if [ ! -s "$cache/$1.aac" ]; then
    $ff $(looped "$2" "$3") -f s16le "$cache/$1.s16"
    "$bin/zorv_test_aacenc" 5 44100 2 64000 "$cache/$1.s16" "$cache/$1.aac" >/dev/null
    rm -f "$cache/$1.s16"
  fi
  [ -s "$cache/$1.m4a" ] || $ff -i "$cache/$1.aac" -c:a copy "$cache/$1.m4a"
}
source_minute st44 44100 2 stereo
source_minute st96 96000 2 stereo
source_minute s51 48000 6 5.1
make_alac alac16_44k.m4a st44 10 s16p 16
[ -s "$cache/alac16_44k_b.m4a" ] || cp "$cache/alac16_44k.m4a" "$cache/alac16_44k_b.m4a"
make_alac alac24_96k.m4a st96 10 s32p 24
make_alac alac16_48k_51.m4a s51 10 s16p 16
make_alac alac16_44k_1h.m4a st44 60 s16p 16
make_aac lc256 st44 10 adts
make_aac lc256_1h st44 60
make_he he64 st44 10
# xHE-AAC: no encoder here, so a fixture's access units looped to 10 minutes (stream copy).
if [ ! -s "$cache/xhe48.m4a" ]; then
  for _ in $(seq 150); do echo "file '$root/tests/data/xhe_st48_p5.m4a'"; done > "$cache/xhe48.txt"
  $ff -f concat -safe 0 -i "$cache/xhe48.txt" -c copy -f mp4 "$cache/xhe48.m4a"
fi

# ---- measuring ----------------------------------------------------------------------------
declare -A cpu wall rss
# Best CPU time, best wall time and largest peak RSS (MiB) of RUNS runs of a command.
measure() {
  local key="$*" i t c r
  [ -n "${wall[$key]:-}" ] && return
  local times=""
  for ((i = 0; i < runs; i++)); do
    /usr/bin/time -f "%e %U %S %M" -o "$cache/.time" "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }
    times+="$(tail -n 1 "$cache/.time")"$'\n'
  done
  read -r t c r < <(echo -n "$times" | awk '{ c = $2 + $3; if (NR == 1 || $1 < w) w = $1; if (NR == 1 || c < b) b = c;
                                              if ($4 > m) m = $4 } END { printf "%.2f %.2f %.1f\n", w, b, m / 1024 }')
  wall[$key]=$t cpu[$key]=$c rss[$key]=$r
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }'; }
verdict() { awk "BEGIN { print (($1) ? \"met\" : \"NOT met\") }"; }

printf "%-28s %-22s %8s %8s %6s %8s %8s %6s  %s\n" input peer "cpu" "peer" ratio wall peer ratio goal
# row INPUT PEER GOAL -- OUR COMMAND -- PEER COMMAND
#   GOAL: "cpu<=X" or "wall<=X" (our figure / peer's), "speedup>=X" (peer wall / ours),
#   "rss<MiB" (peak RSS of both, and ours no larger than the peer's by more than 1 MiB).
row() {
  local input=$1 peer=$2 goal=$3
  shift 4
  local ours=() theirs=()
  while [ "$1" != "--" ]; do ours+=("$1"); shift; done
  shift
  theirs=("$@")
  measure "${ours[@]}"
  measure "${theirs[@]}"
  local a="${ours[*]}" b="${theirs[*]}"
  local rc rw met
  rc=$(ratio "${cpu[$a]}" "${cpu[$b]}")
  rw=$(ratio "${wall[$a]}" "${wall[$b]}")
  met=""
  case $goal in
    cpu\<=*) met=$(verdict "$rc <= ${goal#cpu<=}") ;;
    wall\<=*) met=$(verdict "$rw <= ${goal#wall<=}") ;;
    speedup\>=*) met=$(verdict "$rw > 0 && 1 / $rw >= ${goal#speedup>=}") ;;
    rss\<*) met=$(verdict "${rss[$a]} < ${goal#rss<} && ${rss[$b]} < ${goal#rss<} && ${rss[$a]} <= ${rss[$b]} + 1")
            printf "%-28s %-22s %7.1fM %7.1fM %6s %8s %8s %6s  %s\n" "$input" "$peer" "${rss[$a]}" "${rss[$b]}" \
              "$(ratio "${rss[$a]}" "${rss[$b]}")" "${wall[$a]}" "${wall[$b]}" "$rw" "$goal MiB peak RSS: $met"
            return ;;
  esac
  printf "%-28s %-22s %8s %8s %6s %8s %8s %6s  %s\n" "$input" "$peer" "${cpu[$a]}" "${cpu[$b]}" "$rc" \
    "${wall[$a]}" "${wall[$b]}" "$rw" "$goal${met:+: $met}"
}

z="$bin/zorv-decode -q -f raw -o /dev/null"
ffnull() { echo "ffmpeg -nostdin -loglevel error -threads 1 -i $1 -f null -"; }
# An AAC input against its three peers: the bare FAAD2 loop for its container, faad, ffmpeg.
aac_rows() {  # label file loop
  row "$1" "bare FAAD2 loop" "cpu<=1.1"   -- $z "$2" -- "$bin/$3" "$2"
  row "$1" "faad"            "wall<=0.85" -- $z "$2" -- faad -q -w "$2"
  row "$1" "ffmpeg"          "-"          -- $z "$2" -- $(ffnull "$2")
}
c=$cache
# Several inputs need an output directory: a memory-backed one, so no disk enters the figures.
out=$(mktemp -d "$( [ -d /dev/shm ] && echo /dev/shm || echo "$cache")/zorv-bench.XXXXXX")
trap 'rm -rf "$out"' EXIT
zj="$bin/zorv-decode -q -f raw -o $out"
row "ALAC 16/44.1 stereo"   "ffmpeg -threads 1" "cpu<=0.6"  -- $z $c/alac16_44k.m4a     -- $(ffnull $c/alac16_44k.m4a)
row "ALAC 24/96 stereo"     "ffmpeg -threads 1" "cpu<=0.6"  -- $z $c/alac24_96k.m4a     -- $(ffnull $c/alac24_96k.m4a)
row "ALAC 16/48 5.1"        "ffmpeg -threads 1" "cpu<=0.6"  -- $z $c/alac16_48k_51.m4a  -- $(ffnull $c/alac16_48k_51.m4a)
aac_rows "AAC-LC 256k MP4"  $c/lc256.m4a zorv_bench_faad_mp4
aac_rows "AAC-LC 256k ADTS" $c/lc256.aac zorv_bench_faad_adts
aac_rows "HE-AAC 64k MP4"   $c/he64.m4a  zorv_bench_faad_mp4
aac_rows "HE-AAC 64k ADTS"  $c/he64.aac  zorv_bench_faad_adts
row "xHE-AAC 48k stereo"    "bare FDK loop"     "cpu<=1.1"  -- $z --drc off $c/xhe48.m4a -- $bin/zorv_fdk_xhe_loop $c/xhe48.m4a /dev/null
row "2 x ALAC 16/44.1 -j 2" "same at -j 1"      "speedup>=1.8" -- $zj -j 2 $c/alac16_44k.m4a $c/alac16_44k_b.m4a \
                                                           -- $zj -j 1 $c/alac16_44k.m4a $c/alac16_44k_b.m4a
row "ALAC 16/44.1 1 hour"   "ours, 10 minutes"  "rss<16"    -- $z $c/alac16_44k_1h.m4a -- $z $c/alac16_44k.m4a
row "AAC-LC 256k MP4 1 hour" "ours, 10 minutes" "rss<16"    -- $z $c/lc256_1h.m4a -- $z $c/lc256.m4a
echo "cpu, wall: seconds, best of $runs; ratio: ours / peer (for -j: -j 2 wall / -j 1 wall); inputs in $cache"
