#!/usr/bin/env bash
# Builds and runs every test; ends with a table of what the campaign's slices have tried, and with the
# line "N passed, N failed".
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

passed=0
failed=0
left_out=0
table=

# One of the report's totals.
count() { sed -n "s/.*[[:space:]]$1=\"\([0-9]*\)\".*/\1/p" "$2" | head -n 1; }

# Wine 8 now and then ends in silence before the program has begun, on a busy machine one start in some
# hundred. A test that failed without a single word is tried again, once; all others say what is wrong.
# Counts those that then pass.
try_silent_ones_again() {
  local name rescued=0
  while IFS= read -r name; do
    say "Again, since it has not said a word: $name" >&2
    if ctest --preset "$1" -R "$name" </dev/null >&2; then rescued=$((rescued + 1)); fi
  done < <(python3 -B scripts/silent_failures.py "build/$1.junit.xml")
  echo "$rescued"
}

# Runs the tests of one preset and counts them.
run_tests() {
  local report="$PWD/build/$1.junit.xml" log="build/$1.tests.log" total bad skipped
  say "Testing: $1"
  rm -f "$report"
  ctest --preset "$1" --parallel 2 --output-junit "$report" || true
  [ -s "$report" ] || fail "the tests of $1 did not run"
  total=$(count tests "$report")
  cp "build/$1/Testing/Temporary/LastTest.log" "$log"
  bad=$(($(count failures "$report") - $(try_silent_ones_again "$1")))
  skipped=$(($(count skipped "$report") + $(count disabled "$report")))
  [ "${total:-0}" -gt 0 ] || fail "the preset $1 has no tests"
  passed=$((passed + total - bad - skipped))
  failed=$((failed + bad))
  left_out=$((left_out + skipped))
  table+=$(tally_rows "$1" "$([ "$bad" -eq 0 ] && echo 0 || echo failed)" <"$log")$'\n'
}

for preset in native asan tsan; do
  build "$preset"
  run_tests "$preset"
done
build windows
start_wine
# One idle process keeps Wine up, so that each test starts in milliseconds; its streams are closed,
# or Wine's own services would hold on to this script's.
wine build/windows/bin/wine_anchor.exe </dev/null >/dev/null 2>&1 &
wine cmd /c exit </dev/null >/dev/null 2>&1 # returns when Wine's services are up
run_tests windows

say "What was tried, and what was lost"
printf '%s\n' '| what was tried | how often | lost |' '|---|---:|---:|'
sed '/^$/d' <<<"$table"
[ "$left_out" -eq 0 ] || printf '\n%d did not run: each says why\n' "$left_out"
printf '\n%d passed, %d failed\n' "$passed" "$failed"
[ "$failed" -eq 0 ]
