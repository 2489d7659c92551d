#!/usr/bin/env bash
# Decodes the bundled samples with zorv-decode and reports what came out. Usage: demo.sh BUILD
set -uo pipefail
build=${1:-build}
out=$build/demo
mkdir -p "$out"
echo "Decoding the samples in examples/ with $build/bin/zorv-decode:"
status=0
for f in examples/*; do
  [ -f "$f" ] || continue
  wav="$out/$(basename "${f%.*}").wav"
  if "$build/bin/zorv-decode" -q -o "$wav" "$f"; then
    printf '  %-28s -> %s (%s bytes)\n' "$(basename "$f")" "$wav" "$(stat -c %s "$wav")"
  else
    printf '  %-28s not decoded (see the format table in README.md)\n' "$(basename "$f")"
    status=1
  fi
done
"$build/bin/zorv-decode" --info examples/* 2>&1 | sed 's/^/  /' || true
exit 0
