#!/usr/bin/env bash
# A whole session of examples/session.c against the simulated server, with the library's debug log.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

bin=build/windows/bin
build windows ZorInterface zorsim zorctl session algorithms_demo
start_wine

say "Starting the simulated server"
coproc server { wine $bin/zorsim.exe </dev/null 2>&1; }
# shellcheck disable=SC2154 # coproc sets it
exec {server_output}<&"${server[0]}"
read -r -t 60 -u "$server_output" line || fail "zorsim did not start; try: ./dev build"
printf '%s\n' "$line"
case "$line" in
  *ready*) ;;
  *) fail "zorsim is not ready" ;;
esac

say "Running the example session; [zor] marks the library's own debug log"
status=0
wine $bin/zorctl.exe log -- $bin/session.exe </dev/null || status=$?

if [ "$status" -eq 0 ]; then
  say "Listing the algorithms with a driver package that is made for this demo"
  wine $bin/zorctl.exe log -- $bin/algorithms_demo.exe </dev/null || status=$?
fi

say "Stopping the simulated server"
wine $bin/zorsim.exe --stop </dev/null || fail "zorsim did not stop"
while IFS= read -r -t 10 -u "$server_output" line; do
  printf '%s\n' "$line"
  case "$line" in "zorsim stopped"*) break ;; esac
done

if [ "$status" -ne 0 ]; then
  fail "the demo failed with status $status: look at the step above that names its result"
fi
printf 'demo: every call of the session succeeded\n'
