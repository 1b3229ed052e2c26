#!/usr/bin/env bash
# Formatting, static checks of the C++ code, and the scripts. Changes nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

say "Formatting"
sources '*.c' '*.cpp' '*.h' | xargs clang-format --dry-run -Werror

say "Scripts"
sources dev '*.sh' .ci/run | xargs shellcheck -x

# The native build has all of the code but the Windows halves.
say "C++ code"
build native >/dev/null
sources '*.cpp' | grep -v -e /win32/ -e ^tests/integration/ -e ^tools/ -e ^examples/ \
  -e ^interface/load.cpp -e ^simulator/main.cpp -e ^tests/consumers/ |
  xargs -n 4 -P 2 clang-tidy -p build/native --quiet
say "Nothing to object to"
