#!/usr/bin/env bash
# Builds and runs tests. See usage.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

usage() {
  cat <<'TEXT'
usage: scripts/test.sh [--all | --rest]

Without an option what a change needs, in minutes: the product's tests under AddressSanitizer and
UndefinedBehaviorSanitizer, and the built library under Wine, on real pipes. --all: every test there is.
--rest: what --all has beyond the last run without an option, whose tests count with these.

Ends with a table of what the short form of the campaign has tried, the names of the tests that failed, and the
line "N passed, N failed".
TEXT
}

reports=()

# Runs tests of a preset; the report's name says which. run_tests PRESET.PART [CTEST-OPTION...]
run_tests() {
  local name=$1 report="$PWD/build/$1.junit.xml"
  shift
  say "Testing: $name"
  rm -f "$report"
  ctest --preset "${name%.*}" --parallel 2 --output-junit "$report" --test-output-size-passed 1000000 "$@" || true
  [ -s "$report" ] || fail "the tests of $name did not run"
  reports+=("$name=$report")
}

keep_wine_up() {
  start_wine
  # One idle process keeps Wine up, so that each test starts in milliseconds; its streams are closed,
  # or Wine's own services would hold on to this script's.
  wine build/windows/bin/wine_anchor.exe </dev/null >/dev/null 2>&1 &
  wine cmd /c exit </dev/null >/dev/null 2>&1 # returns when Wine's services are up
}

quick() {
  build asan tests_quick
  run_tests asan.quick -L quick
  build windows tests_quick wine_anchor
  keep_wine_up
  run_tests windows.quick -L quick
}

rest() {
  build asan
  run_tests asan.rest -LE quick
  build tsan tests_threads
  run_tests tsan.threads -L threads
  build native
  run_tests native.all
  build windows
  keep_wine_up
  run_tests windows.rest -LE quick
}

case "${1:-}" in
  "") quick ;;
  --all) quick && rest ;;
  --rest)
    for name in asan.quick windows.quick; do
      [ -s "build/$name.junit.xml" ] || fail "run ./dev test without an option first"
      reports+=("$name=$PWD/build/$name.junit.xml")
    done
    rest
    ;;
  -h | --help) usage && exit ;;
  *) usage >&2 && exit 2 ;;
esac

say "What was tried, and what failed"
python3 -B scripts/summary.py "${reports[@]}"
