#!/usr/bin/env bash
# Runs every Google Benchmark program of the build and every comparison script
# (scripts/bench-*.sh). Usage: bench.sh BUILD
set -euo pipefail
build=${1:-build-bench}
shopt -s nullglob
for b in "$build"/bin/*bench*; do
  [ -f "$b" ] && [ -x "$b" ] || continue
  case "$(basename "$b")" in
    zorv_bench_faad_mp4) continue ;;  # the plain decode loop the AAC comparison script drives
  esac
  echo "== $(basename "$b")"
  "$b"
done
for s in scripts/bench-*.sh; do
  echo "== $(basename "$s")"
  bash "$s" "$build"
done
bash bench/soak/soak.sh "$build"
