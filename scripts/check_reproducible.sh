#!/usr/bin/env bash
# usage: scripts/check_reproducible.sh [library|package]
# Builds the library, or the whole package, twice, in two fresh folders with names of different
# length, and compares the files byte for byte. Ends with 0 when they are equal.
set -euo pipefail
source_folder=$(cd "$(dirname "$0")/.." && pwd)
what=${1:-library}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Builds in the folder $1, and leaves what is to be compared in $1/result.
build_in() {
  cmake --preset windows -S "$source_folder" -B "$1" -DZOR_BUILD_TESTS=OFF
  if [ "$what" = package ]; then
    cmake --build "$1" --target zor_package_files
    PYTHONDONTWRITEBYTECODE=1 python3 "$source_folder/packaging/make_package.py" \
      --build "$1" --output "$1/result"
  else
    cmake --build "$1" --target ZorInterface
    mkdir "$1/result"
    cp "$1/bin/ZorInterface.dll" "$1/bin/ZorInterface.dll.debug" "$1/result/"
  fi
}

for folder in "$work/first" "$work/another/place"; do
  build_in "$folder" >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    exit 1
  }
done

if ! diff -r "$work/first/result" "$work/another/place/result"; then
  echo "The two builds differ." >&2
  exit 1
fi
echo "Both builds gave the same files:"
(cd "$work/first/result" && sha256sum -- *)
