#!/usr/bin/env bash
# Runs every fuzz target (or the named ones) for SECONDS each, one after the other, with the
# smoke run's limits, keeping each target's corpus in FUZZ_BUILD/corpus/<target> between runs.
# Prints the executions and findings of each target; a finding (crash, leak, timeout, memory)
# is left as FUZZ_BUILD/findings/<target>-* and makes the script fail.
# Usage: fuzz-long.sh FUZZ_BUILD TEST_BUILD SECONDS [TARGET...]
set -euo pipefail
fuzz_build=${1:?fuzz build}
test_build=${2:?test build}
seconds=${3:?seconds per target}
shift 3
names=("$@")
if [ ${#names[@]} -eq 0 ]; then
  for t in "$fuzz_build"/fuzz/*; do [ -f "$t" ] && [ -x "$t" ] && names+=("$(basename "$t")"); done
fi
seeds=$(mktemp -d)
trap 'rm -rf "$seeds"' EXIT
bash "$(dirname "$0")/fuzz-seeds.sh" "$seeds" "$test_build"
mkdir -p "$fuzz_build/findings"
failed=0
for name in "${names[@]}"; do
  corpus="$fuzz_build/corpus/$name"
  log="$fuzz_build/findings/$name.log"
  mkdir -p "$corpus"
  dict=()
  [ -f "fuzz/$name.dict" ] && dict=(-dict="fuzz/$name.dict")
  status=0
  "$fuzz_build/fuzz/$name" -max_total_time="$seconds" -malloc_limit_mb=64 -timeout=5 -max_len=65536 \
    -artifact_prefix="$fuzz_build/findings/$name-" "${dict[@]}" "$corpus" "$seeds" > "$log" 2>&1 || status=$?
  # libFuzzer's last line is "Done N runs in S second(s)"; a run stopped by a finding has none.
  done_line=$(grep -oE 'Done [0-9]+ runs in [0-9]+ second' "$log" | tail -1)
  runs=$(grep -oE '#[0-9]+' "$log" | tail -1 | tr -d '#')
  findings=$(find "$fuzz_build/findings" -name "$name-*" | wc -l)
  echo "fuzz-long: $name: ${done_line:-stopped after ${runs:-0} runs}, $findings findings, corpus $(ls "$corpus" | wc -l) inputs"
  if [ "$status" -ne 0 ] || [ "$findings" -ne 0 ]; then
    failed=1
    grep -E 'ERROR|SUMMARY|Test unit written' "$log" | head -5
  fi
done
exit $failed
