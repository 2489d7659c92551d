#!/usr/bin/env bash
# Runs every benchmark program (build/bin/bench_*) and comparison script (scripts/bench-*.sh).
# Usage: bench.sh BUILD
set -euo pipefail
build=${1:-build-bench}
shopt -s nullglob
for b in "$build"/bin/bench_*; do
  [ -x "$b" ] || continue
  echo "== $(basename "$b")"
  "$b"
done
for s in scripts/bench-*.sh; do
  echo "== $(basename "$s")"
  bash "$s" "$build"
done
