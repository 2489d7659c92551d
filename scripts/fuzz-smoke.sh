#!/usr/bin/env bash
# Runs every fuzz target for a bounded number of iterations, seeded with the test material
# (committed files and what the test suite generated). Usage: fuzz-smoke.sh FUZZ_BUILD TEST_BUILD
set -euo pipefail
fuzz_build=${1:-build-fuzz}
test_build=${2:-build}
runs=${FUZZ_RUNS:-20000}
shopt -s nullglob
targets=("$fuzz_build"/fuzz/*)
if [ ${#targets[@]} -eq 0 ]; then
  echo "fuzz-smoke: no fuzz targets built"
  exit 0
fi
seeds=$(mktemp -d)
trap 'rm -rf "$seeds"' EXIT
bash "$(dirname "$0")/fuzz-seeds.sh" "$seeds" "$test_build"
dict_dir=fuzz
for target in "${targets[@]}"; do
  [ -f "$target" ] && [ -x "$target" ] || continue
  name=$(basename "$target")
  dict=()
  [ -f "$dict_dir/$name.dict" ] && dict=(-dict="$dict_dir/$name.dict")
  work=$(mktemp -d)
  echo "fuzz-smoke: $name, $runs runs"
  "$target" -runs="$runs" -malloc_limit_mb=64 -timeout=5 -max_len=65536 \
    "${dict[@]}" "$work" "$seeds" > "$work.log" 2>&1 || { tail -40 "$work.log"; exit 1; }
  rm -rf "$work" "$work.log"
done
echo "fuzz-smoke: all targets ran clean"
