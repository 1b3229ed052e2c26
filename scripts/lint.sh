#!/usr/bin/env bash
# Formatting, static checks of the C++ code, and the scripts. Changes nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

# What ships, by the build that has it. The tests and benchmarks have the compilers' warnings, the
# tests the sanitizers too; a run over them takes longer than all else here.
windows_sources='/win32/|^tools/|^examples/|^interface/load\.cpp|^simulator/main\.cpp'
windows_only() { sources '*.cpp' ':!tests' ':!fuzz' ':!bench' | grep -E "$windows_sources"; }
portable() { sources '*.cpp' ':!tests' ':!fuzz' ':!bench' | grep -Ev "$windows_sources"; }

say "Formatting"
sources '*.c' '*.cpp' '*.h' '*.hpp' | xargs clang-format --dry-run -Werror

say "Scripts"
sources dev '*.sh' .ci/run 'scripts/torture/*' | xargs shellcheck -x

# Checks C++ sources with the compile commands of a build.
tidy() { xargs -n 4 -P 2 clang-tidy -p "$1" --quiet; }

say "C++ code"
build native zor_messages_accessors >/dev/null
portable | tidy build/native

# The Windows halves, with the cross compiler's headers and without its own flags.
say "C++ code for Windows"
build windows zor_messages_accessors >/dev/null
# All but the compiler's own folders: clang has its own intrinsics.
headers=$(x86_64-w64-mingw32-g++-posix -v -x c++ -E /dev/null 2>&1 |
  sed -n '/^#include </,/^End/s/^ / -isystem /p' | grep -Ev '/include(-fixed)?$' | tr -d '\n')
headers+=" -isystem /usr/x86_64-w64-mingw32/include"
mkdir -p build/windows-lint
sed -e 's/-fno-keep-inline-dllexport//; s/-specs=[^ ]*//' \
  -e "s# -c # --target=x86_64-w64-windows-gnu -nostdlibinc $headers -c #" \
  build/windows/compile_commands.json >build/windows-lint/compile_commands.json
windows_only | tidy build/windows-lint
say "Nothing to object to"
