#!/usr/bin/env bash
# usage: scripts/check_msvc_mode.sh [SOURCE...]
# Checks that the library's sources, or those named, and the public headers compile in the mode of
# Microsoft's compiler, with clang. Shown: no construct of GNU's compilers alone, no function that only
# their runtime has, no warning at /W4. Not shown: that Microsoft's own compiler, standard library and
# system headers accept the code. In their place are clang, libc++ and Wine's headers, and nothing is
# linked or run.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

llvm=/usr/lib/llvm-19
work=build/msvc-mode
rm -rf "$work"
mkdir -p "$work/headers" "$work/messages"
flatc --cpp -o "$work/messages" src/messages/zor_messages.fbs
ln -s /usr/include/flatbuffers "$work/headers/flatbuffers"
# A header of templates over the system's interfaces, which Wine does not have.
ln -s /usr/x86_64-w64-mingw32/include/wrl "$work/headers/wrl"

# libc++ before the compiler's own headers: it wraps them. Two names of Wine's headers mean: wide
# characters are the compiler's own, and one function that it has built in is not defined again.
check=(clang-19 --driver-mode=cl --target=x86_64-pc-windows-msvc
  /nologo /Zs /W4 /WX -Wgnu -Wpedantic /permissive- /utf-8 /Zc:__cplusplus /EHs /MT
  -Wno-unused-command-line-argument
  /X /clang:-nobuiltininc
  -imsvc "$llvm/include/c++/v1" -imsvc "$llvm/lib/clang/19/include"
  -imsvc cmake/msvc_mode -imsvc "$work/headers"
  -imsvc /usr/include/wine/wine/msvcrt -imsvc /usr/include/wine/wine/windows
  -D_LIBCPP_NO_VCRUNTIME -DWINE_UNICODE_NATIVE -D_InterlockedCompareExchange128=Cmpxchg16b
  /FImissing.h)
product=(/std:c++20 -D_UCRT -D_WIN32_WINNT=0x0A00 -DWINVER=0x0A00 -DWIN32_LEAN_AND_MEAN -DNOMINMAX
  -DZOR_INTERFACE_BUILD -Isrc "-I$work/messages")

# The parts of GCC's runtime that a library must bring itself are not for this compiler.
product_sources() { sources src/'*.cpp' | grep -v '/runtime_'; }

# Words that clang knows in this mode too, and Microsoft's compiler does not.
gnu_words='__(attribute|builtin|asm|typeof)|\basm\b|\bstr(n?)casecmp\b'
gnu_only() {
  if [ $# -gt 0 ]; then printf '%s\n' "$@"; else { product_sources && sources src/'*.h' src/'*.hpp'; }; fi |
    xargs grep -nE "$gnu_words" && return 1
  return 0
}

gnu_only "$@" || fail "only GNU's compilers understand the words above"
if [ $# -gt 0 ]; then printf '%s\n' "$@"; else product_sources; fi |
  xargs -P 2 -I{} "${check[@]}" "${product[@]}" /TP {}
[ $# -eq 0 ] || exit 0

# As an application sees them, in the oldest language that each is for.
"${check[@]}" /std:c11 /TC tests/abi/header_alone.c -Isrc/interface
for header in src/interface/zor*.h*; do
  printf '#include "%s"\n' "$(basename "$header")" >"$work/$(basename "$header").cpp"
  "${check[@]}" /std:c++17 -Isrc/interface /TP "$work/$(basename "$header").cpp"
done
