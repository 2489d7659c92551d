#!/usr/bin/env bash
# Decodes every audio file in each DIR (absent ones are skipped) with the Windows build's
# zorv-decode.exe under Wine and with the Linux build's zorv-decode, and requires the same exit
# status and byte-identical PCM. Wine reads each file through a copy whose name has characters
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
# The Linux side runs as an installed host without the sibling module, as the Windows build is.
mkdir "$work/linux"
cp "$linux_bin"/{zorv-decode,libzorv_aac.so,libzorv_win32.so,libtarnbase.so} "$work/linux/"
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
  elif ! difference=$(cmp "$work/linux.pcm" "$work/wine.pcm"); then
    echo "$name: PCM differs: ${difference#* }"
    failures=$((failures + 1))
  else
    echo "$name: identical, $(stat -c %s "$work/wine.pcm") bytes"
  fi
  rm -f "$work/linux.pcm" "$work/wine.pcm" "$wide"
done
exit $((failures > 0))
