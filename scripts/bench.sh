#!/usr/bin/env bash
# Measures, and writes the tables and plots of docs/performance.md. See usage.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

usage() {
  cat <<'TEXT'
usage: ./dev bench [--quick] [--only PART...]

Builds the benchmarks, measures for some minutes, and writes docs/performance.md and its plots.
Let the machine do nothing else meanwhile. --quick takes few samples, and --only some of the parts;
both only print what would be written into the page.
PART is round_trip, own_work, load, notifications, enumeration or blocks.
TEXT
}

for argument in "$@"; do
  case "$argument" in -h | --help) usage && exit ;; esac
done

build windows ZorInterface wine_anchor bench_all
build bench bench_own_work
start_wine
stop_wine
python3 -B bench/measure.py build/bench-results "$@"
if [ $# -eq 0 ]; then
  python3 -B bench/report.py build/bench-results
else
  python3 -B bench/report.py build/bench-results --print
fi
