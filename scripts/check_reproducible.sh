#!/usr/bin/env bash
# Builds the library twice, in two fresh folders with names of different length, and compares the
# files byte for byte. Ends with 0 when they are equal.
set -euo pipefail
source_folder=$(cd "$(dirname "$0")/.." && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

build_in() {
  cmake --preset windows -S "$source_folder" -B "$1" -DZOR_BUILD_TESTS=OFF
  cmake --build "$1" --target ZorInterface
}

for folder in "$work/first" "$work/another/place"; do
  build_in "$folder" >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    exit 1
  }
done

if ! cmp "$work/first/bin/ZorInterface.dll" "$work/another/place/bin/ZorInterface.dll"; then
  echo "The two builds differ." >&2
  exit 1
fi
echo "Both builds gave the same file: $(sha256sum <"$work/first/bin/ZorInterface.dll" | cut -c1-64)"
