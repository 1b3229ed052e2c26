#!/usr/bin/env bash
# Fuzzes. See usage.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

usage() {
  cat <<'TEXT'
usage: ./dev fuzz                run every target, with its corpus and for a short time, as a test
       ./dev fuzz TARGET [RUNS [SECONDS]]
                                 run one target, by default 1000000 times; SECONDS limits the time.
                                 The environment variable JOBS sets the number of processes; the
                                 default is the number of processors
       ./dev fuzz --merge        add new inputs to fuzz/corpus, as few as have the same coverage

Targets are the folders of fuzz/corpus. New inputs are stored in build/fuzz/found. So are inputs that
fail, with the word "crash", "timeout" or "oom" in their name: run build/fuzz/bin/fuzz_TARGET FILE to
see one fail again.
TEXT
}

found=build/fuzz/found
targets() { ls fuzz/corpus; }

# The runs are shared by the processes, which also share what they find. Leaks are looked for when a
# process ends: after each run it takes milliseconds.
fuzz_target() {
  local target=$1 runs=$2 seconds=$3 jobs=${JOBS:-$(nproc)} max_len job log pids=() pid status=0
  max_len=$(<"build/fuzz/fuzz/$target.max_len")
  mkdir -p "$found/$target"
  # The corpus has some inputs that are longer than those which are made.
  "build/fuzz/bin/fuzz_$target" -runs=0 -detect_leaks=0 "fuzz/corpus/$target" >"$found/$target.corpus.log" 2>&1 ||
    { logs+=("$found/$target.corpus.log") && return 1; }
  for ((job = 0; job < jobs; job++)); do
    log="$found/$target.$job.log"
    "build/fuzz/bin/fuzz_$target" -seed="$((RANDOM + 1))" -runs=$(((runs + jobs - 1) / jobs)) \
      -max_total_time="$seconds" -max_len="$max_len" -timeout=60 -detect_leaks=0 -reload=10 -print_final_stats=1 \
      -artifact_prefix="$found/$target-" "$found/$target" "fuzz/corpus/$target" >"$log" 2>&1 &
    pids+=($!)
    logs+=("$log")
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
    "build/fuzz/bin/fuzz_$target" -set_cover_merge=1 -use_counters=0 "$found/$target.merged" \
      "fuzz/corpus/$target" "$found/$target" 2>"$found/$target.merge.log" ||
      fail "not all inputs of $target pass, see $found/$target.merge.log"
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
logs=()
case "${1:-}" in
  "")
    build fuzz
    ctest --preset fuzz --parallel 2
    ;;
  --merge)
    for target in $(targets); do build fuzz "fuzz_$target"; done
    merge
    ;;
  *)
    [ -d "fuzz/corpus/$1" ] || fail "no such target: $1. There are: $(targets | tr '\n' ' ')"
    build fuzz "fuzz_$1"
    say "Fuzzing: $1"
    status=0
    fuzz_target "$1" "${2:-1000000}" "${3:-0}" || status=1
    grep -hE '^stat::number_of_executed_units|^fuzz: |^==.*ERROR|^SUMMARY' "${logs[@]}" || true
    [ "$status" -eq 0 ] || fail "an input fails: see $found/$1-*"
    ;;
esac
