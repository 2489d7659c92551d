#!/usr/bin/env bash
# The soak of `make bench`: 10,000 jobs, 32 at a time, 25 % cancelled at a random block, over
# ordinary files and the hostile-input catalogue (the files of the hostile-input test's rows).
# Usage: soak.sh BUILD   (a build with tests, so that the test makes the catalogue)
set -euo pipefail
build=${1:-build-bench}
catalogue=$(mktemp -d)
trap 'rm -rf "$catalogue"' EXIT
ZORV_HOSTILE_CATALOGUE="$catalogue" "$build"/tests/hostile/hostile_input_test \
  --gtest_filter='*EachRow*' > "$catalogue/test.log" 2>&1 || { tail -20 "$catalogue/test.log"; exit 1; }
rm "$catalogue/test.log"
"$build"/bin/zorv_soak "${SOAK_JOBS:-10000}" 32 25 "$catalogue"/* "$build"/testdata/hostile_* "$build"/testdata/raw_*
