#!/usr/bin/env bash
# What a host's loader sees in the module: Decode is its only export; it imports only KERNEL32,
# USER32, the C runtime and the host's base library, by the name tarnbase.dll. The sibling
# zorv_ffmpeg.dll likewise exports Decode only and imports system DLLs only (BCrypt for FFmpeg's
# random seed). The shipped programs and DLLs need no MinGW runtime DLL either.
# Usage: check-binaries.sh OBJDUMP BIN_DIR
set -euo pipefail
export LC_ALL=C
objdump=$1
bin=$2
imports() { "$objdump" -p "$1" | sed -n 's/^\tDLL Name: //p' | sort | tr '\n' ' '; }
exports() { "$objdump" -p "$1" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p' | tr '\n' ' '; }
for file in zorv_aac.dll zorv_ffmpeg.dll tarnbase.dll zorv-decode.exe; do
  [ -f "$bin/$file" ] || { echo "$bin/$file is missing"; exit 1; }
done
status=0
expect() {
  echo "$1: $2"
  [ "$2" = "$3" ] || { echo "  expected: $3"; status=1; }
}
expect "zorv_aac.dll exports" "$(exports "$bin/zorv_aac.dll")" "Decode "
expect "zorv_aac.dll imports" "$(imports "$bin/zorv_aac.dll")" "KERNEL32.dll USER32.dll msvcrt.dll tarnbase.dll "
expect "zorv_ffmpeg.dll exports" "$(exports "$bin/zorv_ffmpeg.dll")" "Decode "
expect "zorv_ffmpeg.dll imports" "$(imports "$bin/zorv_ffmpeg.dll")" "KERNEL32.dll USER32.dll bcrypt.dll msvcrt.dll "
for file in tarnbase.dll zorv-decode.exe; do
  expect "$file imports no MinGW runtime" "$(imports "$bin/$file" | grep -Eio 'lib[a-z_+0-9-]*\.dll' || true)" ""
done
exit $status
