#!/usr/bin/env bash
# Prints the size of the test suite against the code it tests, so every change sees it; the
# project keeps tests at about a quarter to a third of the code. Never fails.
# Counted: non-blank lines of .c/.cpp/.h/.py/.sh; tests/ and fuzz/ are test code, everything
# else except tests/data/ is code (bench/ and scripts/ included). Build folders are not counted.
cd "$(dirname "$0")/.." || exit 0
{ git ls-files --cached --others --exclude-standard 2>/dev/null \
    || find . -path './build*' -prune -o -type f -print | sed 's|^\./||'; } \
  | grep -E '\.(c|cpp|h|py|sh)$' | grep -v '^tests/data/' | sort -u \
  | while read -r f; do
      [ -f "$f" ] && printf '%s %s\n' "$(grep -cv '^[[:space:]]*$' "$f")" "$f"
    done \
  | awk '{ if ($2 ~ /^(tests|fuzz)\//) t += $1; else c += $1 }
         END { printf "test/code ratio: %d test lines / %d code lines = %.2f (aim 0.25-0.33)\n",
                      t, c, c ? t / c : 0 }'
exit 0
