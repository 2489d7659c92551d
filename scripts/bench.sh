#!/usr/bin/env bash
# make bench: the table of zorv-decode against its peers (scripts/bench-table.sh, which also makes
# the inputs the other benchmarks read), every Google Benchmark program of the build (briefly),
# every further bench runner (scripts/bench-*.sh), and the table again at the end.
# Usage: bench.sh BUILD
set -euo pipefail
build=${1:-build-bench}
table=$build/bench-table.txt
echo "== zorv-decode against its peers (printed again at the end)"
bash scripts/bench-table.sh "$build" | tee "$table"
shopt -s nullglob
for b in "$build"/bin/*bench*; do
  [ -f "$b" ] && [ -x "$b" ] || continue
  case "$(basename "$b")" in
    zorv_bench_faad_*) continue ;;  # the plain decode loops the table drives
  esac
  echo "== $(basename "$b")"
  "$b" --benchmark_min_time=0.2
done
for s in scripts/bench-*.sh; do
  [ "$(basename "$s")" = bench-table.sh ] && continue
  echo "== $(basename "$s")"
  bash "$s" "$build"
done
bash bench/soak/soak.sh "$build"
echo "== zorv-decode against its peers"
cat "$table"
