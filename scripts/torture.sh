#!/usr/bin/env bash
# The whole campaign against the library, and its table. See usage.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

usage() {
  cat <<'TEXT'
usage: scripts/torture.sh [--short] [PART...]

Runs the parts of the campaign, the programs in scripts/torture, and prints what was tried and what
was lost. The whole of it takes hours, and then writes its table into docs/reliability.md; --short
makes a small slice of each part, for trying the parts themselves out.

A part writes rows of the table to standard output, "| what was tried | how often | lost |", and all
else to standard error. It fails when anything is lost. With ZOR_TORTURE unset it makes its slice.
TEXT
}

export ZOR_TORTURE=1
parts=()
for argument in "$@"; do
  case "$argument" in
    -h | --help) usage && exit ;;
    --short) unset ZOR_TORTURE ;;
    *)
      [ -x "scripts/torture/$argument" ] ||
        fail "no such part: $argument. There are: $(ls -x scripts/torture)"
      parts+=("$argument")
      ;;
  esac
done
everything=
if [ ${#parts[@]} -eq 0 ]; then
  for part in scripts/torture/*; do parts+=("$(basename "$part")"); done
  everything=${ZOR_TORTURE:-}
fi

mkdir -p build/torture
table=build/torture/table.md
printf '| what was tried | how often | lost |\n|---|---:|---:|\n' >"$table"
failed=()
for part in "${parts[@]}"; do
  say "Torture: $part"
  begin=$SECONDS
  "scripts/torture/$part" 2>"build/torture/$part.log" | tee -a "$table" || failed+=("$part")
  printf '%s: %d s\n' "$part" $((SECONDS - begin)) | tee -a build/torture/times.txt
done

say "What was tried, and what was lost"
if [ -n "$everything" ] && [ ${#failed[@]} -eq 0 ]; then
  {
    cat "$table"
    printf '\nOn %s, %s, Debian %s.\n' "$(date -u +%Y-%m-%d)" "$(nproc) processors" \
      "$(cat /etc/debian_version)"
  } | scripts/fill_region.py docs/reliability.md campaign
else
  cat "$table"
fi
[ ${#failed[@]} -eq 0 ] || fail "lost something: ${failed[*]}; see build/torture"
