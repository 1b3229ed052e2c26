#!/usr/bin/env bash
# The whole campaign against the library, and its table. See usage.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

usage() {
  cat <<'TEXT'
usage: scripts/torture.sh [--short] [--fuzz-seconds N] [PART...]

Runs the parts of the campaign, the programs in scripts/torture, and prints what was tried and what
failed. A whole part writes its table into docs/reliability.md, and can take hours. --short runs the
short form of each part, to try out the parts themselves. --fuzz-seconds ends each fuzz target after
that time: some need hours for their ten million inputs.

A part writes rows of the table to standard output, "| what was tried | how often | failures |", and
everything else to standard error. Its status is not 0 if anything fails. Without the environment
variable ZOR_TORTURE it runs its short form.
TEXT
}

export ZOR_TORTURE=1
parts=()
while [ $# -gt 0 ]; do
  case "$1" in
    -h | --help) usage && exit ;;
    --short) unset ZOR_TORTURE ;;
    --fuzz-seconds)
      shift
      export ZOR_FUZZ_SECONDS=${1:?"how many seconds?"}
      ;;
    *)
      [ -x "scripts/torture/$1" ] || fail "no such part: $1. There are: $(ls -x scripts/torture)"
      parts+=("$1")
      ;;
  esac
  shift
done
if [ ${#parts[@]} -eq 0 ]; then
  for part in scripts/torture/*; do parts+=("$(basename "$part")"); done
fi

# Prints the rows of a part as a table; those of a whole run also into the page.
report() {
  local rows="build/torture/$1.rows"
  [ -s "$rows" ] || { say "$1 has no rows: the page keeps its table" && return; }
  {
    printf '| what was tried | how often | failures |\n|---|---:|---:|\n'
    cat "$rows"
    printf '\n%s, %s processors, Debian %s, in %d minutes.\n' "$(date -u +%Y-%m-%d)" "$(nproc)" \
      "$(cat /etc/debian_version)" $((($2 + 59) / 60))
  } >"$rows.table"
  if [ -n "${ZOR_TORTURE:-}" ] && grep -q "^<!-- $1: " docs/reliability.md; then
    scripts/fill_region.py docs/reliability.md "$1" <"$rows.table"
  else
    cat "$rows.table"
  fi
}

mkdir -p build/torture
failed=()
for part in "${parts[@]}"; do
  say "Torture: $part"
  begin=$SECONDS
  "scripts/torture/$part" 2>"build/torture/$part.log" >"build/torture/$part.rows" || failed+=("$part")
  report "$part" $((SECONDS - begin))
done
[ ${#failed[@]} -eq 0 ] || fail "these parts failed: ${failed[*]}; see build/torture"
