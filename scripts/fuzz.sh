#!/usr/bin/env bash
# Fuzzes. See usage.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

usage() {
  cat <<'TEXT'
usage: scripts/fuzz.sh                every target: its corpus and a short run, as a test
       scripts/fuzz.sh TARGET [RUNS]  one target on both processors; 1000000 runs unless given
       scripts/fuzz.sh merge          take what was found into fuzz/corpus, as few inputs as cover it

Targets are the folders of fuzz/corpus. What is found gathers in build/fuzz/found; an input that
fails is written there too, with the word "crash", "timeout" or "oom" in its name:
run build/fuzz/bin/fuzz_TARGET FILE to see it fail again.
TEXT
}

found=build/fuzz/found
targets() { ls fuzz/corpus; }

# Half of the runs in each of two processes, which share what they find.
fuzz_target() {
  local target=$1 runs=$2 half pids=() pid status=0
  half=$(((runs + 1) / 2))
  mkdir -p "$found/$target"
  for seed in "$RANDOM" "$RANDOM"; do
    "build/fuzz/bin/fuzz_$target" -seed="$seed" -runs="$half" -max_len=3000 -print_final_stats=1 \
      -artifact_prefix="$found/$target-" "$found/$target" "fuzz/corpus/$target" \
      >"$found/$target.$seed.log" 2>&1 &
    pids+=($!)
    logs+=("$found/$target.$seed.log")
  done
  for pid in "${pids[@]}"; do wait "$pid" || status=1; done
  return "$status"
}

merge() {
  local target
  for target in $(targets); do
    [ -d "$found/$target" ] || continue
    mkdir -p "$found/$target.merged"
    rm -f "$found/$target.merged"/*
    "build/fuzz/bin/fuzz_$target" -set_cover_merge=1 "$found/$target.merged" \
      "fuzz/corpus/$target" "$found/$target" 2>"$found/$target.merge.log" ||
      fail "the inputs of $target do not all pass, see $found/$target.merge.log"
    rm -f "fuzz/corpus/$target"/*
    cp "$found/$target.merged"/* "fuzz/corpus/$target/"
    printf '%-14s %4d inputs\n' "$target" "$(find "fuzz/corpus/$target" -type f | wc -l)"
  done
}

case "${1:-}" in
  -h | --help | help)
    usage
    exit
    ;;
esac
build fuzz
logs=()
case "${1:-}" in
  "") ctest --preset fuzz --parallel 2 ;;
  merge) merge ;;
  *)
    [ -d "fuzz/corpus/$1" ] || fail "no such target: $1. There are: $(targets | tr '\n' ' ')"
    say "Fuzzing: $1"
    status=0
    fuzz_target "$1" "${2:-1000000}" || status=1
    grep -hE '^stat::number_of_executed_units|^fuzz: |^==.*ERROR|^SUMMARY' "${logs[@]}" || true
    [ "$status" -eq 0 ] || fail "an input fails: see $found/$1-*"
    ;;
esac
