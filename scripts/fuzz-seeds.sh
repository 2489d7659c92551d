#!/usr/bin/env bash
# Copies the seed material every fuzz run starts from (committed test files, the lossless packets
# in tests/alac/data/fuzz_seeds, what the test suite generated, the examples; each at most 1 MiB)
# into a directory. Usage: fuzz-seeds.sh DIR TEST_BUILD
set -euo pipefail
for f in tests/data/* tests/alac/data/fuzz_seeds/* "$2"/testdata/* "$(dirname "$0")"/../examples/*; do
  [ -f "$f" ] && [ "$(stat -c %s "$f")" -le 1048576 ] && cp "$f" "$1/" 2>/dev/null || true
done
