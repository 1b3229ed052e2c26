# What the scripts share; read by them, from the root of the tree.
# shellcheck shell=bash

build_packages=(
  cmake ninja-build g++ python3
  g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix wine64
  flatbuffers-compiler libflatbuffers-dev nlohmann-json3-dev libcli11-dev libfmt-dev googletest
)
# To make the package, and for the tests that use it as others would.
package_packages=(llvm doxygen doxygen-awesome-css)
test_packages=("${package_packages[@]}" clang lld pkgconf spin)
lint_packages=(clang-format clang-tidy shellcheck cppcheck iwyu clang-19 lld-19 llvm-19 libc++-19-dev libwine-dev)
fuzz_packages=(clang libclang-rt-14-dev)
# The tools for the system's remote procedure call, which a call is compared with.
bench_packages=(libbenchmark-dev mingw-w64-tools)
coverage_packages=("${fuzz_packages[@]}" llvm-14)
docs_packages=(doxygen doxygen-awesome-css graphviz mscgen fonts-dejavu-core python3)

say() { printf '\033[1m==> %s\033[0m\n' "$*"; }

fail() {
  printf 'dev: %s\n' "$*" >&2
  exit 1
}

need_build() { install_missing "${build_packages[@]}"; }
need_package() { install_missing "${package_packages[@]}"; }
need_test() { install_missing "${test_packages[@]}"; }
need_lint() { install_missing "${lint_packages[@]}"; }
need_fuzz() { install_missing "${fuzz_packages[@]}"; }
need_bench() { install_missing "${bench_packages[@]}"; }
need_coverage() { install_missing "${coverage_packages[@]}"; }
need_docs() { install_missing "${docs_packages[@]}"; }

install_missing() {
  local package missing=() sudo=()
  command -v dpkg-query >/dev/null || fail "this needs Debian 12 or a relative: there is no dpkg here"
  for package in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "not root and no sudo; as root: apt-get install ${missing[*]}"
    sudo=(sudo)
  fi
  say "Installing from Debian: ${missing[*]}"
  "${sudo[@]}" apt-get update -q
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}"
}

# build PRESET [TARGET...]
build() {
  local preset=$1 log="build/$1.configure.log"
  shift
  say "Building: $preset${*:+ ($*)}"
  mkdir -p build
  cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2 && fail "configuring $preset failed"; }
  cmake --build --preset "$preset" ${1:+--target "$@"}
}

# The rows of a table of what was tried, from what run_test.py has said, on standard input: its lines
# "tally: NUMBER WHAT" added up by what they count. What a failed case has counted has failed.
# tally_rows WHERE
tally_rows() {
  awk -v where="$1" '
    /^tally(: | of a failed case: )[0-9]/ {
      failed = /^tally of/
      sub(/^tally[^:]*: /, "")
      number = $0 + 0
      sub(/^[0-9]+ /, "")
      if (!($0 in sum)) order[++count] = $0
      sum[$0] += number
      if (failed) failures[$0] = 1
    }
    END {
      for (i = 1; i <= count; i++)
        printf "| %s, %s | %d | %s |\n", order[i], where, sum[order[i]], order[i] in failures ? "failed" : "0"
    }
  '
}

# Runs a program of the campaign and prints its rows; when it fails, also what failed, as a row and on standard
# error: it may have ended before what it tried was counted. program_rows NAME WHERE OPTION... PROGRAM
program_rows() {
  local name=$1 where=$2 log="build/torture/$1.log" status=0
  shift 2
  python3 -B scripts/run_test.py --name "$name" --cases --limit 7200 "$@" >"$log" || status=failed
  tally_rows "$where" <"$log"
  [ "$status" = 0 ] && return
  printf '| the program "%s" as a whole, %s | 1 | failed |\n' "$name" "$where"
  cat "$log" >&2
  return 1
}

sources() { git ls-files --cached --others --exclude-standard -- "$@"; }

format() { sources '*.c' '*.cpp' '*.h' '*.hpp' | xargs clang-format -i; }

# Wine: always a prefix of the tree's own, which may be ended without asking; quiet and without
# windows. The last override keeps a crash from being swallowed by Wine's debugger.
export WINEPREFIX="$PWD/build/wine-prefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d;winedbg.exe=d"

wine() { "${fixed_addresses[@]}" "$(wine_tool wine64)" "$@"; }

# With random addresses one start in some thousand ends before the program has begun: the reason is in
# programs.py, which starts the programs of tests. A container may forbid to do without them.
fixed_addresses=(setarch --addr-no-randomize)
"${fixed_addresses[@]}" true 2>/dev/null || fixed_addresses=()

# Debian keeps the real binaries here; the wrapper on the path asks for the 32-bit half.
wine_tool() {
  if [ -x "/usr/lib/wine/$1" ]; then
    echo "/usr/lib/wine/$1"
  else
    command -v "$1" || command -v "${1%64}" || fail "$1 was not found"
  fi
}

# Makes the prefix if there is none, and ends everything in it when the script ends.
start_wine() {
  if [ ! -e "$WINEPREFIX/system.reg" ]; then
    say "Preparing Wine (once)"
    mkdir -p "$WINEPREFIX"
    wine wineboot --init </dev/null >/dev/null 2>&1 || fail "Wine could not make its prefix"
  fi
  trap stop_wine EXIT
}

stop_wine() { "$(wine_tool wineserver64)" --kill --wait 2>/dev/null || true; }
