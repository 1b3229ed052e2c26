#!/usr/bin/env bash
# Measures which lines and branches of the product the native tests run, and which of the code that
# reads foreign bytes the fuzz corpora run; writes both into docs/reliability.md.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

llvm=/usr/lib/llvm-14/bin

# measure PRESET NAME: joins the counts of all that ran, of the programs of the preset.
measure() {
  local bin=build/$1/bin programs=() program
  for program in "$bin"/*; do [ -f "$program" ] && programs+=(-object "$program"); done
  "$llvm/llvm-profdata" merge -o "build/$1/merged.profdata" "build/$1/profiles"/*.profraw
  "$llvm/llvm-cov" export "${programs[@]}" -instr-profile="build/$1/merged.profdata" \
    -skip-functions >"build/$1/coverage.json"
}

build coverage
rm -rf build/coverage/profiles
# Four files for all the processes of a program, or there would be thousands.
LLVM_PROFILE_FILE="$PWD/build/coverage/profiles/%4m.profraw" \
  ctest --preset coverage --parallel 2 --output-on-failure >build/coverage/tests.log ||
  fail "tests failed, see build/coverage/tests.log"
measure coverage

targets=(fuzz/corpus/*)
build fuzz-coverage "${targets[@]/#fuzz\/corpus\//fuzz_}"
rm -rf build/fuzz-coverage/profiles
for target in "${targets[@]}"; do
  LLVM_PROFILE_FILE="$PWD/build/fuzz-coverage/profiles/$(basename "$target").profraw" \
    "build/fuzz-coverage/bin/fuzz_$(basename "$target")" -runs=0 "$target" \
    >"build/fuzz-coverage/$(basename "$target").log" 2>&1 ||
    fail "an input of $target fails, see build/fuzz-coverage"
done
measure fuzz-coverage

python3 scripts/coverage_table.py build/coverage/coverage.json build/fuzz-coverage/coverage.json |
  scripts/fill_region.py docs/reliability.md coverage
