#!/usr/bin/env bash
# Decodes every audio file in each DIR (absent ones are skipped) with the Windows build's
# zorv-decode.exe under Wine and with the Linux build's zorv-decode, and requires the same exit
# status and byte-identical PCM; from the sibling module, float PCM within 1e-6 (FFmpeg's float
# decoders build tables and windows with sinf, cosf and expf, whose last bit differs between
# MinGW's C runtime and glibc). Wine reads each file through a copy whose name has characters
# outside the ANSI code page: wide paths, and the 8.3 name by which the fragmented-file reader
# opens a file, are part of every decode.
# Usage: compare-pcm.sh WINE_RUN WINE_PREFIX WINDOWS_BIN LINUX_BIN DIR...
set -uo pipefail
wine_run=$1
prefix=$2
windows_bin=$3
linux_bin=$4
shift 4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The Linux side runs as an installed host with the same modules as the Windows build; a second
# one without the sibling tells which files the sibling decodes.
mkdir "$work/linux" "$work/alone"
cp "$linux_bin"/{zorv-decode,libzorv_aac.so,libzorv_win32.so,libtarnbase.so} "$work/alone/"
cp "$work/alone"/* "$linux_bin/libzorv_ffmpeg.so" "$work/linux/"
# The largest difference between two float PCM files of one length.
largest_difference() {
  paste <(od -An -v -w4 -f "$1") <(od -An -v -w4 -f "$2") |
    awk '{ d = $1 - $2; if (d < 0) d = -d; if (d > m) m = d } END { printf "%.3g", m }'
}
failures=0
mapfile -d '' inputs < <(find "$@" -maxdepth 1 -type f -regex '.*\.\(m4a\|m4b\|mp4\|mov\|3gp\|aac\|adts\)' \
  -print0 2> /dev/null | sort -z)
declare -A seen  # tests/data holds copies of some shared fixtures
for input in "${inputs[@]}"; do
  name=$(basename "$input")
  [ -z "${seen[$name]:-}" ] || continue
  seen[$name]=1
  wide="$work/音楽 Ωμέγα $name"
  cp "$input" "$wide"
  "$work/linux/zorv-decode" -q -f raw -o "$work/linux.pcm" "$input" 2> /dev/null
  linux=$?
  "$wine_run" "$prefix" "$windows_bin/zorv-decode.exe" -q -f raw -o "$work/wine.pcm" "$wide"
  wine=$?
  if [ $wine -ne $linux ]; then
    echo "$name: exit status $wine under Wine, $linux on Linux"
    failures=$((failures + 1))
  elif [ $linux -ne 0 ]; then
    echo "$name: not decoded by either build (exit status $linux)"
  elif cmp -s "$work/linux.pcm" "$work/wine.pcm"; then
    echo "$name: identical, $(stat -c %s "$work/wine.pcm") bytes"
  elif [ "$(stat -c %s "$work/linux.pcm")" = "$(stat -c %s "$work/wine.pcm")" ] &&
    ! "$work/alone/zorv-decode" -q -f raw -o "$work/alone.pcm" "$input" 2> /dev/null &&
    difference=$(largest_difference "$work/linux.pcm" "$work/wine.pcm") &&
    awk -v d="$difference" 'BEGIN { exit !(d <= 1e-6) }'; then
    echo "$name: from the sibling, $(stat -c %s "$work/wine.pcm") bytes, within $difference"
  else
    echo "$name: PCM differs: $(cmp "$work/linux.pcm" "$work/wine.pcm" 2>&1 | sed 's/^[^ ]* //')"
    failures=$((failures + 1))
  fi
  rm -f "$work"/*.pcm "$wide"
done
exit $((failures > 0))
