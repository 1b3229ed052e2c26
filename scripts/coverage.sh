#!/usr/bin/env bash
# Measures which lines and branches run, and writes the tables of docs/reliability.md:
#   native  of the portable half by the native tests, and of what reads foreign bytes by the fuzz corpora
#   wine    of Windows' half by the tests under Wine
# Without an argument both.
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

native() {
  build coverage
  rm -rf build/coverage/profiles
  # Four files for all the processes of a program, or there would be thousands.
  LLVM_PROFILE_FILE="$PWD/build/coverage/profiles/%4m.profraw" \
    ctest --preset coverage --parallel 2 --output-on-failure >build/coverage/tests.log ||
    fail "tests failed, see build/coverage/tests.log"
  measure coverage

  local target targets=(fuzz/corpus/*)
  build fuzz-coverage "${targets[@]/#fuzz\/corpus\//fuzz_}"
  rm -rf build/fuzz-coverage/profiles
  for target in "${targets[@]}"; do
    LLVM_PROFILE_FILE="$PWD/build/fuzz-coverage/profiles/$(basename "$target").profraw" \
      "build/fuzz-coverage/bin/fuzz_$(basename "$target")" -runs=0 "$target" \
      >"build/fuzz-coverage/$(basename "$target").log" 2>&1 ||
      fail "an input of $target fails, see build/fuzz-coverage"
  done
  measure fuzz-coverage

  python3 scripts/coverage_table.py native build/coverage/coverage.json build/fuzz-coverage/coverage.json |
    scripts/fill_region.py docs/reliability.md coverage
}

# GCC counts here: each object's counts lie beside it, added up over all processes.
wine_half() {
  local program programs=(zor_system_call_tests zor_platform_tests zor_fault_tests
    zor_search_process_tests zor_discovery_tests zor_pipe_tests zor_lifecycle_tests hostile_memory)
  # Left out: a process that is ended in the middle of a heap call, or has no memory at all, cannot write
  # its counts.
  local left_out='Exit.WhileACallbackUsesTheHeap:*/AllFromOne'
  build windows-coverage "${programs[@]}" wine_anchor
  find build/windows-coverage -name '*.gcda' -delete
  start_wine
  wine build/windows-coverage/bin/wine_anchor.exe </dev/null >/dev/null 2>&1 &
  for program in "${programs[@]}"; do
    wine "build/windows-coverage/bin/$program.exe" --gtest_filter="-$left_out" \
      </dev/null >"build/windows-coverage/$program.log" 2>&1 ||
      fail "tests failed, see build/windows-coverage/$program.log"
  done
  find build/windows-coverage -name '*.gcda' -exec \
    x86_64-w64-mingw32-gcov-posix --json-format --stdout --branch-probabilities {} + \
    >build/windows-coverage/coverage.json-lines

  python3 scripts/coverage_table.py wine build/windows-coverage/coverage.json-lines |
    scripts/fill_region.py docs/reliability.md coverage-wine
}

case "${1:-both}" in
  native) native ;;
  wine) wine_half ;;
  both)
    native
    wine_half
    ;;
  *) fail "coverage: the argument is native or wine, not $1" ;;
esac
