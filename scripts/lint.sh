#!/usr/bin/env bash
# Formatting, static checks of the C++ code, and the scripts. Changes nothing.
# --quick: clang-tidy for the library only; the programs around it take several minutes more.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

# What ships: the library, and the programs around it. The tests and benchmarks have the compilers'
# warnings, the tests the sanitizers too; a run over them takes longer than all else here.
shipped() { sources '*.cpp' ':!tests' ':!fuzz' ':!bench'; }
of_the_library='^src/'
library() { shipped | grep -E "$of_the_library"; }
programs() { shipped | grep -Ev "$of_the_library"; }

# Of these, by the build that has it.
for_windows='/win32/|^tools/|^examples/|^src/interface/(load|dll_main)\.cpp|^simulator/main\.cpp'
portable() { grep -Ev "$for_windows"; }
windows_only() { grep -E "$for_windows"; }

# Checks C++ sources with the compile commands of a build.
tidy() { xargs -n 4 -P 2 clang-tidy -p "$1" --quiet; }

# What a compiler needs for one file of the portable half.
flags=(-std=c++20 -DZOR_INTERFACE_BUILD -DFMT_HEADER_ONLY -Isrc -I.
  -Ibuild/native/src/messages/generated -isystem build/native/host_headers)

# Every header compiles by itself: it includes what it needs.
headers_alone() {
  sources '*.h' '*.hpp' ':!tests' ':!fuzz' ':!bench' ':!examples' ':!cmake' ':!*/win32/*' |
    xargs grep -LE '<windows\.h>|windows/handle\.h|probe_process\.h' |
    xargs -P 2 -I{} g++ "${flags[@]}" -fsyntax-only -x c++ -include {} /dev/null
}

# Each source of the library's portable half, with its own header, includes what it uses and nothing
# else; and so do the headers that have no source. Not asked of the programs around the library: it takes
# the inside of their libraries' headers for what is to be included.
includes() {
  { library | portable && sources src/platform/'*.h' ':!src/platform/win32' src/notify/table_reader.h; } |
    xargs -P 2 -I{} include-what-you-use "${flags[@]}" -Wno-pragma-once-outside-header \
      -Xiwyu --error -Xiwyu --no_fwd_decls -Xiwyu --cxx17ns -Xiwyu --mapping_file=.iwyu.imp -x c++ {} 2>&1 |
    sed '/has correct #includes/d; /^$/d'
}

# Left out: advice to write a loop as an algorithm, which is a matter of taste here; members that are
# only read through a structured binding, which it takes for unused; DllMain's parameters, whose
# types are the system's; in zor.hpp the arguments' own classes, which convert on purpose, and a function
# that ends where another never returns. The generated accessors are not looked at: it cannot read their macros.
cpp_check() {
  shipped | xargs cppcheck -q --std=c++20 --language=c++ -Isrc -I. \
    --enable=warning,style,performance,portability --inline-suppr --error-exitcode=1 \
    --suppress=useStlAlgorithm --suppress=unusedStructMember \
    --suppress=constParameter:src/interface/dll_main.cpp --suppress=missingInclude \
    --suppress=noExplicitConstructor:src/interface/zor.hpp --suppress=missingReturn:src/interface/zor.hpp
}

# GCC's analyzer, of leaks and of what is used after it was freed. What is left out is wrong in C++ as
# of GCC 12: it lets operator new return null, and takes the unwinding of the stack for a use of
# uninitialized values.
analyze() {
  library | portable |
    xargs -P 2 -I{} g++ "${flags[@]}" -O1 -fanalyzer -Werror -c {} -o /dev/null \
      -Wno-analyzer-null-dereference -Wno-analyzer-possible-null-dereference \
      -Wno-analyzer-use-of-uninitialized-value
}

say "Formatting"
sources '*.c' '*.cpp' '*.h' '*.hpp' | xargs clang-format --dry-run -Werror

say "Scripts"
sources dev '*.sh' .ci/run 'scripts/torture/*' | xargs shellcheck -x

say "C++ code: cppcheck"
cpp_check

say "C++ code of the library: in the mode of Microsoft's compiler"
scripts/check_msvc_mode.sh

say "The presets for Windows, their packages and their workflow"
scripts/check_presets.py . build/presets

say "C++ code: GCC's analyzer, each header by itself, and what each file includes"
build native zor_messages_accessors >/dev/null
headers_alone
analyze
includes

# The Windows halves, with the cross compiler's headers and without its own flags.
prepare_windows() {
  local headers
  build windows zor_messages_accessors >/dev/null
  # All but the compiler's own folders: clang has its own intrinsics.
  headers=$(x86_64-w64-mingw32-g++-posix -v -x c++ -E /dev/null 2>&1 |
    sed -n '/^#include </,/^End/s/^ / -isystem /p' | grep -Ev '/include(-fixed)?$' | tr -d '\n')
  headers+=" -isystem /usr/x86_64-w64-mingw32/include"
  mkdir -p build/windows-lint
  sed -e 's/-fno-keep-inline-dllexport//; s/-specs=[^ ]*//' \
    -e "s# -c # --target=x86_64-w64-windows-gnu -nostdlibinc $headers -c #" \
    build/windows/compile_commands.json >build/windows-lint/compile_commands.json
}

say "C++ code of the library: clang-tidy"
prepare_windows
library | portable | tidy build/native
library | windows_only | tidy build/windows-lint

if [ "${1:-}" = --quick ]; then
  say "No problems so far; clang-tidy has not checked the programs"
  exit
fi

say "C++ code of the programs: clang-tidy"
programs | portable | tidy build/native
programs | windows_only | tidy build/windows-lint
say "No problems"
